#pragma once

#include <functional>
#include <map>
#include <unordered_set>
#include <utility>

/// Ordered map with unique keys, ascending by `<`. Copies share the entries until one of them is written.
///
/// Beside the ordered entries it keeps a hash table (std::hash<K>), because comparing texts on the way down a
/// tree is slow: a look-up takes the same time in a large tree as in a small one.
///
/// Inserting keeps an existing entry. Thread rule: a tree and its copies belong to one thread, or are only
/// read.
template <class K, class V> class cow_Btree {
 public:
  /// One entry: `first` is the key, `second` the value.
  using Node = std::pair<K const, V>;

  cow_Btree() noexcept = default;
  cow_Btree(cow_Btree const& other) noexcept : m_Shared(other.m_Shared) {
    if (m_Shared != nullptr) ++m_Shared->m_Count;
  }
  cow_Btree(cow_Btree&& other) noexcept : m_Shared(std::exchange(other.m_Shared, nullptr)) {}
  cow_Btree& operator=(cow_Btree const& other) noexcept {
    cow_Btree(other).Swap(*this);
    return *this;
  }
  cow_Btree& operator=(cow_Btree&& other) noexcept {
    cow_Btree(std::move(other)).Swap(*this);
    return *this;
  }
  ~cow_Btree() { Clear(); }
  void Swap(cow_Btree& other) noexcept { std::swap(m_Shared, other.m_Shared); }

  [[nodiscard]] int Count() const noexcept {
    return m_Shared == nullptr ? 0 : static_cast<int>(m_Shared->m_Entries.size());
  }

  /// The entry of a key; null if there is none. Valid until the tree is written or destroyed.
  [[nodiscard]] Node const* ConstFind(K const& key) const {
    if (m_Shared == nullptr) return nullptr;
    auto const found = m_Shared->m_Index.find(key);
    return found == m_Shared->m_Index.end() ? nullptr : *found;
  }
  [[nodiscard]] bool IsMember(K const& key) const { return ConstFind(key) != nullptr; }

  /// Adds an entry unless the key exists. Returns whether it was added.
  bool InsertUnlessMember(K const& key, V const& value) {
    if (IsMember(key)) return false;
    Shared& own = Own();
    auto const place = own.m_Entries.emplace(key, value).first;
    try {
      own.m_Index.insert(&*place);
    } catch (...) {
      own.m_Entries.erase(place);
      throw;
    }
    return true;
  }

  /// The value of a key for writing; null if there is none. Valid until the tree is copied, walked, written
  /// or destroyed: a copy made meanwhile would see writes through it.
  [[nodiscard]] V* Find(K const& key) {
    if (!IsMember(key)) return nullptr;
    return const_cast<V*>(&(*Own().m_Index.find(key))->second); // no other tree shares this entry
  }

  /// Removes the entry of a key. Returns whether there was one.
  bool Remove(K const& key) {
    if (!IsMember(key)) return false;
    Shared& own = Own();
    auto const place = own.m_Entries.find(key);
    own.m_Index.erase(&*place);
    own.m_Entries.erase(place); // last, because `key` may be in the entry
    return true;
  }

  /// Drops this tree's share; the tree is then empty.
  void Clear() noexcept {
    Shared* const shared = std::exchange(m_Shared, nullptr);
    if (shared != nullptr && --shared->m_Count == 0) delete shared;
  }

  [[nodiscard]] bool SharesStorageWith(cow_Btree const& other) const noexcept {
    return m_Shared == other.m_Shared;
  }

 private:
  friend struct cow_LayoutAccess;
  template <class, class> friend class cow_BtreeIterator;

  using Entries = std::map<K, V, std::less<>>;

  /// Finds entries by their keys.
  struct HashOfKey {
    using is_transparent = void;
    std::size_t operator()(K const& key) const { return std::hash<K>()(key); }
    std::size_t operator()(Node const* node) const { return std::hash<K>()(node->first); }
  };
  struct SameKey {
    using is_transparent = void;
    bool operator()(Node const* a, Node const* b) const { return a == b || a->first == b->first; }
    bool operator()(K const& key, Node const* node) const { return key == node->first; }
    bool operator()(Node const* node, K const& key) const { return key == node->first; }
  };

  struct Shared {
    Shared() = default;
    explicit Shared(Entries const& entries) : m_Entries(entries) {
      m_Index.reserve(m_Entries.size());
      for (Node const& node : m_Entries) m_Index.insert(&node);
    }

    int m_Count = 1;
    Entries m_Entries;
    std::unordered_set<Node const*, HashOfKey, SameKey> m_Index;
  };

  /// The entries for writing, not shared with any other tree.
  Shared& Own() {
    if (m_Shared == nullptr) {
      m_Shared = new Shared;
    } else if (m_Shared->m_Count != 1) {
      auto* const own = new Shared(m_Shared->m_Entries);
      --m_Shared->m_Count;
      m_Shared = own;
    }
    return *m_Shared;
  }

  Shared* m_Shared = nullptr;
};
