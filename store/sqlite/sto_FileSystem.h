#pragma once

#include <string>

/// The network file system that a file is on, or would be created on; empty for a local one, or if the system
/// does not say. On a network file system SQLite's locks and shared memory are unreliable: two writers could
/// damage the file. Thread rule: any thread.
[[nodiscard]] std::string sto_NetworkFileSystem(std::string const& path);

/// A replacement for that query. For tests.
using sto_FileSystemQuery = std::string (*)(std::string const& path);

/// Sets a replacement, null for the system's own query; returns the one before. Thread rule: while no store
/// is being opened.
sto_FileSystemQuery sto_SetFileSystemQuery(sto_FileSystemQuery query) noexcept;

/// The name of a network file system, from the number that statfs returns. For a file system in user space
/// (FUSE) `mountType`, its type in the list of mounts, decides. Empty for local file systems.
[[nodiscard]] std::string sto_NetworkFileSystemOf(unsigned long type, std::string const& mountType);

/// The type of the file system on a device, from the text of a list of mounts (/proc/self/mountinfo); empty
/// when the device is not listed.
[[nodiscard]] std::string sto_MountTypeOf(std::string const& mounts, unsigned int major, unsigned int minor);
