#include "bench/objects_SqliteContenders.h"

#include <cstring>
#include <filesystem>

#include "bench/objects_StoreContenders.h"

namespace {

constexpr std::int64_t NoteClass = 0x671002;

void AppendText(std::string& bytes, std::string const& text) {
  auto const length = static_cast<std::uint32_t>(text.size());
  bytes.append(reinterpret_cast<char const*>(&length), sizeof length);
  bytes.append(text);
}

template <class T> T TakeNumber(std::string_view& bytes) {
  T number;
  std::memcpy(&number, bytes.data(), sizeof number);
  bytes.remove_prefix(sizeof number);
  return number;
}

void TakeText(std::string_view& bytes, std::string& text) {
  auto const length = TakeNumber<std::uint32_t>(bytes);
  text.assign(bytes.substr(0, length));
  bytes.remove_prefix(length);
}

} // namespace

// ---- Shared by all three

objects_SqliteContender::objects_SqliteContender(std::vector<objects_Sample> const& samples) {
  for (objects_Sample const& sample : samples) m_Saved.push_back(std::make_unique<objects_PlainNote>(sample));
}

void objects_SqliteContender::Prepare(std::string const& path) {
  std::filesystem::remove(path);
  m_File.emplace(path);
  m_File->Run(Tables());
}

void objects_SqliteContender::Close() {
  m_File.reset();
}

objects_SqliteFile& objects_SqliteContender::Open(std::string const& path) {
  m_File.emplace(path);
  m_Loaded.reserve(m_Saved.size());
  return *m_File;
}

objects_Tally objects_SqliteContender::Loaded() const {
  return objects_TallyOf(m_Loaded);
}

void objects_SqliteContender::Release() {
  std::vector<std::unique_ptr<objects_PlainPart>>().swap(m_Loaded);
}

// ---- One row per object

char const* objects_PackedContender::Tables() const {
  return "CREATE TABLE object(id INTEGER PRIMARY KEY, class_id INTEGER NOT NULL, record BLOB NOT NULL)";
}

void objects_PackedContender::Pack(objects_PlainNote const& note, std::string& bytes) {
  bytes.clear();
  AppendText(bytes, note.m_Name);
  bytes.append(reinterpret_cast<char const*>(&note.m_Number), sizeof note.m_Number);
  AppendText(bytes, note.m_Message);
}

void objects_PackedContender::AddUnpacked(std::string_view bytes) {
  auto note = std::make_unique<objects_PlainNote>();
  TakeText(bytes, note->m_Name);
  note->m_Number = TakeNumber<int>(bytes);
  TakeText(bytes, note->m_Message);
  m_Loaded.push_back(std::move(note));
}

void objects_PackedContender::Save() {
  m_File->Run("BEGIN IMMEDIATE");
  {
    objects_SqliteStatement insert(*m_File, "INSERT INTO object(id, class_id, record) VALUES(?, ?, ?)");
    std::string bytes;
    for (std::size_t i = 0; i < m_Saved.size(); ++i) {
      Pack(*m_Saved[i], bytes);
      insert.Bind(1, static_cast<std::int64_t>(i + 1));
      insert.Bind(2, NoteClass);
      insert.BindBytes(3, bytes);
      insert.Run();
    }
  }
  m_File->Run("COMMIT");
}

void objects_PackedContender::Load(std::string const& path) {
  objects_SqliteStatement select(Open(path), "SELECT record, class_id FROM object ORDER BY id");
  while (select.Step() && select.Integer(1) == NoteClass) AddUnpacked(select.Bytes(0));
}

bool objects_PackedContender::LoadShuffled(std::string const& path, std::vector<int> const& order) {
  Open(path).Run("BEGIN");
  {
    objects_SqliteStatement select(*m_File, "SELECT record, class_id FROM object WHERE id = ?");
    for (int const index : order) {
      select.Bind(1, index + 1);
      if (select.Step() && select.Integer(1) == NoteClass) AddUnpacked(select.Bytes(0));
      select.Reset();
    }
  }
  m_File->Run("COMMIT");
  return true;
}

// ---- One row per object, by name

objects_PackedByNameContender::objects_PackedByNameContender(std::vector<objects_Sample> const& samples)
    : objects_PackedContender(samples) {
  for (std::size_t i = 0; i < samples.size(); ++i) m_Names.push_back(objects_RootName(static_cast<int>(i)));
}

char const* objects_PackedByNameContender::Tables() const {
  return "CREATE TABLE object(id INTEGER PRIMARY KEY, class_id INTEGER NOT NULL, record BLOB NOT NULL);"
         "CREATE TABLE root(name TEXT PRIMARY KEY, object_id INTEGER NOT NULL) WITHOUT ROWID";
}

void objects_PackedByNameContender::Save() {
  m_File->Run("BEGIN IMMEDIATE");
  {
    objects_SqliteStatement insert(*m_File, "INSERT INTO object(id, class_id, record) VALUES(?, ?, ?)");
    objects_SqliteStatement name(*m_File, "INSERT INTO root(name, object_id) VALUES(?, ?)");
    std::string bytes;
    for (std::size_t i = 0; i < m_Saved.size(); ++i) {
      Pack(*m_Saved[i], bytes);
      insert.Bind(1, static_cast<std::int64_t>(i + 1));
      insert.Bind(2, NoteClass);
      insert.BindBytes(3, bytes);
      insert.Run();
      name.BindText(1, m_Names[i]);
      name.Bind(2, static_cast<std::int64_t>(i + 1));
      name.Run();
    }
  }
  m_File->Run("COMMIT");
}

void objects_PackedByNameContender::Load(std::string const& path) {
  std::vector<int> order;
  for (std::size_t i = 0; i < m_Names.size(); ++i) order.push_back(static_cast<int>(i));
  LoadShuffled(path, order);
}

bool objects_PackedByNameContender::LoadShuffled(std::string const& path, std::vector<int> const& order) {
  Open(path).Run("BEGIN");
  {
    objects_SqliteStatement find(*m_File, "SELECT object_id FROM root WHERE name = ?");
    objects_SqliteStatement select(*m_File, "SELECT record, class_id FROM object WHERE id = ?");
    for (int const index : order) {
      find.BindText(1, m_Names[static_cast<std::size_t>(index)]);
      if (find.Step()) select.Bind(1, find.Integer(0));
      find.Reset();
      if (select.Step() && select.Integer(1) == NoteClass) AddUnpacked(select.Bytes(0));
      select.Reset();
    }
  }
  m_File->Run("COMMIT");
  return true;
}

// ---- One row per field

char const* objects_RowAFieldContender::Tables() const {
  return "CREATE TABLE object(id INTEGER PRIMARY KEY, class_id INTEGER NOT NULL);"
         "CREATE TABLE field(object_id INTEGER, field_id INTEGER, value, PRIMARY KEY(object_id, field_id)) "
         "WITHOUT ROWID";
}

void objects_RowAFieldContender::Save() {
  m_File->Run("BEGIN IMMEDIATE");
  {
    objects_SqliteStatement insert(*m_File, "INSERT INTO object(id, class_id) VALUES(?, ?)");
    objects_SqliteStatement field(*m_File, "INSERT INTO field(object_id, field_id, value) VALUES(?, ?, ?)");
    for (std::size_t i = 0; i < m_Saved.size(); ++i) {
      objects_PlainNote const& note = *m_Saved[i];
      auto const id = static_cast<std::int64_t>(i + 1);
      insert.Bind(1, id);
      insert.Bind(2, NoteClass);
      insert.Run();
      field.Bind(1, id);
      field.Bind(2, Name);
      field.BindText(3, note.m_Name);
      field.Run();
      field.Bind(2, Number);
      field.Bind(3, note.m_Number);
      field.Run();
      field.Bind(2, Message);
      field.BindText(3, note.m_Message);
      field.Run();
    }
  }
  m_File->Run("COMMIT");
}

void objects_RowAFieldContender::Load(std::string const& path) {
  objects_SqliteFile& file = Open(path);
  objects_SqliteStatement objects(file, "SELECT class_id FROM object ORDER BY id");
  objects_SqliteStatement fields(file, "SELECT field_id, value FROM field ORDER BY object_id, field_id");
  while (objects.Step() && objects.Integer(0) == NoteClass) {
    auto note = std::make_unique<objects_PlainNote>();
    if (fields.Step()) note->m_Name.assign(fields.Bytes(1));
    if (fields.Step()) note->m_Number = static_cast<int>(fields.Integer(1));
    if (fields.Step()) note->m_Message.assign(fields.Bytes(1));
    m_Loaded.push_back(std::move(note));
  }
}

bool objects_RowAFieldContender::LoadShuffled(std::string const& path, std::vector<int> const& order) {
  Open(path).Run("BEGIN");
  {
    objects_SqliteStatement find(*m_File, "SELECT class_id FROM object WHERE id = ?");
    objects_SqliteStatement fields(*m_File, "SELECT field_id, value FROM field WHERE object_id = ?");
    for (int const index : order) {
      find.Bind(1, index + 1);
      bool const isNote = find.Step() && find.Integer(0) == NoteClass;
      find.Reset();
      auto note = std::make_unique<objects_PlainNote>();
      fields.Bind(1, index + 1);
      while (isNote && fields.Step()) {
        switch (fields.Integer(0)) {
        case Name:
          note->m_Name.assign(fields.Bytes(1));
          break;
        case Number:
          note->m_Number = static_cast<int>(fields.Integer(1));
          break;
        default:
          note->m_Message.assign(fields.Bytes(1));
        }
      }
      fields.Reset();
      m_Loaded.push_back(std::move(note));
    }
  }
  m_File->Run("COMMIT");
  return true;
}
