#pragma once

/// Makes one call of the language's operator new fail. A test program that uses this compiles
/// StoreNewFault.cpp, which replaces the operators. For programs of one thread.
class StoreNewFault {
 public:
  /// The `step`-th call from now on fails (1 is the next), and no other; 0 for none.
  static void FailAt(long long step) noexcept;
  /// Whether it has failed since.
  [[nodiscard]] static bool HasFailed() noexcept;
};
