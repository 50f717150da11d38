#pragma once

#include "platform/cow/cow_Btree.h"

/// Walks a cow_Btree in ascending order of the keys, for reading.
///
///     for (cow_BtreeIterator<K, V> i(tree); !i.IsDone(); i.Next()) Use(i.Key(), i.Value());
///
/// The iterator shares the entries, so it does not see later writes to the tree.
template <class K, class V> class cow_BtreeIterator {
 public:
  /// Starts at the first entry.
  explicit cow_BtreeIterator(cow_Btree<K, V> const& tree) noexcept : m_Tree(tree) { First(); }

  void First() noexcept {
    if (m_Tree.m_Shared != nullptr) m_Current = m_Tree.m_Shared->m_Entries.cbegin();
  }
  void Next() noexcept { ++m_Current; }
  [[nodiscard]] bool IsDone() const noexcept {
    return m_Tree.m_Shared == nullptr || m_Current == m_Tree.m_Shared->m_Entries.cend();
  }

  /// The current entry. REQUIRES: !IsDone().
  [[nodiscard]] K const& Key() const noexcept { return m_Current->first; }
  [[nodiscard]] V const& Value() const noexcept { return m_Current->second; }

 private:
  cow_Btree<K, V> m_Tree;
  typename cow_Btree<K, V>::Entries::const_iterator m_Current{};
};
