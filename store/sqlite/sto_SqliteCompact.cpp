#include "store/sqlite/sto_SqliteCompact.h"

#include <sqlite3.h>

namespace {

void Run(sto_SqliteConnection& connection, char const* sql) {
  sto_SqliteStatement statement(connection, sql);
  sto_SqliteStatement::Use(statement).AllowAllRows().Step();
}

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
  Run(connection, "INSERT INTO block(key, data) SELECT block_place.key, moved_block.data "
                  "FROM block_place JOIN moved_block USING(place) ORDER BY block_place.key");
  Run(connection, "DELETE FROM block_place");
  Run(connection, "DELETE FROM moved_block");
}

void sto_SqliteCompact::WriteAnew(sto_SqliteConnection& connection) {
  Permission const permission(connection);
  connection.ForgetSize();
  Run(connection, "VACUUM");
  connection.ForgetSize();
  // With a write-ahead log, the file shrinks only now. Readers may keep it from that; then the last session that
  // closes does it.
  sqlite3_wal_checkpoint_v2(connection.Handle(), "main", SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
}
