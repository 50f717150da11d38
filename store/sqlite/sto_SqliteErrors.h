#pragma once

#include <string>

#include "store/base/sto_ErrorKind.h"
#include "store/base/sto_SourceLine.h"

/// What a result code of SQLite is to the user of a store.
struct sto_SqliteError {
  sto_ErrorKind m_Kind;
  char const* m_Advice; ///< what to do, in whole sentences
};

/// One table for all of SQLite's result codes, extended ones included. `isWriting`: a transaction that writes
/// is open, so that whoever is in its way is a reader. Thread rule: any thread.
[[nodiscard]] sto_SqliteError sto_SqliteErrorOf(int code, bool isWriting = false) noexcept;

/// The same for want of room, which SQLite does not always report under its own code.
[[nodiscard]] sto_SqliteError sto_SqliteFull() noexcept;

/// Raise, with the same advice, what is seen without asking SQLite to do anything.
[[noreturn]] void sto_RaiseNoStore(std::string const& path, sto_SourceLine line = sto_SourceLine::Current());
[[noreturn]] void sto_RaiseNotWritable(std::string const& path,
                                       sto_SourceLine line = sto_SourceLine::Current());
