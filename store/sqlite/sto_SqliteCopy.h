#pragma once

#include <memory>
#include <string>

#include "store/base/sto_Meter.h"
#include "store/sqlite/sto_NewFile.h"
#include "store/sqlite/sto_SqliteConnection.h"

/// Copies a store page by page to a temporary file beside the destination. The copy gets its own name when it
/// is complete and durable, so that under that name there is either nothing or a complete store.
///
/// SQLite's backup interface makes the copy. It reads within the source's open transaction: the copy shows
/// one state, never starts over however busy other programs are, and needs no more memory than a cache of
/// pages. VACUUM INTO would leave out the free pages, but it cannot run in a transaction, needs the right to
/// attach files, which connections here do not have, does not synchronise what it writes, and drops the
/// write-ahead log.
///
/// A process that is killed leaves at most the temporary file. Its journal makes sure that opening it finds
/// no store, except in the last moment, when the file may be complete.
class sto_SqliteCopy {
 public:
  /// Copies what the open read transaction of `source` sees. Conflict when something exists at `location`;
  /// Misuse for a location with a NUL character; Full; Unavailable, also on a network file system.
  /// `meter`: counts the pages; null: nobody asks.
  sto_SqliteCopy(sto_SqliteConnection& source, std::string const& location, sto_Meter* meter = nullptr);
  sto_SqliteCopy(sto_SqliteCopy const&) = delete;
  sto_SqliteCopy& operator=(sto_SqliteCopy const&) = delete;

  /// Gives the copy its name, durably; once. Conflict when something has that name by now; Full, Unavailable.
  /// When it fails, there is no copy.
  void Publish();

 private:
  void Make(sto_SqliteConnection& source, sto_Meter* meter);

  std::string m_Location;
  sto_NewFile m_File; // removes the temporary file, unless it was published, after m_Target is closed
  std::unique_ptr<sto_SqliteConnection> m_Target;
};
