#pragma once

#include "store/base/sto_Meter.h"
#include "store/sqlite/sto_SqliteConnection.h"

/// The two steps in which a store gives unused room back and gets its rows in order. Each is all or nothing, and
/// neither changes the content: a crash leaves a whole store, before the first step, after it, or after both.
namespace sto_SqliteCompact {

/// Returns moved blocks to table block. REQUIRES: an open write transaction.
void ReturnMovedBlocks(sto_SqliteConnection& connection);

/// Lets SQLite write the file anew. It takes room for the new content in the system's folder for temporary files,
/// and for a journal beside the store. `meter`: counts rows in its present part, and can interrupt SQLite; null: nobody
/// asks. Busy, Full. REQUIRES: no open transaction, no statement in progress.
void WriteAnew(sto_SqliteConnection& connection, sto_Meter* meter);

} // namespace sto_SqliteCompact
