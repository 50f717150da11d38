#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "store/sqlite/sto_SqliteConnection.h"
#include "store/sto_Options.h"

/// Questions about the file of a store, and about what SQLite keeps beside it. Nothing here opens a file:
/// closing one would take this process's locks on it away.
namespace sto_SqliteFile {

/// Whether there is anything under a name, a link that leads nowhere included.
[[nodiscard]] bool IsThere(std::string const& path);
[[nodiscard]] bool IsRegular(std::string const& path);
/// The bytes of a file; 0 when there is none.
[[nodiscard]] std::uintmax_t SizeOf(std::string const& path);
/// Whether there are bytes in a write-ahead log beside the file.
[[nodiscard]] bool HasLog(std::string const& path);
/// Whether there are bytes in a rollback journal beside it.
[[nodiscard]] bool HasJournal(std::string const& path);

/// Raises Misuse for a location that no file can have, and for options that do not hold for opening.
void CheckLocation(std::string const& path);
void CheckOptions(std::string const& path, sto_Options const& options);

/// Whether the file is one with a write-ahead log, by its header.
[[nodiscard]] bool IsForLog(sto_SqliteConnection::Header const& header);

/// What tells one state of a file from another as long as nobody locks it.
struct State {
  std::uint64_t m_Device = 0, m_Number = 0, m_Size = 0;
  std::int64_t m_Seconds = 0, m_Nanoseconds = 0; // when it was written last
  std::array<std::byte, 4> m_ChangeCounter{};    // SQLite's own
  bool m_HasLogOrJournal = false;

  friend bool operator==(State const&, State const&) = default;
};

/// The state of the file that a connection has open, and of what is beside it.
[[nodiscard]] State StateOf(sto_SqliteConnection const& connection);

} // namespace sto_SqliteFile
