#pragma once

#include "tests/support/store/StoreFile.h"

/// Checksums of the rows of a store, computed without the module, so that a test can change rows and still
/// have a sound store: docs/store-format.md, "Checksums of rows".

/// Adds the SQL function row_checksum(table, value, ...) to a connection: the checksum of a row with these
/// values, for the store's present uuid. Every SqlFile has it.
void AddRowChecksum(struct sqlite3* connection);

/// Makes the checksum of table meta fit its rows.
void SealHeader(SqlFile& file);
/// Makes the checksums in the tables class, name, shape, root and save fit their rows.
void SealRows(SqlFile& file);
/// The next object id that the store gives out. SetNextObjectId takes a value in SQL.
[[nodiscard]] std::int64_t NextObjectId(SqlFile& file);
void SetNextObjectId(SqlFile& file, std::string const& id);
/// Makes, or replaces, a root of any object: `id` is a value in SQL.
void PutRoot(SqlFile& file, std::string const& name, std::string const& id);
/// Changes rows of these tables, and makes the checksums fit.
void RunSealed(SqlFile& file, std::string const& sql);

/// The sum over a store's content, in hexadecimal, computed from all its rows without the module:
/// docs/store-format.md, "The sum over a store". REQUIRES: format 4, and no session has a transaction open.
[[nodiscard]] std::string SumOverRows(SqlFile& file);
/// The sum in the newest row of the log.
[[nodiscard]] std::string SumInLog(SqlFile& file);
