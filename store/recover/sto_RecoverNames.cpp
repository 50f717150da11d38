#include "store/recover/sto_RecoverNames.h"

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "store/format/sto_Shape.h"
#include "store/format/sto_TagFits.h"
#include "store/format/sto_TypeNames.h"

namespace {

using ClassKey = std::pair<unsigned int, int>;

/// Where a name is used as that of an attribute.
struct UseOfName {
  ClassKey m_Class;
  std::uint8_t m_Tag;
};

class Completer {
 public:
  Completer(sto_SqliteCatalogue& catalogue, sto_RecoverResults& results)
      : m_Catalogue(catalogue), m_Results(results) {
    for (sto_ClassRow& row : catalogue.Classes()) {
      ClassKey const key{row.m_ClassId, row.m_Version};
      m_Classes.try_emplace(key, std::move(row));
    }
    for (sto_NameRow& row : catalogue.Names()) Know(row.m_Id, std::move(row.m_Text));
  }

  void Take(sto_Shape const& shape) {
    std::size_t field = 0;
    for (std::size_t i = 0; i < shape.m_Parts.size(); ++i) {
      sto_ShapePart const& part = shape.m_Parts[i];
      ClassKey const key{part.m_ClassId, part.m_Version};
      if (!m_Classes.contains(key))
        AddClass(key, i + 1 < shape.m_Parts.size() ? shape.m_Parts[i + 1].m_ClassId : 1);
      for (std::size_t end = field + part.m_FieldCount; field < end; ++field) {
        sto_ShapeField const& described = shape.m_Fields[field];
        if (described.m_Key.m_NameId == 0) continue;
        m_Used[described.m_Key.m_NameId].push_back({key, described.m_Tag});
      }
    }
    for (sto_NestedType const& type : shape.m_Types)
      for (auto const& node : type.Nodes())
        if (node.m_Key.m_NameId != 0) m_Used[node.m_Key.m_NameId]; // a member's name
  }

  void AddNames(std::map<std::int64_t, std::string> const& inIndex) {
    for (auto const& [id, text] : inIndex) { // units are in records only
      bool const isNew = id >= 1 && id <= sto_Format::MaxObjectId && !text.empty() && !m_Texts.contains(text);
      if (isNew) m_Used[id];
    }
    for (auto const& [id, uses] : m_Used) {
      if (m_Names.contains(id) || id < 1) continue;
      auto const indexed = inIndex.find(id);
      std::string text = indexed == inIndex.end() ? std::string() : indexed->second;
      if (m_Texts.contains(text) || !Fits(text, uses)) text.clear();
      bool const isFromIndex = !text.empty();
      if (text.empty()) text = OnlyAttribute(uses);
      bool const isLost = text.empty();
      if (isLost) text = NewName(id);
      if (isLost) ForgetDescriptions(uses);
      m_Catalogue.AddName({id, text});
      // A name that an attribute bears out is right; one of the index alone is probably.
      if (isLost || (isFromIndex && uses.empty())) Report(id, text, isLost);
      Know(id, std::move(text));
    }
  }

 private:
  void Know(std::int64_t id, std::string text) {
    m_Texts.insert(text);
    m_Names[id] = std::move(text);
  }

  void AddClass(ClassKey const& key, unsigned int base) {
    sto_ClassRow row{key.first, key.second, {}, base, {}};
    m_Catalogue.WriteClass(row); // without a name: the next program that saves an object describes it
    std::string name = "class " + sto_ClassIdText(key.first);
    for (auto const& [other, known] : m_Classes)
      if (other.first == key.first && !known.m_Name.empty()) name = known.m_Name;
    sto_LostItem item;
    item.m_Kind = sto_LostKind::Class;
    item.m_Class = name;
    item.m_Text = "The description of version " + std::to_string(key.second) + " of " + name +
                  " is lost; its objects are there.";
    m_Results.Add(std::move(item));
    m_Classes.try_emplace(key, std::move(row));
  }

  /// Whether a text can be the name of all attributes where it is used.
  [[nodiscard]] bool Fits(std::string const& text, std::vector<UseOfName> const& uses) const {
    return !text.empty() && std::ranges::all_of(uses, [&](UseOfName const& use) {
      sto_ClassRow const& row = m_Classes.at(use.m_Class);
      auto const found = std::ranges::find(row.m_Attributes, text, &sto_AttributeRow::m_Name);
      if (row.m_Attributes.empty()) return true;
      if (found == row.m_Attributes.end()) return false;
      auto const tag = static_cast<sto_Format::ValueTag>(use.m_Tag);
      return found->m_CollectionType != 0 ? tag == sto_Format::Object
                                          : sto_TagFits(tag, static_cast<cls_AttributeType>(found->m_Type));
    });
  }

  /// The only attribute that a name can be; empty if there are several, or none.
  [[nodiscard]] std::string OnlyAttribute(std::vector<UseOfName> const& uses) const {
    std::set<std::string> candidates;
    for (UseOfName const& use : uses)
      for (sto_AttributeRow const& attribute : m_Classes.at(use.m_Class).m_Attributes)
        if (!m_Texts.contains(attribute.m_Name) && Fits(attribute.m_Name, uses))
          candidates.insert(attribute.m_Name);
    return candidates.size() == 1 ? *candidates.begin() : std::string();
  }

  [[nodiscard]] std::string NewName(std::int64_t id) const {
    std::string text = "lost-name-" + std::to_string(id);
    while (m_Texts.contains(text)) text += '_';
    return text;
  }

  /// The next program that saves an object describes its class again.
  void ForgetDescriptions(std::vector<UseOfName> const& uses) {
    for (UseOfName const& use : uses) {
      sto_ClassRow& row = m_Classes.at(use.m_Class);
      if (row.m_Attributes.empty()) continue;
      row.m_Attributes.clear();
      m_Catalogue.WriteClass(row);
    }
  }

  void Report(std::int64_t id, std::string const& text, bool isLost) {
    sto_LostItem item;
    item.m_Kind = sto_LostKind::Name;
    item.m_First = id;
    item.m_Count = 1;
    item.m_Text =
        isLost ? "Name " + std::to_string(id) + " is lost; what had it is now called " + text + "."
               : "Name " + std::to_string(id) + ", " + text + ", was found only where it has no checksum.";
    m_Results.Add(std::move(item));
  }

  sto_SqliteCatalogue& m_Catalogue;
  sto_RecoverResults& m_Results;
  std::map<ClassKey, sto_ClassRow> m_Classes;
  std::map<std::int64_t, std::string> m_Names;
  std::set<std::string> m_Texts;
  std::map<std::int64_t, std::vector<UseOfName>> m_Used;
};

} // namespace

void sto_CompleteNames(sto_SqliteCatalogue& catalogue, std::map<std::int64_t, std::string> const& inIndex,
                       sto_RecoverResults& results) {
  Completer completer(catalogue, results);
  for (sto_ShapeRow const& row : catalogue.Shapes()) {
    sto_ByteReader reader(row.m_Data);
    sto_Shape shape;
    if (shape.Decode(reader)) completer.Take(shape);
  }
  completer.AddNames(inIndex);
}
