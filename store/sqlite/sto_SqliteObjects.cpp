#include "store/sqlite/sto_SqliteObjects.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <string>

#include "store/base/sto_Exception.h"
#include "store/format/sto_Format.h"

namespace {

constexpr std::int64_t PackOf(std::int64_t id) noexcept {
  return id / sto_SqliteObjects::IdsInPack;
}
constexpr std::size_t SlotOf(std::int64_t id) noexcept {
  return static_cast<std::size_t>(id % sto_SqliteObjects::IdsInPack);
}

/// Replaced records stay in a pack until it has more bytes than this.
constexpr std::size_t MaxContentBytes =
    std::size_t{4} * sto_SqliteObjects::IdsInPack * sto_SqliteObjects::MaxPackedBytes;

} // namespace

sto_SqliteObjects::sto_SqliteObjects(sto_SqliteConnection& connection, sto_SqliteMark& mark)
    : m_Connection(connection), m_Mark(mark),
      m_ReadRow(connection, "SELECT class_id, record FROM object WHERE id = ?"),
      m_HasRow(connection, "SELECT 1 FROM object WHERE id = ?"),
      m_WriteRow(connection, "REPLACE INTO object(id, class_id, record) VALUES(?, ?, ?)"),
      m_DeleteRow(connection, "DELETE FROM object WHERE id = ?"),
      m_GreatestRow(connection, "SELECT max(id) FROM object"),
      m_AnyRow(connection, "SELECT EXISTS(SELECT 1 FROM object)"),
      m_ReadPack(connection, "SELECT data FROM pack WHERE key = ?"),
      m_WritePack(connection, "REPLACE INTO pack(key, data) VALUES(?, ?)"),
      m_DeletePack(connection, "DELETE FROM pack WHERE key = ?"),
      m_LastPack(connection, "SELECT key, substr(data, 1, 8) FROM pack ORDER BY key DESC LIMIT 1") {}

void sto_SqliteObjects::Begin(bool hasPacks) noexcept {
  Drop();
  m_HasPacks = hasPacks;
  m_FirstNewId = std::numeric_limits<std::int64_t>::max();
  m_LastStoredKey = -2;
  m_AnyRows.reset();
}

void sto_SqliteObjects::Drop() noexcept {
  for (Pack& pack : m_Packs) pack.m_Key = -1;
  m_Latest = nullptr;
  m_Changes.clear();
}

void sto_SqliteObjects::SetMark() noexcept {
  ++m_MarkNumber;
  m_Changes.clear();
}

bool sto_SqliteObjects::IsChangedSinceMark(Pack const& pack) const noexcept {
  return m_Mark.IsInMemory() && pack.m_ChangedAt == m_MarkNumber;
}

void sto_SqliteObjects::Replace(Pack& pack, std::size_t slot, Entry const& entry) {
  if (m_Mark.IsInMemory())
    m_Changes.push_back({pack.m_Key, slot, pack.m_Entries[slot]}); // first: it may fail
  pack.m_Entries[slot] = entry;
  if (pack.m_ChangedAt != m_MarkNumber) pack.m_WasChanged = pack.m_IsChanged;
  pack.m_ChangedAt = m_MarkNumber;
  pack.m_IsChanged = true;
}

void sto_SqliteObjects::Exchange(bool reverse) noexcept {
  auto const exchange = [this](Noted& change) {
    auto const pack = std::ranges::find(m_Packs, change.m_Key, &Pack::m_Key); // see Store: it is still there
    std::swap(pack->m_Entries[change.m_Slot], change.m_Before);
  };
  if (reverse)
    std::for_each(m_Changes.rbegin(), m_Changes.rend(), exchange);
  else
    std::ranges::for_each(m_Changes, exchange);
}

void sto_SqliteObjects::GoBackToMark() noexcept {
  Exchange(true);
  for (Pack& pack : m_Packs)
    if (pack.m_Key >= 0 && pack.m_ChangedAt == m_MarkNumber) pack.m_IsChanged = pack.m_WasChanged;
  m_Changes.clear();
}

void sto_SqliteObjects::WriteStateAtMark() {
  struct AtMark {
    explicit AtMark(sto_SqliteObjects& objects) : m_Objects(objects) { objects.Exchange(true); }
    AtMark(AtMark const&) = delete;
    AtMark& operator=(AtMark const&) = delete;
    ~AtMark() { m_Objects.Exchange(false); }
    sto_SqliteObjects& m_Objects;
  };
  AtMark const atMark(*this);
  for (Pack& pack : m_Packs) {
    bool const isChangedSince = IsChangedSinceMark(pack);
    if (pack.m_Key < 0 || !(isChangedSince ? pack.m_WasChanged : pack.m_IsChanged)) continue;
    WritePack(pack);
    pack.m_WasChanged = false;
    pack.m_IsChanged = isChangedSince;
  }
}

void sto_SqliteObjects::Flush() {
  for (Pack& pack : m_Packs)
    if (pack.m_Key >= 0 && pack.m_IsChanged) Store(pack);
}

std::int64_t sto_SqliteObjects::LastStoredKey() {
  if (m_LastStoredKey == -2)
    m_LastStoredKey = m_Connection.QueryInteger("SELECT coalesce(max(key), -1) FROM pack");
  return m_LastStoredKey;
}

sto_SqliteObjects::Pack& sto_SqliteObjects::Find(std::int64_t key) {
  if (m_Latest != nullptr && m_Latest->m_Key == key) return *m_Latest;
  auto found = std::ranges::find(m_Packs, key, &Pack::m_Key);
  if (found == m_Packs.end()) {
    found = std::ranges::min_element(
        m_Packs, {}, [](Pack const& pack) { return pack.m_Key < 0 ? std::uint64_t{0} : pack.m_LastUse; });
    if (found->m_Key >= 0 && found->m_IsChanged) Store(*found);
    found->m_Key = -1; // until it is read
    found->m_IsChanged = false;
    found->m_InOwnRow = 0;
    found->m_ChangedAt = 0;
    found->m_Content.clear();
    found->m_Entries.fill({});
    // A pack that this transaction has made and evicted is stored, and LastStoredKey counts it.
    found->m_IsNew = key * IdsInPack >= m_FirstNewId && key > LastStoredKey();
    if (found->m_IsNew)
      m_LastStoredKey = key;
    else
      Load(*found, key);
    found->m_Key = key;
  }
  found->m_LastUse = ++m_Clock;
  m_Latest = &*found;
  return *found;
}

void sto_SqliteObjects::Load(Pack& pack, std::int64_t key) {
  sto_SqliteStatement::Use use(m_ReadPack);
  if (!use.Bind(1, key).Step()) return;
  sto_ByteView const data = use.Bytes(0);
  if (data.size() > std::numeric_limits<std::uint32_t>::max()) RaiseDamaged(key);
  sto_ByteReader reader(data);
  auto const present = reader.Number<std::uint64_t>();
  for (std::size_t slot = 0; slot < pack.m_Entries.size(); ++slot) {
    if ((present >> slot & 1) == 0) continue;
    std::uint64_t const classId = reader.Varint();
    std::uint64_t const size = reader.Varint();
    if (classId > std::numeric_limits<unsigned int>::max() || size == 0 || size > data.size())
      RaiseDamaged(key);
    pack.m_Entries[slot].m_ClassId = static_cast<unsigned int>(classId);
    pack.m_Entries[slot].m_SizeBytes = static_cast<std::uint32_t>(size);
  }
  std::size_t offset = 0;
  for (Entry& entry : pack.m_Entries) {
    entry.m_Offset = static_cast<std::uint32_t>(offset);
    offset += entry.m_SizeBytes;
  }
  if (reader.Failed() || offset != reader.Remaining()) RaiseDamaged(key);
  sto_ByteView const records = reader.Raw(offset);
  pack.m_Content.assign(records.begin(), records.end());
}

void sto_SqliteObjects::Store(Pack& pack) {
  // So while the mark is in memory, no pack that was changed since leaves the packs in use.
  if (IsChangedSinceMark(pack)) m_Mark.BeforeWriting();
  WritePack(pack);
  pack.m_IsChanged = false;
}

void sto_SqliteObjects::WritePack(Pack& pack) {
  std::uint64_t present = 0;
  for (std::size_t slot = 0; slot < pack.m_Entries.size(); ++slot)
    if (pack.m_Entries[slot].m_SizeBytes != 0) present |= std::uint64_t{1} << slot;
  if (present == 0) {
    sto_SqliteStatement::Use(m_DeletePack).Bind(1, pack.m_Key).Step();
  } else {
    EncodeRow(pack, present);
    sto_SqliteStatement::Use(m_WritePack).Bind(1, pack.m_Key).Bind(2, sto_ByteView(m_Row)).Step();
  }
}

void sto_SqliteObjects::EncodeRow(Pack const& pack, std::uint64_t present) {
  auto const bits = sto_ToLittleEndian(present);
  m_Row.resize(sizeof bits);
  std::memcpy(m_Row.data(), &bits, sizeof bits);
  sto_ByteWriter writer(m_Row);
  for (Entry const& entry : pack.m_Entries) {
    if (entry.m_SizeBytes == 0) continue;
    writer.Varint(entry.m_ClassId);
    writer.Varint(entry.m_SizeBytes);
  }
  for (Entry const& entry : pack.m_Entries)
    writer.Raw(pack.m_Content.data() + entry.m_Offset, entry.m_SizeBytes);
}

void sto_SqliteObjects::RaiseDamaged(std::int64_t key) const {
  sto_Raise(sto_ErrorKind::Damaged, m_Connection.Path() + ": Pack " + std::to_string(key) +
                                        ", with objects " + std::to_string(key * IdsInPack) + " to " +
                                        std::to_string(key * IdsInPack + IdsInPack - 1) + ", is damaged.");
}

bool sto_SqliteObjects::Read(std::int64_t id, unsigned int& classId, sto_Bytes& record) {
  if (m_HasPacks && id > 0) { // an id from a damaged store may be anything
    Pack const& pack = Find(PackOf(id));
    if (Entry const& entry = pack.m_Entries[SlotOf(id)]; entry.m_SizeBytes != 0) {
      classId = entry.m_ClassId;
      auto const first = pack.m_Content.begin() + entry.m_Offset;
      record.assign(first, first + entry.m_SizeBytes);
      return true;
    }
  }
  sto_SqliteStatement::Use use(m_ReadRow);
  if (!use.Bind(1, id).Step()) return false;
  classId = static_cast<unsigned int>(use.Integer(0));
  sto_ByteView const bytes = use.Bytes(1);
  record.assign(bytes.begin(), bytes.end());
  return true;
}

bool sto_SqliteObjects::Has(std::int64_t id) {
  return (m_HasPacks && id > 0 && Find(PackOf(id)).m_Entries[SlotOf(id)].m_SizeBytes != 0) ||
         sto_SqliteStatement::Use(m_HasRow).Bind(1, id).Step();
}

bool sto_SqliteObjects::AnyRows() {
  if (!m_AnyRows) {
    sto_SqliteStatement::Use use(m_AnyRow);
    m_AnyRows = use.Step() && use.Integer(0) != 0;
  }
  return *m_AnyRows;
}

void sto_SqliteObjects::DropRow(std::int64_t id) {
  if (!AnyRows() || !sto_SqliteStatement::Use(m_HasRow).Bind(1, id).Step()) return;
  m_Mark.BeforeWriting();
  sto_SqliteStatement::Use(m_DeleteRow).Bind(1, id).Step();
}

bool sto_SqliteObjects::Write(std::int64_t id, unsigned int classId, sto_ByteView record) {
  Pack& pack = Find(PackOf(id));
  std::size_t const slot = SlotOf(id);
  Entry const& entry = pack.m_Entries[slot];
  std::uint64_t const bit = std::uint64_t{1} << slot;
  if (record.size() > MaxPackedBytes || record.empty()) {
    m_Mark.BeforeWriting();
    if (entry.m_SizeBytes != 0) Replace(pack, slot, {});
    pack.m_InOwnRow |= bit;
    m_AnyRows = true;
    sto_SqliteStatement::Use(m_WriteRow).Bind(1, id).Bind(2, std::int64_t{classId}).Bind(3, record).Step();
    return true;
  }
  if (entry.m_SizeBytes == record.size() && entry.m_ClassId == classId &&
      std::memcmp(pack.m_Content.data() + entry.m_Offset, record.data(), record.size()) == 0)
    return false;
  bool const mayHaveRow = entry.m_SizeBytes == 0 && (!pack.m_IsNew || (pack.m_InOwnRow & bit) != 0);
  if (mayHaveRow) {
    DropRow(id);
    pack.m_InOwnRow &= ~bit;
  }
  if (pack.m_Content.size() > MaxContentBytes) Compact(pack);
  auto const offset = static_cast<std::uint32_t>(pack.m_Content.size());
  pack.m_Content.insert(pack.m_Content.end(), record.begin(), record.end()); // first: it may fail
  Replace(pack, slot, {offset, static_cast<std::uint32_t>(record.size()), classId});
  return true;
}

void sto_SqliteObjects::Compact(Pack& pack) {
  if (IsChangedSinceMark(pack)) m_Mark.BeforeWriting(); // going back needs the replaced records
  sto_Bytes content;
  for (Entry& entry : pack.m_Entries) {
    if (entry.m_SizeBytes == 0) continue;
    auto const first = pack.m_Content.begin() + entry.m_Offset;
    entry.m_Offset = static_cast<std::uint32_t>(content.size());
    content.insert(content.end(), first, first + entry.m_SizeBytes);
  }
  pack.m_Content.swap(content);
}

void sto_SqliteObjects::Delete(std::int64_t id) {
  Pack& pack = Find(PackOf(id));
  if (pack.m_Entries[SlotOf(id)].m_SizeBytes != 0) return Replace(pack, SlotOf(id), {});
  m_Mark.BeforeWriting();
  sto_SqliteStatement::Use(m_DeleteRow).Bind(1, id).Step();
}

std::vector<std::int64_t> sto_SqliteObjects::Ids(std::int64_t first, std::int64_t last) {
  Flush();
  std::vector<std::int64_t> ids;
  auto const take = [&](std::int64_t id) {
    if (id >= first && id <= last) ids.push_back(id);
  };
  sto_SqliteStatement rows(m_Connection, "SELECT id FROM object WHERE id BETWEEN ? AND ?");
  sto_SqliteStatement::Use row(rows);
  for (row.Bind(1, first).Bind(2, last).AllowRange(first, last); row.Step();) take(row.Integer(0));
  if (m_HasPacks) {
    sto_SqliteStatement packs(m_Connection,
                              "SELECT key, substr(data, 1, 8) FROM pack WHERE key BETWEEN ? AND ?");
    sto_SqliteStatement::Use pack(packs);
    pack.Bind(1, PackOf(first)).Bind(2, PackOf(last)).AllowRange(PackOf(first), PackOf(last));
    while (pack.Step()) {
      auto present = sto_ByteReader(pack.Bytes(1)).Number<std::uint64_t>();
      for (std::int64_t id = pack.Integer(0) * IdsInPack; present != 0; ++id, present >>= 1)
        if ((present & 1) != 0) take(id);
    }
  }
  std::ranges::sort(ids);
  return ids;
}

std::int64_t sto_SqliteObjects::Count() {
  Flush();
  // Intentional: count(id) and not count(*). For count(*) SQLite takes a single step however long it runs, so
  // that counting steps would not end it on a damaged, endless tree.
  sto_SqliteStatement rows(m_Connection, "SELECT count(id) FROM object");
  sto_SqliteStatement::Use row(rows);
  std::int64_t count = row.AllowAllRows().Step() ? row.Integer(0) : 0;
  if (!m_HasPacks) return count;
  sto_SqliteStatement packs(m_Connection, "SELECT substr(data, 1, 8) FROM pack");
  sto_SqliteStatement::Use use(packs);
  for (use.AllowAllRows(); use.Step();)
    count += std::popcount(sto_ByteReader(use.Bytes(0)).Number<std::uint64_t>());
  return count;
}

std::int64_t sto_SqliteObjects::GreatestId() {
  sto_SqliteStatement::Use row(m_GreatestRow);
  std::int64_t const greatest = row.Step() ? row.Integer(0) : 0;
  if (!m_HasPacks) return greatest;
  sto_SqliteStatement::Use pack(m_LastPack);
  if (!pack.Step() || pack.Integer(0) < 0) return greatest;
  if (pack.Integer(0) > PackOf(sto_Format::MaxObjectId)) return std::numeric_limits<std::int64_t>::max();
  auto const present = sto_ByteReader(pack.Bytes(1)).Number<std::uint64_t>();
  return std::max(greatest,
                  pack.Integer(0) * IdsInPack + static_cast<std::int64_t>(std::bit_width(present)) - 1);
}
