#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "store/driver/sto_Driver.h"

/// The ids that the open write transaction gives to new objects. They come in ranges that the storage hands out
/// (sto_Driver::TakeIds). Between the ranges there may be ids of other sessions, so whether an object is new is a
/// question to the ranges, and not to a first id.
///
/// Going back never fails: ranges that are taken back stay here and are used again before the storage is asked.
/// Internal to the module. Thread rule: one thread.
class sto_NewIds {
 public:
  /// How many ids are requested at once: 2048 packs. A session that saves a few objects wastes none, because a
  /// storage hands out again what a transaction has not used; one that saves millions asks rarely.
  static constexpr std::int64_t IdsAtOnce = 65536;

  /// A transaction begins. Ids before `end` are those of stored objects.
  void Begin(std::int64_t end) noexcept {
    m_Ranges.clear(); // keeps its memory
    m_Current = 0;
    m_First = m_Next = m_End = 0;
    m_EndAtBegin = end;
  }

  /// Whether an id can be taken; if not, GoOn, and if that fails, Add.
  [[nodiscard]] bool HasMore() const noexcept { return m_Next != m_End; }
  /// REQUIRES: HasMore.
  [[nodiscard]] std::int64_t Take() noexcept { return m_Next++; }
  /// Goes on to a range that was added before work was undone; false if there is none.
  bool GoOn() noexcept {
    if (m_Current + 1 >= m_Ranges.size()) return false;
    Use(m_Current + 1);
    return true;
  }
  /// Adds a range and goes on to it. REQUIRES: it is not empty, and lies after those before it. Throws
  /// std::bad_alloc.
  void Add(sto_IdRange const& range) {
    m_Ranges.push_back(range);
    Use(m_Ranges.size() - 1);
  }

  /// Ids that are given out from now on are not before this one.
  [[nodiscard]] std::int64_t Next() const noexcept { return m_Next; }
  /// Whether the transaction has given out any id, apart from those that were taken back.
  [[nodiscard]] bool HasAny() const noexcept { return m_Current > 0 || m_Next != m_First; }
  /// Whether the transaction has given out an id.
  [[nodiscard]] bool Has(std::int64_t id) const noexcept {
    return id < m_Next && (id >= m_First || IsInEarlierRange(id));
  }
  /// The same, from a former value of Next on.
  [[nodiscard]] bool HasSince(std::int64_t first, std::int64_t id) const noexcept {
    return id >= first && Has(id);
  }
  /// Every id that a stored object has, or that the transaction has given out, is smaller.
  [[nodiscard]] std::int64_t End() const noexcept { return std::max(m_EndAtBegin, m_Next); }

  /// Calls `take` with the ranges of ids that were given out since Next was `first`.
  template <class Take> void ForEachSince(std::int64_t first, Take take) const {
    for (std::size_t i = 0; i < m_Ranges.size() && i <= m_Current; ++i) {
      std::int64_t const end = i == m_Current ? m_Next : m_Ranges[i].m_End;
      if (std::int64_t const from = std::max(first, m_Ranges[i].m_First); from < end) take(from, end);
    }
  }
  /// Takes back the ids that were given out since Next was `first`. Allocates nothing.
  void GoBackTo(std::int64_t first) noexcept {
    if (m_Ranges.empty()) return;
    std::size_t range = m_Current;
    while (range > 0 && m_Ranges[range].m_First > first) --range;
    if (range != m_Current) Use(range);
    m_Next = std::clamp(first, m_First, m_End);
  }

 private:
  void Use(std::size_t range) noexcept {
    m_Current = range;
    m_First = m_Next = m_Ranges[range].m_First;
    m_End = m_Ranges[range].m_End;
  }
  // Rare: kept out of the functions that ask for each object.
  [[nodiscard, gnu::noinline]] bool IsInEarlierRange(std::int64_t id) const noexcept {
    return std::any_of(m_Ranges.begin(), m_Ranges.begin() + static_cast<std::ptrdiff_t>(m_Current),
                       [id](sto_IdRange const& range) { return id >= range.m_First && id < range.m_End; });
  }

  std::vector<sto_IdRange> m_Ranges; // of the transaction, ascending
  std::size_t m_Current = 0; // the one that ids are taken from, if there is any; all before it are used up
  std::int64_t m_First = 0;  // of that range
  std::int64_t m_Next = 0;
  std::int64_t m_End = 0;
  std::int64_t m_EndAtBegin = 1;
};
