#pragma once

#include <memory>
#include <optional>
#include <string>

#include "store/sqlite/sto_SqliteConnection.h"
#include "store/sqlite/sto_SqliteFile.h"
#include "store/sto_Options.h"

/// The open file of a store.
struct sto_SqliteOpening {
  std::unique_ptr<sto_SqliteConnection> m_Connection;
  /// Set if the file is read without locks: the state in which it must stay.
  std::optional<sto_SqliteFile::State> m_FixedState;
};

/// Opens an existing store. See sto_SqliteDriver::Open.
///
/// A store is read without locks where SQLite's locks do not work (a network file system) or a log cannot be
/// created (the folder is not writable). That needs a store that is opened for reading only and has neither
/// log nor journal.
/// `isUnfinished`: see sto_SqliteConnection::Opening.
[[nodiscard]] sto_SqliteOpening sto_OpenSqlite(std::string const& path, bool readOnly,
                                               sto_Options const& options, bool isUnfinished = false);

/// Creates a store. See sto_SqliteDriver::Create.
[[nodiscard]] std::unique_ptr<sto_SqliteConnection> sto_CreateSqlite(std::string const& path,
                                                                     sto_Options const& options);

/// Prepares a new connection; call it before anything in the file is read.
void sto_BeginSqlite(sto_SqliteConnection& connection);
/// Configures a connection for work with a store.
void sto_ConfigureSqlite(sto_SqliteConnection& connection);

/// Copies the content of a store's write-ahead log to its file and removes the log, unless another session
/// needs it. For a session that only read and could not do it. Does nothing if the file is not writable.
void sto_FoldSqliteLog(std::string const& path) noexcept;
