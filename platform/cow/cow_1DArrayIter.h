#pragma once

#include "platform/cow/cow_1DArray.h"

/// Walks the first `used` elements of an array in index order, for reading.
/// The iterator shares the array's elements, so it does not see later writes to the array.
template <class T> class cow_1DArrayIter {
 public:
  /// Starts at the first element. REQUIRES: 0 <= used <= array.Length().
  cow_1DArrayIter(cow_1DArray<T> const& array, int used) noexcept : m_Array(array), m_Used(used) {}

  void First() noexcept { m_Index = 0; }
  [[nodiscard]] bool AtEnd() const noexcept { return m_Index >= m_Used; }
  void Next() noexcept { ++m_Index; }

  /// The current element. REQUIRES: the iterator is not at the end.
  [[nodiscard]] T const& ConstGet() const noexcept { return m_Array.PartialArrayConstGet(m_Index); }

 private:
  cow_1DArray<T> m_Array;
  int m_Used;
  int m_Index = 0;
};
