#pragma once

/// Makes one call of operator new fail, and counts the bytes requested by all calls. Programs that use this
/// compile StoreNewFault.cpp, which replaces the operators. For single-threaded programs.
class StoreNewFault {
 public:
  /// Fails the `step`-th call from now (1 is the next), and no other; 0 stops this.
  static void FailAt(long long step) noexcept;
  /// Whether it has failed since.
  [[nodiscard]] static bool HasFailed() noexcept;
  /// The number of bytes requested by all calls so far.
  [[nodiscard]] static long long AskedBytes() noexcept;
};
