#pragma once

/// Counts the start-ups of one module, so that nested initialise and finalise calls only count.
///
/// The module-wide count changes at every call; the caller's counter changes only at the first start-up and
/// the last shut-down. Thread rule: start-up and shut-down run on one thread; no lock.
class mem_UseCount {
 public:
  /// Counts a start-up. True for the first: the caller's counter was raised, and the module must start.
  bool Enter(int& callers) noexcept {
    if (m_Count++ != 0) return false;
    ++callers;
    return true;
  }

  /// Counts a shut-down. True for the last: the caller's counter was lowered, and the module must stop.
  /// A shut-down without a start-up does nothing.
  bool Leave(int& callers) noexcept {
    if (m_Count == 0 || --m_Count != 0) return false;
    --callers;
    return true;
  }

  [[nodiscard]] bool IsActive() const noexcept { return m_Count != 0; }

 private:
  int m_Count = 0;
};
