#pragma once

#include <cstdint>

/// Stands between SQLite and the operating system while it lives, for every connection that is opened then,
/// and strikes at one chosen operation on files (write, synchronise, truncate, delete, open).
///
/// The faults: the operation fails, once, with an input/output error or for want of room, and does nothing;
/// it fails as the system does that finds no room for a new file (NoSpace); it is done and an error reported
/// all the same (LateIoError); or the process is killed on the spot, a write being half done. What the system
/// was given before the kill stays, as with a process that ends; this is not a loss of power.
class StoreFaultVfs {
 public:
  enum class Fault { None, IoError, Full, NoSpace, LateIoError, Kill };

  /// `sharesMemory`: its files have memory that processes share, so that there can be a write-ahead log.
  explicit StoreFaultVfs(bool sharesMemory = false);
  ~StoreFaultVfs();
  StoreFaultVfs(StoreFaultVfs const&) = delete;
  StoreFaultVfs& operator=(StoreFaultVfs const&) = delete;

  /// Strikes at the `step`-th operation from now on (1 is the next).
  static void StrikeAt(std::int64_t step, Fault fault);
  /// Whether it has struck since.
  [[nodiscard]] static bool HasStruck();
  /// Takes the fault away.
  static void Disarm();

  /// From now on files open for reading only, as if the system allowed no more (which a privileged user's
  /// permissions do not show).
  static void MakeReadOnly();
};
