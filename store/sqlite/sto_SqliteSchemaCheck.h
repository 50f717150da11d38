#pragma once

#include "store/sqlite/sto_SqliteConnection.h"

struct sto_SqliteHeader;

/// The numbers in a file's header that say what the file is.
struct sto_SqliteIdentity {
  std::int64_t m_ApplicationId;
  std::int64_t m_FormatVersion;
};

[[nodiscard]] sto_SqliteIdentity sto_ReadSqliteIdentity(sto_SqliteConnection& connection);

/// NewerFormat if this module does not know a version of the format.
void sto_CheckSqliteVersion(sto_SqliteConnection const& connection, std::int64_t version);

/// Raises unless the file is a store of a format that this module reads, with exactly that format's tables.
/// NotFound: no store. NewerFormat. Damaged: a table is missing or was changed, or something does not belong
/// in a store (a table, an index, a trigger, a view); the message names it. Tables of features are allowed if the
/// header names these, any tables if it names a feature that this module does not know, and SQLite's own tables of
/// statistics. REQUIRES: an open transaction, because another session may upgrade an older store at any
/// moment.
void sto_CheckSqliteSchema(sto_SqliteConnection& connection);

/// Damaged if the tables of a feature that the header names are missing.
void sto_CheckSqliteTables(sto_SqliteConnection& connection, sto_SqliteHeader const& header);
