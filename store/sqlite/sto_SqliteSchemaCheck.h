#pragma once

#include "store/sqlite/sto_SqliteConnection.h"

/// What the header of a file says of itself.
struct sto_SqliteIdentity {
  std::int64_t m_ApplicationId;
  std::int64_t m_FormatVersion;
};

[[nodiscard]] sto_SqliteIdentity sto_ReadSqliteIdentity(sto_SqliteConnection& connection);

/// Raises unless the file is a store of a format that this module reads and holds that format's tables and
/// nothing else that SQLite would act on. NotFound: no store. NewerFormat. Damaged: a table is missing or
/// not as it was made, or there is something that does not belong in a store (a table, an index, a trigger, a
/// view); the message names it. SQLite's own tables of statistics may be there.
/// Call it in a transaction: another session may bring an older store to the present format at any moment.
void sto_CheckSqliteSchema(sto_SqliteConnection& connection);
