#pragma once

#include <functional>
#include <map>
#include <stdexcept>
#include <utility>

/// Ordered map with unique keys, ascending by `<`. Copies share the entries until one of them is written; the
/// first write through a sharing map copies each entry once, a write through a sole owner copies none.
///
/// Inserting replaces the value of an existing key (cow_Btree keeps it). It stores only the entries, so use
/// it for many small tables; for many look-ups of long keys, cow_Btree is faster.
///
/// Thread rule: the share count is plain; a map and its copies belong to one thread, or are only read.
template <class K, class V> class cow_Map {
 public:
  /// One entry: `first` is the key, `second` the value.
  using Node = std::pair<K const, V>;

  /// An empty map; allocates nothing.
  cow_Map() noexcept = default;
  cow_Map(cow_Map const& other) noexcept : m_Shared(other.m_Shared) {
    if (m_Shared != nullptr) ++m_Shared->m_Count;
  }
  cow_Map(cow_Map&& other) noexcept : m_Shared(std::exchange(other.m_Shared, nullptr)) {}
  cow_Map& operator=(cow_Map const& other) noexcept {
    cow_Map(other).Swap(*this);
    return *this;
  }
  cow_Map& operator=(cow_Map&& other) noexcept {
    cow_Map(std::move(other)).Swap(*this);
    return *this;
  }
  ~cow_Map() { Clear(); }
  void Swap(cow_Map& other) noexcept { std::swap(m_Shared, other.m_Shared); }

  [[nodiscard]] int Count() const noexcept {
    return m_Shared == nullptr ? 0 : static_cast<int>(m_Shared->m_Entries.size());
  }
  [[nodiscard]] bool IsEmpty() const noexcept { return Count() == 0; }

  /// The entry of a key; null if there is none. Valid until the map is written or destroyed.
  [[nodiscard]] Node const* ConstFind(K const& key) const {
    if (m_Shared == nullptr) return nullptr;
    auto const found = m_Shared->m_Entries.find(key);
    return found == m_Shared->m_Entries.end() ? nullptr : &*found;
  }
  [[nodiscard]] bool IsMember(K const& key) const { return ConstFind(key) != nullptr; }

  /// The value of a key. Throws std::out_of_range if there is none; use ConstFind where that is ordinary.
  /// Valid until the map is written or destroyed.
  [[nodiscard]] V const& ConstGet(K const& key) const {
    Node const* const node = ConstFind(key);
    if (node == nullptr) throw std::out_of_range("cow_Map: no such key");
    return node->second;
  }

  /// The value of a key for writing; null if there is none. A sharing map copies the entries for itself
  /// first. Valid until the map is copied, walked, written or destroyed: a copy made meanwhile would see
  /// writes through it.
  [[nodiscard]] V* Find(K const& key) {
    if (!IsMember(key)) return nullptr;
    return &Own().m_Entries.find(key)->second;
  }

  /// The same; throws std::out_of_range if there is none, and then changes nothing.
  [[nodiscard]] V& Get(K const& key) {
    V* const value = Find(key);
    if (value == nullptr) throw std::out_of_range("cow_Map: no such key");
    return *value;
  }

  /// Sets the value of a key: adds an entry, or replaces the value of the existing one (and keeps its key
  /// object). Returns whether it was added. Both arguments may be in this map. If a copy or an allocation
  /// fails, the entries are unchanged.
  bool Insert(K const& key, V const& value) { return Own().m_Entries.insert_or_assign(key, value).second; }

  /// Removes the entry of a key, which may be in that entry. Returns whether there was one.
  bool Remove(K const& key) {
    if (!IsMember(key)) return false;
    Entries& own = Own().m_Entries;
    own.erase(own.find(key));
    return true;
  }

  /// Drops this map's share; the map is then empty.
  void Clear() noexcept {
    Shared* const shared = std::exchange(m_Shared, nullptr);
    if (shared != nullptr && --shared->m_Count == 0) delete shared;
  }

  [[nodiscard]] bool SharesStorageWith(cow_Map const& other) const noexcept {
    return m_Shared == other.m_Shared;
  }

 private:
  friend struct cow_LayoutAccess;
  template <class, class> friend class cow_ConstMapIterator;

  using Entries = std::map<K, V, std::less<>>;

  struct Shared {
    int m_Count = 1;
    Entries m_Entries{};
  };

  /// The entries for writing, not shared with any other map.
  Shared& Own() {
    if (m_Shared == nullptr) {
      m_Shared = new Shared;
    } else if (m_Shared->m_Count != 1) {
      auto* const own = new Shared{1, m_Shared->m_Entries};
      --m_Shared->m_Count;
      m_Shared = own;
    }
    return *m_Shared;
  }

  Shared* m_Shared = nullptr;
};
