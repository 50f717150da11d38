#pragma once

#include <utility>

#include "platform/omni/omi_UintTableBlock.h"

/// Table of values keyed by unsigned numbers, stored in blocks: small and fast for keys that are close
/// together, and usable for any.
///
/// A table owns its values; copying copies them. Thread rule: any number of threads may read while none
/// writes.
template <class T> class omi_UintTable {
 public:
  omi_UintTable() = default;
  omi_UintTable(omi_UintTable const& other) = default;
  omi_UintTable(omi_UintTable&& other) noexcept
      : m_Blocks(std::move(other.m_Blocks)), m_Count(std::exchange(other.m_Count, 0U)) {}
  omi_UintTable& operator=(omi_UintTable const& other) {
    omi_UintTable(other).Swap(*this);
    return *this;
  }
  omi_UintTable& operator=(omi_UintTable&& other) noexcept {
    omi_UintTable(std::move(other)).Swap(*this);
    return *this;
  }
  ~omi_UintTable() = default;
  void Swap(omi_UintTable& other) noexcept {
    std::swap(m_Blocks, other.m_Blocks);
    std::swap(m_Count, other.m_Count);
  }

  /// The number of entries.
  [[nodiscard]] unsigned int Count() const noexcept { return m_Count; }

  /// The value of a key; null if there is none. It does not move until it is removed.
  [[nodiscard]] T const* ConstFind(unsigned int key) const noexcept {
    return m_Blocks.IsMember(key) ? m_Blocks.ConstFind(key) : nullptr;
  }
  [[nodiscard]] T* Find(unsigned int key) noexcept { return const_cast<T*>(ConstFind(key)); }

  [[nodiscard]] bool IsMember(unsigned int key) const noexcept { return m_Blocks.IsMember(key); }

  /// Adds an entry unless the key exists. Returns whether it was added.
  /// If copying or allocating throws, no entry has changed.
  bool Insert(unsigned int key, T const& value) {
    bool const added = m_Blocks.Insert(key, value);
    if (added) ++m_Count;
    return added;
  }

  /// Removes the entry of a key. Returns whether there was one.
  bool Remove(unsigned int key) {
    bool const removed = m_Blocks.Remove(key);
    if (removed) --m_Count;
    return removed;
  }

  /// How the entries are stored; for iterators, and for Dump.
  [[nodiscard]] omi_UintTableBlock<T> const& Blocks() const noexcept { return m_Blocks; }

 private:
  omi_UintTableBlock<T> m_Blocks;
  unsigned int m_Count = 0;
};
