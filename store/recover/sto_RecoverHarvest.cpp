#include "store/recover/sto_RecoverHarvest.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <map>
#include <utility>

#include "store/base/sto_Exception.h"
#include "store/format/sto_ChangeList.h"
#include "store/format/sto_ContentSum.h"
#include "store/format/sto_Format.h"
#include "store/format/sto_Shape.h"
#include "store/sqlite/sto_SqliteErrors.h"
#include "store/sqlite/sto_SqliteSchema.h"

namespace {

constexpr std::size_t VersionOffset = 60, ApplicationOffset = 68; // in the header of the file
constexpr std::size_t UuidBytes = 16;

std::string TextOf(sto_RecoverValue const& value) {
  return std::string(sto_AsText(value.m_Bytes));
}

std::optional<std::string> OptionalTextOf(sto_RecoverValue const& value) {
  return value.m_Type == sto_RecoverValue::Text ? std::optional(TextOf(value)) : std::nullopt;
}

void AddValue(sto_RowChecksum& checksum, sto_RecoverValue const& value) {
  switch (value.m_Type) {
  case sto_RecoverValue::Integer:
    checksum.Integer(value.m_Number);
    break;
  case sto_RecoverValue::Text:
    checksum.Text(sto_AsText(value.m_Bytes));
    break;
  case sto_RecoverValue::Bytes:
    checksum.Bytes(value.m_Bytes);
    break;
  default:
    checksum.Other();
  }
}

/// The checksum of all values but the last one. A row id counts instead of the first value, if there is one.
std::int64_t ChecksumOf(sto_RowChecksum& checksum, sto_RecoverRow const& row) {
  checksum.Begin();
  for (std::size_t i = 0; i + 1 < row.m_Values.size(); ++i)
    if (i == 0 && row.m_HasRowId)
      checksum.Integer(row.m_RowId);
    else
      AddValue(checksum, row.m_Values[i]);
  return checksum.Value();
}

} // namespace

/// Passes the rows of one tree on.
class sto_RecoverHarvest::Sink final : public sto_RecoverRows {
 public:
  Sink(sto_RecoverHarvest& harvest, Table table, Trust trust)
      : m_Harvest(harvest), m_Table(table), m_Trust(trust) {}
  bool Take(sto_RecoverRow const& row) override { return m_Harvest.Take(m_Table, row, m_Trust); }
  bool TakeLoose(sto_RecoverRow const& row) override {
    bool const isOfTable =
        m_Table != Table::Count && sto_RecoverTables::Fits(m_Table, row, m_Harvest.IsOld());
    return isOfTable && m_Harvest.TakeLoose(m_Table, row);
  }
  void Miss(std::int64_t first, std::int64_t last) override { m_Harvest.Miss(m_Table, first, last); }

 private:
  sto_RecoverHarvest& m_Harvest;
  Table m_Table;
  Trust m_Trust;
};

sto_RecoverHarvest::sto_RecoverHarvest(sto_RecoverFile const& file, sto_RecoverResults& results)
    : m_File(file), m_Results(results),
      m_Trees(file, [this] { m_Results.Step(0, ++m_PagesRead, m_File.PageCount()); }) {
  FindTables();
  CheckVersion();
  FindUuid();
}

bool sto_RecoverHarvest::IsOld() const noexcept {
  return Version() <= sto_Format::VersionWithoutShapes;
}

bool sto_RecoverHarvest::HasIndexTables() const noexcept {
  return !IsOld() && (m_Tables.RootOf(Table::IndexName) != 0 || m_Tables.RootOf(Table::IndexEntry) != 0);
}

void sto_RecoverHarvest::FindTables() {
  m_Tables.Read(m_Trees);
  std::uint32_t const version = m_File.HasHeader() ? m_File.HeaderNumber(VersionOffset) : 0;
  // What is left of the statements never says too much.
  if (m_Tables.Version() != 0 && version <= sto_Format::Version)
    m_Tables.SetVersion(std::max(m_Tables.Version(), static_cast<int>(version)));
  if (m_Tables.Version() != 0) return;
  // The statements are lost: look which format's tables are where they usually are.
  sto_RecoverTables best = sto_RecoverTables::Usual(sto_Format::Version, m_File.PageBytes());
  int most = 0;
  for (int usual = sto_Format::Version; usual >= 1; --usual) {
    m_Tables = sto_RecoverTables::Usual(usual, m_File.PageBytes());
    int fitting = 0;
    for (std::size_t i = 0; i < static_cast<std::size_t>(Table::Count); ++i) {
      auto const table = static_cast<Table>(i);
      if (m_Tables.RootOf(table) != 0 && RootFits(m_Tables.RootOf(table), table)) ++fitting;
    }
    if (fitting <= most) continue;
    most = fitting;
    best = m_Tables;
  }
  m_Tables = best;
}

void sto_RecoverHarvest::CheckVersion() {
  m_Usual = sto_RecoverTables::Usual(Version(), m_File.PageBytes());
  if (!m_File.HasHeader()) return;
  bool const isStore = m_File.HeaderNumber(ApplicationOffset) == sto_SqliteSchema::ApplicationId;
  if (!isStore && m_Tables.HasOthers() && m_Tables.Known() < 4) sto_RaiseNoStore(m_File.Path());
  std::uint32_t const version = m_File.HeaderNumber(VersionOffset);
  if (isStore && version > sto_Format::Version && !m_Tables.HasAllOfPresentFormat())
    sto_Raise(sto_ErrorKind::NewerFormat,
              m_File.Path() + ": The store has format version " + std::to_string(version) +
                  "; this program reads up to version " + std::to_string(sto_Format::Version) + ".");
}

bool sto_RecoverHarvest::FitsUuid(sto_ByteView uuid) {
  struct Fitting final : sto_RecoverRows {
    Fitting(sto_ByteView uuid, Table table)
        : m_Checksum(uuid, sto_RecoverTables::Name(table)), m_Table(table) {}
    bool Take(sto_RecoverRow const& row) override {
      m_Fits = m_Fits || (sto_RecoverTables::Fits(m_Table, row, false) &&
                          ChecksumOf(m_Checksum, row) == row.m_Values.back().m_Number);
      return true;
    }
    void Miss(std::int64_t, std::int64_t) override {}
    sto_RowChecksum m_Checksum;
    Table m_Table;
    bool m_Fits = false;
  };
  for (Table const table : {Table::Save, Table::Name, Table::Shape, Table::Root}) {
    Fitting fitting(uuid, table);
    m_Trees.Peek(m_Tables.RootOf(table), sto_RecoverTables::HasRowIds(table), fitting);
    if (fitting.m_Fits) return true;
  }
  return false;
}

// Without the uuid no row of the catalogue can be verified. It is in one row only, so a wrong bit in it is looked for.
void sto_RecoverHarvest::FindUuid() {
  if (IsOld()) return;
  WalkTable(Table::Meta);
  auto const found = m_Meta.find("uuid");
  if (found != m_Meta.end() && found->second.second.size() == UuidBytes) {
    std::array<std::byte, UuidBytes> uuid;
    std::ranges::copy(sto_AsBytes(found->second.second), uuid.begin());
    if (FitsUuid(uuid)) m_Uuid = uuid;
    for (std::size_t bit = 0; bit < 8 * UuidBytes && !m_Uuid; ++bit) {
      uuid[bit / 8] ^= std::byte{1} << bit % 8;
      if (FitsUuid(uuid)) m_Uuid = uuid;
      uuid[bit / 8] ^= std::byte{1} << bit % 8;
    }
  }
  if (!m_Uuid)
    m_Results.Add(
        sto_LostKind::Header,
        "The store's header is lost, so the rows of the catalogue, of roots and of the log were taken "
        "without their checksums.");
  sto_RowChecksum checksum({}, "meta");
  for (auto const& [key, value] : m_Meta) {
    checksum.Text(key);
    if (value.first == sto_RecoverValue::Bytes)
      checksum.Bytes(sto_AsBytes(value.second));
    else
      checksum.Text(value.second);
  }
  if (m_MetaChecksum != checksum.Value()) return;
  for (char const* const key : {"features_to_read", "features_to_write"}) {
    std::string const& features = m_Meta[key].second;
    if (features.empty() || features == sto_Format::IndexesFeature) continue;
    sto_Raise(sto_ErrorKind::NewerFormat,
              m_File.Path() + ": The store uses features that this program does not know: " + features +
                  ". Use the program that wrote it, or a newer one.");
  }
}

bool sto_RecoverHarvest::RootFits(sto_RecoverTables::Page root, Table table) {
  struct Fitting final : sto_RecoverRows {
    Fitting(Table table, bool isOld) : m_Table(table), m_IsOld(isOld) {}
    bool Take(sto_RecoverRow const& row) override {
      ++m_Rows;
      if (sto_RecoverTables::Fits(m_Table, row, m_IsOld)) ++m_Fitting;
      return true;
    }
    void Miss(std::int64_t, std::int64_t) override {}
    Table m_Table;
    bool m_IsOld;
    int m_Rows = 0, m_Fitting = 0;
  } fitting(table, IsOld());
  return m_Trees.Peek(root, sto_RecoverTables::HasRowIds(table), fitting) &&
         2 * fitting.m_Fitting >= fitting.m_Rows;
}

void sto_RecoverHarvest::WalkOrphans() {
  Sink orphans(*this, Table::Count, m_Trees.AreFreePagesKnown() ? Trust::Sure : Trust::Doubtful);
  m_Trees.WalkOrphans(orphans);
}

void sto_RecoverHarvest::WalkTable(Table table) {
  sto_RecoverTables::Page root = m_Tables.RootOf(table);
  sto_RecoverTables::Page const usual = m_Usual.RootOf(table);
  if (root == 0 && usual == 0) return;                             // the format has no such table
  bool const isUsualFree = usual != 0 && !m_Tables.HasRoot(usual); // no other table is known to be there
  if ((root == 0 || !RootFits(root, table)) && isUsualFree && RootFits(usual, table)) root = usual;
  Sink sink(*this, table, Trust::Sure);
  m_Trees.Walk(root, sto_RecoverTables::HasRowIds(table), sink);
}

// A row of another table is taken, too, but then the row that should be there is missing.
bool sto_RecoverHarvest::Take(Table hint, sto_RecoverRow const& row, Trust trust) {
  if (hint != Table::Count && sto_RecoverTables::Fits(hint, row, IsOld()) && TakeAs(hint, row, trust)) {
    ++m_Verified;
    return true;
  }
  bool const isTaken = std::ranges::any_of(sto_RecoverTables::Fits(row, IsOld()), [&](Table table) {
    // Every row of bytes can be one of a moved block, so only its own tree says that it is one. Of the older formats
    // only objects and blocks have checksums.
    bool const isOwn = table == Table::Object || table == Table::Pack || table == Table::Block;
    bool const isGuess = IsOld() ? !isOwn : table == Table::MovedBlock && hint != Table::Count;
    return table != hint && !isGuess && TakeAs(table, row, trust);
  });
  m_Verified += isTaken ? 1 : 0;
  return isTaken && hint == Table::Count;
}

// Only what has a checksum can be told from other bytes.
bool sto_RecoverHarvest::TakeLoose(Table table, sto_RecoverRow const& row) {
  using enum sto_RecoverTable;
  if (IsOld() || !m_Uuid) return false;
  bool const canBe = table == Name || table == Shape || table == Save || table == Root || table == Pack ||
                     table == Object || table == Block || table == Enumerator;
  if (!canBe || !TakeAs(table, row, Trust::Doubtful)) return false;
  ++m_Verified;
  return true;
}

bool sto_RecoverHarvest::HasChecksum(Table table, sto_RecoverRow const& row, bool withRowId) {
  if (withRowId && (row.m_RowId < 1 || row.m_RowId > sto_Format::MaxObjectId)) return false;
  if (!m_Uuid) return true;
  sto_RowChecksum checksum(*m_Uuid, sto_RecoverTables::Name(table));
  return ChecksumOf(checksum, row) == row.m_Values.back().m_Number;
}

bool sto_RecoverHarvest::TakeAs(Table table, sto_RecoverRow const& row, Trust trust) {
  auto const& values = row.m_Values;
  switch (table) {
  case Table::Meta:
    return TakeMeta(row);
  case Table::Class:
    TakeClass(row);
    return true;
  case Table::Attribute:
    TakeAttribute(row);
    return true;
  case Table::Name:
    if (!IsOld() && !HasChecksum(table, row, true)) return false;
    if (values[1].m_Bytes.empty()) return false;
    m_Names.try_emplace(row.m_RowId, TextOf(values[1]));
    return true;
  case Table::NameIndex:
    if (trust == Trust::Sure) m_NamesInIndex.try_emplace(values[1].m_Number, TextOf(values[0]));
    return trust == Trust::Sure;
  case Table::Root:
    return TakeRoot(row, trust);
  case Table::Shape: {
    sto_ByteReader reader(values[1].m_Bytes);
    sto_Shape shape;
    if (!HasChecksum(table, row, true) || !shape.Decode(reader) || reader.Remaining() != 0) return false;
    m_Shapes.try_emplace(row.m_RowId, values[1].m_Bytes.begin(), values[1].m_Bytes.end());
    return true;
  }
  case Table::Save:
    return TakeSave(row);
  case Table::Enumerator:
  case Table::Note: {
    if (!HasChecksum(table, row, false)) return false;
    bool const isNote = table == Table::Note;
    (isNote ? m_Notes : m_Enumerators)
        .push_back({values[0].m_Number, values[1].m_Number, TextOf(values[2]), TextOf(values[3]),
                    isNote ? TextOf(values[4]) : std::string(), values[4].m_Number});
    return true;
  }
  case Table::IndexName:
  case Table::IndexEntry:
    return TakeIndexRow(table, row);
  default:
    break;
  }
  if (m_Work == nullptr) return false;
  bool const isOfPacks = table == Table::Pack || table == Table::MovedBlock || table == Table::BlockPlace;
  if (isOfPacks && Version() <= sto_Format::VersionWithoutPacks) return false;
  switch (table) {
  case Table::Pack:
    return IsOld() ? TakeOldPack(row) : TakePack(row, trust);
  case Table::Object:
    return IsOld() ? TakeOldObject(row) : TakeObject(row, trust);
  case Table::Block:
    return IsOld() ? TakeOldBlock(row) : TakeBlocks(row, trust);
  case Table::MovedBlock:
  case Table::BlockPlace: {
    if (trust == Trust::Doubtful || row.m_RowId < 1) return false;
    bool const isPlace = table == Table::BlockPlace;
    sto_SqliteStatement insert(*m_Work, isPlace
                                            ? "INSERT OR IGNORE INTO block_place(key, place) VALUES(?, ?)"
                                            : "INSERT OR IGNORE INTO moved_block(place, data) VALUES(?, ?)");
    sto_SqliteStatement::Use use(insert);
    use.Bind(1, row.m_RowId);
    if (isPlace)
      use.Bind(2, values[1].m_Number).Step();
    else
      use.Bind(2, values[1].m_Bytes).Step();
    return true;
  }
  default:
    return false;
  }
}

bool sto_RecoverHarvest::TakeMeta(sto_RecoverRow const& row) {
  std::string const key = TextOf(row.m_Values[0]);
  sto_RecoverValue const& value = row.m_Values[1];
  if (IsOld()) {
    if (key != "next_object_id" || value.m_Type != sto_RecoverValue::Integer) return false;
    m_OldNextId = value.m_Number;
    return true;
  }
  if (key == "checksum" && value.m_Type == sto_RecoverValue::Integer) {
    m_MetaChecksum = value.m_Number;
    return true;
  }
  if (key != "uuid" && !key.starts_with("features_to_")) return false;
  m_Meta.try_emplace(key, value.m_Type, TextOf(value));
  return true;
}

void sto_RecoverHarvest::TakeClass(sto_RecoverRow const& row) {
  auto const& values = row.m_Values;
  Class& taken = m_Classes[{values[0].m_Number, values[1].m_Number}];
  if (std::exchange(taken.m_IsThere, true)) return;
  taken.m_Name = TextOf(values[2]);
  taken.m_Base = values[3].m_Number;
  if (!IsOld()) taken.m_Checksum = values[4].m_Number;
}

void sto_RecoverHarvest::TakeAttribute(sto_RecoverRow const& row) {
  auto const& values = row.m_Values;
  Attribute attribute;
  for (std::size_t i = 0; i < attribute.m_Numbers.size(); ++i)
    attribute.m_Numbers[i] = values[i + 3].m_Number;
  if (!IsOld()) attribute.m_Unit = TextOf(values[7]);
  if (!IsOld()) attribute.m_Default = OptionalTextOf(values[8]);
  m_Classes[{values[0].m_Number, values[1].m_Number}].m_Attributes.try_emplace(TextOf(values[2]),
                                                                               std::move(attribute));
}

bool sto_RecoverHarvest::TakeRoot(sto_RecoverRow const& row, Trust trust) {
  auto const& values = row.m_Values;
  std::string name = TextOf(values[0]);
  if (!IsOld() && !HasChecksum(Table::Root, row, false)) return false;
  if (trust == Trust::Doubtful && (IsOld() || !m_Log.IsRootUnchanged(name))) return false;
  if (values[1].m_Number < 1 || values[1].m_Number > sto_Format::MaxObjectId) return false;
  // A root that is there twice is in a page that has another one's bytes.
  return m_Roots.try_emplace(std::move(name), values[1].m_Number, IsOld() ? 0 : values[2].m_Number).second;
}

bool sto_RecoverHarvest::TakeSave(sto_RecoverRow const& row) {
  auto const& values = row.m_Values;
  if (!HasChecksum(Table::Save, row, true) || values[4].m_Number < 1) return false;
  sto_ChangeList changes;
  if (values[6].m_Bytes.size() != sto_ContentSum::StoredBytes ||
      !sto_DecodeChanges(values[5].m_Bytes, changes))
    return false;
  sto_RecoverLog::Entry entry{values[1].m_Number,
                              OptionalTextOf(values[2]),
                              OptionalTextOf(values[3]),
                              values[4].m_Number,
                              {values[5].m_Bytes.begin(), values[5].m_Bytes.end()},
                              {values[6].m_Bytes.begin(), values[6].m_Bytes.end()}};
  m_Log.Add(row.m_RowId, std::move(entry));
  return true;
}

bool sto_RecoverHarvest::TakeIndexRow(Table table, sto_RecoverRow const& row) {
  sto_RowChecksum checksum(m_Uuid ? sto_ByteView(*m_Uuid) : sto_ByteView(), sto_RecoverTables::Name(table));
  std::int64_t expected = ChecksumOf(checksum, row);
  if (table == Table::IndexEntry) expected = static_cast<std::int32_t>(expected);
  if (m_Work == nullptr || !m_Uuid || expected != row.m_Values.back().m_Number) return false;
  bool const isName = table == Table::IndexName;
  sto_SqliteStatement insert(*m_Work, isName ? "INSERT OR IGNORE INTO index_name VALUES(?, ?, ?, ?, ?)"
                                             : "INSERT OR IGNORE INTO index_entry VALUES(?, ?, ?, ?)");
  sto_SqliteStatement::Use use(insert);
  for (int i = 0; i < static_cast<int>(row.m_Values.size()); ++i) {
    sto_RecoverValue const& value = row.m_Values[static_cast<std::size_t>(i)];
    if (value.m_Type == sto_RecoverValue::Integer) use.Bind(i + 1, value.m_Number);
    if (value.m_Type == sto_RecoverValue::Text) use.Bind(i + 1, sto_AsText(value.m_Bytes));
    if (value.m_Type == sto_RecoverValue::Bytes) use.Bind(i + 1, value.m_Bytes);
  }
  use.Step();
  return true;
}

void sto_RecoverHarvest::Miss(Table table, std::int64_t first, std::int64_t last) {
  m_HasMissed[static_cast<std::size_t>(table)] = true;
  if (table == Table::IndexName || table == Table::IndexEntry) m_AreIndexesWhole = false;
  auto const keep = [&](auto& ranges) {
    if (!ranges.empty() && ranges.back().second >= first - 1 && ranges.back().first <= first)
      ranges.back().second = std::max(ranges.back().second, last);
    else
      ranges.emplace_back(first, last);
  };
  if (table == Table::Pack) keep(m_MissedPacks);
  if (table == Table::Object) keep(m_MissedObjects);
}

void sto_RecoverHarvest::CheckClasses() {
  for (auto& [key, taken] : m_Classes) {
    auto const& [classId, version] = key;
    if (taken.m_IsThere && !IsOld() && m_Uuid) {
      sto_RowChecksum checksum(*m_Uuid, "class");
      checksum.Begin().Integer(classId).Integer(version).Text(taken.m_Name).Integer(taken.m_Base);
      for (auto const& [name, attribute] : taken.m_Attributes) {
        checksum.Text(name);
        for (std::int64_t const number : attribute.m_Numbers) checksum.Integer(number);
        checksum.Text(attribute.m_Unit);
        if (attribute.m_Default)
          checksum.Text(*attribute.m_Default);
        else
          checksum.Other();
      }
      taken.m_IsThere = checksum.Value() == taken.m_Checksum;
    }
  }
  // The shapes say what the objects of the others have.
  std::erase_if(m_Classes, [](auto const& entry) { return !entry.second.m_IsThere; });
}
