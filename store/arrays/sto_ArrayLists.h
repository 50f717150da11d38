#pragma once

#include <algorithm>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_WriteObjects.h"
#include "store/arrays/sto_ArrayElements.h"
#include "store/arrays/sto_ArrayErrors.h"

/// The lists that have the elements of an array, one behind the other: all in memory, or all in one store. A list that was
/// made for further elements, and whose save was undone, is in memory and empty. Internal to store/arrays. Thread rule and
/// errors: see sto_Array.
template <class T> class sto_ArrayLists {
 public:
  using Elements = sto_ArrayElements<T>;
  using Segment = typename Elements::Segment;

  sto_ArrayLists() = default;
  /// Leaves no lists behind.
  sto_ArrayLists(sto_ArrayLists&& other) noexcept
      : m_Lists(std::exchange(other.m_Lists, {})), m_HasOutgrown(std::exchange(other.m_HasOutgrown, false)) {}
  sto_ArrayLists& operator=(sto_ArrayLists&& other) noexcept {
    std::swap(m_Lists, other.m_Lists);
    std::swap(m_HasOutgrown, other.m_HasOutgrown);
    return *this;
  }
  ~sto_ArrayLists() = default;

  [[nodiscard]] bool IsEmpty() const noexcept { return m_Lists.empty(); }
  [[nodiscard]] long long Size() const noexcept {
    long long size = 0;
    for (auto const& list : m_Lists) size += list->Size();
    return size;
  }
  [[nodiscard]] bool IsStored() const noexcept { return !m_Lists.empty() && m_Lists.front()->IsAssociated(); }
  /// Null without lists.
  [[nodiscard]] sto_ArrayHome const* Home() const noexcept {
    return m_Lists.empty() ? nullptr : &m_Lists.front()->Home();
  }
  [[nodiscard]] cls_ListShape Shape() const {
    return m_Lists.empty() ? cls_ListShape() : m_Lists.front()->Shape();
  }
  void CheckOpen() const {
    if (!m_Lists.empty()) Home()->CheckOpen();
  }

  // Elements. REQUIRES, for the last two: they are there. `rowSize`: of the rows that a list does not divide.

  void Append(std::span<T const> values, long long rowSize) {
    auto const count = static_cast<long long>(values.size());
    long long const before = Size();
    PrepareFor(count, rowSize);
    try {
      AtOnce(RoomIn(*m_Lists[LastUsed()], rowSize) >= count, values,
             [&] { AppendTo(LastUsed(), values, rowSize); });
    } catch (...) {
      Truncate(before);
      throw;
    }
  }
  void Write(long long first, std::span<T const> values) {
    AtOnce(m_Lists.size() <= 1, values, [&] {
      ForEachPart(first, values.size(), [&](Segment& list, int from, std::size_t done, std::size_t count) {
        Elements::Write(list, from, values.subspan(done, count));
      });
    });
  }
  void Read(long long first, std::span<T> values) const {
    ForEachPart(first, values.size(),
                [&](Segment const& list, int from, std::size_t done, std::size_t count) {
                  Elements::Read(list, from, values.subspan(done, count));
                });
  }

  void Flush() {
    CheckOpen();
    for (auto const& list : m_Lists) list->Flush();
  }
  [[nodiscard]] bool Refresh(long long rowSize) {
    CheckOpen();
    bool isNew = false;
    for (auto const& list : m_Lists) isNew = list->Refresh() != 0 || isNew;
    if (isNew && RoomIn(*m_Lists.back(), rowSize) == 0) {
      m_HasOutgrown = true;
      sto_RaiseArrayGrown(*Home());
    }
    return isNew;
  }

  // Saving and loading

  /// How many lists are to be written. Makes the first list, and one behind the last if that is more than half full: so
  /// that there is one when it is needed. What is in another store is copied as it is. Conflict if another session has
  /// added elements.
  [[nodiscard]] std::size_t PrepareToSave(cls_MementoWrite const& memento, long long rowSize) {
    if (m_Lists.empty()) m_Lists.push_back(std::make_unique<Segment>());
    if (IsStored() && !Home()->IsIn(memento)) return LastUsed() + 1;
    if (IsStored()) CheckLength();
    if (LastUsed() + 1 == m_Lists.size() && m_Lists.back()->Size() > ListSize(rowSize) / 2)
      m_Lists.push_back(std::make_unique<Segment>());
    return m_Lists.size();
  }
  /// Writes the first list into a field.
  void SaveFirst(cls_WriteVisitor const& visitor, cls_FieldHandle const& field,
                 cls_ListShape const& shape) const {
    Segment const& first = *m_Lists.front();
    first.Save(cls_WriteVisitor(visitor, field, nullptr, &first), shape);
  }
  /// Writes the lists from `first` on, before `end`, as elements of a list.
  void SaveAll(cls_MementoWrite& memento, std::size_t first, std::size_t end,
               cls_ListShape const& shape) const {
    cls_Received<cls_WriteListObj> const builder(memento.MakeWriteListObj());
    for (std::size_t i = first; i < end; ++i) {
      cls_WriteRequestListObj const request(builder.get());
      m_Lists[i]->Save(cls_WriteVisitor(request, m_Lists[i].get()), shape);
    }
  }
  void Load(cls_ReadVisitor const& visitor) { m_Lists.push_back(std::make_unique<Segment>(visitor)); }
  /// Loads all elements of a list of lists.
  void LoadAll(cls_MementoRead& memento) {
    cls_Received<cls_ReadListObj> const cursor(memento.MakeReadListObj());
    while (cursor->More() != 0) Load(cls_ReadVisitor(cursor->Next()));
  }

 private:
  /// Calls `act(list, first, done, count)` with each list that has some of the elements.
  template <class Act> void ForEachPart(long long first, std::size_t count, Act act) const {
    std::size_t done = 0;
    for (auto const& list : m_Lists) {
      if (done == count) return;
      long long const size = list->Size();
      if (first < size) {
        auto const part =
            static_cast<std::size_t>(std::min(size - first, static_cast<long long>(count - done)));
        act(*list, static_cast<int>(first), done, part);
        done += part;
      }
      first = std::max(0LL, first - size);
    }
  }

  /// Changes elements: all of them, or none if it raises. What one list gets at once is that already.
  template <class Act> void AtOnce(bool isOneList, std::span<T const> values, Act act) {
    if (!IsStored() || (isOneList && (Elements::ArePlain || values.size() <= Elements::ConvertedAtOnce)))
      return act();
    Home()->InTransaction(act);
  }

  /// How many elements a list may have: whole rows.
  [[nodiscard]] static long long ListSize(long long rowSize) noexcept {
    return std::max<long long>(1, sto_ArrayListSize() / rowSize) * rowSize;
  }
  [[nodiscard]] static long long RoomIn(Segment const& list, long long rowSize) noexcept {
    return std::max<long long>(0, ListSize(rowSize) - list.Size());
  }
  /// The list that has the last element; 0 if there is none.
  [[nodiscard]] std::size_t LastUsed() const noexcept {
    std::size_t last = m_Lists.size();
    while (last > 1 && m_Lists[last - 1]->Size() == 0) --last;
    return last == 0 ? 0 : last - 1;
  }

  /// Makes room for elements behind the last one, before anything is changed.
  void PrepareFor(long long count, long long rowSize) {
    if (m_Lists.empty()) m_Lists.push_back(std::make_unique<Segment>());
    if (m_HasOutgrown) sto_RaiseArrayGrown(*Home());
    bool const isStored = IsStored();
    long long room = 0;
    for (std::size_t i = LastUsed(); i < m_Lists.size(); ++i)
      if (m_Lists[i]->IsAssociated() == isStored) room += RoomIn(*m_Lists[i], rowSize);
    if (room < count && isStored) sto_RaiseArrayFull(*Home());
    for (; room < count; room += ListSize(rowSize)) m_Lists.push_back(std::make_unique<Segment>());
  }
  void AppendTo(std::size_t list, std::span<T const> values, long long rowSize) {
    for (; !values.empty(); ++list) {
      auto const part = static_cast<std::size_t>(
          std::min(RoomIn(*m_Lists[list], rowSize), static_cast<long long>(values.size())));
      if (part != 0) Elements::Append(*m_Lists[list], values.first(part));
      values = values.subspan(part);
    }
  }
  void Truncate(long long size) noexcept {
    for (auto const& list : m_Lists) {
      list->SetLength(static_cast<int>(std::min<long long>(list->Size(), size)));
      size -= list->Size();
    }
  }

  void CheckLength() const {
    if (m_HasOutgrown) sto_RaiseArrayGrown(*Home());
    for (auto const& list : m_Lists)
      if (list->IsAssociated()) list->CheckLength();
  }

  std::vector<std::unique_ptr<Segment>> m_Lists; // empty: there was no element yet
  bool m_HasOutgrown = false; // another session has filled the last list, and there may be further ones
};
