#pragma once

#include <cassert>
#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "platform/mem/mem_Memory.h"

/// Copy-on-write array of `Length()` elements, one pointer wide.
///
/// Copies share the elements until one of them is written. The first write through a sharing array copies
/// each element once; a write through a sole owner copies none. Elements added by growing are
/// value-initialised (zero for numbers).
///
/// Indexes and lengths are counted in elements. Thread rule: the share count is plain; an array and its
/// copies belong to one thread, or are only read.
template <class T> class cow_1DArray {
 public:
  /// An empty array; allocates nothing.
  cow_1DArray() noexcept = default;

  /// `length` value-initialised elements. Throws std::length_error if `length` is negative, std::bad_alloc.
  explicit cow_1DArray(int length) { Grow(length); }

  cow_1DArray(cow_1DArray const& other) noexcept : m_Buffer(other.m_Buffer) {
    if (m_Buffer != nullptr) ++m_Buffer->m_Count;
  }
  cow_1DArray(cow_1DArray&& other) noexcept : m_Buffer(std::exchange(other.m_Buffer, nullptr)) {}
  ~cow_1DArray() { Release(m_Buffer); }
  cow_1DArray& operator=(cow_1DArray const& other) noexcept {
    cow_1DArray(other).Swap(*this);
    return *this;
  }
  cow_1DArray& operator=(cow_1DArray&& other) noexcept {
    cow_1DArray(std::move(other)).Swap(*this);
    return *this;
  }
  void Swap(cow_1DArray& other) noexcept { std::swap(m_Buffer, other.m_Buffer); }

  [[nodiscard]] int Length() const noexcept { return m_Buffer == nullptr ? 0 : m_Buffer->m_Length; }

  /// The element at `index`. REQUIRES: 0 <= index < Length().
  [[nodiscard]] T const& ConstGet(int index) const noexcept {
    assert(index >= 0 && index < Length());
    return Elements(m_Buffer)[index];
  }

  /// The same for an array that is only partly used: the caller knows how many of its elements are
  /// meaningful.
  [[nodiscard]] T const& PartialArrayConstGet(int index) const noexcept { return ConstGet(index); }

  /// The element at `index` for writing; a sharing array takes its own copy of the elements first.
  [[nodiscard]] T& Get(int index) {
    assert(index >= 0 && index < Length());
    if (IsShared()) Reallocate(Length(), Length());
    return Elements(m_Buffer)[index];
  }

  /// The elements, contiguous, for reading; null if empty. Valid until the array is written or destroyed.
  [[nodiscard]] T const* ConstData() const noexcept {
    return m_Buffer == nullptr ? nullptr : Elements(m_Buffer);
  }

  /// Makes the array `length` elements long; does nothing if it already has that many. Throws
  /// std::length_error if `length` is negative, std::bad_alloc; the array is then unchanged.
  void Grow(int length) {
    if (length < 0) throw std::length_error("cow_1DArray: negative length");
    if (length > Length()) Reallocate(Length(), length);
  }

  /// Drops this array's share; the array is then empty.
  void Clear() noexcept { Release(std::exchange(m_Buffer, nullptr)); }

  [[nodiscard]] bool SharesStorageWith(cow_1DArray const& other) const noexcept {
    return m_Buffer == other.m_Buffer;
  }

 private:
  friend struct cow_LayoutAccess;

  struct Buffer {
    int m_Count;
    int m_Length;
  };
  static constexpr std::size_t HeaderSize = (sizeof(Buffer) + alignof(T) - 1) / alignof(T) * alignof(T);
  static_assert(alignof(T) <= alignof(std::max_align_t));

  struct FreeMemory {
    void operator()(void* memory) const noexcept { mem_Free(memory); }
  };

  static T* Elements(Buffer* buffer) noexcept {
    return std::launder(reinterpret_cast<T*>(reinterpret_cast<std::byte*>(buffer) + HeaderSize));
  }
  [[nodiscard]] bool IsShared() const noexcept { return m_Buffer->m_Count != 1; }

  static void Release(Buffer* buffer) noexcept {
    if (buffer == nullptr || --buffer->m_Count != 0) return;
    std::destroy_n(Elements(buffer), buffer->m_Length);
    mem_Free(buffer);
  }

  /// Replaces the buffer with an own one of `length` elements. The first `kept` come from the old buffer:
  /// moved from a sole owner's, copied from a shared one.
  void Reallocate(int kept, int length) {
    if (static_cast<std::size_t>(length) >
        (std::numeric_limits<std::ptrdiff_t>::max() - HeaderSize) / sizeof(T))
      throw std::bad_alloc();
    std::unique_ptr<void, FreeMemory> memory(
        mem_Malloc(HeaderSize + static_cast<std::size_t>(length) * sizeof(T)));
    T* const elements = reinterpret_cast<T*>(static_cast<std::byte*>(memory.get()) + HeaderSize);
    // New elements first: while they are made, nothing has been moved out of the old buffer.
    std::uninitialized_value_construct_n(elements + kept, length - kept);
    if (kept > 0) CopyOrMove(elements, kept, length);
    auto* const buffer = new (memory.release()) Buffer{1, length};
    Release(std::exchange(m_Buffer, buffer));
  }

  void CopyOrMove(T* elements, int kept, int length) {
    if (!IsShared() && std::is_nothrow_move_constructible_v<T>) {
      std::uninitialized_move_n(Elements(m_Buffer), kept, elements);
      return;
    }
    try {
      std::uninitialized_copy_n(Elements(m_Buffer), kept, elements);
    } catch (...) {
      std::destroy_n(elements + kept, length - kept);
      throw;
    }
  }

  Buffer* m_Buffer = nullptr;
};
