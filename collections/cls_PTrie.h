#pragma once

#include <cstdint>
#include <typeinfo>
#include <utility>

#include "collections/cls_PTrieNode.h"
#include "persist/identity/cls_Uid.h"

/// Sparse map from an integer key to a value: a critical-bit trie over the key's bit image. There is one
/// branch per critical bit and one leaf per key; a look-up tests one bit per branch and compares the key
/// once.
///
/// The key found last is remembered, so that looking it up again costs one comparison.
///
/// Intentional: iteration ascends in the bit image read as an unsigned number, so negative keys come last.
///
/// Intentional: destroying a trie deletes no node and releases no value; only Remove and Clear do. An owner
/// that wants the memory back calls Clear first.
///
/// Thread rule: one thread, also for look-ups, which write the trie's scratch key. A trie must not outlive
/// the thread that built it (see cls_PTrieHeap).
template <class K, class V, int W> class cls_PTrie {
 public:
  using Node = cls_PTrieNode<K, V, W>;
  using Branch = cls_PTrieInternalNode<K, V, W>;
  using Leaf = cls_PTrieLeafNode<K, V, W>;
  using Iter = cls_PTrieIter<K, V, W>;
  using Image = cls_PTrieImage<K, W>;

  cls_PTrie() noexcept = default;
  cls_PTrie(cls_PTrie const&) = delete;
  cls_PTrie& operator=(cls_PTrie const&) = delete;
  ~cls_PTrie() = default; // intentional: releases nothing

  [[nodiscard]] unsigned int Count() const noexcept { return m_Count; }

  /// Adds a key, or assigns the value of an existing one. Returns the value in the trie.
  V const& Insert(K const& key, V const& value) {
    if (m_Root == nullptr) {
      m_Last = new Leaf(key, value);
      m_Root = m_Last;
      ++m_Count;
      return m_Last->m_Datum;
    }
    Image::Copy(key, m_Key);
    int const bit = m_Root->Insert(*this, key, value);
    if (bit >= 0 && bit < Node::Done) m_Root = MakeBranch(bit, key, value, m_Root);
    return m_Last->m_Datum;
  }

  /// Removes a key; does nothing if it is absent.
  void Remove(K const& key) {
    Image::Copy(key, m_Key);
    if (m_Root == nullptr) return;
    if (IsLastFound(key)) ForgetLastFound();
    Node* const replacement = m_Root->Remove(*this, key);
    if (replacement == m_Root) return;
    delete m_Root;
    m_Root = replacement;
  }

  /// The value of a key. REQUIRES: the key is in the trie (not checked).
  [[nodiscard]] V const& ConstGet(K const& key) const {
    if (IsLastFound(key)) return LastFoundValue();
    Image::Copy(key, m_Key);
    return *LocateBelow(m_Root, key);
  }

  /// The value of a key, or null.
  [[nodiscard]] V const* ConstGetPtr(K const& key) const {
    if (IsLastFound(key)) return &LastFoundValue();
    if (m_Root == nullptr) return nullptr;
    Image::Copy(key, m_Key);
    return LocateBelow(m_Root, key);
  }

  /// Whether a key is the one found last, so that LastFoundValue is its value. Does not walk the trie.
  [[nodiscard]] bool IsLastFound(K const& key) const noexcept { return TagOf(key) == m_HandTag; }
  [[nodiscard]] V const& LastFoundValue() const noexcept { return *m_HandDatum; }
  /// Forgets which key was found last.
  void ForgetLastFound() const noexcept { m_HandTag = NoTag; }

  /// 1 if the key is in the trie, else 0.
  [[nodiscard]] int Contains(K const& key) const { return ConstGetPtr(key) != nullptr ? 1 : 0; }

  /// Deletes every node, and the values in the leaves.
  void Clear() {
    delete m_Root;
    ForgetLastFound();
    m_Root = nullptr;
    m_Count = 0;
  }

  /// Exchanges the contents of two tries. Allocates nothing; values stay where they are.
  void Swap(cls_PTrie& other) noexcept {
    ForgetLastFound();
    other.ForgetLastFound();
    std::swap(m_Count, other.m_Count);
    std::swap(m_Root, other.m_Root);
    std::swap(m_Last, other.m_Last);
  }

  /// One step of an iterator.
  void Next(Iter& iter) const;

  /// Whether counts, bits and keys are consistent. For tests; walks the whole trie.
  [[nodiscard]] bool Verify() const;

 private:
  friend class cls_PTrieInternalNode<K, V, W>;
  friend class cls_PTrieLeafNode<K, V, W>;

  /// A branch on `bit` of the key with a new leaf on the key's side and `sibling` on the other.
  Node* MakeBranch(int bit, K const& key, V const& value, Node* sibling) {
    Leaf* const leaf = new Leaf(key, value);
    try {
      Node* const branch =
          Image::Test(m_Key, bit) ? new Branch(bit, leaf, sibling) : new Branch(bit, sibling, leaf);
      m_Last = leaf;
      ++m_Count;
      return branch;
    } catch (...) {
      delete leaf;
      throw;
    }
  }

  /// The key as one number to compare. Keys of more than one word get a tag that never matches.
  static std::int64_t TagOf([[maybe_unused]] K const& key) noexcept {
    if constexpr (W == 1)
      return static_cast<unsigned int>(key);
    else
      return NoTag - 1;
  }
  static constexpr std::int64_t NoTag = -1;

  void NoteLastFound([[maybe_unused]] K const& key, [[maybe_unused]] V const& datum) const noexcept {
    if constexpr (W == 1) {
      m_HandTag = TagOf(key);
      m_HandDatum = &datum;
    }
  }

  /// The node as a branch; null for a leaf. The virtual table tells which: there are no other kinds.
  static Branch const* AsBranch(Node const* node) noexcept {
    return typeid(*node) == typeid(Branch) ? static_cast<Branch const*>(node) : nullptr;
  }

  /// Does what Locate does, but in a loop: a virtual call at each branch would be slower.
  V const* LocateBelow(Node const* node, K const& key) const {
    while (Branch const* const branch = AsBranch(node))
      node = Image::Test(m_Key, branch->m_Bit) ? branch->m_OnSet : branch->m_OnClear;
    return node->Locate(*this, key);
  }

  unsigned int m_Count = 0;
  mutable unsigned int m_Key[W] = {}; // scratch: the image of the key of the current operation
  Node* m_Root = nullptr;
  Leaf* m_Last = nullptr;                 // the leaf that the latest Insert made or assigned
  mutable std::int64_t m_HandTag = NoTag; // the key found last, and below its value
  mutable V const* m_HandDatum = nullptr;
};

/// Walks a trie; see cls_PTrie for the order. Valid while the trie is not changed.
///
///     cls_PTrieIter<K, V, W> iter(trie);
///     for (iter.First(); !iter.IsDone(); iter.Next()) Use(iter.CurrentKey(), iter.CurrentValue());
template <class K, class V, int W> class cls_PTrieIter {
 public:
  /// Has no position yet. REQUIRES: First is called before anything else.
  explicit cls_PTrieIter(cls_PTrie<K, V, W> const& trie) noexcept : m_Trie(&trie) {}

  /// Goes to the smallest key.
  void First() {
    std::memset(m_Key, 0, sizeof m_Key);
    m_Current = nullptr;
    Next();
  }

  /// Goes to the next key; after the end, to the smallest again.
  void Next() { m_Trie->Next(*this); }

  [[nodiscard]] int IsDone() const noexcept { return m_Current == nullptr ? 1 : 0; }
  [[nodiscard]] V const& CurrentValue() const noexcept { return m_Current->m_Datum; }
  [[nodiscard]] K const& CurrentKey() const noexcept { return m_Current->m_Key; }

 private:
  friend class cls_PTrie<K, V, W>;
  friend class cls_PTrieInternalNode<K, V, W>;
  friend class cls_PTrieLeafNode<K, V, W>;

  unsigned int m_Key[W] = {};
  cls_PTrieLeafNode<K, V, W> const* m_Current; // First sets it
  cls_PTrie<K, V, W> const* m_Trie;
  // The branches above the current leaf whose set side is still to be visited, so that a step need not start
  // at the root.
  cls_PTrieInternalNode<K, V, W> const* m_Turns[32 * W];
  int m_TurnCount = 0;
};

template <class K, class V, int W> void cls_PTrie<K, V, W>::Next(Iter& iter) const {
  if (m_Root == nullptr) return;
  Node const* node = m_Root;
  if (iter.m_Current == nullptr) {
    iter.m_TurnCount = 0; // the walk starts, or starts over
  } else if (iter.m_TurnCount > 0) {
    node = iter.m_Turns[--iter.m_TurnCount]->m_OnSet;
  } else {
    iter.m_Current = nullptr;
    std::memset(iter.m_Key, 0, sizeof iter.m_Key);
    return;
  }
  while (Branch const* const branch = AsBranch(node)) {
    iter.m_Turns[iter.m_TurnCount++] = branch;
    node = branch->m_OnClear;
  }
  iter.m_Current = static_cast<Leaf const*>(node);
  Image::Copy(iter.m_Current->m_Key, iter.m_Key);
}

template <class K, class V, int W> bool cls_PTrie<K, V, W>::Verify() const {
  unsigned int count = 0;
  unsigned int before[W] = {};
  Iter iter(*this);
  for (iter.First(); iter.IsDone() == 0; iter.Next()) {
    unsigned int image[W];
    Image::Copy(iter.CurrentKey(), image);
    int const bit = Image::CriticalBit(before, image);
    if (count > 0 && (bit < 0 || !Image::Test(image, bit))) return false; // not ascending
    Image::Copy(iter.CurrentKey(), before);
    if (Contains(iter.CurrentKey()) == 0) return false;
    ++count;
  }
  return count == m_Count && (m_Root == nullptr) == (m_Count == 0);
}

// The trie of identities is compiled into the library, for the modules that build on it.
extern template class KVL_EXPORT cls_PTrieNode<int, cls_Uid, 1>;
extern template class KVL_EXPORT cls_PTrieInternalNode<int, cls_Uid, 1>;
extern template class KVL_EXPORT cls_PTrieLeafNode<int, cls_Uid, 1>;
extern template class KVL_EXPORT cls_PTrie<int, cls_Uid, 1>;
extern template class KVL_EXPORT cls_PTrieIter<int, cls_Uid, 1>;
