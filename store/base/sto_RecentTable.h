#pragma once

#include <array>
#include <cstddef>

/// Caches the latest answers of a slower look-up, for keys of two numbers (a class ID and a version, or two
/// class IDs). Objects come in runs of few classes, so most look-ups find their answer here.
///
/// Each key has one place, computed from its numbers; `Places` consecutive keys have different places. Of two
/// keys with the same place the later one replaces the earlier one, which then needs the slow look-up again.
/// So the table never gives a wrong answer, but may have no answer at any time.
///
/// `Value` is small and trivial; Value() (null, false) means no answer and cannot be kept. The table
/// allocates nothing and owns nothing: call Forget before what an answer points to is destroyed. Internal to
/// the module. Thread rule: one thread.
template <class Value, std::size_t Places = 64> class sto_RecentTable {
  static_assert(Places > 0);

 public:
  /// The answer for a key; Value() if the table does not have it.
  [[nodiscard]] Value Find(unsigned int first, unsigned int second = 0) const noexcept {
    Entry const& entry = m_Entries[PlaceOf(first, second)];
    return entry.m_First == first && entry.m_Second == second ? entry.m_Value : Value();
  }

  /// Keeps the answer for a key, replacing the one at its place. REQUIRES: value != Value().
  void Keep(unsigned int first, unsigned int second, Value value) noexcept {
    m_Entries[PlaceOf(first, second)] = {first, second, value};
  }

  /// Forgets all answers.
  void Forget() noexcept { m_Entries.fill({}); }

 private:
  struct Entry {
    unsigned int m_First = 0;
    unsigned int m_Second = 0;
    Value m_Value{};
  };

  /// 7 is odd, so neighbouring keys have different places even if the number of places is a power of two.
  static std::size_t PlaceOf(unsigned int first, unsigned int second) noexcept {
    return (first * 7 + second) % Places;
  }

  std::array<Entry, Places> m_Entries{};
};
