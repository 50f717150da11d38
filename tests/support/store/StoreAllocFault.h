#pragma once

/// Makes allocations fail: calls of the language's operator new, of mem_Malloc and of SQLite's allocator,
/// which are counted together. A program that uses this compiles StoreAllocFault.cpp, which replaces the
/// operators. For programs of one thread.
class StoreAllocFault {
 public:
  /// Before anything uses SQLite, and once.
  static void Install();
  /// From the `step`-th allocation from now on (1 is the next) `count` of them fail; -1 for all.
  static void FailFrom(long long step, long long count) noexcept;
  /// All succeed again.
  static void Stop() noexcept;
  /// Whether one has failed since FailFrom.
  [[nodiscard]] static bool HasFailed() noexcept;
};
