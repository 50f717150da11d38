#pragma once

#include <cstdint>
#include <optional>

#include "store/sqlite/sto_SqliteChanges.h"
#include "store/sqlite/sto_SqliteFindings.h"

/// Reads all blocks of a store's file for a check: those in table block, and those that have moved to rows of their
/// own. Thread rule: one thread.
class sto_SqliteCheckBlocks {
 public:
  /// `sum`: gets a term for each block. REQUIRES: the arguments live as long as this object.
  sto_SqliteCheckBlocks(sto_SqliteConnection& connection, std::int64_t formatVersion,
                        sto_SqliteFindings& findings, sto_StorageVisitor& visitor,
                        sto_SqliteChanges& sum) noexcept;

  /// Passes them to the visitor in ascending order. False if some rows could not be read.
  bool Read();

 private:
  /// The moved blocks, one after the other.
  class Moved;

  void ReadAll();
  /// Takes the blocks of a shared row, and the moved ones before and between them.
  void TakeRow(std::int64_t key, sto_ByteView row, Moved& moved);
  /// Takes a block, unless it is empty, or a moved one counts instead of it.
  void TakeSlot(std::int64_t key, sto_ByteView block, Moved& moved);
  void Take(std::int64_t key, sto_ByteView block);

  sto_SqliteConnection& m_Connection;
  std::int64_t m_FormatVersion;
  sto_SqliteFindings& m_Findings;
  sto_StorageVisitor& m_Visitor;
  sto_SqliteChanges& m_Sum;
  std::optional<std::int64_t> m_Previous; // the key of the block that was passed last
  sto_Bytes m_Converted;                  // scratch: a block of an older format
};
