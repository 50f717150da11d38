#pragma once

#include <memory>
#include <optional>
#include <string>

#include "store/sqlite/sto_SqliteConnection.h"
#include "store/sqlite/sto_SqliteFile.h"
#include "store/sto_Options.h"

/// An open file that is a store.
struct sto_SqliteOpening {
  std::unique_ptr<sto_SqliteConnection> m_Connection;
  /// Set when the file is read without locks: it must stay in this state.
  std::optional<sto_SqliteFile::State> m_FixedState;
};

/// Opens a store that is there. See sto_SqliteDriver::Open.
///
/// Where SQLite's locks do not work (a network file system) or a log cannot be made (no permission to write
/// to the folder), a store that is only to be read, and has neither log nor journal, is read without locks.
[[nodiscard]] sto_SqliteOpening sto_OpenSqlite(std::string const& path, bool readOnly,
                                               sto_Options const& options);

/// Makes a store. See sto_SqliteDriver::Create.
[[nodiscard]] std::unique_ptr<sto_SqliteConnection> sto_CreateSqlite(std::string const& path,
                                                                     sto_Options const& options);

/// What a connection gets before anything in its file is asked for.
void sto_BeginSqlite(sto_SqliteConnection& connection);
/// How a connection works with a store.
void sto_ConfigureSqlite(sto_SqliteConnection& connection);

/// Brings what is in the write-ahead log of a store into its file and takes the log away, unless another
/// session needs it, for a session that could not do it itself. Does nothing when the file may not be
/// written.
void sto_FoldSqliteLog(std::string const& path) noexcept;
