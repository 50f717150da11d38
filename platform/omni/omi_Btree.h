#pragma once

#include <memory>
#include <utility>

#include "platform/omni/omi_KeyOrder.h"

/// Ordered map with unique keys: a binary tree of single nodes, in the order of omi_KeyOrder<K>.
///
/// Made for registries: filled once, then read. Intentional: only single rotations keep the balance. A tree
/// can get somewhat deeper than a strictly balanced one (100,000 keys in ascending order make 18 levels, in
/// random order 21), and keys chosen to unbalance it can make it arbitrarily deep.
///
/// A look-up allocates nothing and writes nothing. Entries do not move until they are removed.
/// Thread rule: any number of threads may read while none writes.
template <class K, class V> class omi_Btree {
 public:
  /// One entry, and the subtrees below it. Copying copies the subtrees, destroying deletes them.
  class Node {
   public:
    Node(K const& key, V const& value) : m_Value(value), m_Key(key) {}
    Node(Node const& other) : m_Value(other.m_Value), m_Key(other.m_Key), m_Height(other.m_Height) {
      std::unique_ptr<Node> left(Clone(other.m_Child[0]));
      m_Child[1] = Clone(other.m_Child[1]);
      m_Child[0] = left.release();
    }
    Node& operator=(Node const&) = delete;
    ~Node() {
      delete m_Child[0];
      delete m_Child[1];
    }

    [[nodiscard]] K const& Key() const noexcept { return m_Key; }
    [[nodiscard]] V const& Value() const noexcept { return m_Value; }
    [[nodiscard]] V& Value() noexcept { return m_Value; }
    [[nodiscard]] Node const* Left() const noexcept { return m_Child[0]; }
    [[nodiscard]] Node const* Right() const noexcept { return m_Child[1]; }
    /// 0 for a leaf, otherwise one more than the greatest height of its children.
    [[nodiscard]] int Height() const noexcept { return m_Height; }

   private:
    friend class omi_Btree;
    friend struct omni_LayoutAccess;
    static Node* Clone(Node const* node) { return node == nullptr ? nullptr : new Node(*node); }

    V m_Value;
    K m_Key;
    Node* m_Child[2] = {nullptr, nullptr}; // left, right
    int m_Height = 0;
  };

  omi_Btree() = default;
  /// Copies every node and the default value.
  omi_Btree(omi_Btree const& other) : omi_Btree() {
    m_Default = other.m_Default;
    m_Root = Node::Clone(other.m_Root);
    m_Count = other.m_Count;
  }
  omi_Btree& operator=(omi_Btree const& other) {
    omi_Btree copy(other);
    std::swap(m_Root, copy.m_Root);
    std::swap(m_Count, copy.m_Count);
    std::swap(m_Default, copy.m_Default);
    return *this;
  }
  ~omi_Btree() { delete m_Root; }

  [[nodiscard]] unsigned int Count() const noexcept { return m_Count; }

  /// The node of a key; null if there is none.
  [[nodiscard]] Node const* ConstFind(K const& key) const noexcept {
    Node const* node = m_Root;
    while (node != nullptr) {
      int const direction = omi_KeyOrder<K>::Direction(key, node->m_Key);
      if (direction == 0) return node;
      node = node->m_Child[direction > 0]; // indexed instead of branched on: the direction is unpredictable
    }
    return nullptr;
  }
  [[nodiscard]] Node* Find(K const& key) noexcept { return const_cast<Node*>(ConstFind(key)); }

  [[nodiscard]] bool IsMember(K const& key) const noexcept { return ConstFind(key) != nullptr; }

  /// The value of a key; the default value if there is none.
  [[nodiscard]] V const& ConstGet(K const& key) const noexcept {
    Node const* const node = ConstFind(key);
    return node == nullptr ? m_Default : node->m_Value;
  }
  [[nodiscard]] V const& DefaultValue() const noexcept { return m_Default; }

  /// Adds an entry unless the key exists. Returns whether it was added.
  /// If copying or allocating throws, nothing has changed.
  bool Insert(K const& key, V const& value) {
    if (!InsertBelow(m_Root, key, value)) return false;
    ++m_Count;
    return true;
  }

  /// Removes the entry of a key and deletes its node; other nodes are relinked, not copied. Returns whether
  /// there was one.
  bool Remove(K const& key) noexcept {
    Node* const removed = UnlinkBelow(m_Root, key);
    if (removed == nullptr) return false;
    delete removed;
    --m_Count;
    return true;
  }

  /// The topmost node, null for an empty tree. Iterators start here.
  [[nodiscard]] Node const* Root() const noexcept { return m_Root; }

  /// Whether heights, key order and count are consistent. For tests; walks the whole tree.
  [[nodiscard]] bool Verify() const {
    unsigned int count = 0;
    return VerifyBelow(m_Root, nullptr, nullptr, count) && count == m_Count;
  }

 private:
  friend struct omni_LayoutAccess;

  static constexpr int Left = 0;
  static constexpr int Right = 1;

  /// What a child adds to the height of its parent.
  static int Levels(Node const* child) noexcept { return child == nullptr ? 0 : child->m_Height + 1; }
  /// A child's own height. Intentional: an absent child counts as a leaf, which keeps the balancing light.
  static int StoredHeight(Node const* child) noexcept { return child == nullptr ? 0 : child->m_Height; }

  /// The height that a node has by its children.
  static int HeightByChildren(Node const& node) noexcept {
    int const left = Levels(node.m_Child[Left]);
    int const right = Levels(node.m_Child[Right]);
    return left < right ? right : left;
  }

  static void UpdateHeight(Node& node) noexcept { node.m_Height = HeightByChildren(node); }

  /// Makes the node's child on the far side of `side` the top of the subtree.
  static void Rotate(Node*& top, int side) noexcept {
    Node* const lower = top;
    Node* const upper = lower->m_Child[1 - side];
    lower->m_Child[1 - side] = upper->m_Child[side];
    upper->m_Child[side] = lower;
    UpdateHeight(*lower);
    UpdateHeight(*upper);
    top = upper;
  }

  static void Rebalance(Node*& top) noexcept {
    UpdateHeight(*top);
    int const lean = StoredHeight(top->m_Child[Right]) - StoredHeight(top->m_Child[Left]);
    if (lean >= 2)
      Rotate(top, Left);
    else if (lean < -1)
      Rotate(top, Right);
  }

  static bool InsertBelow(Node*& top, K const& key, V const& value) {
    if (top == nullptr) {
      top = new Node(key, value);
      return true;
    }
    int const direction = omi_KeyOrder<K>::Direction(key, top->m_Key);
    if (direction == 0 || !InsertBelow(top->m_Child[direction > 0], key, value)) return false;
    Rebalance(top);
    return true;
  }

  /// Takes the node of a key out of the subtree and returns it; null if there is none.
  static Node* UnlinkBelow(Node*& top, K const& key) noexcept {
    if (top == nullptr) return nullptr;
    int const direction = omi_KeyOrder<K>::Direction(key, top->m_Key);
    if (direction == 0) return Unlink(top);
    Node* const removed = UnlinkBelow(top->m_Child[direction > 0], key);
    if (removed != nullptr) Rebalance(top);
    return removed;
  }

  static Node* Unlink(Node*& top) noexcept {
    Node* const removed = top;
    if (removed->m_Child[Left] == nullptr || removed->m_Child[Right] == nullptr) {
      top = removed->m_Child[removed->m_Child[Left] == nullptr];
    } else {
      Node* const next = UnlinkLeftmost(removed->m_Child[Right]);
      next->m_Child[Left] = removed->m_Child[Left];
      next->m_Child[Right] = removed->m_Child[Right];
      top = next;
      Rebalance(top);
    }
    removed->m_Child[Left] = removed->m_Child[Right] = nullptr;
    return removed;
  }

  static Node* UnlinkLeftmost(Node*& top) noexcept {
    if (top->m_Child[Left] == nullptr) {
      Node* const leftmost = top;
      top = leftmost->m_Child[Right];
      return leftmost;
    }
    Node* const leftmost = UnlinkLeftmost(top->m_Child[Left]);
    Rebalance(top);
    return leftmost;
  }

  /// The keys of the subtree must be between `leftBound` and `rightBound`; null means no bound.
  static bool VerifyBelow(Node const* top, K const* leftBound, K const* rightBound, unsigned int& count) {
    if (top == nullptr) return true;
    ++count;
    if (leftBound != nullptr && omi_KeyOrder<K>::Direction(top->m_Key, *leftBound) <= 0) return false;
    if (rightBound != nullptr && omi_KeyOrder<K>::Direction(top->m_Key, *rightBound) >= 0) return false;
    if (top->m_Height != HeightByChildren(*top)) return false;
    return VerifyBelow(top->m_Child[Left], leftBound, &top->m_Key, count) &&
           VerifyBelow(top->m_Child[Right], &top->m_Key, rightBound, count);
  }

  Node* m_Root = nullptr;
  unsigned int m_Count = 0;
  V m_Default{};
};
