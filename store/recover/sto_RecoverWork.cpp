#include "store/recover/sto_RecoverWork.h"

#include <sqlite3.h>

#include <algorithm>
#include <set>
#include <tuple>
#include <vector>

#include "store/format/sto_Codec.h"
#include "store/format/sto_Record.h"
#include "store/format/sto_RowChecksum.h"
#include "store/format/sto_ShapeTable.h"
#include "store/format/sto_TagFits.h"
#include "store/format/sto_TypeNames.h"
#include "store/recover/sto_RecoverNames.h"
#include "store/sqlite/sto_SqliteCatalogue.h"
#include "store/sqlite/sto_SqliteChanges.h"
#include "store/sqlite/sto_SqliteCheck.h"
#include "store/sqlite/sto_SqliteHeader.h"
#include "store/sqlite/sto_SqliteNotes.h"
#include "store/sqlite/sto_SqliteOpening.h"
#include "store/sqlite/sto_SqliteRoots.h"
#include "store/sqlite/sto_SqliteSaves.h"
#include "store/sqlite/sto_SqliteSchema.h"

namespace {

constexpr std::size_t WriteFormatOffset = 16; // of the number whose lower half says whether there is a log
constexpr char LostEntry[] = "This entry of the log was lost.";

void SetPragma(sto_SqliteConnection& work, char const* name, std::int64_t value) {
  std::string sql = "PRAGMA ";
  sql += name;
  sql += " = ";
  sql += std::to_string(value);
  work.Execute(sql.c_str());
}

/// A transaction that is undone unless it is committed.
class Transaction {
 public:
  explicit Transaction(sto_SqliteConnection& work) : m_Work(work) { m_Work.Execute("BEGIN EXCLUSIVE"); }
  Transaction(Transaction const&) = delete;
  Transaction& operator=(Transaction const&) = delete;
  ~Transaction() {
    if (sqlite3_get_autocommit(m_Work.Handle()) == 0)
      sqlite3_exec(m_Work.Handle(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
  void Commit() { m_Work.Execute("COMMIT"); }

 private:
  sto_SqliteConnection& m_Work;
};

std::array<std::byte, 16> NewUuid() {
  std::array<std::byte, 16> uuid;
  sqlite3_randomness(static_cast<int>(uuid.size()), uuid.data());
  uuid[6] = (uuid[6] & std::byte{0x0F}) | std::byte{0x40};
  uuid[8] = (uuid[8] & std::byte{0x3F}) | std::byte{0x80};
  return uuid;
}

void WriteHeader(sto_SqliteConnection& work, sto_ByteView uuid, std::string const& toWrite) {
  sto_RowChecksum checksum({}, "meta");
  sto_SqliteStatement insert(work, "INSERT INTO meta(key, value) VALUES(?, ?)");
  auto const text = [&](std::string_view key, std::string_view value) {
    checksum.Text(key).Text(value);
    sto_SqliteStatement::Use(insert).Bind(1, key).Bind(2, value).Step();
  };
  text("features_to_read", "");
  text("features_to_write", toWrite);
  checksum.Text("uuid").Bytes(uuid);
  sto_SqliteStatement::Use(insert).Bind(1, std::string_view("uuid")).Bind(2, uuid).Step();
  sto_SqliteStatement::Use(insert).Bind(1, std::string_view("checksum")).Bind(2, checksum.Value()).Step();
}

sto_ClassRow RowOf(sto_RecoverHarvest::ClassKey const& key, sto_RecoverHarvest::Class const& found) {
  sto_ClassRow row{static_cast<unsigned int>(key.first),
                   static_cast<int>(key.second),
                   found.m_Name,
                   static_cast<unsigned int>(found.m_Base),
                   {}};
  for (auto const& [name, attribute] : found.m_Attributes) {
    auto const& [fieldId, type, typeArg, collectionType] = attribute.m_Numbers;
    row.m_Attributes.push_back({name, static_cast<int>(fieldId), static_cast<int>(type),
                                static_cast<unsigned int>(typeArg), static_cast<int>(collectionType),
                                attribute.m_Unit, attribute.m_Default});
  }
  return row;
}

} // namespace

sto_RecoverWork::sto_RecoverWork(std::string const& location)
    : m_Location(location), m_File(location, {"the recovered store", "recovering"}) {}

std::unique_ptr<sto_SqliteConnection> sto_RecoverWork::Connect() const {
  sto_SqliteConnection::Opening opening{SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, 0, false};
  opening.m_NameInMessages = m_Location;
  opening.m_IsUnfinished = true;
  auto work = std::make_unique<sto_SqliteConnection>(m_File.Temporary(), opening);
  sto_BeginSqlite(*work);
  return work;
}

void sto_RecoverWork::Fill(sto_RecoverFile const& file, sto_RecoverHarvest& harvest,
                           sto_RecoverResults& results) {
  std::unique_ptr<sto_SqliteConnection> const work = Connect();
  sto_RestrictAs(file.Path(), m_File.Temporary());
  SetPragma(*work, "page_size", static_cast<std::int64_t>(file.PageBytes()));
  sto_ConfigureSqlite(*work);
  Transaction transaction(*work);
  SetPragma(*work, "application_id", sto_SqliteSchema::UnfinishedId);
  SetPragma(*work, "user_version", harvest.Version());
  for (char const* const tables : sto_SqliteSchema::TablesOf(harvest.Version())) work->Execute(tables);
  if (harvest.HasIndexTables()) work->Execute(sto_SqliteSchema::IndexTables);
  harvest.Read(*work);
  if (harvest.IsOld())
    WriteOldCatalogue(*work, harvest);
  else
    WriteCatalogue(*work, harvest, results);
  transaction.Commit();
}

void sto_RecoverWork::WriteOldCatalogue(sto_SqliteConnection& work, sto_RecoverHarvest& harvest) {
  m_IsNextIdKnown = harvest.OldNextId() > 0;
  m_KnownNextId = std::max<std::int64_t>(harvest.OldNextId(), 1);
  sto_SqliteStatement meta(work, "INSERT INTO meta(key, value) VALUES('next_object_id', ?)");
  sto_SqliteStatement::Use(meta).Bind(1, m_IsNextIdKnown ? m_KnownNextId : sto_Format::MaxObjectId).Step();
  sto_SqliteStatement name(work, "INSERT OR IGNORE INTO name(id, text) VALUES(?, ?)");
  for (auto const& [id, text] : harvest.Names())
    sto_SqliteStatement::Use(name).Bind(1, id).Bind(2, std::string_view(text)).Step();
  sto_SqliteStatement root(work, "INSERT INTO root(name, object_id) VALUES(?, ?)");
  for (auto const& [text, target] : harvest.Roots())
    sto_SqliteStatement::Use(root).Bind(1, std::string_view(text)).Bind(2, target.first).Step();
  sto_SqliteStatement row(work,
                          "INSERT INTO class(class_id, version, name, base_class_id) VALUES(?, ?, ?, ?)");
  sto_SqliteStatement attribute(work,
                                "INSERT INTO attribute(class_id, version, name, field_id, type, type_arg, "
                                "collection_type) VALUES(?, ?, ?, ?, ?, ?, ?)");
  for (auto const& [key, found] : harvest.Classes()) {
    sto_SqliteStatement::Use(row)
        .Bind(1, key.first)
        .Bind(2, key.second)
        .Bind(3, std::string_view(found.m_Name))
        .Bind(4, found.m_Base)
        .Step();
    for (auto const& [text, described] : found.m_Attributes) {
      sto_SqliteStatement::Use use(attribute);
      use.Bind(1, key.first).Bind(2, key.second).Bind(3, std::string_view(text));
      for (int i = 0; i < 4; ++i) use.Bind(4 + i, described.m_Numbers[static_cast<std::size_t>(i)]);
      use.Step();
    }
  }
}

void sto_RecoverWork::WriteCatalogue(sto_SqliteConnection& work, sto_RecoverHarvest& harvest,
                                     sto_RecoverResults& results) {
  m_Uuid = harvest.Uuid() ? *harvest.Uuid() : NewUuid();
  WriteHeader(work, m_Uuid, harvest.HasIndexTables() ? sto_Format::IndexesFeature : "");
  sto_SqliteChanges changes;
  changes.Begin(1, {});
  sto_SqliteCatalogue catalogue(work, changes);
  catalogue.Use(sto_Format::Version, m_Uuid);
  for (auto const& [key, found] : harvest.Classes()) catalogue.WriteClass(RowOf(key, found));
  std::set<std::string_view> texts; // without checksums a text may be there twice
  for (auto const& [id, text] : harvest.Names())
    if (texts.insert(text).second) catalogue.AddName({id, text});
  std::set<std::string_view> shapes;
  for (auto const& [id, data] : harvest.Shapes())
    if (shapes.insert(sto_AsText(data)).second) catalogue.AddShape({id, data});
  sto_SqliteRoots roots(work, changes);
  roots.Use(sto_Format::Version, m_Uuid);
  for (auto const& [name, target] : harvest.Roots())
    roots.Set(name, {target.first, static_cast<unsigned int>(target.second)});
  roots.Flush();
  sto_SqliteNotes notes(work, changes);
  notes.Use(sto_Format::Version, m_Uuid);
  auto const isDescribed = [&](sto_RecoverHarvest::Remark const& remark) {
    auto const found = harvest.Classes().find({remark.m_ClassId, remark.m_Version});
    if (found == harvest.Classes().end()) return false;
    return remark.m_Attribute.empty() || found->second.m_Attributes.contains(remark.m_Attribute);
  };
  auto const on = [](sto_RecoverHarvest::Remark const& remark) {
    return sto_OnAttribute{static_cast<unsigned int>(remark.m_ClassId), static_cast<int>(remark.m_Version),
                           remark.m_Attribute};
  };
  std::set<std::tuple<std::int64_t, std::int64_t, std::string, std::string>> known;
  auto const isNew = [&](sto_RecoverHarvest::Remark const& remark) {
    return known.emplace(remark.m_ClassId, remark.m_Version, remark.m_Attribute, remark.m_Name).second;
  };
  for (auto const& remark : harvest.Enumerators())
    if (isDescribed(remark) && isNew(remark))
      notes.AddEnumerator({on(remark), remark.m_Name, remark.m_Value});
  for (auto const& remark : harvest.Notes())
    if (isDescribed(remark)) notes.WriteNote({on(remark), remark.m_Name, remark.m_Text});
  WriteLog(work, harvest, results);
}

void sto_RecoverWork::WriteLog(sto_SqliteConnection& work, sto_RecoverHarvest& harvest,
                               sto_RecoverResults& results) {
  constexpr std::int64_t MaxMissing = 1'000'000;
  auto const& entries = harvest.Log().Entries();
  m_Saves = std::max<std::int64_t>({harvest.NewestSave(), harvest.Log().Newest(), 1});
  if (harvest.Log().Newest() > harvest.NewestSave() + MaxMissing) m_Saves = harvest.NewestSave() + MaxMissing;
  m_IsNextIdKnown = harvest.Log().Newest() >= harvest.NewestSave() && !entries.empty() &&
                    !harvest.HasMissed(sto_RecoverTable::Save);
  sto_RowChecksum checksum(m_Uuid, "save");
  sto_SqliteStatement insert(
      work, "INSERT INTO save(no, at, program, note, next_object_id, changed, sum, checksum) "
            "VALUES(?, ?, ?, ?, ?, ?, ?, ?)");
  sto_RecoverLog::Entry lost;
  lost.m_Program = "";
  lost.m_Note = LostEntry;
  sto_EncodeChanges({}, lost.m_Changed);
  sto_ByteWriter writer(lost.m_Sum);
  sto_ContentSum().Write(writer);
  std::int64_t firstLost = 0, lostCount = 0;
  for (std::int64_t number = 1; number <= m_Saves; ++number) {
    auto const found = entries.find(number);
    bool const isLost = found == entries.end();
    if (isLost && firstLost == 0) firstLost = number;
    lostCount += isLost ? 1 : 0;
    sto_RecoverLog::Entry const& entry = isLost ? lost : found->second;
    if (!isLost) lost.m_At = entry.m_At;
    std::int64_t const next = std::max(entry.m_NextId, lost.m_NextId); // they ascend
    lost.m_NextId = next;
    bool const isUnknown = number == m_Saves && !m_IsNextIdKnown;
    std::int64_t const written = isUnknown ? sto_Format::MaxObjectId : next;
    checksum.Begin().Integer(number).Integer(entry.m_At);
    sto_SqliteStatement::Use use(insert);
    use.Bind(1, number).Bind(2, entry.m_At);
    int column = 3;
    for (auto const* const text : {&entry.m_Program, &entry.m_Note}) {
      if (*text) {
        checksum.Text(**text);
        use.Bind(column, std::string_view(**text));
      } else {
        checksum.Other();
      }
      ++column;
    }
    checksum.Integer(written).Bytes(entry.m_Changed).Bytes(entry.m_Sum);
    use.Bind(5, written).Bind(6, entry.m_Changed).Bind(7, entry.m_Sum).Bind(8, checksum.Value()).Step();
  }
  m_KnownNextId = lost.m_NextId;
  results.Report().m_Saves = {m_Saves - lostCount, lostCount};
  if (lostCount == 0) return;
  sto_LostItem item;
  item.m_Kind = sto_LostKind::Save;
  item.m_First = firstLost;
  item.m_Count = lostCount;
  item.m_Text = std::to_string(lostCount) + (lostCount == 1 ? " entry" : " entries") +
                " of the log of saves cannot be read, the first of them that of save " +
                std::to_string(firstLost) + ".";
  results.Add(std::move(item));
}

void sto_RecoverWork::CompleteCatalogue(sto_RecoverHarvest& harvest, sto_RecoverResults& results) {
  std::unique_ptr<sto_SqliteConnection> const work = Connect();
  Transaction transaction(*work);
  if (harvest.IsOld()) {
    m_Uuid = sto_ReadSqliteHeader(*work).m_Uuid;
    m_Saves = 1;
  }
  sto_SqliteChanges changes;
  changes.Begin(1, {});
  sto_SqliteCatalogue catalogue(*work, changes);
  catalogue.Use(sto_Format::Version, m_Uuid);
  sto_CompleteNames(catalogue, harvest.NamesInIndex(), results);
  transaction.Commit();
}

void sto_RecoverWork::Finish(sto_RecoverFile const& file, sto_RecoverHarvest& harvest,
                             sto_RecoverResults& results, std::string const& program) {
  /// Notes the greatest id in the records.
  struct Ids final : sto_StorageVisitor {
    void Find(sto_CheckFinding&&) override {}
    void TakeShape(sto_ShapeRow const& row, bool /*isSound*/) override {
      static_cast<void>(m_Shapes.Take(row.m_Id, row.m_Data));
    }
    void TakeRoot(std::string_view /*name*/, std::int64_t id, unsigned int /*classId*/) override { Note(id); }
    void TakeRecord(std::int64_t id, sto_StoredRecord& record) override {
      Note(id);
      if (++m_Done % 64 == 0) m_Step();
      if (!m_IsNeeded) return;
      std::swap(m_Record.Stored(), record);
      sto_NumberedShape const* const shape = m_Shapes.Find(m_Record.Stored().m_Shape);
      std::string problem;
      if (m_Record.Decode(id, shape == nullptr ? nullptr : &shape->m_Shape, problem))
        Note(m_Record.GreatestId());
    }
    void TakeBlock(std::int64_t, sto_ByteView) override {
      ++m_Blocks;
      if (++m_Done % 64 == 0) m_Step();
    }
    void Note(std::int64_t id) { m_Greatest = std::max(m_Greatest, id); }
    sto_ShapeTable m_Shapes;
    sto_Record m_Record;
    std::function<void()> m_Step;
    std::int64_t m_Greatest = 0, m_Blocks = 0, m_Done = 0;
    bool m_IsNeeded = false;
  } ids;
  std::unique_ptr<sto_SqliteConnection> const work = Connect();
  sto_ConfigureSqlite(*work);
  Transaction transaction(*work);
  if (harvest.HasIndexTables() &&
      (!results.Report().IsComplete() || !harvest.AreIndexesWhole() || !results.AreIndexesWhole())) {
    sto_LostItem item;
    item.m_Kind = sto_LostKind::Index;
    item.m_Text = "The indexes are left out; a program that declares them makes them again.";
    if (work->QueryInteger("SELECT count(*) FROM index_name") > 0) results.Add(std::move(item));
    work->Execute("DROP TABLE index_name; DROP TABLE index_entry");
    sto_SetSqliteFeature(*work, sto_Format::IndexesFeature, false);
  }
  ids.m_IsNeeded = !m_IsNextIdKnown;
  ids.m_Step = [&] {
    results.Step(2, ids.m_Done, results.Report().m_Objects.m_Read + results.Report().m_Blocks.m_Read);
  };
  sto_SqliteCheck walk(*work, sto_Format::Version, m_Uuid, std::nullopt, ids);
  walk.Tables();
  walk.Records();
  walk.Blocks();
  results.Report().m_Blocks.m_Read = ids.m_Blocks;
  work->Execute(("DELETE FROM save WHERE no > " + std::to_string(m_Saves)).c_str());
  std::int64_t const nextId = m_IsNextIdKnown ? m_KnownNextId : std::max(m_KnownNextId, ids.m_Greatest + 1);
  if (!m_IsNextIdKnown) {
    // The entry before had a provisional number.
    sto_SqliteStatement read(*work,
                             "SELECT no, at, program, note, changed, sum FROM save ORDER BY no DESC LIMIT 1");
    sto_SqliteStatement write(*work, "UPDATE save SET next_object_id = ?, checksum = ? WHERE no = ?");
    std::int64_t sum = 0;
    {
      sto_SqliteStatement::Use use(read);
      use.Step();
      sto_RowChecksum checksum(m_Uuid, "save");
      checksum.Begin().Integer(use.Integer(0)).Integer(use.Integer(1));
      for (int const column : {2, 3}) {
        if (use.TypeOf(column) == sto_SqliteType::Text)
          checksum.Text(use.Text(column));
        else
          checksum.Other();
      }
      checksum.Integer(nextId).Bytes(use.Bytes(4)).Bytes(use.Bytes(5));
      sum = checksum.Value();
    }
    sto_SqliteStatement::Use(write).Bind(1, nextId).Bind(2, sum).Bind(3, m_Saves).Step();
  }
  sto_SqliteSaves saves(*work);
  saves.Use(m_Uuid);
  saves.Write({m_Saves + 1, nextId, walk.Sum()}, program, "Recovered from a damaged store.",
              results.Changed());
  SetPragma(*work, "application_id", sto_SqliteSchema::ApplicationId);
  results.End();
  transaction.Commit();
  bool const hadLog = file.HasHeader() && (file.HeaderNumber(WriteFormatOffset) & 0xFF00) >> 8 == 2;
  if (hadLog) static_cast<void>(work->QueryText("PRAGMA journal_mode = WAL"));
}
