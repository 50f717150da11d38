#pragma once

#include <cstddef>
#include <vector>

/// Keeps the answers of a slower look-up, for keys of two numbers (a class ID and a version, or two class
/// IDs). Every object asks, so asking costs a few instructions however many answers there are. An answer may
/// be that there is nothing: a null pointer, false.
///
/// A hash table with open addressing, at most half full. It is small until it is used. `Value` is small and
/// trivial. The table owns nothing: call Forget before what an answer points to is destroyed. Internal to the
/// module. Thread rule: one thread.
template <class Value> class sto_AnswerTable {
 public:
  sto_AnswerTable() = default;
  sto_AnswerTable(sto_AnswerTable const&) = delete; // it points into itself
  sto_AnswerTable& operator=(sto_AnswerTable const&) = delete;

  /// The answer for a key, null if the table does not have it. Valid until the next Keep or Forget.
  [[nodiscard]] Value const* Find(unsigned int first, unsigned int second = 0) const noexcept {
    // Mostly the same is asked as the last time.
    if (m_Latest != nullptr && m_Latest->m_First == first && m_Latest->m_Second == second)
      return &m_Latest->m_Value;
    return Search(first, second);
  }

  /// Keeps the answer for a key, replacing an earlier one. Throws std::bad_alloc; then nothing has changed.
  void Keep(unsigned int first, unsigned int second, Value value) {
    if (2 * (m_Count + 1) > m_Entries.size()) Grow();
    m_Latest = nullptr;
    m_Count += Put({first, second, true, value}) ? 1 : 0;
  }

  /// Forgets all answers; keeps the memory.
  void Forget() noexcept {
    if (m_Count == 0) return;
    for (Entry& entry : m_Entries) entry = {};
    m_Count = 0;
    m_Latest = nullptr;
  }

 private:
  struct Entry {
    unsigned int m_First = 0;
    unsigned int m_Second = 0;
    bool m_IsUsed = false;
    Value m_Value{};
  };

  static constexpr std::size_t FirstSize = 64; // a power of two

  /// Keys that follow each other, by either number, get places that do. 7 is odd, so that each number alone
  /// reaches all places.
  [[nodiscard]] std::size_t PlaceOf(unsigned int first, unsigned int second) const noexcept {
    return (std::size_t{first} * 7 + second + (first >> 16)) & (m_Entries.size() - 1);
  }

  [[nodiscard]] Value const* Search(unsigned int first, unsigned int second) const noexcept {
    if (m_Entries.empty()) return nullptr;
    for (std::size_t place = PlaceOf(first, second);; place = (place + 1) & (m_Entries.size() - 1)) {
      Entry const& entry = m_Entries[place];
      if (!entry.m_IsUsed) return nullptr;
      if (entry.m_First != first || entry.m_Second != second) continue;
      m_Latest = &entry;
      return &entry.m_Value;
    }
  }

  void Grow() {
    std::vector<Entry> old(m_Entries.empty() ? FirstSize : 2 * m_Entries.size());
    m_Latest = nullptr;
    old.swap(m_Entries);
    for (Entry const& entry : old)
      if (entry.m_IsUsed) Put(entry);
  }

  /// Returns whether the key is new. REQUIRES: there is a free entry.
  bool Put(Entry const& added) noexcept {
    for (std::size_t place = PlaceOf(added.m_First, added.m_Second);;
         place = (place + 1) & (m_Entries.size() - 1)) {
      Entry& entry = m_Entries[place];
      bool const isNew = !entry.m_IsUsed;
      if (!isNew && (entry.m_First != added.m_First || entry.m_Second != added.m_Second)) continue;
      entry = added;
      return isNew;
    }
  }

  std::vector<Entry> m_Entries; // a power of two of them, or none
  std::size_t m_Count = 0;
  mutable Entry const* m_Latest = nullptr; // that was found last; Keep and Forget clear it
};
