#pragma once

#include <utility>

#include "platform/cow/cow_Counter.h"

/// Shared ownership of one object: two words, a pointer to a shared count and a pointer to the object.
///
/// The last holder deletes the object (through its virtual destructor, if it has one). The count is plain: a
/// holder and all its copies belong to one thread, or are only read.
template <class T> class cow_CountedHld {
 public:
  /// Holds nothing, with its own count of 1.
  cow_CountedHld() : cow_CountedHld(nullptr) {}

  /// Takes ownership of `object` (may be null) with a new count of 1. Deletes `object` if that throws.
  explicit cow_CountedHld(T* object) {
    try {
      m_Counter = new cow_Counter(1);
    } catch (...) {
      delete object;
      throw;
    }
    m_Object = object;
  }

  cow_CountedHld(cow_CountedHld const& other) noexcept
      : m_Counter(other.m_Counter), m_Object(other.m_Object) {
    if (m_Counter != nullptr) ++m_Counter->m_Count;
  }

  /// The source then has no object and no count; it can only be assigned to or destroyed.
  cow_CountedHld(cow_CountedHld&& other) noexcept
      : m_Counter(std::exchange(other.m_Counter, nullptr)), m_Object(std::exchange(other.m_Object, nullptr)) {
  }

  ~cow_CountedHld() { Release(); }

  /// Takes the source's share before it drops its own.
  cow_CountedHld& operator=(cow_CountedHld const& other) noexcept {
    cow_CountedHld(other).Swap(*this);
    return *this;
  }

  cow_CountedHld& operator=(cow_CountedHld&& other) noexcept {
    cow_CountedHld(std::move(other)).Swap(*this);
    return *this;
  }

  void Swap(cow_CountedHld& other) noexcept {
    std::swap(m_Counter, other.m_Counter);
    std::swap(m_Object, other.m_Object);
  }

  [[nodiscard]] T* Ptr() const noexcept { return m_Object; }
  [[nodiscard]] int UseCount() const noexcept { return m_Counter == nullptr ? 0 : m_Counter->m_Count; }

  /// Deletes the object and the count, even if other holders share them, and nulls both words.
  void Delete() noexcept {
    delete std::exchange(m_Object, nullptr);
    delete std::exchange(m_Counter, nullptr);
  }

 private:
  friend struct cow_LayoutAccess;

  void Release() noexcept {
    if (m_Counter != nullptr && --m_Counter->m_Count == 0) DeleteLast();
  }

  /// Not inlined: where several holders end in one function, GCC 12 at -O3 would take the deletion by one and
  /// the count of the next for a use of freed memory. It cannot know that the counts tell them apart.
  [[gnu::noinline]] void DeleteLast() noexcept { Delete(); }

  cow_Counter* m_Counter = nullptr;
  T* m_Object = nullptr;
};
