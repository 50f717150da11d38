#pragma once

#include "collections/cls_PTrieNode.h"

/// Sparse map from an integer key to a value: a critical-bit trie over the key's bit image. One branch for
/// each critical bit, one leaf for each key; a look-up tests one bit a branch and compares the key once.
///
/// Iteration ascends in the bit image read as an unsigned number, so negative keys come last. Meant.
///
/// Destroying a trie deletes no node and releases no value. Meant: only Remove and Clear do; an owner that
/// wants the memory back calls Clear first. The look-up that found a key last is remembered, so that asking
/// for the same key again costs a comparison.
///
/// Thread rule: one thread, for look-ups too: they write the trie's scratch key. Must not outlive the thread
/// that built it (see cls_PTrieHeap).
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
  ~cls_PTrie() = default; // releases nothing: meant

  [[nodiscard]] unsigned int Count() const noexcept { return m_Count; }

  /// Adds a key, or assigns the value of one that is there. Returns the value in the trie.
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

  /// Removes a key; changes nothing when it is not there.
  void Remove(K const& key) {
    Image::Copy(key, m_Key);
    if (m_Root == nullptr) return;
    if (m_InHand != nullptr && m_InHand->m_Key == key) m_InHand = nullptr;
    Node* const replacement = m_Root->Remove(*this, key);
    if (replacement == m_Root) return;
    delete m_Root;
    m_Root = replacement;
  }

  /// The value of a key that is there. No check.
  [[nodiscard]] V const& ConstGet(K const& key) const {
    if (m_InHand != nullptr && m_InHand->m_Key == key) return m_InHand->m_Datum;
    Image::Copy(key, m_Key);
    return *m_Root->Locate(*this, key);
  }

  /// The value of a key, or null.
  [[nodiscard]] V const* ConstGetPtr(K const& key) const {
    if (V const* const found = InHand(key)) return found;
    if (m_Root == nullptr) return nullptr;
    Image::Copy(key, m_Key);
    return m_Root->Locate(*this, key);
  }

  /// The value of a key when it is the one that was found last, null otherwise. No walk.
  [[nodiscard]] V const* InHand(K const& key) const noexcept {
    return m_InHand != nullptr && m_InHand->m_Key == key ? &m_InHand->m_Datum : nullptr;
  }

  /// 1 when the key is there, else 0.
  [[nodiscard]] int Contains(K const& key) const { return ConstGetPtr(key) != nullptr ? 1 : 0; }

  /// Deletes every node, and with the leaves their values.
  void Clear() {
    delete m_Root;
    m_InHand = nullptr;
    m_Root = nullptr;
    m_Count = 0;
  }

  /// One step of an iterator.
  void Next(Iter& iter) const {
    if (m_Root != nullptr) m_Root->Next(iter);
  }

  /// Whether counts, bits and keys fit together. For tests; walks the whole trie.
  [[nodiscard]] bool Verify() const;

 private:
  friend class cls_PTrieInternalNode<K, V, W>;
  friend class cls_PTrieLeafNode<K, V, W>;

  /// A branch on `bit` of the key with a new leaf on the key's side and `sibling` on the other.
  Node* MakeBranch(int bit, K const& key, V const& value, Node* sibling) {
    Leaf* const leaf = new Leaf(key, value);
    m_Last = leaf;
    ++m_Count;
    return Image::Test(m_Key, bit) ? new Branch(bit, leaf, sibling) : new Branch(bit, sibling, leaf);
  }

  unsigned int m_Count = 0;
  mutable unsigned int m_Key[W] = {}; // scratch: the image of the key of the operation under way
  Node* m_Root = nullptr;
  Leaf* m_Last = nullptr; // the leaf that the latest Insert made or assigned
  mutable Leaf const* m_InHand = nullptr;
};

/// Walks a trie; see cls_PTrie for the order. Valid while the trie is not changed.
///
///     cls_PTrieIter<K, V, W> iter(trie);
///     for (iter.First(); !iter.IsDone(); iter.Next()) Use(iter.CurrentKey(), iter.CurrentValue());
template <class K, class V, int W> class cls_PTrieIter {
 public:
  /// Stands nowhere yet: First comes before anything else.
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
  friend class cls_PTrieInternalNode<K, V, W>;
  friend class cls_PTrieLeafNode<K, V, W>;

  unsigned int m_Key[W] = {};
  cls_PTrieLeafNode<K, V, W> const* m_Current; // First sets it
  cls_PTrie<K, V, W> const* m_Trie;
};

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
