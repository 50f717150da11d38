#pragma once

#include <optional>
#include <string>
#include <vector>

#include "store/driver/sto_Driver.h"
#include "store/format/sto_RowChecksum.h"
#include "store/sqlite/sto_SqliteChanges.h"
#include "store/sqlite/sto_SqliteConnection.h"

/// The tables enumerator and note of a store in SQLite: what programs say about classes beside their
/// descriptions. Each row has a checksum. Stores before format 4 have no such tables, and so no rows.
///
/// REQUIRES, for every operation: an open transaction, and Use. Thread rule: one thread.
class sto_SqliteNotes {
 public:
  /// REQUIRES: the arguments live as long as this object.
  sto_SqliteNotes(sto_SqliteConnection& connection, sto_SqliteChanges& changes);

  /// Call when the version of the store's format was read. `uuid`: the store's, from format 4 on.
  void Use(std::int64_t formatVersion, sto_ByteView uuid);

  // Reading. Damaged, naming table and row, if a row does not fit its checksum.
  [[nodiscard]] std::vector<sto_EnumeratorRow> Enumerators();
  [[nodiscard]] std::vector<sto_NoteRow> Notes();

  // Writing. REQUIRES: the store has the present format.
  /// REQUIRES: the attribute has no enumerator of this name.
  void AddEnumerator(sto_EnumeratorRow const& row);
  /// Replaces a note of the same name.
  void WriteNote(sto_NoteRow const& row);

 private:
  struct Checksums {
    explicit Checksums(sto_ByteView uuid) : m_Enumerator(uuid, "enumerator"), m_Note(uuid, "note") {}
    sto_RowChecksum m_Enumerator, m_Note;
  };

  [[nodiscard]] std::int64_t ChecksumOf(sto_EnumeratorRow const& row);
  [[nodiscard]] std::int64_t ChecksumOf(sto_NoteRow const& row);
  [[noreturn]] void RaiseUnfit(char const* table, sto_OnAttribute const& key, std::string const& name) const;

  sto_SqliteConnection& m_Connection;
  sto_SqliteChanges& m_Noted;
  sto_SqliteStatement m_AddEnumerator, m_FindNote, m_WriteNote;
  std::optional<Checksums> m_Checksums; // from format 4 on
};
