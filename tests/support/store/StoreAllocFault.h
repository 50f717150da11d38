#pragma once

/// Makes allocations fail: calls of operator new, of mem_Malloc and of SQLite's allocator, counted together.
/// Programs that use this compile StoreAllocFault.cpp, which replaces the operators. For single-threaded
/// programs.
class StoreAllocFault {
 public:
  /// Call once, before anything uses SQLite.
  static void Install();
  /// Fails `count` allocations starting with the `step`-th from now (1 is the next); -1 fails all.
  static void FailFrom(long long step, long long count) noexcept;
  /// Stops failing.
  static void Stop() noexcept;
  /// Whether any has failed since FailFrom.
  [[nodiscard]] static bool HasFailed() noexcept;
};
