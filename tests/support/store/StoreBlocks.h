#pragma once

struct sqlite3;

/// Lets SQL reach the single blocks of a store, of which several share a row of table block: docs/store-format.md,
/// "Blocks". Written without the module.
///
/// Adds the temporary view stored_block(key, data) to a connection: the blocks in shared rows, without those that
/// have moved. It can be updated, deleted from and inserted into. Every SqlFile has it. REQUIRES, to use the view:
/// a store of format 4.
void AddStoredBlocks(sqlite3* connection);
