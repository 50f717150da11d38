#pragma once

#include "platform/cow/cow_Map.h"

/// Walks a cow_Map in ascending order of the keys, for reading.
///
///     for (cow_ConstMapIterator<K, V> i(map); !i.IsDone(); i.Next()) Use(i.Key(), i.Value());
///
/// The iterator shares the entries, so it does not see later writes to the map.
template <class K, class V> class cow_ConstMapIterator {
 public:
  /// Starts at the first entry.
  explicit cow_ConstMapIterator(cow_Map<K, V> const& map) noexcept : m_Map(map) { First(); }

  void First() noexcept {
    if (m_Map.m_Shared != nullptr) m_Current = m_Map.m_Shared->m_Entries.cbegin();
  }
  void Next() noexcept { ++m_Current; }
  [[nodiscard]] bool IsDone() const noexcept {
    return m_Map.m_Shared == nullptr || m_Current == m_Map.m_Shared->m_Entries.cend();
  }

  /// The current entry. REQUIRES: !IsDone().
  [[nodiscard]] K const& Key() const noexcept { return m_Current->first; }
  [[nodiscard]] V const& Value() const noexcept { return m_Current->second; }

 private:
  cow_Map<K, V> m_Map;
  typename cow_Map<K, V>::Entries::const_iterator m_Current{};
};
