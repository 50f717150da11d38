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
/// The table must outlive it and stay unchanged. Thread rule: one thread; the table may be read by others
/// meanwhile.
template <class T> class omi_UintTableIterator {
 public:
  /// What a comparison gets pointers to.
  struct Entry {
    unsigned int m_Key;
    T m_Value;
  };
  static_assert(std::is_trivially_copyable_v<Entry>, "entries are sorted as raw memory");

  /// Says how the Entry at the first address stands to the one at the second: negative before it, positive
  /// behind it, 0 for no matter (their order is unspecified then). It must not throw.
  using Comparison = int (*)(void const*, void const*);

  /// Stands on the first entry in storage order, or in the order of `compare` unless that is null.
  /// A sorted walk allocates, and throws std::bad_alloc; a walk in storage order never fails.
  explicit omi_UintTableIterator(omi_UintTable<T> const& table, Comparison compare = nullptr)
      : m_Table(table), m_Compare(compare) {
    First();
  }
  omi_UintTableIterator(omi_UintTableIterator const&) = delete;
  omi_UintTableIterator& operator=(omi_UintTableIterator const&) = delete;

  /// Back to the first entry; a sorted walk collects and sorts the entries again. Fails as the constructor;
  /// the iterator is then done.
  void First() {
    m_Value = nullptr;
    if (m_Compare == nullptr) {
      SeekFrom(0);
    } else {
      CollectAndSort();
      GoTo(0);
    }
  }

  /// Goes to the next entry; it must not be done.
  void Next() noexcept {
    if (m_Compare == nullptr)
      SeekBehind(m_Key);
    else
      GoTo(m_Position + 1);
  }

  /// Skips the rest of this block: goes to the first entry of the next block that has any. A sorted walk has
  /// no blocks, all of it is one: it is done then. The iterator must not be done.
  void NextBlock() noexcept {
    if (m_Compare == nullptr)
      SeekBehind(m_Key | omi_UintTableBlock<T>::BlockMask);
    else
      GoTo(m_Sorted.size());
  }

  [[nodiscard]] bool IsDone() const noexcept { return m_Value == nullptr; }

  /// The entry that the iterator stands on; it must not be done.
  [[nodiscard]] unsigned int CurrentKey() const noexcept { return m_Key; }
  [[nodiscard]] T const& CurrentValue() const noexcept { return *m_Value; }

 private:
  void SeekFrom(unsigned int key) noexcept {
    m_Key = key;
    m_Value = m_Table.Blocks().Seek(m_Key) ? m_Table.ConstFind(m_Key) : nullptr;
  }
  void SeekBehind(unsigned int key) noexcept {
    if (key + 1 == 0)
      m_Value = nullptr; // there is no key behind the greatest
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
  std::size_t m_Position = 0;  // where it stands in them
};
