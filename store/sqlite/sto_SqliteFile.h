#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "store/sqlite/sto_SqliteConnection.h"
#include "store/sto_Options.h"

/// Questions about the file of a store and about the files that SQLite keeps beside it. Nothing here opens a
/// file: closing it again would release this process's locks on it.
namespace sto_SqliteFile {

/// Whether anything exists under a name, a dangling link included.
[[nodiscard]] bool IsThere(std::string const& path);
[[nodiscard]] bool IsRegular(std::string const& path);
/// The size of a file in bytes; 0 when there is none.
[[nodiscard]] std::uintmax_t SizeOf(std::string const& path);
/// Whether a write-ahead log with content is beside the file.
[[nodiscard]] bool HasLog(std::string const& path);
/// Whether a rollback journal with content is beside the file.
[[nodiscard]] bool HasJournal(std::string const& path);

/// Misuse for a location that no file can have, and for options that are invalid for opening.
void CheckLocation(std::string const& path);
/// The same for a new file; also Misuse for a name that SQLite gives to the files beside a store. Such a file is
/// deleted or misread when the other store is opened.
void CheckNewLocation(std::string const& path);
void CheckOptions(std::string const& path, sto_Options const& options);

/// Whether the file's header says that it uses a write-ahead log.
[[nodiscard]] bool IsForLog(sto_SqliteConnection::Header const& header);

/// Tells one state of a file from another, without locks.
struct State {
  std::uint64_t m_Device = 0, m_Number = 0, m_Size = 0;
  std::int64_t m_Seconds = 0, m_Nanoseconds = 0; // time of the last write
  std::array<std::byte, 4> m_ChangeCounter{};    // SQLite's own
  bool m_HasLogOrJournal = false;

  friend bool operator==(State const&, State const&) = default;
};

/// The state of the file that a connection has open, and of the files beside it.
[[nodiscard]] State StateOf(sto_SqliteConnection const& connection);

} // namespace sto_SqliteFile
