#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "store/format/sto_ContentSum.h"
#include "store/format/sto_RowChecksum.h"
#include "store/sqlite/sto_SqliteChanges.h"
#include "store/sqlite/sto_SqliteFindings.h"
#include "store/sqlite/sto_SqliteStoredClass.h"

/// Reads the small tables of a store for a check: header, log of saves, catalogue and roots. A damaged row is
/// reported and does not hide the others. Thread rule: one thread.
class sto_SqliteCheckTables {
 public:
  /// `sum`: gets a term for each row that is part of the sum over the store. REQUIRES: the arguments live as long
  /// as this object.
  sto_SqliteCheckTables(sto_SqliteConnection& connection, std::int64_t formatVersion, sto_ByteView uuid,
                        sto_SqliteFindings& findings, sto_StorageVisitor& visitor, sto_SqliteChanges& sum);

  /// Reads all of them. False if some rows could not be read.
  bool Read();

  /// The number of the newest save; 0 if there is none. REQUIRES: Read.
  [[nodiscard]] std::int64_t LastSave() const noexcept { return m_LastSave; }
  /// The sum in the newest row of the log; empty if that row is damaged or missing. REQUIRES: Read.
  [[nodiscard]] std::optional<sto_ContentSum> const& SumInLog() const noexcept { return m_SumInLog; }

 private:
  using Classes = std::map<std::pair<std::int64_t, std::int64_t>, sto_SqliteStoredClass>;

  [[nodiscard]] bool HasChecksums() const noexcept;
  void ReadHeader();
  void ReadLog();
  void TakeSave(sto_SqliteStatement::Use const& use);
  /// Reports saves that are missing before save `number`, and an order that is wrong.
  void CheckOrder(std::int64_t number);
  void ReadClasses();
  void ReadAttributes(Classes& classes);
  void TakeClass(sto_SqliteStoredClass const& stored);
  void ReadNames();
  void ReadShapes();
  void ReadEnumerators();
  void ReadNotes();
  void ReadIndexes();
  /// The rows of one of these two tables, whose values have one type.
  void ReadNotesOf(char const* table, char const* sql, sto_SqliteType valueType);
  void ReadRoots();

  sto_SqliteConnection& m_Connection;
  std::int64_t m_FormatVersion;
  sto_ByteView m_Uuid;
  sto_SqliteFindings& m_Findings;
  sto_StorageVisitor& m_Visitor;
  sto_SqliteChanges& m_Sum;
  std::int64_t m_LastSave = 0;
  std::int64_t m_NextObjectId = 1; // of the latest row of the log
  std::optional<sto_ContentSum> m_SumInLog;
};
