#pragma once

#include <atomic>

/// Remembers the process in which it was made, so that a child that fork makes of it is recognised. The question
/// costs no call of the system. Thread rule: any.
class sto_ProcessMark {
 public:
  /// Throws std::bad_alloc.
  sto_ProcessMark();

  /// Whether the asking process is the one in which the mark was made.
  [[nodiscard]] bool IsHere() const noexcept { return m_Forks == s_Forks.load(std::memory_order_relaxed); }

 private:
  static void CountFork() noexcept { s_Forks.fetch_add(1, std::memory_order_relaxed); }

  static inline std::atomic<int> s_Forks = 0; // counted in each child
  int m_Forks;
};
