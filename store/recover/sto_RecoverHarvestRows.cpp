// The rows with objects and blocks.

#include <algorithm>
#include <bit>
#include <limits>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/format/sto_BlockCodec.h"
#include "store/format/sto_Checksum.h"
#include "store/format/sto_OldRecord.h"
#include "store/format/sto_PackCodec.h"
#include "store/recover/sto_RecoverHarvest.h"

namespace {

std::string Range(std::int64_t first, std::int64_t last) {
  if (first == last) return "object " + std::to_string(first);
  if (last == sto_Format::MaxObjectId) return "the objects from " + std::to_string(first) + " on";
  return "objects " + std::to_string(first) + " to " + std::to_string(last);
}

} // namespace

/// The statements that write many rows.
struct sto_RecoverHarvest::Writers {
  explicit Writers(sto_SqliteConnection& work)
      : m_Pack(work, "INSERT OR IGNORE INTO pack(key, data) VALUES(?, ?)"),
        m_Object(work, "INSERT OR IGNORE INTO object(id, record) VALUES(?, ?)"),
        m_OldObject(work, "INSERT OR IGNORE INTO object(id, class_id, record) VALUES(?, ?, ?)"),
        m_Block(work, "INSERT OR IGNORE INTO block(key, data) VALUES(?, ?)"),
        m_ReadBlock(work, "SELECT data FROM block WHERE key = ?"),
        m_WriteBlock(work, "REPLACE INTO block(key, data) VALUES(?, ?)"),
        m_DeleteBlock(work, "DELETE FROM block WHERE key = ?") {}

  static void Put(sto_SqliteStatement& statement, std::int64_t key, sto_ByteView data) {
    sto_SqliteStatement::Use(statement).Bind(1, key).Bind(2, data).Step();
  }

  sto_SqliteStatement m_Pack, m_Object, m_OldObject, m_Block, m_ReadBlock, m_WriteBlock, m_DeleteBlock;
};

void sto_RecoverHarvest::Read(sto_SqliteConnection& work) {
  m_Work = &work;
  Writers writers(work);
  m_Writers = &writers;
  using enum sto_RecoverTable;
  // Long objects before packs: no object is in both.
  std::vector<Table> tables{Save, Class,      Attribute, Name, NameIndex, Shape,      Root,
                            Note, Enumerator, Object,    Pack, Block,     MovedBlock, BlockPlace};
  if (IsOld()) tables.insert(tables.begin(), Meta);
  if (HasIndexTables()) tables.insert(tables.end(), {IndexName, IndexEntry});
  for (Table const table : tables) WalkTable(table);
  WalkOrphans();
  CheckClasses();
  if (Version() > sto_Format::VersionWithoutPacks) CheckPlaces();
  ReportMissedObjects();
  m_Writers = nullptr;
}

void sto_RecoverHarvest::LoseObject(std::int64_t id, std::int64_t shape) {
  if (!m_Results.LoseObject(id)) return;
  sto_LostItem item;
  item.m_Kind = sto_LostKind::Object;
  item.m_ObjectId = id;
  auto const stored = m_Shapes.find(shape);
  if (stored != m_Shapes.end()) {
    sto_ByteReader reader(stored->second);
    sto_Shape described;
    unsigned int const classId = described.Decode(reader) ? described.m_Parts.front().m_ClassId : 0;
    for (auto const& [key, row] : m_Classes)
      if (key.first == classId) item.m_Class = row.m_Name;
  }
  item.m_Text = "Object " + std::to_string(id) + (item.m_Class.empty() ? "" : " (" + item.m_Class + ")") +
                " is lost: its record does not fit its checksum.";
  m_Results.Add(std::move(item));
}

// Of several versions of a pack, the newest counts. Two of one save cannot be told apart: neither is taken.
bool sto_RecoverHarvest::IsNewerThanLoose(std::int64_t key, std::int64_t save) {
  auto const loose = m_LoosePacks.find(key);
  if (loose == m_LoosePacks.end() || loose->second > save) return false;
  sto_SqliteStatement drop(*m_Work, "DELETE FROM pack WHERE key = ?");
  sto_SqliteStatement::Use(drop).Bind(1, key).Step();
  return loose->second < save;
}

bool sto_RecoverHarvest::TakePack(sto_RecoverRow const& row, Trust trust) {
  sto_DecodedPack pack;
  std::int64_t const key = row.m_RowId;
  bool const isKey = key >= 0 && key <= sto_PackOf(sto_Format::MaxObjectId);
  if (!isKey || !sto_DecodePack(key, row.m_Values[1].m_Bytes, pack)) return false;
  if (m_Packs.Has(key) && (trust == Trust::Sure || !IsNewerThanLoose(key, pack.m_Save))) return false;
  std::int64_t const first = key * sto_Format::IdsInPack;
  std::int64_t kept = 0;
  bool isWhole = true;
  for (std::size_t slot = 0; slot < pack.m_Entries.size(); ++slot) {
    sto_PackEntry& entry = pack.m_Entries[slot];
    if (entry.m_SizeBytes == 0) continue;
    std::int64_t const id = first + static_cast<std::int64_t>(slot);
    sto_ByteView const stored = pack.m_Records.subspan(entry.m_Offset, entry.m_SizeBytes);
    sto_ByteView const values = stored.first(stored.size() - sto_Format::PackedChecksumBytes);
    bool const isSound = sto_ByteReader(stored.subspan(values.size())).Number<std::uint32_t>() ==
                         sto_PackedChecksum(id, values);
    bool const isNewest = trust == Trust::Sure || m_Log.IsNewest(id, pack.m_Save);
    bool const isTaken = id > 0 && isSound && isNewest && !m_LongObjects.Has(id);
    if (!isTaken && trust == Trust::Sure && !m_LongObjects.Has(id)) LoseObject(id, entry.m_Shape);
    if (!isTaken) entry = {};
    isWhole = isWhole && isTaken;
    kept += isTaken ? 1 : 0;
  }
  if (trust == Trust::Doubtful && kept == 0) return false;
  m_Packs.Add(key);
  if (trust == Trust::Doubtful) m_LoosePacks[key] = pack.m_Save;
  if (trust == Trust::Sure || pack.m_Save <= m_Log.Newest())
    m_NewestSave = std::max(m_NewestSave, pack.m_Save);
  m_Results.Report().m_Objects.m_Read += kept;
  if (kept == 0) return true;
  if (!isWhole) sto_EncodePack(key, pack.m_Save, pack.m_Entries, pack.m_Records, m_Scratch);
  Writers::Put(m_Writers->m_Pack, key, isWhole ? row.m_Values[1].m_Bytes : sto_ByteView(m_Scratch));
  return true;
}

bool sto_RecoverHarvest::TakeObject(sto_RecoverRow const& row, Trust trust) {
  std::int64_t const id = row.m_RowId;
  sto_ByteView bytes = row.m_Values[1].m_Bytes;
  if (id < 1 || id > sto_Format::MaxObjectId || m_LongObjects.Has(id)) return false;
  if (!sto_Unseal(static_cast<std::uint64_t>(id), bytes)) return false;
  auto const save = static_cast<std::int64_t>(sto_ByteReader(bytes).Varint());
  if (trust == Trust::Doubtful && !m_Log.IsNewest(id, save)) return false;
  m_LongObjects.Add(id);
  m_NewestSave = std::max(m_NewestSave, save);
  ++m_Results.Report().m_Objects.m_Read;
  Writers::Put(m_Writers->m_Object, id, row.m_Values[1].m_Bytes);
  return true;
}

bool sto_RecoverHarvest::TakeOldObject(sto_RecoverRow const& row) {
  std::int64_t const id = row.m_RowId;
  sto_ByteView bytes = row.m_Values[2].m_Bytes;
  if (id < 1 || id > sto_Format::MaxObjectId || m_LongObjects.Has(id)) return false;
  sto_StoredRecord record;
  record.m_Shape = sto_StoredRecord::SelfDescribed;
  record.m_ClassId = static_cast<unsigned int>(row.m_Values[1].m_Number);
  record.m_Bytes.assign(bytes.begin(), bytes.end());
  sto_Shape shape;
  std::string problem;
  if (!sto_ConvertOldRecord(id, record, shape, m_Scratch, problem)) return false;
  m_LongObjects.Add(id);
  ++m_Results.Report().m_Objects.m_Read;
  sto_SqliteStatement::Use(m_Writers->m_OldObject)
      .Bind(1, id)
      .Bind(2, row.m_Values[1].m_Number)
      .Bind(3, bytes)
      .Step();
  return true;
}

// Its head has no checksum: what it says is right if the records fit theirs.
bool sto_RecoverHarvest::TakeOldPack(sto_RecoverRow const& row) {
  std::int64_t const key = row.m_RowId;
  sto_ByteReader reader(row.m_Values[1].m_Bytes);
  auto const present = reader.Number<std::uint64_t>();
  struct Entry {
    std::int64_t m_Id;
    sto_StoredRecord m_Record;
    std::size_t m_Size;
  };
  std::vector<Entry> entries;
  for (int slot = 0; slot < sto_Format::IdsInOldPack; ++slot) {
    if ((present >> slot & 1) == 0) continue;
    Entry& entry = entries.emplace_back();
    entry.m_Id = key * sto_Format::IdsInOldPack + slot;
    entry.m_Record.m_Shape = sto_StoredRecord::SelfDescribed;
    entry.m_Record.m_ClassId = static_cast<unsigned int>(reader.Varint());
    entry.m_Size = static_cast<std::size_t>(reader.Varint());
  }
  if (reader.Failed() || entries.empty() || key < 0 || m_Packs.Has(key)) return false;
  if (key > sto_Format::MaxObjectId / sto_Format::IdsInOldPack) return false;
  sto_Shape shape;
  std::string problem;
  std::vector<std::int64_t> lost;
  std::uint64_t kept = 0;
  for (Entry& entry : entries) {
    sto_ByteView const bytes = reader.Raw(entry.m_Size);
    entry.m_Record.m_Bytes.assign(bytes.begin(), bytes.end());
    bool const isSound = !reader.Failed() && entry.m_Id > 0 && !m_LongObjects.Has(entry.m_Id) &&
                         sto_ConvertOldRecord(entry.m_Id, entry.m_Record, shape, m_Scratch, problem);
    if (isSound)
      kept |= std::uint64_t{1} << (entry.m_Id % sto_Format::IdsInOldPack);
    else
      lost.push_back(entry.m_Id);
  }
  if (kept == 0) return false;
  m_Packs.Add(key);
  for (std::int64_t const id : lost) LoseObject(id, 0);
  m_Results.Report().m_Objects.m_Read += std::popcount(kept);
  sto_Bytes data, records;
  sto_ByteWriter writer(data), recordWriter(records);
  writer.Number(kept);
  for (Entry const& entry : entries) {
    if ((kept >> (entry.m_Id % sto_Format::IdsInOldPack) & 1) == 0) continue;
    writer.Varint(entry.m_Record.m_ClassId);
    writer.Varint(entry.m_Size);
    recordWriter.Raw(entry.m_Record.m_Bytes.data(), entry.m_Record.m_Bytes.size());
  }
  writer.Raw(records.data(), records.size());
  Writers::Put(m_Writers->m_Pack, key, data);
  return true;
}

bool sto_RecoverHarvest::TakeBlocks(sto_RecoverRow const& row, Trust trust) {
  std::int64_t const key = row.m_RowId;
  if (key < 0 || sto_BlockRow::RowOf(key) != key) return false;
  if (trust == Trust::Doubtful && !m_Log.IsListUnchanged(key >> sto_Format::BlockIndexBits)) return false;
  sto_BlockRow blocks(row.m_Values[1].m_Bytes);
  bool isAny = false;
  for (int slot = 0; slot < sto_BlockRow::Blocks; ++slot) {
    sto_ByteView const block = blocks.Find(slot);
    if (block.empty()) continue;
    bool const isSound = sto_BlockCodec::IsSound(key + slot, block);
    if (!isSound) blocks.Put(slot, {});
    isAny = isAny || isSound;
  }
  if (isAny) Writers::Put(m_Writers->m_Block, key, blocks.Stored());
  return isAny;
}

bool sto_RecoverHarvest::TakeOldBlock(sto_RecoverRow const& row) {
  sto_ByteView bytes = row.m_Values[1].m_Bytes;
  if (row.m_RowId < 0 || !sto_Unseal(static_cast<std::uint64_t>(row.m_RowId), bytes)) return false;
  Writers::Put(m_Writers->m_Block, row.m_RowId, row.m_Values[1].m_Bytes);
  return true;
}

void sto_RecoverHarvest::DropBlock(std::int64_t key) {
  std::int64_t const rowKey = IsOld() ? key : sto_BlockRow::RowOf(key);
  sto_Bytes stored;
  {
    sto_SqliteStatement::Use use(m_Writers->m_ReadBlock);
    if (!use.Bind(1, rowKey).Step()) return;
    sto_ByteView const data = use.Bytes(0);
    stored.assign(data.begin(), data.end());
  }
  sto_BlockRow row{IsOld() ? sto_ByteView() : sto_ByteView(stored)};
  if (!IsOld()) row.Put(sto_BlockRow::SlotOf(key), {});
  if (IsOld() || row.IsEmpty())
    sto_SqliteStatement::Use(m_Writers->m_DeleteBlock).Bind(1, rowKey).Step();
  else
    Writers::Put(m_Writers->m_WriteBlock, rowKey, row.Stored());
}

// A block with a place counts, and an older one in table block does not. So a place that is lost must not let the older one
// be taken for the newest.
void sto_RecoverHarvest::CheckPlaces() {
  std::vector<std::int64_t> wrong;
  bool areLost = HasMissed(Table::BlockPlace);
  {
    sto_SqliteStatement read(*m_Work, "SELECT key, data FROM block_place LEFT JOIN moved_block USING(place)");
    sto_SqliteStatement::Use use(read);
    for (use.AllowAllRows(); use.Step();) {
      std::int64_t const key = use.Integer(0);
      sto_ByteView bytes = use.Bytes(1);
      bool const isSound =
          IsOld() ? sto_Unseal(static_cast<std::uint64_t>(key), bytes) : sto_BlockCodec::IsSound(key, bytes);
      if (!isSound) wrong.push_back(key);
    }
  }
  for (std::int64_t const key : wrong) {
    DropBlock(key);
    sto_SqliteStatement drop(*m_Work, "DELETE FROM block_place WHERE key = ?");
    sto_SqliteStatement::Use(drop).Bind(1, key).Step();
  }
  sto_SqliteStatement count(
      *m_Work, "SELECT count(*) FROM moved_block WHERE place NOT IN (SELECT place FROM block_place)");
  {
    sto_SqliteStatement::Use use(count);
    use.AllowAllRows().Step();
    areLost = areLost || use.Integer(0) > static_cast<std::int64_t>(wrong.size()) ||
              (use.Integer(0) > 0 && !wrong.empty());
  }
  sto_SqliteStatement drop(*m_Work,
                           "DELETE FROM moved_block WHERE place NOT IN (SELECT place FROM block_place)");
  {
    sto_SqliteStatement::Use use(drop);
    use.AllowAllRows().Step();
  }
  if (areLost || (!wrong.empty() && HasMissed(Table::MovedBlock))) DropChangedBlocks();
}

void sto_RecoverHarvest::DropChangedBlocks() {
  std::vector<std::int64_t> keys;
  {
    sto_SqliteStatement read(*m_Work, "SELECT key FROM block");
    sto_SqliteStatement::Use use(read);
    for (use.AllowAllRows(); use.Step();)
      if (IsOld() || !m_Log.IsListUnchanged(use.Integer(0) >> sto_Format::BlockIndexBits))
        keys.push_back(use.Integer(0));
  }
  for (std::int64_t const key : keys) sto_SqliteStatement::Use(m_Writers->m_DeleteBlock).Bind(1, key).Step();
}

// What else was read of them is taken out of the ranges.
void sto_RecoverHarvest::ReportMissedObjects() {
  constexpr std::int64_t MaxKeys = 1'000'000; // looked at one by one
  std::int64_t const idsInPack = IsOld() ? sto_Format::IdsInOldPack : sto_Format::IdsInPack;
  bool const isLogRead = m_Log.Newest() > 0 && m_Log.Newest() >= m_NewestSave && !HasMissed(Table::Save);
  std::int64_t lastId = isLogRead ? m_Log.Entries().rbegin()->second.m_NextId - 1 : m_OldNextId - 1;
  if (lastId < 1) lastId = sto_Format::MaxObjectId;
  auto const report = [&](std::int64_t first, std::int64_t last, char const* table) {
    sto_LostItem item;
    item.m_Kind = sto_LostKind::Objects;
    item.m_ObjectId = first;
    item.m_LastId = last;
    item.m_Text = std::string("A part of table ") + table + " cannot be read, with what it had of " +
                  Range(first, last) + ".";
    m_Results.Add(std::move(item));
  };
  for (auto [first, last] : m_MissedPacks) {
    first = std::max<std::int64_t>(first, 0);
    last = std::min(last, lastId / idsInPack);
    if (last - first > MaxKeys) { // the log is lost, too
      report(std::max<std::int64_t>(first * idsInPack, 1), lastId, "pack");
      continue;
    }
    for (std::int64_t key = first; key <= last;) {
      std::int64_t end = key;
      while (end <= last && (!m_Packs.Has(end) || m_LoosePacks.contains(end))) ++end;
      if (end > key)
        report(std::max<std::int64_t>(key * idsInPack, 1), std::min(end * idsInPack - 1, lastId), "pack");
      key = end + 1;
    }
  }
  for (auto [first, last] : m_MissedObjects) {
    first = std::max<std::int64_t>(first, 1);
    last = std::min(last, lastId);
    if (first > last || (first == last && m_LongObjects.Has(first))) continue;
    report(first, last, "object");
  }
}
