#include "store/check/sto_CheckCatalogue.h"

#include <algorithm>
#include <limits>

#include "store/format/sto_TypeNames.h"

void sto_CheckCatalogue::AddFinding(char const* table, std::int64_t key, std::string text,
                                    unsigned int classId) {
  sto_CheckFinding finding;
  finding.m_Kind = sto_CheckKind::Catalogue;
  finding.m_Table = table;
  finding.m_Key = key;
  if (classId != 0) finding.m_Class = ClassName(classId);
  finding.m_Text = std::move(text);
  m_Results.Add(std::move(finding));
}

void sto_CheckCatalogue::TakeClass(sto_ClassRow const& row, bool isSound) {
  ++m_Results.Counts().m_Classes;
  m_Classes.try_emplace({row.m_ClassId, row.m_Version}, Class{sto_StoredClass(row), isSound});
  auto const& attributes = row.m_Attributes;
  for (std::size_t i = 1; i < attributes.size(); ++i)
    if (attributes[i].m_Name == attributes[i - 1].m_Name)
      AddFinding("attribute", row.m_ClassId,
                 "Table attribute describes attribute " + attributes[i].m_Name + " of class " + row.m_Name +
                     " version " + std::to_string(row.m_Version) + " twice.",
                 row.m_ClassId);
}

void sto_CheckCatalogue::TakeName(sto_NameRow const& row, bool isSound) {
  bool const isNumber = row.m_Id >= 1 && row.m_Id <= sto_Format::MaxObjectId;
  bool const isNew = m_Names.try_emplace(row.m_Id, row.m_Text).second;
  bool const isNewText = m_Texts.insert(row.m_Text).second;
  if (isSound && (!isNumber || !isNew || !isNewText || row.m_Text.empty()))
    AddFinding("name", row.m_Id,
               "Row " + std::to_string(row.m_Id) +
                   " of table name has no text, an invalid number, or a text or number that is there twice.");
}

void sto_CheckCatalogue::TakeShape(sto_ShapeRow const& row, bool isSound) {
  ++m_Results.Counts().m_Shapes;
  if (isSound && m_Shapes.Take(row.m_Id, row.m_Data)) return m_Numbers.push_back(row.m_Id);
  m_DamagedShapes.insert(row.m_Id);
  if (isSound)
    AddFinding("shape", row.m_Id,
               "Row " + std::to_string(row.m_Id) +
                   " of table shape is no shape, or one that is there twice.");
}

void sto_CheckCatalogue::Finish() {
  for (std::int64_t const number : m_Numbers) {
    sto_NumberedShape const& shape = *m_Shapes.Find(number);
    CheckShape(shape);
    NoteCollections(shape);
  }
}

void sto_CheckCatalogue::CheckShape(sto_NumberedShape const& shape) {
  std::vector<sto_Field> fields;
  for (sto_ShapeField const& described : shape.m_Shape.m_Fields) {
    sto_Field field;
    field.m_Key = described.m_Key;
    field.m_Tag = described.m_Tag;
    fields.push_back(field);
  }
  auto first = fields.begin();
  for (sto_ShapePart const& described : shape.m_Shape.m_Parts) {
    sto_Part const part{described.m_ClassId, described.m_Version, 0, {first, described.m_FieldCount}};
    first += static_cast<std::ptrdiff_t>(described.m_FieldCount);
    if (std::string const problem = Problem(part); !problem.empty())
      AddFinding("shape", shape.m_Number,
                 "Shape " + std::to_string(shape.m_Number) + " does not fit the catalogue: " + problem + ".",
                 part.m_ClassId);
  }
}

sto_AttributeRow const* sto_CheckCatalogue::FindAttribute(sto_ShapePart const& part,
                                                          sto_FieldKey const& key) const {
  auto const found = m_Classes.find({part.m_ClassId, part.m_Version});
  if (found == m_Classes.end() || !found->second.m_IsSound) return nullptr;
  std::string_view const name = NameOf(key.m_NameId);
  for (sto_AttributeRow const& attribute : found->second.m_Stored.Row().m_Attributes)
    if (key.m_NameId != 0 ? attribute.m_Name == name : attribute.m_FieldId == key.m_FieldId)
      return &attribute;
  return nullptr;
}

void sto_CheckCatalogue::NoteCollections(sto_NumberedShape const& shape) {
  std::vector<sto_AttributeRow const*> declared;
  bool isAny = false;
  auto field = shape.m_Shape.m_Fields.begin();
  for (sto_ShapePart const& part : shape.m_Shape.m_Parts)
    for (std::size_t i = 0; i < part.m_FieldCount; ++i, ++field) {
      sto_AttributeRow const* const attribute =
          field->m_Tag == sto_Format::Object ? FindAttribute(part, field->m_Key) : nullptr;
      bool const isCollection = attribute != nullptr && attribute->m_CollectionType != COLLECTION_NONE;
      declared.push_back(isCollection ? attribute : nullptr);
      isAny = isAny || isCollection;
    }
  if (isAny) m_Collections.emplace(shape.m_Number, std::move(declared));
}

sto_Shape const* sto_CheckCatalogue::FindShape(std::int64_t number) const noexcept {
  sto_NumberedShape const* const found = m_Shapes.Find(number);
  return found == nullptr ? nullptr : &found->m_Shape;
}

std::vector<sto_AttributeRow const*> const& sto_CheckCatalogue::CollectionsOf(std::int64_t shape) const {
  static std::vector<sto_AttributeRow const*> const s_None;
  auto const found = m_Collections.find(shape);
  return found == m_Collections.end() ? s_None : found->second;
}

std::string_view sto_CheckCatalogue::NameOf(std::int64_t id) const noexcept {
  auto const found = m_Names.find(id);
  return found == m_Names.end() ? std::string_view() : std::string_view(found->second);
}

std::string sto_CheckCatalogue::ClassName(unsigned int classId) const {
  auto const found = m_Classes.lower_bound({classId, std::numeric_limits<int>::min()});
  bool const isKnown = found != m_Classes.end() && found->first.first == classId &&
                       !found->second.m_Stored.Row().m_Name.empty();
  return isKnown ? found->second.m_Stored.Row().m_Name : "class " + sto_ClassIdText(classId);
}

std::string_view sto_CheckCatalogue::FieldName(sto_ShapePart const& part, sto_FieldKey const& key) const {
  if (key.m_NameId != 0) return NameOf(key.m_NameId);
  sto_AttributeRow const* const attribute = FindAttribute(part, key);
  return attribute == nullptr ? std::string_view() : std::string_view(attribute->m_Name);
}

std::string sto_CheckCatalogue::AttributeName(sto_FieldKey const& key) const {
  if (key.m_NameId == 0) return "number " + std::to_string(key.m_FieldId);
  std::string_view const name = NameOf(key.m_NameId);
  return name.empty() ? "with name " + std::to_string(key.m_NameId) : std::string(name);
}

std::string sto_CheckCatalogue::Problem(sto_Part const& part) {
  auto const found = m_Classes.find({part.m_ClassId, part.m_Version});
  if (found == m_Classes.end())
    return "table class does not describe " + ClassName(part.m_ClassId) + " version " +
           std::to_string(part.m_Version);
  if (!found->second.m_IsSound) return {};
  return found->second.m_Stored.Problem(part, [this](std::int64_t id) noexcept { return NameOf(id); });
}
