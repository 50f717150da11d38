#include "store/sqlite/sto_SqliteCatalogue.h"

#include <algorithm>
#include <array>
#include <map>
#include <string>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/format/sto_Format.h"
#include "store/format/sto_TypeNames.h"
#include "store/sqlite/sto_SqliteColumns.h"

/// A class version as it is in the file: the numbers may be longer than a program's.
struct sto_SqliteCatalogue::StoredClass {
  struct Attribute {
    std::string m_Name;
    std::array<std::int64_t, 4> m_Numbers; // field id, type, type argument, collection type
    std::string m_Unit;
    std::optional<std::string> m_Default;
  };
  std::int64_t m_ClassId, m_Version;
  std::string m_Name;
  std::int64_t m_BaseClassId, m_Checksum;
  std::vector<Attribute> m_Attributes;

  [[nodiscard]] std::string Describe() const {
    return "the row of class " + sto_ClassIdText(static_cast<unsigned int>(m_ClassId)) + " version " +
           std::to_string(m_Version);
  }
  [[nodiscard]] sto_ClassRow Row() const {
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
  static StoredClass Of(sto_ClassRow const& row) {
    StoredClass stored{row.m_ClassId, row.m_Version, row.m_Name, row.m_BaseClassId, 0, {}};
    for (sto_AttributeRow const& attribute : row.m_Attributes)
      stored.m_Attributes.push_back(
          {attribute.m_Name,
           {attribute.m_FieldId, attribute.m_Type, attribute.m_TypeArg, attribute.m_CollectionType},
           attribute.m_Unit,
           attribute.m_Default});
    return stored;
  }
};

sto_SqliteCatalogue::sto_SqliteCatalogue(sto_SqliteConnection& connection, sto_SqliteChanges& changes)
    : m_Connection(connection), m_Noted(changes),
      m_HasClass(connection, "SELECT 1 FROM class WHERE class_id = ? AND version = ?"),
      m_WriteClass(connection, "REPLACE INTO class(class_id, version, name, base_class_id, checksum) "
                               "VALUES(?, ?, ?, ?, ?)"),
      m_WriteAttribute(connection,
                       "REPLACE INTO attribute(class_id, version, name, field_id, type, type_arg, "
                       "collection_type, unit, default_value) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?)"),
      m_AddName(connection, "INSERT INTO name(id, text, checksum) VALUES(?, ?, ?)"),
      m_AddShape(connection, "INSERT INTO shape(id, data, checksum) VALUES(?, ?, ?)") {}

void sto_SqliteCatalogue::Use(std::int64_t formatVersion, sto_ByteView uuid) {
  m_FormatVersion = formatVersion;
  m_Checksums.reset();
  if (formatVersion > sto_Format::VersionWithoutShapes) m_Checksums.emplace(uuid);
}

void sto_SqliteCatalogue::RaiseUnfit(std::string const& row) const {
  sto_Raise(sto_ErrorKind::Damaged, m_Connection.Path() + ": The store's catalogue is damaged: " + row +
                                        " does not fit its checksum.");
}

std::int64_t sto_SqliteCatalogue::ChecksumOf(StoredClass const& row) {
  sto_RowChecksum& checksum = m_Checksums->m_Class.Begin();
  checksum.Integer(row.m_ClassId).Integer(row.m_Version).Text(row.m_Name).Integer(row.m_BaseClassId);
  for (StoredClass::Attribute const& attribute : row.m_Attributes) {
    checksum.Text(attribute.m_Name);
    for (std::int64_t const number : attribute.m_Numbers) checksum.Integer(number);
    checksum.Text(attribute.m_Unit);
    if (attribute.m_Default)
      checksum.Text(*attribute.m_Default);
    else
      checksum.Other();
  }
  return checksum.Value();
}

std::vector<sto_SqliteCatalogue::StoredClass> sto_SqliteCatalogue::StoredClasses() {
  std::vector<StoredClass> classes;
  {
    sto_SqliteStatement statement(
        m_Connection, m_Checksums ? "SELECT class_id, version, name, base_class_id, checksum FROM class"
                                  : "SELECT class_id, version, name, base_class_id, 0 FROM class");
    sto_SqliteStatement::Use use(statement);
    for (use.AllowAllRows(); use.Step();)
      classes.push_back({use.Integer(0), use.Integer(1), use.Text(2), use.Integer(3), use.Integer(4), {}});
  }
  if (m_FormatVersion > sto_Format::VersionWithoutAttributes) ReadAttributes(classes);
  for (StoredClass& row : classes) {
    std::ranges::sort(row.m_Attributes, {}, &StoredClass::Attribute::m_Name);
    if (m_Checksums && ChecksumOf(row) != row.m_Checksum)
      RaiseUnfit(row.Describe() + " in table class, with its attributes in table attribute,");
  }
  return classes;
}

std::vector<sto_ClassRow> sto_SqliteCatalogue::Classes() {
  std::vector<sto_ClassRow> rows;
  for (StoredClass const& row : StoredClasses()) rows.push_back(row.Row());
  return rows;
}

void sto_SqliteCatalogue::RemoveFromSum(StoredClass const& replacement) {
  if (!sto_SqliteStatement::Use(m_HasClass)
           .Bind(1, replacement.m_ClassId)
           .Bind(2, replacement.m_Version)
           .Step())
    return;
  for (StoredClass const& row : StoredClasses())
    if (row.m_ClassId == replacement.m_ClassId && row.m_Version == replacement.m_Version) {
      static_cast<void>(ChecksumOf(row));
      m_Noted.RemoveRow("class", m_Checksums->m_Class.Row());
    }
}

void sto_SqliteCatalogue::ReadAttributes(std::vector<StoredClass>& classes) {
  std::map<std::pair<std::int64_t, std::int64_t>, StoredClass*> byVersion;
  for (StoredClass& row : classes) byVersion[{row.m_ClassId, row.m_Version}] = &row;
  // One statement for all classes, so that its count of steps ends it on a damaged tree.
  sto_SqliteStatement statement(m_Connection,
                                m_Checksums ? "SELECT class_id, version, name, field_id, type, type_arg, "
                                              "collection_type, unit, default_value FROM attribute"
                                            : "SELECT class_id, version, name, field_id, type, type_arg, "
                                              "collection_type, '', NULL FROM attribute");
  sto_SqliteStatement::Use use(statement);
  for (use.AllowAllRows(); use.Step();) {
    auto const found = byVersion.find({use.Integer(0), use.Integer(1)});
    if (found != byVersion.end()) {
      std::optional<std::string> value; // before it is read: reading may convert it
      if (use.TypeOf(8) != sto_SqliteType::Other) value = use.Text(8);
      found->second->m_Attributes.push_back({use.Text(2),
                                             {use.Integer(3), use.Integer(4), use.Integer(5), use.Integer(6)},
                                             use.Text(7),
                                             std::move(value)});
    } else if (m_Checksums)
      sto_Raise(sto_ErrorKind::Damaged,
                m_Connection.Path() + ": The store's catalogue is damaged: table attribute has attribute " +
                    use.Text(2) + " of class " + sto_ClassIdText(static_cast<unsigned int>(use.Integer(0))) +
                    " version " + std::to_string(use.Integer(1)) + ", which is not in table class.");
  }
}

std::vector<sto_NameRow> sto_SqliteCatalogue::Names() {
  sto_SqliteStatement statement(m_Connection, m_Checksums ? "SELECT id, text, checksum FROM name"
                                                          : "SELECT id, text FROM name");
  sto_SqliteStatement::Use use(statement);
  std::vector<sto_NameRow> rows;
  for (use.AllowAllRows(); use.Step();) {
    sto_NameRow row{use.Integer(0), use.Text(1)};
    if (m_Checksums &&
        m_Checksums->m_Name.Begin().Integer(row.m_Id).Text(row.m_Text).Value() != use.Integer(2))
      RaiseUnfit("row " + std::to_string(row.m_Id) + " of table name");
    // No sound store reaches this number. A row there would leave no number for the next name.
    if (row.m_Id < 1 || row.m_Id > sto_Format::MaxObjectId)
      sto_Raise(sto_ErrorKind::Damaged, m_Connection.Path() + ": The store's attribute names are damaged.");
    rows.push_back(std::move(row));
  }
  return rows;
}

std::vector<sto_ShapeRow> sto_SqliteCatalogue::Shapes() {
  std::vector<sto_ShapeRow> rows;
  if (!m_Checksums) return rows;
  sto_SqliteStatement statement(m_Connection, "SELECT id, data, checksum FROM shape");
  sto_SqliteStatement::Use use(statement);
  for (use.AllowAllRows(); use.Step();) {
    sto_ByteView const data = use.Bytes(1);
    if (m_Checksums->m_Shape.Begin().Integer(use.Integer(0)).Bytes(data).Value() != use.Integer(2))
      RaiseUnfit("row " + std::to_string(use.Integer(0)) + " of table shape");
    rows.push_back({use.Integer(0), sto_Bytes(data.begin(), data.end())});
  }
  return rows;
}

void sto_SqliteCatalogue::WriteClass(sto_ClassRow const& row) {
  StoredClass stored = StoredClass::Of(row);
  std::ranges::sort(stored.m_Attributes, {}, &StoredClass::Attribute::m_Name);
  RemoveFromSum(stored);
  std::int64_t const checksum = ChecksumOf(stored);
  m_Noted.AddRow("class", m_Checksums->m_Class.Row());
  sto_SqliteStatement::Use(m_WriteClass)
      .Bind(1, stored.m_ClassId)
      .Bind(2, stored.m_Version)
      .Bind(3, std::string_view(stored.m_Name))
      .Bind(4, stored.m_BaseClassId)
      .Bind(5, checksum)
      .Step();
  for (StoredClass::Attribute const& attribute : stored.m_Attributes) {
    sto_SqliteStatement::Use use(m_WriteAttribute);
    use.Bind(1, stored.m_ClassId).Bind(2, stored.m_Version).Bind(3, std::string_view(attribute.m_Name));
    for (int i = 0; i < 4; ++i) use.Bind(4 + i, attribute.m_Numbers[static_cast<std::size_t>(i)]);
    use.Bind(8, std::string_view(attribute.m_Unit));
    if (attribute.m_Default) use.Bind(9, std::string_view(*attribute.m_Default));
    use.Step();
  }
}

void sto_SqliteCatalogue::AddName(sto_NameRow const& row) {
  std::int64_t const checksum = m_Checksums->m_Name.Begin().Integer(row.m_Id).Text(row.m_Text).Value();
  m_Noted.AddRow("name", m_Checksums->m_Name.Row());
  sto_SqliteStatement::Use(m_AddName)
      .Bind(1, row.m_Id)
      .Bind(2, std::string_view(row.m_Text))
      .Bind(3, checksum)
      .Step();
}

void sto_SqliteCatalogue::AddShape(sto_ShapeRow const& row) {
  std::int64_t const checksum = m_Checksums->m_Shape.Begin().Integer(row.m_Id).Bytes(row.m_Data).Value();
  m_Noted.AddRow("shape", m_Checksums->m_Shape.Row());
  sto_SqliteStatement::Use(m_AddShape)
      .Bind(1, row.m_Id)
      .Bind(2, sto_ByteView(row.m_Data))
      .Bind(3, checksum)
      .Step();
}
