#include "store/sqlite/sto_SqliteOldObjects.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <string>

#include "store/base/sto_Exception.h"

namespace {

constexpr std::int64_t PackOf(std::int64_t id) noexcept {
  return id / sto_Format::IdsInOldPack;
}
constexpr std::size_t SlotOf(std::int64_t id) noexcept {
  return static_cast<std::size_t>(id % sto_Format::IdsInOldPack);
}

} // namespace

sto_SqliteOldObjects::sto_SqliteOldObjects(sto_SqliteConnection& connection,
                                           sto_SqliteObjectTables const& tables)
    : m_Connection(connection), m_HasPacks(!tables.m_Pack.empty()),
      m_Sql{"SELECT class_id, record FROM " + tables.m_Object + " WHERE id = ?",
            "SELECT 1 FROM " + tables.m_Object + " WHERE id = ?",
            "SELECT data FROM " + tables.m_Pack + " WHERE key = ?",
            "SELECT id FROM " + tables.m_Object + " WHERE id BETWEEN ? AND ?",
            "SELECT key, substr(data, 1, 8) FROM " + tables.m_Pack + " WHERE key BETWEEN ? AND ?"},
      m_ReadRow(connection, m_Sql[0].c_str()), m_HasRow(connection, m_Sql[1].c_str()),
      m_ReadPack(connection, m_Sql[2].c_str()) {}

void sto_SqliteOldObjects::RaiseDamaged(std::int64_t key) const {
  sto_Raise(sto_ErrorKind::Damaged, m_Connection.Path() + ": Pack " + std::to_string(key) +
                                        ", with objects " + std::to_string(key * sto_Format::IdsInOldPack) +
                                        " to " + std::to_string((key + 1) * sto_Format::IdsInOldPack - 1) +
                                        ", is damaged.");
}

void sto_SqliteOldObjects::Load(std::int64_t key) {
  m_Key = -1; // until it is read
  m_Entries.fill({});
  m_Content.clear();
  sto_SqliteStatement::Use use(m_ReadPack);
  if (use.Bind(1, key).Step()) {
    sto_ByteView const data = use.Bytes(0);
    sto_ByteReader reader(data);
    auto const present = reader.Number<std::uint64_t>();
    std::size_t offset = 0;
    for (std::size_t slot = 0; slot < m_Entries.size(); ++slot) {
      if ((present >> slot & 1) == 0) continue;
      std::uint64_t const classId = reader.Varint();
      std::uint64_t const size = reader.Varint();
      if (classId > std::numeric_limits<unsigned int>::max() || size == 0 || size > data.size())
        RaiseDamaged(key);
      m_Entries[slot] = {offset, static_cast<std::size_t>(size), static_cast<unsigned int>(classId)};
      offset += static_cast<std::size_t>(size);
    }
    if (reader.Failed() || offset != reader.Remaining()) RaiseDamaged(key);
    sto_ByteView const records = reader.Raw(offset);
    m_Content.assign(records.begin(), records.end());
  }
  m_Key = key;
}

sto_SqliteOldObjects::Entry const* sto_SqliteOldObjects::FindEntry(std::int64_t id) {
  if (!m_HasPacks || id <= 0) return nullptr; // an id from a damaged store may be anything
  if (m_Key != PackOf(id)) Load(PackOf(id));
  Entry const& entry = m_Entries[SlotOf(id)];
  return entry.m_SizeBytes == 0 ? nullptr : &entry;
}

bool sto_SqliteOldObjects::Read(std::int64_t id, sto_StoredRecord& record) {
  record.m_Shape = sto_StoredRecord::SelfDescribed;
  if (Entry const* const entry = FindEntry(id)) {
    record.m_ClassId = entry->m_ClassId;
    auto const first = m_Content.begin() + static_cast<std::ptrdiff_t>(entry->m_Offset);
    record.m_Bytes.assign(first, first + static_cast<std::ptrdiff_t>(entry->m_SizeBytes));
    return true;
  }
  sto_SqliteStatement::Use use(m_ReadRow);
  if (!use.Bind(1, id).Step()) return false;
  record.m_ClassId = static_cast<unsigned int>(use.Integer(0));
  sto_ByteView const bytes = use.Bytes(1);
  record.m_Bytes.assign(bytes.begin(), bytes.end());
  return true;
}

bool sto_SqliteOldObjects::Has(std::int64_t id) {
  return FindEntry(id) != nullptr || sto_SqliteStatement::Use(m_HasRow).Bind(1, id).Step();
}

std::vector<std::int64_t> sto_SqliteOldObjects::Ids(std::int64_t first, std::int64_t last) {
  std::vector<std::int64_t> ids;
  auto const take = [&](std::int64_t id) {
    if (id >= first && id <= last) ids.push_back(id);
  };
  sto_SqliteStatement rows(m_Connection, m_Sql[3].c_str());
  sto_SqliteStatement::Use row(rows);
  for (row.Bind(1, first).Bind(2, last).AllowRange(first, last); row.Step();) take(row.Integer(0));
  if (m_HasPacks) {
    sto_SqliteStatement packs(m_Connection, m_Sql[4].c_str());
    sto_SqliteStatement::Use pack(packs);
    pack.Bind(1, PackOf(first)).Bind(2, PackOf(last)).AllowRange(PackOf(first), PackOf(last));
    while (pack.Step()) {
      auto present = sto_ByteReader(pack.Bytes(1)).Number<std::uint64_t>();
      for (std::int64_t id = pack.Integer(0) * sto_Format::IdsInOldPack; present != 0; ++id, present >>= 1)
        if ((present & 1) != 0) take(id);
    }
  }
  std::ranges::sort(ids);
  return ids;
}

std::int64_t sto_SqliteOldObjects::From(std::int64_t first, std::vector<sto_ObjectShape>& objects) {
  for (std::int64_t const id : Ids(first, sto_Format::MaxObjectId))
    objects.push_back({id, sto_StoredRecord::SelfDescribed});
  return 0;
}

std::int64_t sto_SqliteOldObjects::Count() {
  return static_cast<std::int64_t>(Ids(1, sto_Format::MaxObjectId).size());
}
