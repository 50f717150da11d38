#include "store/server/sto_ServerNames.h"

#include <algorithm>
#include <utility>

#include "store/format/sto_Checksum.h"

namespace {

/// Big-endian, with the sign moved so that negative numbers come first.
template <class Number> void AppendNumber(std::string& name, Number number) {
  for (int shift = 8 * static_cast<int>(sizeof number) - 8; shift >= 0; shift -= 8)
    name += static_cast<char>((number >> shift) & 0xFF);
}
void AppendId(std::string& name, std::int64_t id) {
  AppendNumber(name, static_cast<std::uint64_t>(id));
}
std::string Numbered(sto_NamedKind kind, std::int64_t number) {
  std::string name(1, static_cast<char>(kind));
  AppendId(name, number);
  return name;
}
std::string OnClass(sto_NamedKind kind, unsigned int classId, int version) {
  std::string name(1, static_cast<char>(kind));
  AppendNumber(name, static_cast<std::uint32_t>(classId));
  AppendNumber(name, static_cast<std::uint32_t>(version) ^ 0x80000000U);
  return name;
}
std::string OnAttribute(sto_NamedKind kind, sto_OnAttribute const& on, std::string_view what) {
  std::string name = OnClass(kind, on.m_ClassId, on.m_Version);
  name += on.m_Attribute;
  name += '\0';
  name += what;
  return name;
}

std::string_view TableOf(char kind) noexcept {
  switch (static_cast<sto_NamedKind>(kind)) {
  case sto_NamedKind::Class:
    return "class";
  case sto_NamedKind::Name:
    return "name";
  case sto_NamedKind::Shape:
    return "shape";
  case sto_NamedKind::Enumerator:
    return "enumerator";
  case sto_NamedKind::Note:
    return "note";
  default:
    return {};
  }
}

} // namespace

sto_NameRange sto_NamesFrom(std::string prefix) {
  std::string end = prefix;
  while (!end.empty() && static_cast<unsigned char>(end.back()) == 0xFF) end.pop_back();
  if (!end.empty()) ++end.back();
  return {std::move(prefix), std::move(end)};
}
sto_NameRange sto_NamesOf(sto_NamedKind kind) {
  return sto_NamesFrom(std::string(1, static_cast<char>(kind)));
}

std::string sto_NameOf(sto_ClassRow const& row) {
  return OnClass(sto_NamedKind::Class, row.m_ClassId, row.m_Version);
}
std::string sto_NameOf(sto_NameRow const& row) {
  return Numbered(sto_NamedKind::Name, row.m_Id);
}
std::string sto_NameOf(sto_ShapeRow const& row) {
  return Numbered(sto_NamedKind::Shape, row.m_Id);
}
std::string sto_NameOf(sto_EnumeratorRow const& row) {
  return OnAttribute(sto_NamedKind::Enumerator, row.m_On, row.m_Name);
}
std::string sto_NameOf(sto_NoteRow const& row) {
  return OnAttribute(sto_NamedKind::Note, row.m_On, row.m_Name);
}
std::string sto_NameOfRoot(std::string_view root) {
  return std::string(1, static_cast<char>(sto_NamedKind::Root)).append(root);
}
std::string sto_NameOfIndex(std::int64_t number) {
  return Numbered(sto_NamedKind::Index, number);
}
std::string sto_EntriesOfIndex(std::int64_t number) {
  return Numbered(sto_NamedKind::IndexEntry, number);
}
std::string sto_EntriesWithKey(std::int64_t number, std::string_view key) {
  std::string name = sto_EntriesOfIndex(number);
  for (char const c : key) {
    name += c;
    if (c == '\0') name += '\xFF';
  }
  return name.append(2, '\0');
}
std::string sto_NameOfEntry(std::int64_t number, sto_IndexEntry const& entry) {
  std::string name = sto_EntriesWithKey(number, entry.m_Key);
  AppendId(name, entry.m_Id);
  return name;
}

/// Reads the values of a row. Fails at the first one that has another type than the one asked for.
class sto_ServerRows::Reader {
 public:
  Reader(std::uint64_t seed, sto_ByteView bytes) : m_Reader(bytes), m_IsSound(sto_Unseal(seed, bytes)) {
    m_Reader = sto_ByteReader(m_IsSound ? bytes : sto_ByteView());
  }

  std::int64_t Integer() {
    Type(1);
    return m_Reader.Number<std::int64_t>();
  }
  template <class Number> Number Integer(Number& number) {
    std::int64_t const value = Integer();
    number = static_cast<Number>(value);
    m_IsSound = m_IsSound && static_cast<std::int64_t>(number) == value;
    return number;
  }
  std::string Text() { return std::string(sto_AsText(Sized(2))); }
  sto_ByteView Bytes() { return Sized(3); }
  std::optional<std::string> TextOrNothing() {
    if (m_Reader.Remaining() == 0 || *m_Reader.Position() != std::byte{0}) return Text();
    Type(0);
    return std::nullopt;
  }
  [[nodiscard]] bool HasMore() const { return !m_Reader.Failed() && m_IsSound && m_Reader.Remaining() != 0; }
  [[nodiscard]] bool IsSound() const { return m_IsSound && !m_Reader.Failed() && m_Reader.Remaining() == 0; }

 private:
  void Type(std::uint8_t type) { m_IsSound = m_IsSound && m_Reader.U8() == type; }
  sto_ByteView Sized(std::uint8_t type) {
    Type(type);
    return m_IsSound ? m_Reader.Raw(m_Reader.Varint()) : sto_ByteView();
  }

  sto_ByteReader m_Reader;
  bool m_IsSound;
};

sto_ServerRows::sto_ServerRows(sto_ByteView uuid) : m_Seed(sto_Checksum(0, uuid)), m_Row(uuid, "row") {}

sto_Bytes sto_ServerRows::Seal() const {
  sto_ByteView const row = m_Row.Row();
  sto_Bytes bytes(row.begin(), row.end());
  sto_Seal(m_Seed, bytes);
  return bytes;
}

sto_Bytes sto_ServerRows::Encode(sto_ClassRow const& row) {
  Begin().Integer(row.m_ClassId).Integer(row.m_Version).Text(row.m_Name).Integer(row.m_BaseClassId);
  for (sto_AttributeRow const& attribute : row.m_Attributes) {
    m_Row.Text(attribute.m_Name).Integer(attribute.m_FieldId).Integer(attribute.m_Type);
    m_Row.Integer(attribute.m_TypeArg).Integer(attribute.m_CollectionType).Text(attribute.m_Unit);
    if (attribute.m_Default)
      m_Row.Text(*attribute.m_Default);
    else
      m_Row.Other();
  }
  return Seal();
}
bool sto_ServerRows::Decode(sto_ByteView bytes, sto_ClassRow& row) {
  Reader reader(m_Seed, bytes);
  reader.Integer(row.m_ClassId);
  reader.Integer(row.m_Version);
  row.m_Name = reader.Text();
  reader.Integer(row.m_BaseClassId);
  row.m_Attributes.clear();
  while (reader.HasMore()) {
    sto_AttributeRow attribute{};
    attribute.m_Name = reader.Text();
    reader.Integer(attribute.m_FieldId);
    reader.Integer(attribute.m_Type);
    reader.Integer(attribute.m_TypeArg);
    reader.Integer(attribute.m_CollectionType);
    attribute.m_Unit = reader.Text();
    attribute.m_Default = reader.TextOrNothing();
    row.m_Attributes.push_back(std::move(attribute));
  }
  return reader.IsSound();
}

sto_Bytes sto_ServerRows::Encode(sto_NameRow const& row) {
  Begin().Integer(row.m_Id).Text(row.m_Text);
  return Seal();
}
bool sto_ServerRows::Decode(sto_ByteView bytes, sto_NameRow& row) {
  Reader reader(m_Seed, bytes);
  row.m_Id = reader.Integer();
  row.m_Text = reader.Text();
  return reader.IsSound();
}

sto_Bytes sto_ServerRows::Encode(sto_ShapeRow const& row) {
  Begin().Integer(row.m_Id).Bytes(row.m_Data);
  return Seal();
}
bool sto_ServerRows::Decode(sto_ByteView bytes, sto_ShapeRow& row) {
  Reader reader(m_Seed, bytes);
  row.m_Id = reader.Integer();
  sto_ByteView const data = reader.Bytes();
  row.m_Data.assign(data.begin(), data.end());
  return reader.IsSound();
}

sto_Bytes sto_ServerRows::Encode(sto_EnumeratorRow const& row) {
  Begin().Integer(row.m_On.m_ClassId).Integer(row.m_On.m_Version).Text(row.m_On.m_Attribute);
  m_Row.Text(row.m_Name).Integer(row.m_Value);
  return Seal();
}
bool sto_ServerRows::Decode(sto_ByteView bytes, sto_EnumeratorRow& row) {
  Reader reader(m_Seed, bytes);
  reader.Integer(row.m_On.m_ClassId);
  reader.Integer(row.m_On.m_Version);
  row.m_On.m_Attribute = reader.Text();
  row.m_Name = reader.Text();
  row.m_Value = reader.Integer();
  return reader.IsSound();
}

sto_Bytes sto_ServerRows::Encode(sto_NoteRow const& row) {
  Begin().Integer(row.m_On.m_ClassId).Integer(row.m_On.m_Version).Text(row.m_On.m_Attribute);
  m_Row.Text(row.m_Name).Text(row.m_Text);
  return Seal();
}
bool sto_ServerRows::Decode(sto_ByteView bytes, sto_NoteRow& row) {
  Reader reader(m_Seed, bytes);
  reader.Integer(row.m_On.m_ClassId);
  reader.Integer(row.m_On.m_Version);
  row.m_On.m_Attribute = reader.Text();
  row.m_Name = reader.Text();
  row.m_Text = reader.Text();
  return reader.IsSound();
}

sto_Bytes sto_ServerRows::Encode(sto_ServerRoot const& row) {
  Begin().Text(row.m_Name).Integer(row.m_Id).Integer(row.m_ClassId);
  return Seal();
}
bool sto_ServerRows::Decode(sto_ByteView bytes, sto_ServerRoot& row) {
  Reader reader(m_Seed, bytes);
  row.m_Name = reader.Text();
  row.m_Id = reader.Integer();
  reader.Integer(row.m_ClassId);
  return reader.IsSound();
}

sto_Bytes sto_ServerRows::Encode(sto_IndexRow const& row) {
  Begin().Integer(row.m_Number).Integer(row.m_ClassId);
  for (std::string const& name : row.m_Names) m_Row.Text(name);
  return Seal();
}
bool sto_ServerRows::Decode(sto_ByteView bytes, sto_IndexRow& row) {
  Reader reader(m_Seed, bytes);
  row.m_Number = reader.Integer();
  reader.Integer(row.m_ClassId);
  row.m_Names.clear();
  while (reader.HasMore()) row.m_Names.push_back(reader.Text());
  return reader.IsSound();
}

sto_Bytes sto_ServerRows::Encode(sto_ServerEntry const& row) {
  Begin().Integer(row.m_Number).Bytes(sto_AsBytes(row.m_Entry.m_Key)).Integer(row.m_Entry.m_Id);
  return Seal();
}
bool sto_ServerRows::Decode(sto_ByteView bytes, sto_ServerEntry& row) {
  Reader reader(m_Seed, bytes);
  row.m_Number = reader.Integer();
  row.m_Entry.m_Key = std::string(sto_AsText(reader.Bytes()));
  row.m_Entry.m_Id = reader.Integer();
  return reader.IsSound();
}

sto_ContentSum sto_ServerRows::TermOf(std::string_view name, sto_ByteView bytes) {
  if (name.front() == static_cast<char>(sto_NamedKind::Root)) {
    sto_ServerRoot root;
    if (!Decode(bytes, root)) return {};
    std::uint64_t const content[] = {sto_ToLittleEndian(static_cast<std::uint64_t>(root.m_Id)),
                                     sto_ToLittleEndian(std::uint64_t{root.m_ClassId})};
    return sto_ContentSum::Of(sto_ContentKind::Root, sto_AsBytes(root.m_Name),
                              std::as_bytes(std::span(content)));
  }
  std::string_view const table = TableOf(name.front());
  if (table.empty() || !sto_Unseal(m_Seed, bytes)) return {};
  return sto_ContentSum::Of(sto_ContentKind::Catalogue, sto_AsBytes(table), bytes);
}
