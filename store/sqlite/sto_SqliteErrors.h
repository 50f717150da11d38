#pragma once

#include <string>

#include "store/base/sto_ErrorKind.h"
#include "store/base/sto_SourceLine.h"

/// What a result code of SQLite means for the user of a store.
struct sto_SqliteError {
  sto_ErrorKind m_Kind;
  char const* m_Advice; ///< what to do, in whole sentences
};

/// The meaning of any result code of SQLite, extended ones included. `isWriting`: a write transaction is
/// open, so whoever blocks it is a reader. Thread rule: any thread.
[[nodiscard]] sto_SqliteError sto_SqliteErrorOf(int code, bool isWriting = false) noexcept;

/// The same for a full medium, for which SQLite does not always use its own code.
[[nodiscard]] sto_SqliteError sto_SqliteFull() noexcept;

/// Raise, with the same advice, failures that are found without SQLite.
[[noreturn]] void sto_RaiseNoStore(std::string const& path, sto_SourceLine line = sto_SourceLine::Current());
[[noreturn]] void sto_RaiseNotWritable(std::string const& path,
                                       sto_SourceLine line = sto_SourceLine::Current());
