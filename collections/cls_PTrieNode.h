#pragma once

#include <bit>
#include <cstddef>
#include <cstring>

#include "collections/cls_PTrieHeap.h"

// The nodes of cls_PTrie. Bits are those of a key's image: W words of 32 bits, bit b being bit b mod 32 of
// word b / 32, bit 0 the least significant.

template <class K, class V, int W> class cls_PTrie;
template <class K, class V, int W> class cls_PTrieIter;

/// The bit image of a key.
template <class K, int W> struct cls_PTrieImage {
  static_assert(sizeof(K) == sizeof(unsigned int) * W, "a key must have exactly W words");

  static void Copy(K const& key, unsigned int (&image)[W]) noexcept {
    std::memcpy(image, &key, sizeof image);
  }

  [[nodiscard]] static bool Test(unsigned int const (&image)[W], int bit) noexcept {
    return (image[bit / 32] >> (bit % 32) & 1U) != 0;
  }

  /// The highest bit in which two images differ, -1 if they are equal.
  [[nodiscard]] static int CriticalBit(unsigned int const (&a)[W], unsigned int const (&b)[W]) noexcept {
    for (int word = W - 1; word >= 0; --word)
      if (unsigned int const difference = a[word] ^ b[word])
        return 32 * word + 31 - std::countl_zero(difference);
    return -1;
  }
};

/// A node: a branch or a leaf. The order of the virtual operations is frozen.
template <class K, class V, int W> class cls_PTrieNode {
 public:
  using Trie = cls_PTrie<K, V, W>;
  using Iter = cls_PTrieIter<K, V, W>;
  /// What Insert returns when nothing is left to do.
  static constexpr int Done = 32 * W;

  cls_PTrieNode() = default;
  cls_PTrieNode(cls_PTrieNode const&) = delete;
  cls_PTrieNode& operator=(cls_PTrieNode const&) = delete;

  /* 0 */ virtual ~cls_PTrieNode() = default;

  /// The value stored for the key in this subtree, or null. The trie's scratch key holds the key's image.
  /* 1 */ virtual V const* Locate(Trie const& trie, K const& key) const = 0;

  /// Adds or assigns in this subtree. Returns Done, or the critical bit at which a branch must be made above.
  /* 2 */ virtual int Insert(Trie& trie, K const& key, V const& value) = 0;

  /// Removes from this subtree. Returns the node that replaces this one: itself, its surviving sibling, or
  /// null.
  /* 3 */ virtual cls_PTrieNode* Remove(Trie& trie, K const& key) = 0;

  /// Moves the iterator to the next leaf of this subtree; 0 when there is none.
  /* 4 */ virtual int Next(Iter& iter) const = 0;
};

/// A branch: tests one bit of the key. Along any path the tested bits descend. Allocated from the thread's
/// pool; deleting it deletes the subtree.
template <class K, class V, int W> class cls_PTrieInternalNode final : public cls_PTrieNode<K, V, W> {
 public:
  using Node = cls_PTrieNode<K, V, W>;
  using Image = cls_PTrieImage<K, W>;

  cls_PTrieInternalNode(int bit, Node* onSet, Node* onClear) noexcept
      : m_Bit(bit), m_OnSet(onSet), m_OnClear(onClear) {}
  ~cls_PTrieInternalNode() override {
    delete m_OnSet;
    delete m_OnClear;
  }

  static void* operator new(std::size_t size) {
    return thr_ThreadSingleton<cls_PTrieHeap>::Instance().GetNode(size);
  }
  static void operator delete(void* node) noexcept {
    thr_ThreadSingleton<cls_PTrieHeap>::Instance().FreeNode(node);
  }

  V const* Locate(typename Node::Trie const& trie, K const& key) const override {
    return (Image::Test(trie.m_Key, m_Bit) ? m_OnSet : m_OnClear)->Locate(trie, key);
  }

  int Insert(typename Node::Trie& trie, K const& key, V const& value) override {
    Node*& child = Child(trie);
    int const bit = child->Insert(trie, key, value);
    if (bit > m_Bit) return bit; // also Done
    child = trie.MakeBranch(bit, key, value, child);
    return Node::Done;
  }

  Node* Remove(typename Node::Trie& trie, K const& key) override {
    Node*& child = Child(trie);
    Node* const replacement = child->Remove(trie, key);
    if (replacement == child) return this;
    delete child;
    child = replacement;
    if (replacement != nullptr) return this;
    Node*& survivor = &child == &m_OnSet ? m_OnClear : m_OnSet;
    Node* const result = survivor;
    survivor = nullptr; // so that deleting this branch deletes nothing below it
    return result;
  }

  int Next(typename Node::Iter& iter) const override {
    if (!Image::Test(iter.m_Key, m_Bit) && m_OnClear->Next(iter) != 0) return 1;
    return m_OnSet->Next(iter);
  }

 private:
  friend class cls_PTrie<K, V, W>;

  Node*& Child(typename Node::Trie const& trie) noexcept {
    return Image::Test(trie.m_Key, m_Bit) ? m_OnSet : m_OnClear;
  }

  int m_Bit;
  Node* m_OnSet;
  Node* m_OnClear;
};

/// A leaf: one key and a copy of its value.
template <class K, class V, int W> class cls_PTrieLeafNode final : public cls_PTrieNode<K, V, W> {
 public:
  using Node = cls_PTrieNode<K, V, W>;
  using Image = cls_PTrieImage<K, W>;

  cls_PTrieLeafNode(K const& key, V const& value) : m_Key(key), m_Datum(value) {}

  V const* Locate(typename Node::Trie const& trie, K const& key) const override {
    if (key != m_Key) return nullptr;
    trie.NoteLastFound(m_Key, m_Datum);
    return &m_Datum;
  }

  int Insert(typename Node::Trie& trie, K const& key, V const& value) override {
    if (key != m_Key) {
      unsigned int image[W];
      Image::Copy(m_Key, image);
      return Image::CriticalBit(trie.m_Key, image);
    }
    m_Datum = value;
    trie.m_Last = this;
    return Node::Done;
  }

  Node* Remove(typename Node::Trie& trie, K const& key) override {
    if (key != m_Key) return this;
    --trie.m_Count;
    return nullptr; // the caller deletes the leaf
  }

  int Next(typename Node::Iter& iter) const override {
    if (iter.m_Current != nullptr) { // the walk leaves this leaf and continues in the next subtree
      iter.m_Current = nullptr;
      std::memset(iter.m_Key, 0, sizeof iter.m_Key);
      return 0;
    }
    iter.m_Current = this;
    Image::Copy(m_Key, iter.m_Key);
    return 1;
  }

 private:
  friend class cls_PTrie<K, V, W>;
  friend class cls_PTrieIter<K, V, W>;

  K m_Key;
  V m_Datum;
};
