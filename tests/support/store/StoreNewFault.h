#pragma once

/// Makes one call of the language's operator new fail, and counts what all calls ask for. A test program that
/// uses this compiles StoreNewFault.cpp, which replaces the operators. For programs of one thread.
class StoreNewFault {
 public:
  /// The `step`-th call from now on fails (1 is the next), and no other; 0 for none.
  static void FailAt(long long step) noexcept;
  /// Whether it has failed since.
  [[nodiscard]] static bool HasFailed() noexcept;
  /// How many bytes all calls of the program have asked for so far.
  [[nodiscard]] static long long AskedBytes() noexcept;
};
