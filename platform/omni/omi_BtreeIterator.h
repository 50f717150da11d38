#pragma once

#include "platform/omni/omi_Btree.h"

/// Walks an omi_Btree in its order: left subtree, node, right subtree.
///
///     for (omi_BtreeIterator<K, V> i(tree); !i.IsDone(); i.Next()) Use(i.Key(), i.Value());
///
/// It keeps the path from the root to the current node, one small heap entry per level. The tree must outlive
/// it and stay unchanged. Thread rule: one thread; others may read the tree meanwhile.
template <class K, class V> class omi_BtreeIterator {
 public:
  using Node = typename omi_Btree<K, V>::Node;

  /// Starts at the first entry. Throws std::bad_alloc, as First and Next do; the iterator is then done.
  explicit omi_BtreeIterator(omi_Btree<K, V> const& tree) : m_Tree(tree) { First(); }
  omi_BtreeIterator(omi_BtreeIterator const&) = delete;
  omi_BtreeIterator& operator=(omi_BtreeIterator const&) = delete;
  ~omi_BtreeIterator() { Clear(); }

  void First() {
    Clear();
    PushLeftmost(m_Tree.Root());
  }

  /// Moves to the next entry. REQUIRES: !IsDone().
  void Next() {
    if (Node const* const right = m_Top->m_Node->Right()) {
      PushLeftmost(right);
      return;
    }
    Node const* popped = Pop();
    while (m_Top != nullptr && m_Top->m_Node->Right() == popped) popped = Pop();
  }

  [[nodiscard]] bool IsDone() const noexcept { return m_Top == nullptr; }

  /// The current entry. REQUIRES: !IsDone().
  [[nodiscard]] Node const& Current() const noexcept { return *m_Top->m_Node; }
  [[nodiscard]] K const& Key() const noexcept { return Current().Key(); }
  [[nodiscard]] V const& Value() const noexcept { return Current().Value(); }

 private:
  struct Entry {
    Node const* m_Node;
    Entry* m_Below;
  };

  void PushLeftmost(Node const* node) {
    try {
      for (; node != nullptr; node = node->Left()) m_Top = new Entry{node, m_Top};
    } catch (...) {
      Clear();
      throw;
    }
  }

  Node const* Pop() noexcept {
    Entry* const entry = m_Top;
    Node const* const node = entry->m_Node;
    m_Top = entry->m_Below;
    delete entry;
    return node;
  }

  void Clear() noexcept {
    while (m_Top != nullptr) Pop();
  }

  omi_Btree<K, V> const& m_Tree;
  Entry* m_Top = nullptr;
};
