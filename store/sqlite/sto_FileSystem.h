#pragma once

#include <string>

/// The name of the network file system that a file stands on, or would; empty for a local one, and where the
/// system does not say. There SQLite's locks and shared memory cannot be relied on: two writers would damage
/// a file. Thread rule: any thread.
[[nodiscard]] std::string sto_NetworkFileSystem(std::string const& path);

/// Who answers that question. For tests.
using sto_FileSystemQuery = std::string (*)(std::string const& path);

/// Sets another one, null for the system's; returns the former. Thread rule: while no store is being opened.
sto_FileSystemQuery sto_SetFileSystemQuery(sto_FileSystemQuery query) noexcept;

/// The name of a network file system by the number that statfs gives, and for a file system in user space
/// (FUSE) by its type as the list of mounts has it; empty for others.
[[nodiscard]] std::string sto_NetworkFileSystemOf(unsigned long type, std::string const& mountType);

/// The type of the file system on a device, by the text of a list of mounts (/proc/self/mountinfo); empty
/// when it is not in there.
[[nodiscard]] std::string sto_MountTypeOf(std::string const& mounts, unsigned int major, unsigned int minor);
