#pragma once

#include "platform/cow/cow_1DArrayIter.h"
#include "platform/cow/cow_1DArrayList.h"

/// Sequence that is built by appending and read by walking. To access elements by index, use cow_1DArrayList.
/// Copies share the elements. Thread rule: as cow_1DArray.
template <class T> class cow_List {
 public:
  cow_List() noexcept = default;

  [[nodiscard]] int Count() const noexcept { return m_Items.Count(); }

  /// Adds an element at the end. Throws std::bad_alloc; the list is then unchanged.
  void Append(T const& element) { m_Items.Append(element); }

  /// Empties the list and drops its share of the elements.
  void Clear() noexcept { m_Items.Clear(); }

  /// An iterator over the elements as they are now, at the first one.
  [[nodiscard]] cow_1DArrayIter<T> Iterator() const noexcept {
    return cow_1DArrayIter<T>(m_Items.Storage(), m_Items.Count());
  }

  [[nodiscard]] bool SharesStorageWith(cow_List const& other) const noexcept {
    return m_Items.Storage().SharesStorageWith(other.m_Items.Storage());
  }

 private:
  cow_1DArrayList<T> m_Items;
};
