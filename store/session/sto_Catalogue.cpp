#include "store/session/sto_Catalogue.h"

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

#include "platform/omni/omi_BtreeIterator.h"
#include "store/base/sto_Exception.h"
#include "store/format/sto_TypeNames.h"
#include "store/session/sto_ChangeCheck.h"

namespace {

sto_ClassRow RowOf(cls_ClassMetadata const& metadata, cls_ClassNotes const* notes) {
  sto_ClassRow row{metadata.ClassId(),
                   metadata.Version(),
                   std::string(metadata.Name().View()),
                   metadata.BaseClassId(),
                   {}};
  for (omi_BtreeIterator i(metadata.GetAttributes()); !i.IsDone(); i.Next()) {
    sto_AttributeRow attribute{std::string(i.Key().View()), i.Value().m_FieldId, i.Value().m_Type,
                               i.Value().m_TypeArg, i.Value().m_CollectionType};
    if (auto const* const said = notes == nullptr ? nullptr : notes->Find(attribute.m_Name)) {
      attribute.m_Unit = said->m_Unit;
      attribute.m_Default = said->m_Default;
    }
    row.m_Attributes.push_back(std::move(attribute));
  }
  // One program may order names naturally, another one by bytes.
  std::ranges::sort(row.m_Attributes, {}, &sto_AttributeRow::m_Name);
  return row;
}

bool IsAlike(sto_AttributeRow const& a, sto_AttributeRow const& b) {
  return a.IsDeclaredAs(b);
}

bool HasAttributesOf(sto_ClassRow const& a, sto_ClassRow const& b) {
  return std::ranges::equal(a.m_Attributes, b.m_Attributes, IsAlike);
}

/// The name of the first attribute in which two descriptions differ.
std::string Difference(sto_ClassRow const& a, sto_ClassRow const& b) {
  auto const [inA, inB] = std::ranges::mismatch(a.m_Attributes, b.m_Attributes, IsAlike);
  if (inA == a.m_Attributes.end()) return inB->m_Name;
  if (inB == b.m_Attributes.end()) return inA->m_Name;
  return std::min(inA->m_Name, inB->m_Name);
}

/// Whether two descriptions have the same attributes under the same numbers, but not each under its own.
bool DifferInOrder(sto_ClassRow a, sto_ClassRow b) {
  auto const takeNumbers = [](sto_ClassRow& row) {
    std::vector<int> numbers;
    numbers.reserve(row.m_Attributes.size());
    for (sto_AttributeRow& attribute : row.m_Attributes)
      numbers.push_back(std::exchange(attribute.m_FieldId, 0));
    std::ranges::sort(numbers);
    return numbers;
  };
  return takeNumbers(a) == takeNumbers(b) && HasAttributesOf(a, b); // which have no numbers any more
}

} // namespace

void sto_Catalogue::Forget() noexcept {
  m_IsLoaded = false;
  m_HasDeletedObjects = false;
  ++m_Generation;
  m_Recorded.Forget();
  m_LatestToWrite = nullptr;
  m_Readable.Forget();
  m_StoredClasses.clear();
  m_FarNames.clear();
  m_NameIds.clear();
  m_Names.clear();
  m_NextNameId = 1;
  m_Shapes.Clear();
  m_Notes.Forget();
  for (auto& [classId, inUse] : m_InUse) inUse.Reset();
}

std::string sto_Catalogue::KnownClassName(unsigned int classId) const {
  if (cls_ClassMetadata const* const declared = m_Classes.Newest(classId))
    return std::string(declared->Name().View());
  auto const stored = m_StoredClasses.lower_bound({classId, std::numeric_limits<int>::min()});
  if (stored != m_StoredClasses.end() && stored->first.first == classId) return stored->second.Row().m_Name;
  return {};
}

std::string sto_Catalogue::ClassName(unsigned int classId) const {
  std::string name = KnownClassName(classId);
  return name.empty() ? sto_ClassIdText(classId) : name;
}

std::string sto_Catalogue::DescribeClass(unsigned int classId) const {
  std::string name = KnownClassName(classId);
  return name.empty() ? "class " + sto_ClassIdText(classId) : name;
}

sto_ClassInUse* sto_Catalogue::ToWrite(sto_Driver& driver, unsigned int classId) {
  if (sto_ClassInUse* const* const recorded = m_Recorded.Find(classId)) return m_LatestToWrite = *recorded;
  auto found = m_InUse.find(classId);
  if (found == m_InUse.end()) {
    cls_ClassMetadata const* const metadata = m_Classes.Newest(classId);
    if (metadata == nullptr) return nullptr;
    found = m_InUse.try_emplace(classId, *metadata, m_Classes.DeclaringBase(*metadata)).first;
  }
  sto_ClassInUse& inUse = found->second;
  if (!inUse.m_IsRecorded) {
    Record(driver, inUse.Metadata());
    inUse.m_IsRecorded = true;
  }
  m_Recorded.Keep(classId, 0, &inUse);
  return &inUse;
}

void sto_Catalogue::Record(sto_Driver& driver, cls_ClassMetadata const& metadata) {
  Load(driver);
  cls_ClassNotes const* const notes = m_Classes.Notes(metadata.ClassId(), metadata.Version());
  sto_ClassRow declared = RowOf(metadata, notes);
  if (notes != nullptr) CheckNotes(*notes, declared);
  auto const [place, isNew] =
      m_StoredClasses.try_emplace(std::pair(declared.m_ClassId, declared.m_Version), declared);
  // A recovered store has classes without a name, of which only the shapes were left.
  if (!isNew && place->second.Row().m_Name.empty()) {
    place->second = sto_StoredClass(declared);
    WriteClass(driver, declared);
  }
  // Stores of format 1 have classes without a description of their attributes.
  bool const isFirstDescription = !isNew && place->second.Row().m_Attributes.empty();
  if (isFirstDescription) {
    place->second.Describe(declared.m_Attributes);
    CheckSame(place->second.Row(), declared);
  }
  if (isNew || (isFirstDescription && !declared.m_Attributes.empty()))
    WriteClass(driver, declared);
  else
    CheckSame(place->second.Row(), declared);
  if (notes == nullptr) return;
  RecordUnits(driver, place->second, declared);
  RecordNotes(driver, *notes, declared);
}

void sto_Catalogue::WriteClass(sto_Driver& driver, sto_ClassRow const& row) {
  m_HasWritten = true;
  NoteClass(row);
  driver.WriteClass(row);
}

bool sto_Catalogue::Adopt(sto_Driver& driver, sto_ClassRow const& row, sto_Catalogue& other,
                          sto_Driver& otherDriver) {
  Load(driver);
  // What cannot be read here must not be described here: the store could not be opened any more.
  if (FindStored(row.m_ClassId, row.m_Version) == nullptr && !row.m_Attributes.empty()) CheckChangesOf(row);
  auto const [place, isNew] = m_StoredClasses.try_emplace(std::pair(row.m_ClassId, row.m_Version), row);
  if (isNew) WriteClass(driver, row);
  sto_ClassRow const& there = place->second.Row();
  // Stores of format 1 have classes without a description of their attributes.
  if (row.m_Attributes.empty()) return true;
  bool hasMore = false;
  if (there.m_Name != row.m_Name || there.m_BaseClassId != row.m_BaseClassId ||
      !HasAttributesOf(there, row) || !place->second.TakeUnits(row.m_Attributes, hasMore).empty())
    return false;
  if (hasMore) WriteClass(driver, there);
  sto_StoredNotes const& from = other.LoadNotes(otherDriver);
  bool isAlike = AdoptNotes(driver, {row.m_ClassId, row.m_Version, {}}, from);
  for (sto_AttributeRow const& attribute : row.m_Attributes)
    isAlike = AdoptNotes(driver, {row.m_ClassId, row.m_Version, attribute.m_Name}, from) && isAlike;
  return isAlike;
}

sto_ClassRow const* sto_Catalogue::FindStored(unsigned int classId, int version) const {
  auto const found = m_StoredClasses.find({classId, version});
  return found == m_StoredClasses.end() ? nullptr : &found->second.Row();
}

std::string sto_Catalogue::Problem(sto_Part const& part, bool isReadable) {
  auto const found = m_StoredClasses.find({part.m_ClassId, part.m_Version});
  if (found == m_StoredClasses.end())
    return "table class does not describe class " + ClassName(part.m_ClassId) + " version " +
           std::to_string(part.m_Version);
  sto_StoredClass& stored = found->second;
  std::string problem = stored.Problem(part, [this](std::int64_t nameId) noexcept { return NameOf(nameId); });
  if (problem.empty() && isReadable)
    m_Readable.Keep(part.m_ClassId, static_cast<unsigned int>(part.m_Version), &stored);
  return problem;
}

bool sto_Catalogue::HasNewestBase(sto_Part const& part) {
  auto const found = m_StoredClasses.find({part.m_ClassId, part.m_Version});
  if (found == m_StoredClasses.end()) return true;
  std::optional<bool>& known = found->second.m_HasNewestBase;
  if (!known) {
    cls_ClassMetadata const* const newest = m_Classes.Newest(part.m_ClassId);
    unsigned int const base = found->second.Row().m_BaseClassId;
    cls_ClassChanges const* const changes = m_Classes.Changes(part.m_ClassId);
    known = newest == nullptr || newest->BaseClassId() == base || found->second.Row().m_Name.empty() ||
            (changes != nullptr && changes->HadBase(base));
  }
  return *known;
}

bool sto_Catalogue::IsDeclared(unsigned int classId, cls_FieldHandle const& field) const {
  cls_ClassMetadata const* const newest = m_Classes.Newest(classId);
  if (newest != nullptr && sto_FindDeclaration(*newest, field) != nullptr) return true;
  for (auto stored = m_StoredClasses.lower_bound({classId, std::numeric_limits<int>::min()});
       stored != m_StoredClasses.end() && stored->first.first == classId; ++stored)
    for (sto_AttributeRow const& attribute : stored->second.Row().m_Attributes)
      if (field.Name().IsEmpty() ? attribute.m_FieldId == field.FieldId()
                                 : attribute.m_Name == field.Name().View())
        return true;
  for (int const version : m_Classes.Versions(classId))
    if (sto_FindDeclaration(*m_Classes.ForVersion(classId, version), field) != nullptr) return true;
  return false;
}

void sto_Catalogue::CheckSame(sto_ClassRow const& stored, sto_ClassRow const& declared) const {
  if (stored.m_Name.empty()) return; // nothing is known of it
  auto const conflict = [&](std::string const& problem) {
    sto_Raise(sto_ErrorKind::Conflict, m_Location + ": Class " + declared.m_Name + " version " +
                                           std::to_string(declared.m_Version) + problem);
  };
  if (stored.m_Name != declared.m_Name)
    conflict(" has the class ID of a class that the store knows as " + stored.m_Name + ".");
  if (stored.m_BaseClassId != declared.m_BaseClassId)
    conflict(" is declared with another base class than the store has for it. Give it a new version.");
  if (HasAttributesOf(stored, declared)) return;
  if (DifferInOrder(stored, declared))
    conflict(
        " declares its attributes in another order than when the store was first given this version. Keep the "
        "order, or give the class a new version.");
  else
    conflict(" declares attribute " + Difference(stored, declared) +
             " differently than when the store was first given this version. Give the class a new version.");
}

std::int64_t sto_Catalogue::AddName(sto_Driver& driver, std::string_view name) {
  if (std::int64_t const id = FindName(driver, name)) return id;
  m_HasWritten = true;
  driver.AddName({m_NextNameId, std::string(name)});
  static_cast<void>(TakeName(name, m_NextNameId)); // name and number are both new
  return m_NextNameId++;
}

bool sto_Catalogue::TakeName(std::string_view name, std::int64_t id) {
  constexpr std::int64_t MaxIndexed = 100'000; // a damaged store may have a huge number
  if (name.empty() || id < 1 || !NameOf(id).empty()) return false;
  auto const [place, isNew] = m_NameIds.emplace(name, id);
  if (!isNew) return false;
  if (id > MaxIndexed) {
    m_FarNames.emplace(id, place->first);
    return true;
  }
  if (m_Names.size() <= static_cast<std::size_t>(id)) m_Names.resize(static_cast<std::size_t>(id) + 1);
  m_Names[static_cast<std::size_t>(id)] = cow_String(name);
  return true;
}

std::string_view sto_Catalogue::NameOf(std::int64_t id) const noexcept {
  if (id >= 0 && id < static_cast<std::int64_t>(m_Names.size())) {
    cow_String const& name = m_Names[static_cast<std::size_t>(id)];
    return name.HasText() ? name.View() : std::string_view();
  }
  auto const found = m_FarNames.find(id);
  return found == m_FarNames.end() ? std::string_view() : found->second;
}

std::string_view sto_Catalogue::FieldName(unsigned int classId, int version, sto_FieldKey const& key) const {
  if (key.m_NameId != 0) return NameOf(key.m_NameId);
  sto_ClassRow const* const row = FindStored(classId, version);
  if (row == nullptr) return {};
  auto const found = std::ranges::find(row->m_Attributes, key.m_FieldId, &sto_AttributeRow::m_FieldId);
  return found == row->m_Attributes.end() ? std::string_view() : std::string_view(found->m_Name);
}

unsigned int sto_Catalogue::BaseOf(unsigned int classId) const {
  unsigned int base = 0;
  if (cls_ClassMetadata const* const newest = m_Classes.Newest(classId)) {
    base = newest->BaseClassId();
  } else {
    auto const after = m_StoredClasses.upper_bound({classId, std::numeric_limits<int>::max()});
    if (after != m_StoredClasses.begin() && std::prev(after)->first.first == classId)
      base = std::prev(after)->second.Row().m_BaseClassId;
  }
  return base == classId || base == cls_ClassMetadata::RootClassId ? 0 : base;
}

std::int64_t sto_Catalogue::FindName(sto_Driver& driver, std::string_view name) {
  Load(driver);
  auto const found = m_NameIds.find(name);
  return found == m_NameIds.end() ? 0 : found->second;
}

void sto_Catalogue::ReadAll(sto_Driver& driver) {
  Forget();
  try {
    ReadClasses(driver);
    CheckChanges();
    ReadNames(driver);
    ReadShapes(driver);
  } catch (...) {
    Forget(); // a half-read catalogue must not be used
    throw;
  }
  m_IsLoaded = true;
}

void sto_Catalogue::ReadClasses(sto_Driver& driver) {
  for (sto_ClassRow& row : driver.Classes()) {
    std::string const name = row.m_Name + " version " + std::to_string(row.m_Version);
    std::ranges::sort(row.m_Attributes, {}, &sto_AttributeRow::m_Name);
    if (auto const twice = std::ranges::adjacent_find(row.m_Attributes, {}, &sto_AttributeRow::m_Name);
        twice != row.m_Attributes.end())
      RaiseDamaged("attribute describes attribute " + twice->m_Name + " of class " + name + " twice");
    std::pair const key(row.m_ClassId, row.m_Version);
    NoteClass(row);
    if (!m_StoredClasses.try_emplace(key, std::move(row)).second)
      RaiseDamaged("class describes class " + name + " twice");
  }
}

void sto_Catalogue::CheckChanges() const {
  if (!m_Classes.HasChanges()) return;
  bool const areDescribed = std::ranges::any_of( // not so in stores of format 1
      m_StoredClasses, [](auto const& entry) { return !entry.second.Row().m_Attributes.empty(); });
  if (!areDescribed) return;
  for (auto const& entry : m_StoredClasses) CheckChangesOf(entry.second.Row());
}

void sto_Catalogue::CheckChangesOf(sto_ClassRow const& stored) const {
  cls_ClassChanges const* const changes = m_Classes.Changes(stored.m_ClassId);
  cls_ClassMetadata const* const newest = m_Classes.Newest(stored.m_ClassId);
  if (changes == nullptr || newest == nullptr || stored.m_Name.empty()) return;
  if (m_Classes.ForVersion(stored.m_ClassId, stored.m_Version) != newest)
    return; // has a reader of its own, or is newer
  if (stored.m_Version == newest->Version())
    CheckSame(stored, RowOf(*newest, nullptr));
  else
    RaiseProblem(sto_ChangeProblem(*changes, *newest, stored));
  if (cls_ClassNotes const* const notes = m_Classes.Notes(stored.m_ClassId, newest->Version()))
    RaiseProblem(sto_UnitProblem(*changes, *newest, *notes, stored));
}

void sto_Catalogue::RaiseProblem(std::string const& problem) const {
  if (!problem.empty()) sto_Raise(sto_ErrorKind::Misuse, m_Location + ": " + problem);
}

void sto_Catalogue::ReadNames(sto_Driver& driver) {
  for (sto_NameRow const& row : driver.Names()) {
    if (!TakeName(row.m_Text, row.m_Id))
      RaiseDamaged("name has no text, or one that is there twice, under number " + std::to_string(row.m_Id));
    m_NextNameId = std::max(m_NextNameId, row.m_Id + 1);
  }
}

void sto_Catalogue::ReadShapes(sto_Driver& driver) {
  for (sto_ShapeRow const& row : driver.Shapes())
    if (!m_Shapes.Take(row.m_Id, row.m_Data))
      RaiseDamaged("shape has a damaged row under number " + std::to_string(row.m_Id));
}

sto_NumberedShape const* sto_Catalogue::ShapeToWrite(sto_Driver& driver, sto_RecordBuilder& builder,
                                                     sto_ClassInUse* inUse) {
  if (inUse != nullptr)
    if (sto_NumberedShape const* const recent = inUse->FindRecentShape(builder)) return recent;
  Load(driver);
  sto_NumberedShape const* shape = m_Shapes.Find(builder);
  if (shape == nullptr) {
    sto_Bytes stored;
    shape = m_Shapes.Add(builder, stored);
    if (shape == nullptr) return nullptr;
    m_HasWritten = true;
    driver.AddShape({shape->m_Number, std::move(stored)});
  }
  if (inUse != nullptr) inUse->NoteRecentShape(m_Shapes.Share(shape->m_Number));
  return shape;
}

void sto_Catalogue::RaiseDamaged(std::string const& problem) const {
  sto_Raise(sto_ErrorKind::Damaged,
            m_Location + ": The store's catalogue is damaged: table " + problem + ".");
}
