#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "store/format/sto_BlockRow.h"
#include "store/format/sto_RowChecksum.h"
#include "store/graph/sto_IdSet.h"
#include "store/recover/sto_RecoverLog.h"
#include "store/recover/sto_RecoverResults.h"
#include "store/recover/sto_RecoverTables.h"
#include "store/sqlite/sto_SqliteConnection.h"

/// Takes the rows of a damaged store that fit their checksums into the empty tables of another database: those that
/// trees lead to, and those that lost their tree. The catalogue is kept in memory, and written at the end.
///
/// Memory: the catalogue, the roots and the log; a bit for each long object. Thread rule: one thread.
class sto_RecoverHarvest {
 public:
  using Table = sto_RecoverTable;
  using ClassKey = std::pair<std::int64_t, std::int64_t>; // id, version
  struct Attribute {
    std::array<std::int64_t, 4> m_Numbers{};
    std::string m_Unit;
    std::optional<std::string> m_Default;
  };
  struct Class {
    std::string m_Name;
    std::int64_t m_Base = 1, m_Checksum = 0;
    std::map<std::string, Attribute> m_Attributes;
    bool m_IsThere = false; // not only attributes
  };
  struct Remark { // an enumerator or a note
    std::int64_t m_ClassId, m_Version;
    std::string m_Attribute, m_Name, m_Text;
    std::int64_t m_Value;
  };

  /// REQUIRES: the arguments live as long as this object. NotFound if there is nothing of a store; NewerFormat.
  sto_RecoverHarvest(sto_RecoverFile const& file, sto_RecoverResults& results);

  /// The format of the store.
  [[nodiscard]] int Version() const noexcept { return m_Tables.Version(); }
  [[nodiscard]] bool IsOld() const noexcept;
  /// Reads everything, and writes the rows with objects and blocks. REQUIRES: an open transaction of `work`, which has
  /// the empty tables of the format.
  void Read(sto_SqliteConnection& work);
  /// Whether anything of a store was read.
  [[nodiscard]] bool HasAnything() const noexcept { return m_Verified > 0; }

  // What was read. Of a store of format 4:
  [[nodiscard]] std::optional<std::array<std::byte, 16>> const& Uuid() const noexcept { return m_Uuid; }
  [[nodiscard]] sto_RecoverLog& Log() noexcept { return m_Log; }
  /// The greatest number of a save that is in a row.
  [[nodiscard]] std::int64_t NewestSave() const noexcept { return m_NewestSave; }
  [[nodiscard]] bool HasIndexTables() const noexcept;
  [[nodiscard]] bool AreIndexesWhole() const noexcept { return m_AreIndexesWhole; }
  // Of any format:
  [[nodiscard]] std::map<ClassKey, Class>& Classes() noexcept { return m_Classes; }
  [[nodiscard]] std::map<std::int64_t, std::string>& Names() noexcept { return m_Names; }
  /// What SQLite's index has, without a checksum.
  [[nodiscard]] std::map<std::int64_t, std::string> const& NamesInIndex() const noexcept {
    return m_NamesInIndex;
  }
  [[nodiscard]] std::map<std::int64_t, sto_Bytes> const& Shapes() const noexcept { return m_Shapes; }
  [[nodiscard]] std::map<std::string, std::pair<std::int64_t, std::int64_t>> const& Roots() const noexcept {
    return m_Roots;
  }
  [[nodiscard]] std::vector<Remark> const& Enumerators() const noexcept { return m_Enumerators; }
  [[nodiscard]] std::vector<Remark> const& Notes() const noexcept { return m_Notes; }
  /// Of a store of an older format; 0 if it is not known.
  [[nodiscard]] std::int64_t OldNextId() const noexcept { return m_OldNextId; }
  /// Whether parts of the table of a catalogue, of roots or of the log could not be read.
  [[nodiscard]] bool HasMissed(Table table) const noexcept {
    return m_HasMissed[static_cast<std::size_t>(table)];
  }

 private:
  class Sink;
  struct Writers;
  enum class Trust { Sure, Doubtful };

  void FindTables();
  void CheckVersion();
  void FindUuid();
  [[nodiscard]] bool FitsUuid(sto_ByteView uuid);
  void WalkTable(Table table);
  /// Takes what no table leads to.
  void WalkOrphans();
  [[nodiscard]] bool RootFits(sto_RecoverTables::Page root, Table table);
  bool TakeLoose(Table table, sto_RecoverRow const& row);
  bool Take(Table hint, sto_RecoverRow const& row, Trust trust);
  [[nodiscard]] bool TakeAs(Table table, sto_RecoverRow const& row, Trust trust);
  [[nodiscard]] bool HasChecksum(Table table, sto_RecoverRow const& row, bool withRowId);
  [[nodiscard]] bool TakeMeta(sto_RecoverRow const& row);
  void TakeClass(sto_RecoverRow const& row);
  void TakeAttribute(sto_RecoverRow const& row);
  [[nodiscard]] bool TakeRoot(sto_RecoverRow const& row, Trust trust);
  [[nodiscard]] bool TakeSave(sto_RecoverRow const& row);
  [[nodiscard]] bool IsNewerThanLoose(std::int64_t key, std::int64_t save);
  [[nodiscard]] bool TakePack(sto_RecoverRow const& row, Trust trust);
  [[nodiscard]] bool TakeOldPack(sto_RecoverRow const& row);
  [[nodiscard]] bool TakeObject(sto_RecoverRow const& row, Trust trust);
  [[nodiscard]] bool TakeOldObject(sto_RecoverRow const& row);
  [[nodiscard]] bool TakeBlocks(sto_RecoverRow const& row, Trust trust);
  [[nodiscard]] bool TakeOldBlock(sto_RecoverRow const& row);
  [[nodiscard]] bool TakeIndexRow(Table table, sto_RecoverRow const& row);
  void Miss(Table table, std::int64_t first, std::int64_t last);
  void LoseObject(std::int64_t id, std::int64_t shape);
  void ReportMissedObjects();
  void CheckPlaces();
  void DropBlock(std::int64_t key);
  void DropChangedBlocks();
  void CheckClasses();

  sto_RecoverFile const& m_File;
  sto_RecoverResults& m_Results;
  std::int64_t m_PagesRead = 0;
  sto_RecoverTrees m_Trees;
  sto_RecoverTables m_Tables, m_Usual;
  sto_SqliteConnection* m_Work = nullptr;
  Writers* m_Writers = nullptr;
  std::optional<std::array<std::byte, 16>> m_Uuid;
  std::map<std::string, std::pair<sto_RecoverValue::Type, std::string>> m_Meta;
  std::optional<std::int64_t> m_MetaChecksum;
  sto_RecoverLog m_Log;
  std::map<ClassKey, Class> m_Classes;
  std::map<std::int64_t, std::string> m_Names, m_NamesInIndex;
  std::map<std::int64_t, sto_Bytes> m_Shapes;
  std::map<std::string, std::pair<std::int64_t, std::int64_t>> m_Roots;
  std::vector<Remark> m_Enumerators, m_Notes;
  std::int64_t m_OldNextId = 0, m_NewestSave = 0, m_Verified = 0;
  bool m_AreIndexesWhole = true;
  std::array<bool, static_cast<std::size_t>(Table::Count)> m_HasMissed{};
  std::vector<std::pair<std::int64_t, std::int64_t>> m_MissedPacks, m_MissedObjects; // keys
  std::vector<std::int64_t> m_OverwrittenBlocks; // those of which the newest version is lost
  sto_IdSet m_LongObjects, m_Packs;
  std::map<std::int64_t, std::int64_t> m_LoosePacks; // the save of each that was not in a tree
  sto_Bytes m_Scratch;
};
