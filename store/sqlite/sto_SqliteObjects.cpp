#include "store/sqlite/sto_SqliteObjects.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <string>

#include "store/base/sto_Exception.h"
#include "store/format/sto_Checksum.h"

namespace {

/// Replaced records stay in a pack until it has more bytes than this.
constexpr std::size_t MaxContentBytes = std::size_t{4} * sto_Format::IdsInPack * sto_Format::MaxPackedBytes;

/// So many packs stay decoded while the records of their objects are read, and what these lead to.
constexpr std::size_t PacksAtOnce = 4;
/// So many rows of table object are looked at, at once.
constexpr int MaxRowsAtOnce = 256;

/// Of the values of a record: its lower half is the checksum in a pack, the sum over the store has all of it.
std::uint64_t HashOf(std::int64_t id, sto_ByteView values) noexcept {
  return sto_Checksum(static_cast<std::uint64_t>(id), values);
}

/// The standard algorithm compares single bytes of this type.
bool AreEqual(sto_ByteView a, sto_ByteView b) noexcept {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size()) == 0);
}

} // namespace

sto_SqliteObjects::sto_SqliteObjects(sto_SqliteConnection& connection, sto_SqliteMark& mark,
                                     sto_SqliteChanges& changes)
    : m_Connection(connection), m_Mark(mark), m_Noted(changes),
      m_ReadRow(connection, "SELECT record FROM object WHERE id = ?"),
      m_HasRow(connection, "SELECT 1 FROM object WHERE id = ?"),
      m_WriteRow(connection, "REPLACE INTO object(id, record) VALUES(?, ?)"),
      m_DeleteRow(connection, "DELETE FROM object WHERE id = ?"),
      m_GreatestRow(connection, "SELECT max(id) FROM object"),
      m_AnyRow(connection, "SELECT EXISTS(SELECT 1 FROM object)"),
      m_ReadPack(connection, "SELECT data FROM pack WHERE key = ?"),
      m_WritePack(connection, "REPLACE INTO pack(key, data) VALUES(?, ?)"),
      m_DeletePack(connection, "DELETE FROM pack WHERE key = ?"),
      m_LastPack(connection, "SELECT key, substr(data, 1, 4) FROM pack ORDER BY key DESC LIMIT 1"),
      m_ScanPacks(connection, "SELECT key, data FROM pack WHERE key >= ? ORDER BY key"),
      m_NextPacks(connection, "SELECT key FROM pack WHERE key >= ? ORDER BY key LIMIT ?"),
      m_NextRows(
          connection,
          "SELECT id, substr(record, 1, 24) FROM object WHERE id >= ? AND id < ? ORDER BY id LIMIT ?") {}

void sto_SqliteObjects::Begin(bool forWriting, std::int64_t save) noexcept {
  Drop();
  m_MayScan = !forWriting;
  m_Save = save;
  m_FirstNewId = std::numeric_limits<std::int64_t>::max();
  m_LastStoredKey = -2;
  m_AnyRows.reset();
}

void sto_SqliteObjects::Drop() noexcept {
  EndScan();
  m_LastLoaded = -2;
  if (m_Latest != nullptr) // otherwise none is in use
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

void sto_SqliteObjects::Replace(Pack& pack, std::size_t slot, Entry const& entry, std::uint64_t hash) {
  if (m_Mark.IsInMemory())
    m_Changes.push_back({pack.m_Key, slot, pack.m_Entries[slot]}); // first: it may fail
  std::int64_t const id = pack.m_Key * sto_Format::IdsInPack + static_cast<std::int64_t>(slot);
  if (Entry const& old = pack.m_Entries[slot]; old.m_SizeBytes != 0)
    m_Noted.RemoveRecord(old.m_Shape, HashOf(id, ValuesOf(pack, old)));
  if (entry.m_SizeBytes != 0) m_Noted.AddRecord(entry.m_Shape, hash);
  pack.m_Entries[slot] = entry;
  pack.m_Checked &= ~(std::uint32_t{1} << slot);
  if (pack.m_ChangedAt != m_MarkNumber) pack.m_WasChanged = pack.m_IsChanged;
  pack.m_ChangedAt = m_MarkNumber;
  pack.m_IsChanged = true;
}

sto_ByteView sto_SqliteObjects::ValuesOf(Pack const& pack, Entry const& entry) noexcept {
  return sto_ByteView(pack.m_Content)
      .subspan(entry.m_Offset,
               entry.m_SizeBytes - std::min<std::size_t>(entry.m_SizeBytes, sto_Format::PackedChecksumBytes));
}

void sto_SqliteObjects::Exchange(bool reverse) noexcept {
  auto const exchange = [this](Noted& change) {
    auto const pack =
        std::ranges::find(SetOf(change.m_Key), change.m_Key, &Pack::m_Key); // see Store: it is there
    std::swap(pack->m_Entries[change.m_Slot], change.m_Before);
    pack->m_Checked &= ~(std::uint32_t{1} << change.m_Slot);
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
  std::span<Pack, PacksInSet> const set = SetOf(key);
  auto found = std::ranges::find(set, key, &Pack::m_Key);
  if (found == set.end()) {
    found = std::ranges::min_element(
        set, {}, [](Pack const& pack) { return pack.m_Key < 0 ? std::uint64_t{0} : pack.m_LastUse; });
    if (found->m_Key >= 0 && found->m_IsChanged) Store(*found);
    found->m_Key = -1; // until it is read
    found->m_IsChanged = false;
    found->m_InOwnRow = 0;
    found->m_Checked = 0;
    found->m_ChangedAt = 0;
    found->m_Content.clear();
    found->m_Entries.fill({});
    // A pack that this transaction has made and evicted is stored, and LastStoredKey counts it.
    found->m_IsNew = key * sto_Format::IdsInPack >= m_FirstNewId && key > LastStoredKey();
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
  bool const isTaken = m_MayScan && TakeFromScan(pack, key);
  m_LastLoaded = key;
  if (isTaken) return;
  EndScan();
  sto_SqliteStatement::Use use(m_ReadPack);
  if (use.Bind(1, key).Step()) Take(pack, key, use.Bytes(0));
}

bool sto_SqliteObjects::TakeFromScan(Pack& pack, std::int64_t key) {
  // Finding a row takes longer than going on to the next one.
  if (key != m_LastLoaded + 1) return false;
  if (!m_Scan) m_Scan.emplace(m_ScanPacks).Bind(1, key).AllowAllRows();
  if (!m_Scan->Step() || m_Scan->Integer(0) != key) return false;
  Take(pack, key, m_Scan->Bytes(1));
  return true;
}

void sto_SqliteObjects::Take(Pack& pack, std::int64_t key, sto_ByteView row) const {
  sto_DecodedPack decoded;
  if (!sto_DecodePack(key, row, decoded)) RaiseDamaged(key);
  pack.m_Entries = decoded.m_Entries;
  pack.m_Content.assign(decoded.m_Records.begin(), decoded.m_Records.end());
}

void sto_SqliteObjects::Store(Pack& pack) {
  // So while the mark is in memory, no pack that was changed since leaves the packs in use.
  if (IsChangedSinceMark(pack)) m_Mark.BeforeWriting();
  WritePack(pack);
  pack.m_IsChanged = false;
}

void sto_SqliteObjects::WritePack(Pack& pack) {
  if (std::ranges::all_of(pack.m_Entries, [](Entry const& entry) { return entry.m_SizeBytes == 0; })) {
    sto_SqliteStatement::Use(m_DeletePack).Bind(1, pack.m_Key).Step();
  } else {
    sto_EncodePack(pack.m_Key, m_Save, pack.m_Entries, pack.m_Content, m_Row);
    sto_SqliteStatement::Use(m_WritePack).Bind(1, pack.m_Key).Bind(2, sto_ByteView(m_Row)).Step();
  }
}

void sto_SqliteObjects::RaiseDamaged(std::int64_t key) const {
  sto_Raise(sto_ErrorKind::Damaged,
            m_Connection.Path() + ": Pack " + std::to_string(key) + ", with objects " +
                std::to_string(key * sto_Format::IdsInPack) + " to " +
                std::to_string(key * sto_Format::IdsInPack + sto_Format::IdsInPack - 1) + ", is damaged.");
}

bool sto_SqliteObjects::Read(std::int64_t id, sto_StoredRecord& record) {
  if (id <= 0) return false; // an id from a damaged store may be anything
  Pack& pack = Find(sto_PackOf(id));
  std::size_t const slot = sto_SlotOf(id);
  Entry const& entry = pack.m_Entries[slot];
  if (entry.m_SizeBytes == 0) {
    bool const mayHaveRow = !pack.m_IsNew || (pack.m_InOwnRow & (std::uint32_t{1} << slot)) != 0;
    return mayHaveRow && ReadRow(id, record);
  }
  sto_ByteView const stored = sto_ByteView(pack.m_Content).subspan(entry.m_Offset, entry.m_SizeBytes);
  sto_ByteView const values = stored.first(stored.size() - sto_Format::PackedChecksumBytes);
  record.m_Shape = entry.m_Shape;
  record.m_Bytes.assign(values.begin(), values.end());
  std::uint32_t const bit = std::uint32_t{1} << slot;
  record.m_IsSound =
      (pack.m_Checked & bit) != 0 ||
      sto_ByteReader(stored.subspan(values.size())).Number<std::uint32_t>() == sto_PackedChecksum(id, values);
  if (record.m_IsSound) pack.m_Checked |= bit;
  return true;
}

bool sto_SqliteObjects::ReadRow(std::int64_t id, sto_StoredRecord& record) {
  sto_SqliteStatement::Use use(m_ReadRow);
  if (!use.Bind(1, id).Step()) return false;
  sto_ByteView row = use.Bytes(0);
  record.m_IsSound = sto_Unseal(static_cast<std::uint64_t>(id), row);
  sto_ByteReader reader(row);
  reader.Varint(); // the save that has written it
  record.m_Shape = static_cast<std::int64_t>(reader.Varint() & std::numeric_limits<std::int64_t>::max());
  record.m_IsSound = record.m_IsSound && !reader.Failed();
  sto_ByteView const values = reader.Raw(reader.Remaining());
  record.m_Bytes.assign(values.begin(), values.end());
  return true;
}

bool sto_SqliteObjects::Has(std::int64_t id) {
  if (id <= 0) return false;
  return Find(sto_PackOf(id)).m_Entries[sto_SlotOf(id)].m_SizeBytes != 0 ||
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
  if (!AnyRows() || !RemoveRowFromSum(id)) return;
  m_Mark.BeforeWriting();
  sto_SqliteStatement::Use(m_DeleteRow).Bind(1, id).Step();
}

bool sto_SqliteObjects::RemoveRowFromSum(std::int64_t id) {
  if (!ReadRow(id, m_Stored)) return false;
  m_Noted.RemoveRecord(m_Stored.m_Shape, HashOf(id, m_Stored.m_Bytes));
  return true;
}

bool sto_SqliteObjects::WriteRow(std::int64_t id, std::int64_t shape, sto_ByteView values) {
  bool const isThere = AnyRows() && ReadRow(id, m_Stored);
  bool const isSame =
      isThere && m_Stored.m_IsSound && m_Stored.m_Shape == shape && AreEqual(m_Stored.m_Bytes, values);
  if (isSame) return false;
  m_Noted.Object(id);
  m_Mark.BeforeWriting(); // first: it may write packs
  if (isThere) m_Noted.RemoveRecord(m_Stored.m_Shape, HashOf(id, m_Stored.m_Bytes));
  m_Noted.AddRecord(shape, HashOf(id, values));
  m_Row.clear();
  sto_ByteWriter writer(m_Row);
  writer.Varint(static_cast<std::uint64_t>(m_Save));
  writer.Varint(static_cast<std::uint64_t>(shape));
  writer.Raw(values.data(), values.size());
  sto_Seal(static_cast<std::uint64_t>(id), m_Row);
  m_AnyRows = true;
  sto_SqliteStatement::Use(m_WriteRow).Bind(1, id).Bind(2, sto_ByteView(m_Row)).Step();
  return true;
}

bool sto_SqliteObjects::Write(std::int64_t id, std::int64_t shape, sto_ByteView values) {
  Pack& pack = Find(sto_PackOf(id));
  std::size_t const slot = sto_SlotOf(id);
  Entry const& entry = pack.m_Entries[slot];
  std::uint32_t const bit = std::uint32_t{1} << slot;
  std::size_t const size = values.size() + sto_Format::PackedChecksumBytes;
  if (size > sto_Format::MaxPackedBytes || shape > std::numeric_limits<std::uint32_t>::max()) {
    bool const isPacked = entry.m_SizeBytes != 0;
    pack.m_InOwnRow |= bit;
    if (!WriteRow(id, shape, values)) return false;
    if (isPacked) Replace(pack, slot, {}, 0);
    return true;
  }
  std::uint64_t const hash = HashOf(id, values);
  auto const checksum = static_cast<std::uint32_t>(hash);
  if (entry.m_SizeBytes == size && entry.m_Shape == shape) {
    sto_ByteView const stored = sto_ByteView(pack.m_Content).subspan(entry.m_Offset, size);
    bool const isSame = AreEqual(stored.first(values.size()), values) &&
                        sto_ByteReader(stored.subspan(values.size())).Number<std::uint32_t>() == checksum;
    if (isSame) return false;
  }
  m_Noted.Object(id);
  bool const mayHaveRow = entry.m_SizeBytes == 0 && (!pack.m_IsNew || (pack.m_InOwnRow & bit) != 0);
  if (mayHaveRow) {
    DropRow(id);
    pack.m_InOwnRow &= ~bit;
  }
  if (pack.m_Content.size() > MaxContentBytes) Compact(pack);
  auto const offset = static_cast<std::uint32_t>(pack.m_Content.size());
  // First what may fail; bytes behind the last record do no harm.
  pack.m_Content.insert(pack.m_Content.end(), values.begin(), values.end());
  sto_ByteWriter(pack.m_Content).Number(checksum);
  Replace(pack, slot, {offset, static_cast<std::uint32_t>(size), static_cast<std::uint32_t>(shape)}, hash);
  pack.m_Checked |= bit;
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
  m_Noted.Object(id);
  Pack& pack = Find(sto_PackOf(id));
  if (pack.m_Entries[sto_SlotOf(id)].m_SizeBytes != 0) return Replace(pack, sto_SlotOf(id), {}, 0);
  m_Mark.BeforeWriting();
  RemoveRowFromSum(id);
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
  sto_SqliteStatement packs(m_Connection,
                            "SELECT key, substr(data, 1, 4) FROM pack WHERE key BETWEEN ? AND ?");
  sto_SqliteStatement::Use pack(packs);
  pack.Bind(1, sto_PackOf(first)).Bind(2, sto_PackOf(last)).AllowRange(sto_PackOf(first), sto_PackOf(last));
  while (pack.Step()) {
    std::uint32_t present = sto_PresentIn(pack.Bytes(1));
    for (std::int64_t id = pack.Integer(0) * sto_Format::IdsInPack; present != 0; ++id, present >>= 1)
      if ((present & 1) != 0) take(id);
  }
  std::ranges::sort(ids);
  return ids;
}

std::int64_t sto_SqliteObjects::RowsFrom(std::int64_t first, std::int64_t end,
                                         std::vector<sto_ObjectShape>& objects) {
  if (!AnyRows()) return end;
  sto_SqliteStatement::Use row(m_NextRows);
  int left = MaxRowsAtOnce;
  for (row.Bind(1, first).Bind(2, end).Bind(3, MaxRowsAtOnce); row.Step(); --left) {
    sto_ByteReader start(row.Bytes(1));
    start.Varint(); // the save that has written it
    auto const shape = static_cast<std::int64_t>(start.Varint() & std::numeric_limits<std::int64_t>::max());
    objects.push_back({row.Integer(0), start.Failed() ? sto_Format::OwnShape : shape});
  }
  return left == 0 ? objects.back().m_Id + 1 : end;
}

std::int64_t sto_SqliteObjects::From(std::int64_t first, std::vector<sto_ObjectShape>& objects) {
  Flush();
  auto const before = static_cast<std::ptrdiff_t>(objects.size());
  std::array<std::int64_t, PacksAtOnce> keys{};
  std::size_t count = 0;
  {
    sto_SqliteStatement::Use next(m_NextPacks);
    next.Bind(1, sto_PackOf(first)).Bind(2, static_cast<std::int64_t>(keys.size()));
    while (count < keys.size() && next.Step()) {
      if (next.Integer(0) > sto_PackOf(sto_Format::MaxObjectId)) RaiseDamaged(next.Integer(0));
      keys[count++] = next.Integer(0);
    }
  }
  constexpr std::int64_t EndOfAll = sto_Format::MaxObjectId + 1;
  bool const isLast = count < keys.size();
  // Rows are long: reading one that lies behind the packs, to look at it again next time, costs more than a pack.
  std::int64_t const end = RowsFrom(
      first, isLast ? EndOfAll : std::min((keys.back() + 1) * sto_Format::IdsInPack, EndOfAll), objects);
  bool const hasRows = static_cast<std::ptrdiff_t>(objects.size()) != before;
  for (std::size_t i = 0; i < count; ++i) {
    std::int64_t id = keys[i] * sto_Format::IdsInPack;
    for (Entry const& entry : Find(keys[i]).m_Entries) {
      if (entry.m_SizeBytes != 0 && id >= first && id < end) objects.push_back({id, entry.m_Shape});
      ++id;
    }
  }
  if (hasRows) std::ranges::sort(objects.begin() + before, objects.end(), {}, &sto_ObjectShape::m_Id);
  return end >= EndOfAll ? 0 : end;
}

std::int64_t sto_SqliteObjects::Count() {
  Flush();
  // Intentional: count(id) and not count(*). For count(*) SQLite takes a single step however long it runs, so
  // that counting steps would not end it on a damaged, endless tree.
  sto_SqliteStatement rows(m_Connection, "SELECT count(id) FROM object");
  sto_SqliteStatement::Use row(rows);
  std::int64_t count = row.AllowAllRows().Step() ? row.Integer(0) : 0;
  sto_SqliteStatement packs(m_Connection, "SELECT substr(data, 1, 4) FROM pack");
  sto_SqliteStatement::Use use(packs);
  for (use.AllowAllRows(); use.Step();) count += std::popcount(sto_PresentIn(use.Bytes(0)));
  return count;
}

std::int64_t sto_SqliteObjects::GreatestId() {
  sto_SqliteStatement::Use row(m_GreatestRow);
  std::int64_t const greatest = row.Step() ? row.Integer(0) : 0;
  sto_SqliteStatement::Use pack(m_LastPack);
  if (!pack.Step() || pack.Integer(0) < 0) return greatest;
  if (pack.Integer(0) > sto_PackOf(sto_Format::MaxObjectId)) return std::numeric_limits<std::int64_t>::max();
  std::uint32_t const present = sto_PresentIn(pack.Bytes(1));
  return std::max(greatest, pack.Integer(0) * sto_Format::IdsInPack +
                                static_cast<std::int64_t>(std::bit_width(present)) - 1);
}
