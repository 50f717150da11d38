#pragma once

#include <functional>
#include <map>
#include <utility>

/// Ordered map with unique keys, ascending by `<`. Copies share the entries until one of them is written.
///
/// Inserting keeps an entry that is there. Thread rule: a tree and its copies belong to one thread, or are
/// only read.
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

  /// The entry of a key, null when there is none. Valid until the tree is written or destroyed.
  [[nodiscard]] Node const* ConstFind(K const& key) const {
    if (m_Shared == nullptr) return nullptr;
    auto const found = m_Shared->m_Entries.find(key);
    return found == m_Shared->m_Entries.end() ? nullptr : &*found;
  }
  [[nodiscard]] bool IsMember(K const& key) const { return ConstFind(key) != nullptr; }

  /// Adds an entry unless the key is there, and then changes nothing. Returns whether it added.
  bool InsertUnlessMember(K const& key, V const& value) {
    if (IsMember(key)) return false;
    return Own().emplace(key, value).second;
  }

  /// The value of a key for writing, null when there is none. Valid until the tree is copied, walked, written
  /// or destroyed: a copy made meanwhile would see what is written through it.
  [[nodiscard]] V* Find(K const& key) {
    if (!IsMember(key)) return nullptr;
    return &Own().find(key)->second;
  }

  /// Removes the entry of a key. Returns whether there was one.
  bool Remove(K const& key) {
    if (!IsMember(key)) return false;
    K const kept(key); // `key` may lie in the entry that goes
    return Own().erase(kept) > 0;
  }

  /// Drops this tree's share; the tree is empty then.
  void Clear() noexcept {
    Shared* const shared = std::exchange(m_Shared, nullptr);
    if (shared != nullptr && --shared->m_Count == 0) delete shared;
  }

  [[nodiscard]] bool SharesStorageWith(cow_Btree const& other) const noexcept {
    return m_Shared == other.m_Shared;
  }

 private:
  template <class, class> friend class cow_BtreeIterator;

  using Entries = std::map<K, V, std::less<>>;
  struct Shared {
    int m_Count = 1;
    Entries m_Entries;
  };

  /// The entries for writing, of this tree alone.
  Entries& Own() {
    if (m_Shared == nullptr) {
      m_Shared = new Shared;
    } else if (m_Shared->m_Count != 1) {
      auto* const own = new Shared{1, m_Shared->m_Entries};
      --m_Shared->m_Count;
      m_Shared = own;
    }
    return m_Shared->m_Entries;
  }

  Shared* m_Shared = nullptr;
};
