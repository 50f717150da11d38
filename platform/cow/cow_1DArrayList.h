#pragma once

#include <utility>

#include "platform/cow/cow_1DArray.h"

/// Array whose first Count() elements are used, and which grows by appending.
///
/// The storage may be longer than the used part; elements past it are meaningless. Copies share the storage.
/// Counts are in elements. Thread rule: as cow_1DArray.
template <class T> class cow_1DArrayList {
 public:
  cow_1DArrayList() noexcept = default;

  /// An empty list with storage for `length` elements.
  explicit cow_1DArrayList(int length) : m_Storage(length) {}

  cow_1DArrayList(cow_1DArrayList const& other) noexcept = default;
  cow_1DArrayList& operator=(cow_1DArrayList const& other) noexcept = default;
  ~cow_1DArrayList() = default;

  /// The source is then empty: its used count moves with the storage.
  cow_1DArrayList(cow_1DArrayList&& other) noexcept
      : m_Used(std::exchange(other.m_Used, 0)), m_Storage(std::move(other.m_Storage)) {}
  cow_1DArrayList& operator=(cow_1DArrayList&& other) noexcept {
    m_Used = std::exchange(other.m_Used, 0);
    m_Storage = std::move(other.m_Storage);
    return *this;
  }

  /// How many elements are used.
  [[nodiscard]] int Count() const noexcept { return m_Used; }

  [[nodiscard]] cow_1DArray<T> const& Storage() const noexcept { return m_Storage; }

  /// The used element at `index`, in 0 .. Count()-1.
  [[nodiscard]] T const& ConstGet(int index) const noexcept {
    assert(index < m_Used);
    return m_Storage.PartialArrayConstGet(index);
  }

  /// The same for writing; copies the storage first when it is shared.
  [[nodiscard]] T& Get(int index) {
    assert(index < m_Used);
    return m_Storage.Get(index);
  }

  /// The Count() used elements, contiguous; null if the storage is empty.
  [[nodiscard]] T const* ConstData() const noexcept { return m_Storage.ConstData(); }

  /// Adds an element after the used ones, doubling the storage if it is full.
  /// Throws std::bad_alloc; the list is then unchanged.
  void Append(T const& element) {
    T value(element); // `element` may be in the storage that growing replaces
    if (m_Used == m_Storage.Length()) m_Storage.Grow(GrownLength());
    m_Storage.Get(m_Used) = std::move(value);
    ++m_Used;
  }

  /// Makes room for `length` elements in all; does not change the used count.
  void GrowStorage(int length) { m_Storage.Grow(length); }

  /// Keeps at most the first `count` elements as used.
  void Truncate(int count) noexcept {
    if (count < m_Used) m_Used = count;
  }

  /// Empties the list and drops its share of the storage.
  void Clear() noexcept {
    m_Used = 0;
    m_Storage.Clear();
  }

 private:
  friend struct cow_LayoutAccess;

  [[nodiscard]] int GrownLength() const {
    constexpr int First = 8;
    constexpr int Max = std::numeric_limits<int>::max();
    if (m_Used == Max) throw std::length_error("cow_1DArrayList: too many elements");
    if (m_Used > Max / 2) return Max;
    return m_Used > First / 2 ? 2 * m_Used : First;
  }

  int m_Used = 0;
  cow_1DArray<T> m_Storage;
};
