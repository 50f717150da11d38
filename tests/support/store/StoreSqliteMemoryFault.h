#pragma once

/// Makes SQLite's own allocations fail. Programs that use this compile StoreSqliteMemoryFault.cpp, which
/// wraps SQLite's allocator before SQLite is first used. For single-threaded programs.
class StoreSqliteMemoryFault {
 public:
  /// Fails the `step`-th allocation from now (1 is the next), and no other.
  static void FailAt(long long step) noexcept;
  /// Fails that one and all later ones.
  static void FailFrom(long long step) noexcept;
  /// Removes the fault.
  static void Disarm() noexcept;
  /// Whether one has failed since the fault was set.
  [[nodiscard]] static bool HasFailed() noexcept;
};
