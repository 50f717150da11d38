#pragma once

#include <cstdint>

/// While it lives, sits between SQLite and the operating system for every newly opened connection, and
/// injects a fault into one chosen file operation (write, synchronise, truncate, delete, open).
///
/// The faults: the operation fails once, with an input/output error or a full disk, and does nothing; it
/// fails as if the system had no room for a new file (NoSpace); it succeeds but reports an error
/// (LateIoError); or the process is killed on the spot, leaving a write half done. What the system received
/// before a kill remains, as for any process that ends; this does not simulate a power failure. So nothing
/// needs to wait for the disk: a synchronisation is counted, and can fail, but does not reach it.
class StoreFaultVfs {
 public:
  enum class Fault { None, IoError, Full, NoSpace, LateIoError, Kill };

  /// `sharesMemory`: its files support memory shared between processes, as a write-ahead log needs.
  explicit StoreFaultVfs(bool sharesMemory = false);
  ~StoreFaultVfs();
  StoreFaultVfs(StoreFaultVfs const&) = delete;
  StoreFaultVfs& operator=(StoreFaultVfs const&) = delete;

  /// Injects the fault into the `step`-th operation from now (1 is the next).
  static void StrikeAt(std::int64_t step, Fault fault);
  /// Whether the fault has occurred since.
  [[nodiscard]] static bool HasStruck();
  /// Removes the fault.
  static void Disarm();

  /// From now on files can be opened only for reading, as if the system did not permit more. File permissions
  /// cannot test that for a privileged user.
  static void MakeReadOnly();
};
