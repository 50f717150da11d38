#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/base/sto_SaveEntry.h"
#include "store/format/sto_ChangeList.h"
#include "store/format/sto_ContentSum.h"
#include "store/format/sto_RowChecksum.h"
#include "store/sqlite/sto_SqliteConnection.h"

/// The log of the saves in a store of format 4: table save. The newest row also has the next free object id.
///
/// REQUIRES, for every operation: an open transaction, and Use. Thread rule: one thread.
class sto_SqliteSaves {
 public:
  /// What later transactions need of the newest row.
  struct Newest {
    std::int64_t m_Number = 0;
    std::int64_t m_NextObjectId = 1;
    sto_ContentSum m_Sum = {}; // over the store
  };

  explicit sto_SqliteSaves(sto_SqliteConnection& connection);

  /// Call when the header was read. `uuid`: the store's.
  void Use(sto_ByteView uuid);
  /// Another session may have committed: read the newest row again when it is needed.
  void Forget() noexcept { m_Newest.reset(); }

  /// The newest row. Damaged if there is none, or it does not fit its checksum.
  [[nodiscard]] Newest const& ReadNewest();
  /// The rows from a number on, ascending. Damaged.
  [[nodiscard]] std::vector<sto_SaveEntry> Read(std::int64_t first);

  /// The newest row that changed a root: its name, or the record or blocks of its object `id`, or made the object.
  /// Empty if the object is newer than the log. Reads the log backwards to that row. Damaged.
  [[nodiscard]] std::optional<sto_SaveEntry> LastChange(std::string_view root, std::int64_t id);

  /// What the saves after number `save` have changed; empty if a row is missing. Damaged.
  [[nodiscard]] std::optional<sto_ChangeList> ReadChanges(std::int64_t save);

  /// Writes a row for the open transaction, replacing one that it has written already: a commit that fails may
  /// be tried again.
  void Write(Newest const& row, std::string_view program, std::string_view note,
             sto_ChangeList const& changes);
  /// The transaction that wrote the row is durable.
  void Keep(Newest const& row) noexcept { m_Newest = row; }

 private:
  /// Damaged if the present row does not fit its checksum.
  void Check(sto_SqliteStatement::Use const& use);
  /// The present row. Damaged.
  [[nodiscard]] sto_SaveEntry EntryOf(sto_SqliteStatement::Use const& use);

  sto_SqliteConnection& m_Connection;
  sto_SqliteStatement m_ReadNewest, m_Write;
  std::optional<sto_RowChecksum> m_Checksum;
  std::optional<Newest> m_Newest; // empty: not read since another session has committed
  sto_Bytes m_Changes;            // scratch: encoded changes, and the sum
};
