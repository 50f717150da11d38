#pragma once

/// Makes SQLite's own allocations fail. A test program that uses this compiles StoreSqliteMemoryFault.cpp,
/// which stands between SQLite and its allocator from before the first use of SQLite on. For programs of one
/// thread.
class StoreSqliteMemoryFault {
 public:
  /// The `step`-th allocation from now on fails (1 is the next), and no other.
  static void FailAt(long long step) noexcept;
  /// That one and all after it.
  static void FailFrom(long long step) noexcept;
  /// Takes the fault away.
  static void Disarm() noexcept;
  /// Whether one has failed since the fault was set.
  [[nodiscard]] static bool HasFailed() noexcept;
};
