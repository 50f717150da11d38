#include "store/sqlite/sto_SqliteStoredClass.h"

#include <algorithm>
#include <utility>

char const* sto_SqliteStoredClass::ReadClasses(bool hasChecksums) noexcept {
  return hasChecksums ? "SELECT class_id, version, name, base_class_id, checksum FROM class"
                      : "SELECT class_id, version, name, base_class_id, 0 FROM class";
}

char const* sto_SqliteStoredClass::ReadAttributes(bool hasChecksums) noexcept {
  return hasChecksums ? "SELECT class_id, version, name, field_id, type, type_arg, collection_type, unit, "
                        "default_value FROM attribute"
                      : "SELECT class_id, version, name, field_id, type, type_arg, collection_type, '', NULL "
                        "FROM attribute";
}

sto_SqliteStoredClass::Attribute sto_SqliteStoredClass::Attribute::Of(sto_SqliteStatement::Use const& use) {
  Attribute attribute;
  // Types first: reading a value may convert it.
  attribute.m_HasRightTypes = use.TypeOf(2) == sto_SqliteType::Text && use.TypeOf(7) == sto_SqliteType::Text;
  for (int const column : {0, 1, 3, 4, 5, 6})
    attribute.m_HasRightTypes = attribute.m_HasRightTypes && use.TypeOf(column) == sto_SqliteType::Integer;
  if (use.TypeOf(8) != sto_SqliteType::Other) attribute.m_Default = use.Text(8);
  attribute.m_Name = use.Text(2);
  attribute.m_Numbers = {use.Integer(3), use.Integer(4), use.Integer(5), use.Integer(6)};
  attribute.m_Unit = use.Text(7);
  return attribute;
}

sto_SqliteStoredClass sto_SqliteStoredClass::Of(sto_SqliteStatement::Use const& use) {
  sto_SqliteStoredClass stored;
  stored.m_HasRightTypes = use.TypeOf(2) == sto_SqliteType::Text;
  for (int const column : {0, 1, 3, 4})
    stored.m_HasRightTypes = stored.m_HasRightTypes && use.TypeOf(column) == sto_SqliteType::Integer;
  stored.m_ClassId = use.Integer(0);
  stored.m_Version = use.Integer(1);
  stored.m_Name = use.Text(2);
  stored.m_BaseClassId = use.Integer(3);
  stored.m_Checksum = use.Integer(4);
  return stored;
}

sto_SqliteStoredClass sto_SqliteStoredClass::Of(sto_ClassRow const& row) {
  sto_SqliteStoredClass stored;
  stored.m_ClassId = row.m_ClassId;
  stored.m_Version = row.m_Version;
  stored.m_Name = row.m_Name;
  stored.m_BaseClassId = row.m_BaseClassId;
  for (sto_AttributeRow const& attribute : row.m_Attributes)
    stored.Add({attribute.m_Name,
                {attribute.m_FieldId, attribute.m_Type, attribute.m_TypeArg, attribute.m_CollectionType},
                attribute.m_Unit,
                attribute.m_Default});
  stored.SortAttributes();
  return stored;
}

sto_ClassRow sto_SqliteStoredClass::Row() const {
  sto_ClassRow row{static_cast<unsigned int>(m_ClassId),
                   static_cast<int>(m_Version),
                   m_Name,
                   static_cast<unsigned int>(m_BaseClassId),
                   {}};
  for (Attribute const& attribute : m_Attributes) {
    auto const& [fieldId, type, typeArg, collectionType] = attribute.m_Numbers;
    row.m_Attributes.push_back({attribute.m_Name, static_cast<int>(fieldId), static_cast<int>(type),
                                static_cast<unsigned int>(typeArg), static_cast<int>(collectionType),
                                attribute.m_Unit, attribute.m_Default});
  }
  return row;
}

void sto_SqliteStoredClass::Add(Attribute attribute) {
  m_HasRightTypes = m_HasRightTypes && attribute.m_HasRightTypes;
  m_Attributes.push_back(std::move(attribute));
}

void sto_SqliteStoredClass::SortAttributes() {
  std::ranges::sort(m_Attributes, {}, &Attribute::m_Name);
}

void sto_SqliteStoredClass::Encode(sto_RowChecksum& checksum) const {
  checksum.Begin().Integer(m_ClassId).Integer(m_Version).Text(m_Name).Integer(m_BaseClassId);
  for (Attribute const& attribute : m_Attributes) {
    checksum.Text(attribute.m_Name);
    for (std::int64_t const number : attribute.m_Numbers) checksum.Integer(number);
    checksum.Text(attribute.m_Unit);
    if (attribute.m_Default)
      checksum.Text(*attribute.m_Default);
    else
      checksum.Other();
  }
}
