#pragma once

#include <compare>
#include <cstddef>
#include <iterator>
#include <string>
#include <type_traits>
#include <utility>

#include "describe/dsc_Maps.h"
#include "store/refs/sto_Ref.h"
#include "store/refs/sto_RefEntries.h"

/// A map from numbers or names to objects that stay in their store until they are asked for. As a member it is stored as a
/// std::map to std::shared_ptr is: a class may have one today and the other tomorrow without a new version. K is int or
/// std::string.
///
///     sto_Map<std::string, Material> m_Materials;    // a member; field(KVL_F(m_Materials)) in Describe
///
///     double const density = model->m_Materials.at("steel")->m_Density;  // loads this material
///     for (auto const& [name, material] : model->m_Materials) ...        // loads none by itself
///     model.Edit().m_Materials.insert_or_assign("copper", copper);       // in a sto_Transaction
///
/// As of a sto_List, the first question about entries reads all keys and the numbers of the objects, but no object; size()
/// does not even read them. A map belongs to its object and changes with it. Of a map that has changed, only the chunks of
/// a few hundred entries that differ are written. Entries are in the order of their keys; no reference in it is null.
///
/// Memory: 8 bytes and a key for each entry, and about a hundred for each object that was asked for, or is referred to
/// elsewhere. Inserting moves the entries behind the new one in memory. Errors: Misuse for a key or place that is not there,
/// and for a null reference; those of sto_Ref where entries are read. Threads: as sto_Ref.
template <class K, class T> class sto_Map {
 public:
  static_assert(std::is_same_v<K, int> || std::is_same_v<K, std::string>, "keys are int or std::string");

  using key_type = K;
  using mapped_type = sto_Ref<T>;
  using value_type = std::pair<K const, sto_Ref<T>>;

  class const_iterator;
  using iterator = const_iterator;

  [[nodiscard]] std::size_t size() const { return m_Entries.Size(); }
  [[nodiscard]] bool empty() const { return size() == 0; }

  [[nodiscard]] const_iterator begin() const { return {*this, 0}; }
  [[nodiscard]] const_iterator end() const { return {*this, size()}; }
  /// end() if the key is not there.
  [[nodiscard]] const_iterator find(K const& key) const { return {*this, m_Entries.Find(key)}; }
  [[nodiscard]] const_iterator lower_bound(K const& key) const { return {*this, m_Entries.LowerBound(key)}; }
  [[nodiscard]] bool contains(K const& key) const { return find(key) != end(); }
  /// Misuse if the key is not there.
  [[nodiscard]] sto_Ref<T> at(K const& key) const {
    std::size_t const place = m_Entries.Find(key);
    if (place == m_Entries.Size()) m_Entries.RaiseNoKey(key);
    return sto_Ref<T>(m_Entries.At(place));
  }

  /// Returns whether the key is new.
  bool insert_or_assign(K const& key, sto_Ref<T> const& object) {
    return m_Entries.Put(key, object.m_Resident);
  }
  /// Returns how many entries it has erased.
  std::size_t erase(K const& key) {
    std::size_t const place = m_Entries.Find(key);
    if (place == m_Entries.Size()) return 0;
    m_Entries.Erase(place);
    return 1;
  }
  /// Iterators behind it are invalid. Returns the next entry.
  const_iterator erase(const_iterator const& position) {
    m_Entries.Erase(position.m_Index);
    return {*this, position.m_Index};
  }
  void clear() noexcept { m_Entries.Clear(); }

  /// Whether the keys are in memory.
  [[nodiscard]] bool IsRead() const noexcept { return m_Entries.IsRead(); }

  // --- for dsc_Stored, and for classes that are written by hand

  void Write(cls_WriteVisitor const& visitor, cls_FieldHandle const& field) const {
    m_Entries.Write(visitor, field, sto_Ref<T>::Class());
  }
  void Read(cls_ReadVisitor const& visitor, cls_FieldHandle const& field) { m_Entries.Read(visitor, field); }

 private:
  sto_RefEntries<K> m_Entries;
};

/// Gives entries by value; changing the map makes it invalid.
template <class K, class T> class sto_Map<K, T>::const_iterator {
 public:
  using iterator_concept = std::bidirectional_iterator_tag;
  using iterator_category = std::input_iterator_tag; // its references are values
  using value_type = std::pair<K const, sto_Ref<T>>;
  using difference_type = std::ptrdiff_t;
  using reference = value_type;
  using pointer = void;

  const_iterator() noexcept = default;

  [[nodiscard]] value_type operator*() const {
    return {m_Map->m_Entries.KeyAt(m_Index), sto_Ref<T>(m_Map->m_Entries.At(m_Index))};
  }
  const_iterator& operator++() noexcept {
    ++m_Index;
    return *this;
  }
  const_iterator& operator--() noexcept {
    --m_Index;
    return *this;
  }
  const_iterator operator++(int) noexcept {
    const_iterator const before = *this;
    ++m_Index;
    return before;
  }
  const_iterator operator--(int) noexcept {
    const_iterator const before = *this;
    --m_Index;
    return before;
  }
  friend bool operator==(const_iterator const& a, const_iterator const& b) noexcept {
    return a.m_Index == b.m_Index;
  }

 private:
  friend class sto_Map;
  const_iterator(sto_Map const& map, std::size_t index) noexcept : m_Map(&map), m_Index(index) {}

  sto_Map const* m_Map = nullptr;
  std::size_t m_Index = 0;
};

/// A member is the map of the objects that it refers to.
template <class K, class T> struct dsc_Stored<sto_Map<K, T>> : dsc_OneField<0> {
  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    dsc_CheckPersisted<T>();
    to.Add<Name>(at, ATTR_OBJECT,
                 std::is_same_v<K, int> ? COLLECTION_MAP_INT_OBJ : COLLECTION_MAP_STRING_OBJ);
  }
  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, sto_Map<K, T> const& map) {
    map.Write(out.m_Visitor, Name::Handle(at.m_Number));
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, sto_Map<K, T>& map) {
    map.Read(in.m_Visitor, Name::Handle(at.m_Number));
  }
  template <class Each> static void DeclareHeld(Each const& each) { each.template operator()<T>(); }
};
