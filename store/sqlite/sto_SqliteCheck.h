#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "store/driver/sto_StorageWalk.h"
#include "store/format/sto_PackCodec.h"
#include "store/sqlite/sto_SqliteChanges.h"
#include "store/sqlite/sto_SqliteCheckTables.h"
#include "store/sqlite/sto_SqliteFindings.h"
#include "store/sqlite/sto_SqliteOldObjects.h"

/// A walk over all that a store's file holds. Reads the rows itself, one by one, so that a damaged one does not
/// hide the others. Thread rule: one thread.
class sto_SqliteCheck final : public sto_StorageWalk {
 public:
  /// What an open write transaction has not written to the log yet.
  struct Pending {
    std::int64_t m_Save;  ///< its number
    sto_ContentSum m_Sum; ///< over the store
  };

  /// REQUIRES: the arguments live as long as this object.
  sto_SqliteCheck(sto_SqliteConnection& connection, std::int64_t formatVersion, sto_ByteView uuid,
                  std::optional<Pending> const& pending, sto_StorageVisitor& visitor);

  void Structure(bool isFull, sto_Meter* meter) override;
  void Tables() override;
  void Objects() override;
  void Records() override;
  void Blocks() override;
  void BlockRows() override;
  void IndexEntries() override;
  [[nodiscard]] std::int64_t BlockRowCount() override;
  std::optional<bool> IsSumRight() override;
  [[nodiscard]] sto_StorageSizes Sizes() override;
  /// The sum of what Tables, Records and Blocks have passed.
  [[nodiscard]] sto_ContentSum const& Sum() const noexcept { return m_Sum.Sum(); }

 private:
  [[nodiscard]] bool IsOld() const noexcept { return m_FormatVersion <= sto_Format::VersionWithoutShapes; }
  [[nodiscard]] bool HasPacks() const noexcept { return m_FormatVersion > sto_Format::VersionWithoutPacks; }
  /// Runs SQLite's own check, and looks at the types of the columns and at the places of moved blocks.
  void CheckStructure(bool isFull);
  /// Runs one of SQLite's own checks.
  void RunPragma(char const* sql);
  /// Reports rows whose values have a type that no store writes.
  void CheckTypes(char const* table, char const* sql);
  [[nodiscard]] bool HasIndexes();
  /// Reports moved rows that nothing names, and places without a row.
  void CheckPlaces();
  [[nodiscard]] std::vector<std::int64_t> Numbers(char const* sql);
  /// The first number of a query.
  [[nodiscard]] std::int64_t Number(char const* sql);

  /// Calls `take` with each pack that can be decoded, reports the others.
  template <class Take> void ForEachPack(Take take);
  void ReadRows(bool withRecords);
  void ReadPack(std::int64_t key, sto_DecodedPack const& pack);
  void ReadOldObjects(bool withRecords);
  void CheckSave(char const* table, std::int64_t key, std::int64_t save);

  sto_SqliteConnection& m_Connection;
  std::int64_t m_FormatVersion;
  sto_ByteView m_Uuid;
  std::optional<Pending> m_Pending;
  sto_StorageVisitor& m_Visitor;
  sto_SqliteFindings m_Findings;
  sto_SqliteChanges m_Sum; // over what was read
  sto_SqliteCheckTables m_Tables;
  bool m_IsWhole = true;     // everything that was to be read could be read
  sto_StoredRecord m_Record; // scratch
};
