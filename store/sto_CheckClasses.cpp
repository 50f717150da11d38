#include "store/sto_CheckClasses.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <optional>
#include <span>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "platform/omni/omi_BtreeIterator.h"
#include "store/format/sto_CollectionShape.h"
#include "store/format/sto_TagFits.h"
#include "store/session/sto_Classes.h"
#include "store/session/sto_NotesCheck.h"

namespace {

using Attribute = cls_AttributeMetadata;

constexpr int NoNumber = -1;
constexpr int NoVersion = -1;

std::string ClassName(cow_String const& name, unsigned int classId) {
  return name.IsEmpty() ? "class " + std::to_string(classId) : std::string(name.View());
}

std::string NameOf(cls_ClassMetadata const& metadata) {
  return ClassName(metadata.Name(), metadata.ClassId());
}

std::string VersionOf(cls_ClassMetadata const& metadata) {
  return "Class " + NameOf(metadata) + " version " + std::to_string(metadata.Version());
}

std::string NameOf(Attribute const& attribute) {
  return attribute.m_Name.IsEmpty() ? "without name" : std::string(attribute.m_Name.View());
}

/// "number 3, type 5, type argument 1, collection type 0"
std::string Describe(Attribute const& attribute) {
  return "number " + std::to_string(attribute.m_FieldId) + ", type " + std::to_string(attribute.m_Type) +
         ", type argument " + std::to_string(attribute.m_TypeArg) + ", collection type " +
         std::to_string(attribute.m_CollectionType);
}

/// "a, b and c"
std::string List(std::span<std::string const> names) {
  std::string list;
  for (std::size_t i = 0; i < names.size(); ++i)
    list += (i == 0 ? "" : i + 1 == names.size() ? " and " : ", ") + names[i];
  return list;
}

/// Calls `act` with each value of a tree, in its order. Allocates nothing.
template <class Node, class Act> void ForEach(Node const* node, Act const& act) {
  for (; node != nullptr; node = node->Right()) {
    ForEach(node->Left(), act);
    act(node->Value());
  }
}

/// How the elements of a list or table are stored, from the last digit of its collection type.
std::optional<sto_Format::ValueTag> ElementTag(cls_CollectionType collection) noexcept {
  int const kind = collection / 10 * 10;
  if (kind != COLLECTION_LIST && kind != COLLECTION_TABLE) return std::nullopt;
  switch (collection - kind) {
  case 1:
    return sto_Format::Bool;
  case 2:
    return sto_Format::Double;
  case 3:
    return sto_Format::Float;
  case 4:
    return sto_Format::Int32;
  case 5:
    return sto_Format::Text;
  case 7:
    return sto_Format::UInt32;
  default:
    return std::nullopt;
  }
}

/// Whether any kind of collection may be written into an attribute.
bool AnyShapeFits(Attribute const& attribute) noexcept {
  constexpr std::array Elements{sto_Format::ElementObject, sto_Format::ElementString,
                                sto_Format::ElementFloat,  sto_Format::ElementDouble,
                                sto_Format::ElementUInt,   sto_Format::ElementInt,
                                sto_Format::ElementBool};
  return std::ranges::any_of(Elements, [&](auto element) noexcept {
    return std::ranges::any_of(
        std::array<int, 3>{0, sto_Format::KeyInt, sto_Format::KeyString}, [&](int key) noexcept {
          return sto_ShapeFits({static_cast<std::uint8_t>(element), static_cast<std::uint8_t>(key)},
                               attribute);
        });
  });
}

/// What is wrong with an attribute by itself; empty if nothing is.
std::string ProblemOf(Attribute const& attribute) {
  if (attribute.m_CollectionType == COLLECTION_NONE) return {};
  if (!AnyShapeFits(attribute)) return "which no collection has";
  std::optional<sto_Format::ValueTag> const tag = ElementTag(attribute.m_CollectionType);
  bool const isSaid = tag && attribute.m_Type != ATTR_OBJECT && // "an object, which is a collection"
                      (attribute.m_Type != ATTR_REFERENCE || tag != sto_Format::Object); // of weak pointers
  return isSaid && !sto_TagFits(*tag, attribute.m_Type) ? "whose elements have another type" : std::string();
}

/// One run of the checks over a registrar.
class Check {
 public:
  Check(cls_ClassRegistrar const& program, sto_ClassChecks checks)
      : m_Program(program), m_ChecksAll(checks == sto_ClassChecks::All) {
    sto_Classes::DeclareLibrary(m_Library);
    ForEach(program.GetVersions().Root(),
            [this](cls_ClassMetadataHld const& holder) { m_Versions.push_back(holder.Ptr()); });
    std::ranges::reverse(m_Versions); // the registrar's order descends
    for (std::size_t i = 0; i < m_Versions.size(); ++i)
      if (IsNewest(i)) m_Newest.push_back(m_Versions[i]);
  }

  std::vector<std::string> Run() {
    CheckNames();
    CheckCircles();
    for (cls_ClassMetadata const* const metadata : m_Versions) {
      CheckClass(*metadata);
      CheckNumbers(*metadata);
      CheckDropped(*metadata);
      CheckNotes(*metadata);
      if (!m_ChecksAll) continue;
      CheckIds(*metadata);
      CheckAttributes(*metadata);
    }
    if (m_ChecksAll) CheckNotesOnNothing();
    std::ranges::stable_sort(m_Found, {}, &Mistake::m_Version);
    std::vector<std::string> sentences;
    sentences.reserve(m_Found.size());
    for (Mistake& mistake : m_Found) sentences.push_back(std::move(mistake.m_Sentence));
    return sentences;
  }

 private:
  struct Mistake {
    std::pair<unsigned int, int> m_Version; // class ID and version
    std::string m_Sentence;
  };

  void Add(cls_ClassMetadata const& metadata, std::string sentence) {
    m_Found.push_back({{metadata.ClassId(), metadata.Version()}, std::move(sentence)});
  }

  [[nodiscard]] bool IsNewest(std::size_t index) const noexcept {
    return index + 1 == m_Versions.size() || m_Versions[index + 1]->ClassId() != m_Versions[index]->ClassId();
  }

  /// The index of a class in m_Newest; m_Newest.size() if it is not there.
  [[nodiscard]] std::size_t FindNewest(unsigned int classId) const noexcept {
    auto const found = std::ranges::lower_bound(m_Newest, classId, {}, &cls_ClassMetadata::ClassId);
    bool const isThere = found != m_Newest.end() && (*found)->ClassId() == classId;
    return isThere ? static_cast<std::size_t>(found - m_Newest.begin()) : m_Newest.size();
  }

  [[nodiscard]] bool IsKnown(unsigned int classId) const noexcept {
    return m_Program.ClassIsPresent(classId) || m_Library.ClassIsPresent(classId);
  }

  [[nodiscard]] std::string NameOfClass(unsigned int classId) const {
    if (classId == cls_ClassMetadata::RootClassId && !m_Program.ClassIsPresent(classId))
      return "no base class";
    std::size_t const newest = FindNewest(classId);
    if (newest != m_Newest.size()) return "base class " + NameOf(*m_Newest[newest]);
    std::string const id = std::to_string(classId);
    return "base class " + (m_Library.ClassIsPresent(classId) ? NameOf(m_Library.ConstGet(classId)) : id);
  }

  void CheckNames();
  void CheckCircles();
  void CheckClass(cls_ClassMetadata const& metadata);
  void CheckIds(cls_ClassMetadata const& metadata);
  void CheckNumbers(cls_ClassMetadata const& metadata);
  void CheckDropped(cls_ClassMetadata const& metadata);
  void CheckAttributes(cls_ClassMetadata const& metadata);
  void CheckNotes(cls_ClassMetadata const& metadata);
  void CheckNotesOnNothing();

  cls_ClassRegistrar const& m_Program;
  bool m_ChecksAll;
  cls_ClassRegistrar m_Library;
  std::vector<cls_ClassMetadata const*> m_Versions; // ascending by class ID and version
  std::vector<cls_ClassMetadata const*> m_Newest;   // of each class
  std::vector<Mistake> m_Found;
};

void Check::CheckNames() {
  std::unordered_map<std::string_view, cls_ClassMetadata const*> known;
  known.reserve(m_Newest.size());
  cls_ClassMetadata const* before = nullptr;
  for (cls_ClassMetadata const* const metadata : m_Versions) {
    bool const isSameClass = before != nullptr && before->ClassId() == metadata->ClassId();
    if (isSameClass && before->Name() == metadata->Name()) continue;
    if (isSameClass && m_ChecksAll)
      Add(*metadata, VersionOf(*metadata) + " is called " + NameOf(*before) + " in version " +
                         std::to_string(before->Version()) + ".");
    before = metadata;
    if (metadata->Name().IsEmpty()) continue;
    auto const [first, isNew] = known.try_emplace(metadata->Name().View(), metadata);
    if (isNew || first->second->ClassId() == metadata->ClassId()) continue;
    Add(*metadata, "Classes " + std::to_string(first->second->ClassId()) + " and " +
                       std::to_string(metadata->ClassId()) + " are both called " + NameOf(*metadata) + ".");
  }
}

void Check::CheckCircles() {
  std::vector<std::size_t> walks(m_Newest.size()); // the walk that reached a class first; 0: not reached yet
  for (std::size_t start = 0; start < m_Newest.size(); ++start) {
    std::size_t at = start;
    for (; at < m_Newest.size() && walks[at] == 0; at = FindNewest(m_Newest[at]->BaseClassId()))
      walks[at] = start + 1;
    if (at == m_Newest.size() || walks[at] != start + 1) continue;

    std::vector<std::size_t> circle;
    std::size_t next = at;
    do {
      circle.push_back(next);
      next = FindNewest(m_Newest[next]->BaseClassId());
    } while (next != at);
    // The same sentence for a circle, wherever the walk entered it.
    std::rotate(circle.begin(), std::ranges::min_element(circle), circle.end());
    std::vector<std::string> names;
    std::ranges::transform(circle, std::back_inserter(names),
                           [this](std::size_t index) { return NameOf(*m_Newest[index]); });
    Add(*m_Newest[circle.front()], "Classes " + List(names) + " derive from each other in a circle.");
  }
}

void Check::CheckClass(cls_ClassMetadata const& metadata) {
  if (!m_Library.ClassIsPresent(metadata.ClassId())) return;
  cls_ClassMetadata const& library = m_Library.ConstGet(metadata.ClassId());
  if (library.Name() != metadata.Name())
    Add(metadata, VersionOf(metadata) + " has the class ID of " + NameOf(library) + " of the library.");
}

void Check::CheckIds(cls_ClassMetadata const& metadata) {
  if (metadata.ClassId() == cls_ClassMetadata::RootClassId)
    Add(metadata, VersionOf(metadata) + " has class ID 1, which says of other classes that they have no base "
                                        "class.");
  if (metadata.Version() == NoVersion)
    Add(metadata, VersionOf(metadata) + " has the version number that stands for no version.");
  unsigned int const base = metadata.BaseClassId();
  if (base != cls_ClassMetadata::RootClassId && !IsKnown(base))
    Add(metadata,
        VersionOf(metadata) + " derives from class " + std::to_string(base) + ", which is not declared.");
  if (m_Library.ClassNameIsPresent(metadata.Name()) && !m_Library.ClassIsPresent(metadata.ClassId()))
    Add(metadata, VersionOf(metadata) + " has the name of a class of the library.");
}

void Check::CheckNumbers(cls_ClassMetadata const& metadata) {
  if (!metadata.MayShareNumbers()) return;
  std::map<int, std::vector<std::string>> names;
  ForEach(metadata.GetAttributes().Root(), [&](Attribute const& attribute) {
    if (attribute.m_FieldId != NoNumber) names[attribute.m_FieldId].push_back(NameOf(attribute));
  });
  for (auto const& [number, sharing] : names)
    if (sharing.size() > 1)
      Add(metadata, VersionOf(metadata) + " gives number " + std::to_string(number) + " to attributes " +
                        List(sharing) + ".");
}

void Check::CheckDropped(cls_ClassMetadata const& metadata) {
  for (cls_ClassMetadata::DroppedClass const& dropped : metadata.DroppedClasses()) {
    std::string what;
    if (dropped.m_Name != metadata.Name())
      what = " under the name " + ClassName(dropped.m_Name, metadata.ClassId());
    if (dropped.m_BaseClassId != metadata.BaseClassId())
      what += std::string(what.empty() ? "" : " and") + " with " + NameOfClass(dropped.m_BaseClassId) +
              " instead of " + NameOfClass(metadata.BaseClassId());
    Add(metadata, VersionOf(metadata) + " (class ID " + std::to_string(metadata.ClassId()) +
                      ") is registered again" + what + "; the first registration stays.");
  }
  for (Attribute const& dropped : metadata.DroppedAttributes()) {
    Attribute const* const here = metadata.FindAttribute(dropped.m_Name);
    std::string const what = VersionOf(metadata) + " is declared again with attribute " + NameOf(dropped) +
                             " (" + Describe(dropped);
    if (here == nullptr)
      Add(metadata, what + "), which the first registration does not have; it is lost.");
    else if (*here != dropped) // it may have been declared later
      Add(metadata, what + "), which it has already (" + Describe(*here) + "); the first declaration stays.");
  }
}

void Check::CheckAttributes(cls_ClassMetadata const& metadata) {
  ForEach(metadata.GetAttributes().Root(), [&](Attribute const& attribute) {
    if (std::string const problem = ProblemOf(attribute); !problem.empty())
      Add(metadata, VersionOf(metadata) + " declares attribute " + NameOf(attribute) + " with type " +
                        std::to_string(attribute.m_Type) + " and collection type " +
                        std::to_string(attribute.m_CollectionType) + ", " + problem + ".");
  });
}

void Check::CheckNotes(cls_ClassMetadata const& metadata) {
  cls_ClassNotes const* const notes = m_Program.FindNotes(metadata.ClassId(), metadata.Version());
  if (notes == nullptr) return;
  std::string const problem = sto_ProblemOfNotes(
      *notes, [&](std::string const& name) { return metadata.FindAttribute(cow_String(name)); });
  if (!problem.empty()) Add(metadata, VersionOf(metadata) + problem + ".");
}

void Check::CheckNotesOnNothing() {
  for (auto const& [version, notes] : m_Program.AllNotes())
    if (!m_Program.ClassVersionIsPresent(version.first, version.second))
      m_Found.push_back({version, "There are notes on version " + std::to_string(version.second) +
                                      " of class " + std::to_string(version.first) +
                                      ", which is not declared."});
}

} // namespace

std::vector<std::string> sto_CheckClasses(cls_ClassRegistrar const& registrar, sto_ClassChecks checks) {
  return Check(registrar, checks).Run();
}
