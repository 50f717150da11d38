#pragma once

#include <array>
#include <cstddef>
#include <string>

class sto_SqliteConnection;

/// What the header of a store says: table meta, of format 4 and later.
struct sto_SqliteHeader {
  std::array<std::byte, 16> m_Uuid{}; ///< of the store and of each copy
  /// A feature that a program must know to write, and this one does not; empty if there is none.
  std::string m_UnknownToWrite;
  bool m_HasIndexes = false; ///< the feature sto_Format::IndexesFeature

  /// "6f1c2a7e-0d5b-4c7e-9d3a-5b8c1f2e4a6d"
  [[nodiscard]] std::string UuidText() const;
};

/// Writes the header of a new or upgraded store, with a new uuid. REQUIRES: an open write transaction, and
/// table meta without these rows.
void sto_MakeSqliteHeader(sto_SqliteConnection& connection);

/// Reads the header. Damaged if it does not fit its checksum; NewerFormat, naming the features, if a program
/// must know some to read the store that this one does not know.
[[nodiscard]] sto_SqliteHeader sto_ReadSqliteHeader(sto_SqliteConnection& connection);

/// Adds a feature to those that a program must know to write, or removes it. REQUIRES: an open write transaction.
void sto_SetSqliteFeature(sto_SqliteConnection& connection, char const* feature, bool isUsed);

/// ReadOnly, naming the features, if this program can only read the store.
void sto_CheckSqliteWriting(sto_SqliteConnection const& connection, sto_SqliteHeader const& header);
