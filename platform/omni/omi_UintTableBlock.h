#pragma once

#include <algorithm>

#include "platform/omni/omi_BlockedArray.h"

/// The entries of an omi_UintTable: a blocked array with a mark per entry that says whether it is a member.
/// So any value can be a member, also a null pointer. A block is removed with its last member.
template <class T> class omi_UintTableBlock : public omi_BlockedArray<T> {
 public:
  using omi_BlockedArray<T>::BlockMask;
  using omi_BlockedArray<T>::BlockSize;

  [[nodiscard]] bool IsMember(unsigned int key) const noexcept {
    char const* const mark = m_Marks.ConstFind(key);
    return mark != nullptr && *mark == Member;
  }

  /// Makes `key` a member unless it is one. Returns whether it was added. Throws std::bad_alloc and what
  /// copying a T throws; no member has changed then.
  bool Insert(unsigned int key, T const& value) {
    char& mark = m_Marks.Get(key);
    if (mark == Member) return false;
    this->Get(key) = value;
    mark = Member;
    return true;
  }

  /// Removes the member `key`. Returns whether it was one.
  bool Remove(unsigned int key) {
    if (!IsMember(key)) return false;
    *this->Find(key) = T();
    *m_Marks.Find(key) = 0;
    DropIfEmpty(key);
    return true;
  }

  /// Moves `key` to the lowest member that is not less than it. Returns false if there is none; `key` is then
  /// meaningless.
  [[nodiscard]] bool Seek(unsigned int& key) const noexcept {
    while (char const* const marks = m_Marks.ConstFindBlock(key)) {
      char const* const from = marks + (key & BlockMask);
      char const* const to = marks + BlockSize;
      char const* const found = std::find(from, to, Member);
      if (found != to) {
        key += static_cast<unsigned int>(found - from);
        return true;
      }
      key |= BlockMask;
      if (++key == 0) return false; // past the last possible block
    }
    return false;
  }

 private:
  static constexpr char Member = 1;

  void DropIfEmpty(unsigned int key) noexcept {
    unsigned int first = key & ~BlockMask;
    char const* const marks = m_Marks.ConstFindBlock(first);
    if (std::find(marks, marks + BlockSize, Member) != marks + BlockSize) return;
    m_Marks.RemoveBlock(key);
    this->RemoveBlock(key);
  }

  omi_BlockedArray<char> m_Marks; // Member or 0
};
