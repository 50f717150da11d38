#include "store/sqlite/sto_SqliteCheck.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>

#include "store/format/sto_Checksum.h"
#include "store/sqlite/sto_SqliteCheckBlocks.h"
#include "store/sqlite/sto_SqliteIndexes.h"
#include "store/sqlite/sto_SqliteSchemaCheck.h"
#include "store/sqlite/sto_SqliteWatch.h"

namespace {

/// SQLite's own quick check reads every page: in a quick check it is done for files of at most this size.
constexpr std::int64_t MaxQuickBytes = 64 << 20;

/// About so many of SQLite's steps check a row.
constexpr int StepsInUnit = 10;

constexpr std::int64_t Greatest = std::numeric_limits<std::int64_t>::max();

/// The start of a row of table object, which tells the save and the shape.
constexpr char ReadStarts[] = "SELECT id, substr(record, 1, 24), length(record) FROM object";

/// SQLite reports pages that it cannot get as damage, also if the system or the memory fails. Raises those.
void RaiseIfUnreadable(sto_SqliteConnection const& connection, std::string const& text) {
  constexpr std::string_view WithCode = "unable to get the page. error code=";
  if (std::size_t const at = text.find(WithCode); at != std::string::npos) {
    int const code = std::atoi(text.c_str() + at + WithCode.size());
    if ((code & 0xFF) == SQLITE_NOMEM || (code & 0xFF) == SQLITE_IOERR) connection.Raise(code, true);
  }
  if (text.find("failed to get page") != std::string::npos) // a page number that is wrong has another text
    sto_Raise(sto_ErrorKind::Unavailable,
              connection.Path() + ": The file cannot be read, or memory has run out: SQLite: " + text);
}

} // namespace

sto_SqliteCheck::sto_SqliteCheck(sto_SqliteConnection& connection, std::int64_t formatVersion,
                                 sto_ByteView uuid, std::optional<Pending> const& pending,
                                 sto_StorageVisitor& visitor)
    : m_Connection(connection), m_FormatVersion(formatVersion), m_Uuid(uuid), m_Pending(pending),
      m_Visitor(visitor), m_Findings(connection, visitor),
      m_Tables(connection, formatVersion, uuid, m_Findings, visitor, m_Sum) {
  m_Sum.Begin(1, {});
}

void sto_SqliteCheck::Structure(bool isFull, sto_Meter* meter) {
  sto_SqliteWatch const watch(m_Connection, meter, StepsInUnit);
  CheckStructure(isFull); // takes an interruption for damage
  watch.RaiseStopped();
}

void sto_SqliteCheck::CheckStructure(bool isFull) {
  m_Findings.Try(sto_CheckKind::Header, "sqlite_schema", [this] { sto_CheckSqliteSchema(m_Connection); });
  if (!isFull && m_Connection.SizeBytes() > MaxQuickBytes) return;
  m_Findings.Try(sto_CheckKind::Structure, "",
                 [&] { RunPragma(isFull ? "PRAGMA integrity_check(1000)" : "PRAGMA quick_check(1000)"); });
  CheckTypes("block", "SELECT key FROM block WHERE typeof(data) <> 'blob'");
  CheckTypes("object", "SELECT id FROM object WHERE typeof(record) <> 'blob'");
  if (!HasPacks()) return;
  CheckTypes("pack", "SELECT key FROM pack WHERE typeof(data) <> 'blob'");
  CheckTypes("moved_block", "SELECT place FROM moved_block WHERE typeof(data) <> 'blob'");
  CheckTypes("block_place", "SELECT key FROM block_place WHERE typeof(place) <> 'integer'");
  m_Findings.Try(sto_CheckKind::Structure, "block_place", [this] { CheckPlaces(); });
}

void sto_SqliteCheck::RunPragma(char const* sql) {
  sto_SqliteStatement statement(m_Connection, sql);
  sto_SqliteStatement::Use use(statement);
  constexpr std::string_view Heading = "*** in database main ***\n";
  for (use.AllowAllRows(); use.Step();) {
    std::string text = use.Text(0);
    if (text == "ok") continue;
    if (text.starts_with(Heading)) text.erase(0, Heading.size());
    std::ranges::replace(text, '\n', ';');
    RaiseIfUnreadable(m_Connection, text);
    m_Findings.Add(sto_CheckKind::Structure, "", 0, "SQLite finds the file damaged: " + text + ".");
  }
}

std::vector<std::int64_t> sto_SqliteCheck::Numbers(char const* sql) {
  std::vector<std::int64_t> numbers;
  sto_SqliteStatement statement(m_Connection, sql);
  sto_SqliteStatement::Use use(statement);
  for (use.AllowAllRows(); use.Step();) numbers.push_back(use.Integer(0));
  return numbers;
}

std::int64_t sto_SqliteCheck::Number(char const* sql) {
  sto_SqliteStatement statement(m_Connection, sql);
  sto_SqliteStatement::Use use(statement);
  return use.AllowAllRows().Step() ? use.Integer(0) : 0;
}

void sto_SqliteCheck::CheckTypes(char const* table, char const* sql) {
  m_Findings.Try(sto_CheckKind::Structure, table, [&] {
    for (std::int64_t const key : Numbers(sql))
      m_Findings.Add(sto_CheckKind::Structure, table, key,
                     "Row " + std::to_string(key) + " of table " + table + " has a value of another type.");
  });
}

void sto_SqliteCheck::CheckPlaces() {
  std::vector<std::int64_t> const rows = Numbers("SELECT place FROM moved_block ORDER BY place");
  std::vector<std::int64_t> named = Numbers("SELECT place FROM block_place");
  std::ranges::sort(named);
  std::vector<std::int64_t> faults;
  std::ranges::set_difference(rows, named, std::back_inserter(faults));
  for (std::int64_t const place : faults)
    m_Findings.Add(sto_CheckKind::OrphanRow, "moved_block", place,
                   "Row " + std::to_string(place) + " of table moved_block belongs to no block.");
  faults.clear();
  std::ranges::set_difference(named, rows, std::back_inserter(faults)); // also what is named twice
  for (std::int64_t const place : faults)
    m_Findings.Add(sto_CheckKind::OrphanRow, "block_place", place,
                   "Table block_place names row " + std::to_string(place) +
                       " of table moved_block, which is missing or has two names.");
}

void sto_SqliteCheck::Tables() {
  m_IsWhole = m_Tables.Read() && m_IsWhole;
}

void sto_SqliteCheck::CheckSave(char const* table, std::int64_t key, std::int64_t save) {
  std::int64_t const last = m_Pending ? m_Pending->m_Save : m_Tables.LastSave();
  if (last == 0 || (save >= 1 && save <= last)) return; // 0: the log itself is damaged
  m_Findings.Add(sto_CheckKind::Log, table, key,
                 "Row " + std::to_string(key) + " of table " + table + " was written by save " +
                     std::to_string(save) + ", which the log does not have.");
}

template <class Take> void sto_SqliteCheck::ForEachPack(Take take) {
  sto_SqliteStatement statement(m_Connection, "SELECT key, data FROM pack ORDER BY key");
  sto_SqliteStatement::Use use(statement);
  for (use.AllowAllRows(); use.Step();) {
    std::int64_t const key = use.Integer(0);
    sto_DecodedPack pack;
    bool const isKey = key >= 0 && key <= sto_PackOf(sto_Format::MaxObjectId);
    take(key, isKey && sto_DecodePack(key, use.Bytes(1), pack) ? &pack : nullptr);
  }
}

void sto_SqliteCheck::Objects() {
  if (IsOld()) return ReadOldObjects(false);
  bool const isRead = m_Findings.Try(sto_CheckKind::Structure, "pack", [this] {
    ForEachPack([this](std::int64_t key, sto_DecodedPack const* pack) {
      std::int64_t const first = key * sto_Format::IdsInPack;
      if (pack == nullptr) {
        m_Findings.Add(sto_CheckKind::DamagedRow, "pack", key,
                       "Pack " + std::to_string(key) + ", with objects " + std::to_string(first) + " to " +
                           std::to_string(first + sto_Format::IdsInPack - 1) + ", is damaged.");
        return m_Visitor.TakeUnreadable(first, first + sto_Format::IdsInPack - 1);
      }
      CheckSave("pack", key, pack->m_Save);
      for (std::size_t slot = 0; slot < pack->m_Entries.size(); ++slot)
        if (sto_PackEntry const& entry = pack->m_Entries[slot]; entry.m_SizeBytes != 0)
          m_Visitor.TakeObject(
              {first + static_cast<std::int64_t>(slot), entry.m_Shape, 0, entry.m_SizeBytes});
    });
  });
  bool const areRowsRead = m_Findings.Try(sto_CheckKind::Structure, "object", [this] { ReadRows(false); });
  m_IsWhole = m_IsWhole && isRead && areRowsRead;
}

void sto_SqliteCheck::Records() {
  if (IsOld()) return ReadOldObjects(true);
  bool const isRead = m_Findings.Try(sto_CheckKind::Structure, "pack", [this] {
    ForEachPack([this](std::int64_t key, sto_DecodedPack const* pack) {
      if (pack != nullptr) ReadPack(key, *pack); // otherwise Objects has reported it
    });
  });
  bool const areRowsRead = m_Findings.Try(sto_CheckKind::Structure, "object", [this] { ReadRows(true); });
  m_IsWhole = m_IsWhole && isRead && areRowsRead;
}

void sto_SqliteCheck::ReadPack(std::int64_t key, sto_DecodedPack const& pack) {
  for (std::size_t slot = 0; slot < pack.m_Entries.size(); ++slot) {
    sto_PackEntry const& entry = pack.m_Entries[slot];
    if (entry.m_SizeBytes == 0) continue;
    std::int64_t const id = key * sto_Format::IdsInPack + static_cast<std::int64_t>(slot);
    sto_ByteView const stored = pack.m_Records.subspan(entry.m_Offset, entry.m_SizeBytes);
    sto_ByteView const values = stored.first(stored.size() - sto_Format::PackedChecksumBytes);
    m_Record.m_Shape = entry.m_Shape;
    m_Record.m_Bytes.assign(values.begin(), values.end());
    m_Record.m_IsSound = sto_ByteReader(stored.subspan(values.size())).Number<std::uint32_t>() ==
                         sto_PackedChecksum(id, values);
    m_Sum.AddRecord(m_Record.m_Shape, sto_Checksum(static_cast<std::uint64_t>(id), values));
    m_Visitor.TakeRecord(id, m_Record);
  }
}

void sto_SqliteCheck::ReadRows(bool withRecords) {
  sto_SqliteStatement statement(m_Connection,
                                withRecords ? "SELECT id, record, length(record) FROM object" : ReadStarts);
  sto_SqliteStatement::Use use(statement);
  for (use.AllowAllRows(); use.Step();) {
    std::int64_t const id = use.Integer(0);
    sto_ByteView row = use.Bytes(1);
    m_Record.m_IsSound = !withRecords || sto_Unseal(static_cast<std::uint64_t>(id), row);
    sto_ByteReader reader(row);
    std::uint64_t const save = reader.Varint();
    m_Record.m_Shape = static_cast<std::int64_t>(reader.Varint() & static_cast<std::uint64_t>(Greatest));
    m_Record.m_IsSound = m_Record.m_IsSound && !reader.Failed();
    if (!withRecords) {
      m_Visitor.TakeObject({id, m_Record.m_Shape, 0, use.Integer(2)});
      continue;
    }
    if (m_Record.m_IsSound) CheckSave("object", id, static_cast<std::int64_t>(save));
    sto_ByteView const values = reader.Raw(reader.Remaining());
    m_Record.m_Bytes.assign(values.begin(), values.end());
    m_Sum.AddRecord(m_Record.m_Shape, sto_Checksum(static_cast<std::uint64_t>(id), values));
    m_Visitor.TakeRecord(id, m_Record);
  }
}

void sto_SqliteCheck::ReadOldObjects(bool withRecords) {
  sto_SqliteObjectTables tables;
  if (!HasPacks()) tables.m_Pack.clear();
  sto_SqliteOldObjects objects(m_Connection, tables);
  std::vector<std::int64_t> ids;
  m_Findings.Try(sto_CheckKind::Structure, "object", [&] { ids = objects.Ids(1, sto_Format::MaxObjectId); });
  std::int64_t damagedPack = -1;
  for (std::int64_t const id : ids) {
    std::int64_t const pack = id / sto_Format::IdsInOldPack;
    if (pack == damagedPack) continue;
    bool isThere = false;
    auto const read = [&] { isThere = objects.Read(id, m_Record); };
    if (!withRecords && !m_Findings.Try(sto_CheckKind::DamagedRow, "pack", read)) {
      damagedPack = pack;
      m_Visitor.TakeUnreadable(pack * sto_Format::IdsInOldPack, (pack + 1) * sto_Format::IdsInOldPack - 1);
    } else if (withRecords) {
      try {
        read();
      } catch (sto_Exception const& failure) { // it was reported with the objects
        if (failure.Kind() != sto_ErrorKind::Damaged) throw;
        damagedPack = pack;
      }
    }
    if (!isThere) continue;
    if (withRecords)
      m_Visitor.TakeRecord(id, m_Record);
    else
      m_Visitor.TakeObject(
          {id, m_Record.m_Shape, m_Record.m_ClassId, static_cast<std::int64_t>(m_Record.m_Bytes.size())});
  }
}

void sto_SqliteCheck::Blocks() {
  m_IsWhole =
      sto_SqliteCheckBlocks(m_Connection, m_FormatVersion, m_Findings, m_Visitor, m_Sum).Read() && m_IsWhole;
}

void sto_SqliteCheck::BlockRows() {
  m_Findings.Try(sto_CheckKind::Structure, "block", [this] {
    sto_SqliteStatement statement(
        m_Connection, HasPacks() ? "SELECT key, length(data) FROM block UNION ALL "
                                   "SELECT block_place.key, length(moved_block.data) FROM block_place "
                                   "JOIN moved_block USING(place) ORDER BY 1"
                                 : "SELECT key, length(data) FROM block ORDER BY 1");
    sto_SqliteStatement::Use use(statement);
    for (use.AllowAllRows(); use.Step();) m_Visitor.TakeBlockRow(use.Integer(0), use.Integer(1));
  });
}

bool sto_SqliteCheck::HasIndexes() {
  return Number("SELECT count(*) FROM sqlite_schema WHERE name IN ('index_name', 'index_entry')") == 2;
}

void sto_SqliteCheck::IndexEntries() {
  if (!HasIndexes()) return;
  m_Findings.Try(sto_CheckKind::Structure, "index_entry", [this] {
    sto_SqliteStatement statement(m_Connection,
                                  "SELECT no, key, id, checksum FROM index_entry ORDER BY no, key, id");
    sto_SqliteStatement::Use use(statement);
    sto_RowChecksum checksum(m_Uuid, "index_entry");
    for (use.AllowAllRows(); use.Step();) {
      bool const hasRightTypes = use.TypeOf(0) == sto_SqliteType::Integer &&
                                 use.TypeOf(1) == sto_SqliteType::Bytes &&
                                 use.TypeOf(2) == sto_SqliteType::Integer;
      std::int64_t const number = use.Integer(0);
      sto_IndexEntry const entry{std::string(sto_AsText(use.Bytes(1))), use.Integer(2)};
      bool const isSound = hasRightTypes && use.TypeOf(3) == sto_SqliteType::Integer &&
                           use.Integer(3) == sto_IndexEntryChecksum(checksum, number, entry);
      m_Visitor.TakeIndexEntry(number, entry, isSound);
    }
  });
}

std::int64_t sto_SqliteCheck::BlockRowCount() {
  return Number("SELECT count(key) FROM block");
}

std::optional<bool> sto_SqliteCheck::IsSumRight() {
  if (IsOld() || !m_IsWhole) return std::nullopt;
  std::optional<sto_ContentSum> const expected =
      m_Pending ? std::optional(m_Pending->m_Sum) : m_Tables.SumInLog();
  return expected ? std::optional(*expected == m_Sum.Sum()) : std::nullopt;
}

sto_StorageSizes sto_SqliteCheck::Sizes() {
  sto_StorageSizes sizes;
  sizes.m_Roots = Number("SELECT count(name) FROM root");
  sizes.m_CatalogueBytes = Number("SELECT coalesce(sum(length(CAST(name AS BLOB)) + 24), 0) FROM class") +
                           Number("SELECT coalesce(sum(length(CAST(text AS BLOB)) + 8), 0) FROM name");
  if (m_FormatVersion > sto_Format::VersionWithoutAttributes)
    sizes.m_CatalogueBytes +=
        Number("SELECT coalesce(sum(length(CAST(name AS BLOB)) + 48), 0) FROM attribute");
  if (!IsOld()) {
    sizes.m_CatalogueBytes += Number("SELECT coalesce(sum(length(data) + 8), 0) FROM shape");
    sizes.m_Saves = Number("SELECT count(no) FROM save");
    sizes.m_LogBytes =
        Number("SELECT coalesce(sum(length(CAST(program AS BLOB)) + length(CAST(note AS BLOB)) "
               "+ length(changed) + length(sum) + 32), 0) FROM save");
  }
  if (HasIndexes()) sizes.m_IndexBytes = Number("SELECT coalesce(sum(length(key) + 10), 0) FROM index_entry");
  sizes.m_FileBytes = m_Connection.SizeBytes();
  sizes.m_FreeBytes = Number("PRAGMA freelist_count") * Number("PRAGMA page_size");
  return sizes;
}
