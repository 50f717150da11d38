#pragma once

#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <utility>

#include "store/refs/sto_Ref.h"
#include "store/refs/sto_RefElements.h"

/// A list of references to objects that stay in their store until they are asked for. As a member it is stored as a
/// std::vector of std::shared_ptr is: a class may have one today and the other tomorrow without a new version.
///
///     sto_List<Part> m_Parts;                        // a member; field(KVL_F(m_Parts)) in Describe
///
///     for (sto_Ref<Part> const& part : assembly->m_Parts)
///       mass += part->m_Mass;                        // loads this part
///
///     assembly.Edit().m_Parts.push_back(part);       // in a sto_Transaction
///
/// - An object that has a list does not load it. The first question about elements reads their numbers: eight bytes of
///   memory each. No element is loaded until it is asked for; size() of a long list does not even read the numbers.
/// - A list belongs to its object and changes with it: only what Edit returns can be changed, and the commit saves it. An
///   object that is saved without having changed its list does not write it again. Of a list that has changed, only the
///   blocks of 2048 elements that differ are written: appending writes the last one, inserting in front all.
/// - Elements may be null, and an object may be in a list several times.
/// - Copying a list reads it; the copy is another list with the same elements. Assigning a list changes the elements.
///
/// Memory: eight bytes an element, and about a hundred for each object that was asked for, or is referred to elsewhere.
/// Errors: Misuse for a place that is not there; those of sto_Ref where elements are read. Threads: as sto_Ref.
template <class T> class sto_List {
 public:
  using value_type = sto_Ref<T>;

  class const_iterator;
  using iterator = const_iterator;

  sto_List() noexcept = default;
  sto_List(std::initializer_list<sto_Ref<T>> elements) {
    reserve(elements.size());
    for (sto_Ref<T> const& each : elements) push_back(each);
  }

  [[nodiscard]] std::size_t size() const { return m_Elements.Size(); }
  [[nodiscard]] bool empty() const { return size() == 0; }

  /// Misuse if there is no such element; here and below.
  [[nodiscard]] sto_Ref<T> operator[](std::size_t index) const { return sto_Ref<T>(m_Elements.At(index)); }
  [[nodiscard]] sto_Ref<T> front() const { return (*this)[0]; }
  [[nodiscard]] sto_Ref<T> back() const { return (*this)[size() - 1]; }

  [[nodiscard]] const_iterator begin() const { return {*this, 0}; }
  [[nodiscard]] const_iterator end() const { return {*this, size()}; }

  void push_back(sto_Ref<T> const& element) { m_Elements.Insert(m_Elements.NeedSize(), element.m_Resident); }
  /// Inserts an element before another one, or at the end. All that follow are written anew.
  void insert(std::size_t index, sto_Ref<T> const& element) { m_Elements.Insert(index, element.m_Resident); }
  void set(std::size_t index, sto_Ref<T> const& element) { m_Elements.Set(index, element.m_Resident); }
  void erase(std::size_t index, std::size_t count = 1) { m_Elements.Erase(index, count); }
  /// Iterators behind it are invalid. Returns the next element.
  const_iterator erase(const_iterator const& position) {
    erase(position.m_Index);
    return {*this, position.m_Index};
  }
  void pop_back() { erase(size() - 1); }
  void clear() noexcept { m_Elements.Clear(); }
  void reserve(std::size_t count) { m_Elements.Reserve(count); }

  /// The first element from `index` on that refers to the same object; end() if there is none. Loads no element.
  [[nodiscard]] const_iterator find(sto_Ref<T> const& element, std::size_t index = 0) const {
    return {*this, m_Elements.Find(element.m_Resident, index)};
  }
  [[nodiscard]] bool contains(sto_Ref<T> const& element) const { return find(element) != end(); }
  /// Erases the first element that refers to an object; false if there is none.
  bool remove(sto_Ref<T> const& element) {
    std::size_t const index = m_Elements.Find(element.m_Resident);
    if (index == size()) return false;
    erase(index);
    return true;
  }

  /// Erases all elements that refer to an object; returns how many. Loads no element.
  std::size_t remove_all(sto_Ref<T> const& element) { return m_Elements.EraseAll(element.m_Resident); }

  /// Whether the numbers of the elements are in memory.
  [[nodiscard]] bool IsRead() const noexcept { return m_Elements.IsRead(); }

  // --- for dsc_Stored, and for classes that are written by hand

  void Write(cls_WriteVisitor const& visitor, cls_FieldHandle const& field) const {
    m_Elements.Write(visitor, field, sto_Ref<T>::Class());
  }
  void Read(cls_ReadVisitor const& visitor, cls_FieldHandle const& field) { m_Elements.Read(visitor, field); }

 private:
  sto_RefElements m_Elements;
};

/// Gives references to the elements by value; changing the list makes it invalid.
template <class T> class sto_List<T>::const_iterator {
 public:
  using iterator_concept = std::random_access_iterator_tag;
  using iterator_category = std::input_iterator_tag; // its references are values
  using value_type = sto_Ref<T>;
  using difference_type = std::ptrdiff_t;
  using reference = sto_Ref<T>;
  using pointer = void;

  const_iterator() noexcept = default;

  [[nodiscard]] sto_Ref<T> operator*() const { return (*m_List)[m_Index]; }
  [[nodiscard]] sto_Ref<T> operator[](difference_type offset) const { return *(*this + offset); }

  const_iterator& operator++() noexcept { return *this += 1; }
  const_iterator& operator--() noexcept { return *this -= 1; }
  const_iterator operator++(int) noexcept { return std::exchange(*this, *this + 1); }
  const_iterator operator--(int) noexcept { return std::exchange(*this, *this - 1); }
  const_iterator& operator+=(difference_type offset) noexcept {
    m_Index = static_cast<std::size_t>(static_cast<difference_type>(m_Index) + offset);
    return *this;
  }
  const_iterator& operator-=(difference_type offset) noexcept { return *this += -offset; }
  friend const_iterator operator+(const_iterator it, difference_type offset) noexcept { return it += offset; }
  friend const_iterator operator+(difference_type offset, const_iterator it) noexcept { return it += offset; }
  friend const_iterator operator-(const_iterator it, difference_type offset) noexcept { return it -= offset; }
  friend difference_type operator-(const_iterator const& a, const_iterator const& b) noexcept {
    return static_cast<difference_type>(a.m_Index) - static_cast<difference_type>(b.m_Index);
  }
  friend bool operator==(const_iterator const& a, const_iterator const& b) noexcept {
    return a.m_Index == b.m_Index;
  }
  friend auto operator<=>(const_iterator const& a, const_iterator const& b) noexcept {
    return a.m_Index <=> b.m_Index;
  }

 private:
  friend class sto_List;
  const_iterator(sto_List const& list, std::size_t index) noexcept : m_List(&list), m_Index(index) {}

  sto_List const* m_List = nullptr;
  std::size_t m_Index = 0;
};

/// A member is the list of the objects that it refers to.
template <class T> struct dsc_Stored<sto_List<T>> : dsc_OneField<0> {
  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    dsc_CheckPersisted<T>();
    to.Add<Name>(at, ATTR_OBJECT, COLLECTION_OBJ);
  }
  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, sto_List<T> const& list) {
    list.Write(out.m_Visitor, Name::Handle(at.m_Number));
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, sto_List<T>& list) {
    list.Read(in.m_Visitor, Name::Handle(at.m_Number));
  }
  template <class Each> static void DeclareHeld(Each const& each) { each.template operator()<T>(); }
};
