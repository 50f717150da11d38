#pragma once

#include <cstddef>
#include <cstdlib>
#include <type_traits>
#include <vector>

#include "platform/omni/omi_UintTable.h"

/// Walks an omi_UintTable: in storage order, block by block and ascending by key, or in the order of a
/// comparison.
///
///     for (omi_UintTableIterator<T> i(table); !i.IsDone(); i.Next()) Use(i.CurrentKey(), i.CurrentValue());
///
/// The table must outlive it and stay unchanged. Thread rule: one thread; others may read the table
/// meanwhile.
template <class T> class omi_UintTableIterator {
 public:
  /// What a comparison receives pointers to.
  struct Entry {
    unsigned int m_Key;
    T m_Value;
  };
  static_assert(std::is_trivially_copyable_v<Entry>, "entries are sorted as raw memory");

  /// Compares the Entries at two addresses: negative if the first comes before the second, positive if after,
  /// 0 if their order does not matter (it is then unspecified). It must not throw.
  using Comparison = int (*)(void const*, void const*);

  /// Starts at the first entry in storage order, or in the order of `compare` unless that is null.
  /// A sorted walk allocates, and throws std::bad_alloc; a walk in storage order never fails.
  explicit omi_UintTableIterator(omi_UintTable<T> const& table, Comparison compare = nullptr)
      : m_Table(table), m_Compare(compare) {
    First();
  }
  omi_UintTableIterator(omi_UintTableIterator const&) = delete;
  omi_UintTableIterator& operator=(omi_UintTableIterator const&) = delete;

  /// Goes back to the first entry; a sorted walk collects and sorts the entries again. Throws as the
  /// constructor; the iterator is then done.
  void First() {
    m_Value = nullptr;
    if (m_Compare == nullptr) {
      SeekFrom(0);
    } else {
      CollectAndSort();
      GoTo(0);
    }
  }

  /// Moves to the next entry. REQUIRES: !IsDone().
  void Next() noexcept {
    if (m_Compare == nullptr)
      SeekBehind(m_Key);
    else
      GoTo(m_Position + 1);
  }

  /// Moves to the first entry of the next block that has any. A sorted walk is a single block, so it is then
  /// done. REQUIRES: !IsDone().
  void NextBlock() noexcept {
    if (m_Compare == nullptr)
      SeekBehind(m_Key | omi_UintTableBlock<T>::BlockMask);
    else
      GoTo(m_Sorted.size());
  }

  [[nodiscard]] bool IsDone() const noexcept { return m_Value == nullptr; }

  /// The current entry. REQUIRES: !IsDone().
  [[nodiscard]] unsigned int CurrentKey() const noexcept { return m_Key; }
  [[nodiscard]] T const& CurrentValue() const noexcept { return *m_Value; }

 private:
  void SeekFrom(unsigned int key) noexcept {
    m_Key = key;
    m_Value = m_Table.Blocks().Seek(m_Key) ? m_Table.ConstFind(m_Key) : nullptr;
  }
  void SeekBehind(unsigned int key) noexcept {
    if (key + 1 == 0)
      m_Value = nullptr; // no key follows the greatest
    else
      SeekFrom(key + 1);
  }

  void GoTo(std::size_t position) noexcept {
    m_Position = position;
    m_Value = nullptr;
    if (position == m_Sorted.size()) return;
    m_Key = m_Sorted[position].m_Key;
    m_Value = &m_Sorted[position].m_Value;
  }

  void CollectAndSort() {
    m_Sorted.clear();
    m_Sorted.reserve(m_Table.Count());
    for (omi_UintTableIterator i(m_Table); !i.IsDone(); i.Next())
      m_Sorted.push_back({i.CurrentKey(), i.CurrentValue()});
    if (!m_Sorted.empty()) std::qsort(m_Sorted.data(), m_Sorted.size(), sizeof(Entry), m_Compare);
  }

  omi_UintTable<T> const& m_Table;
  Comparison m_Compare;
  unsigned int m_Key = 0;
  T const* m_Value = nullptr;  // null when done
  std::vector<Entry> m_Sorted; // the entries of a sorted walk
  std::size_t m_Position = 0;  // the current one of them
};
