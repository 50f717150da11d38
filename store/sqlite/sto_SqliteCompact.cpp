#include "store/sqlite/sto_SqliteCompact.h"

#include <sqlite3.h>

#include <algorithm>
#include <vector>

#include "store/base/sto_Exception.h"
#include "store/format/sto_BlockRow.h"
#include "store/sqlite/sto_SqliteBlocks.h"
#include "store/sqlite/sto_SqliteWatch.h"

namespace {

/// SQLite takes so many steps to copy a row.
constexpr int StepsInRow = 4;

void Run(sto_SqliteConnection& connection, char const* sql) {
  sto_SqliteStatement statement(connection, sql);
  sto_SqliteStatement::Use(statement).AllowAllRows().Step();
}

/// A moved block and its row in table moved_block.
struct Place {
  std::int64_t m_Key;
  std::int64_t m_Place;
};

std::vector<Place> PlacesOf(sto_SqliteConnection& connection) {
  std::vector<Place> places;
  sto_SqliteStatement statement(connection, "SELECT key, place FROM block_place ORDER BY key");
  sto_SqliteStatement::Use use(statement);
  for (use.AllowAllRows(); use.Step();) places.push_back({use.Integer(0), use.Integer(1)});
  return places;
}

/// Reads rows of several blocks, and returns moved blocks to them.
class RowReader {
 public:
  explicit RowReader(sto_SqliteConnection& connection)
      : m_ReadRow(connection, "SELECT data FROM block WHERE key = ?"),
        m_ReadMoved(connection, "SELECT data FROM moved_block WHERE place = ?"),
        m_DeleteMoved(connection, "DELETE FROM moved_block WHERE place = ?"),
        m_DeletePlace(connection, "DELETE FROM block_place WHERE key = ?") {}

  /// The row with a key; an empty one if it is not there.
  [[nodiscard]] sto_BlockRow Read(std::int64_t key) {
    sto_SqliteStatement::Use use(m_ReadRow);
    return use.Bind(1, key).Step() ? sto_BlockRow(use.Bytes(0)) : sto_BlockRow();
  }
  /// Puts a moved block into its row. One that is too long for that stays, and its old content in the row goes.
  void Return(Place const& place, sto_BlockRow& row) {
    {
      sto_SqliteStatement::Use use(m_ReadMoved);
      if (!use.Bind(1, place.m_Place).Step()) return; // the rows are verified next
      bool const isLong = use.Bytes(0).size() > sto_SqliteBlocks::MaxSharedBytes;
      row.Put(sto_BlockRow::SlotOf(place.m_Key), isLong ? sto_ByteView() : use.Bytes(0));
      if (isLong) return;
    }
    sto_SqliteStatement::Use(m_DeleteMoved).Bind(1, place.m_Place).Step();
    sto_SqliteStatement::Use(m_DeletePlace).Bind(1, place.m_Key).Step();
  }

 private:
  sto_SqliteStatement m_ReadRow, m_ReadMoved, m_DeleteMoved, m_DeletePlace;
};

/// Lets SQLite write a file anew: it attaches a temporary one, which may be larger than memory.
class Permission {
 public:
  explicit Permission(sto_SqliteConnection& connection) : m_Connection(connection) {
    m_Connection.Execute("PRAGMA temp_store = FILE");
    sqlite3_limit(m_Connection.Handle(), SQLITE_LIMIT_ATTACHED, 1);
  }
  Permission(Permission const&) = delete;
  Permission& operator=(Permission const&) = delete;
  ~Permission() {
    sqlite3_limit(m_Connection.Handle(), SQLITE_LIMIT_ATTACHED, 0);
    // If memory is too short for this, later work only takes its temporary space elsewhere.
    sqlite3_exec(m_Connection.Handle(), "PRAGMA temp_store = MEMORY", nullptr, nullptr, nullptr);
  }

 private:
  sto_SqliteConnection& m_Connection;
};

} // namespace

void sto_SqliteCompact::ReturnMovedBlocks(sto_SqliteConnection& connection) {
  std::vector<Place> const places = PlacesOf(connection);
  sto_SqliteStatement writeRow(connection, "REPLACE INTO block(key, data) VALUES(?, ?)");
  sto_SqliteStatement deleteRow(connection, "DELETE FROM block WHERE key = ?");
  RowReader rows(connection);
  for (auto first = places.begin(); first != places.end();) {
    std::int64_t const key = sto_BlockRow::RowOf(first->m_Key);
    auto const last = std::find_if(
        first, places.end(), [&](Place const& place) { return sto_BlockRow::RowOf(place.m_Key) != key; });
    sto_BlockRow row = rows.Read(key);
    for (; first != last; ++first) rows.Return(*first, row);
    if (row.IsEmpty())
      sto_SqliteStatement::Use(deleteRow).Bind(1, key).Step();
    else
      sto_SqliteStatement::Use(writeRow).Bind(1, key).Bind(2, row.Stored()).Step();
  }
}

void sto_SqliteCompact::WriteAnew(sto_SqliteConnection& connection, sto_Meter* meter) {
  Permission const permission(connection);
  connection.ForgetSize();
  {
    sto_SqliteWatch const watch(connection, meter, StepsInRow, sto_BlockRow::Blocks);
    try {
      Run(connection, "VACUUM");
    } catch (sto_Exception const&) {
      watch.RaiseStopped();
      throw;
    }
  }
  connection.ForgetSize();
  // With a write-ahead log, the file shrinks only now. Readers may keep it from that; then the last session that
  // closes does it.
  sqlite3_wal_checkpoint_v2(connection.Handle(), "main", SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
}
