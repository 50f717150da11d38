#pragma once

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "persist/visitors/cls_WriteVisitor.h"
#include "tests/support/backend/MementoSlots.h"
#include "tests/support/backend/Recorder.h"

/// The element for a number in tests of lists; for numbers below 2^20 elements are distinct, except for bool.
template <class T> T NumberedElement(int number) {
  if constexpr (std::is_same_v<T, cow_String>)
    return cow_String("element " + std::to_string(number));
  else if constexpr (std::is_same_v<T, bool>)
    return (number * 2654435761U >> 16 & 1U) != 0;
  else if constexpr (std::is_floating_point_v<T>)
    return static_cast<T>(number) + T(0.25);
  else
    return static_cast<T>(number * 7 - 3);
}

/// A stored list kept in a vector, and the answers of its agents. It counts their calls.
///
///     StoredList<int> list;
///     array.DBWrite(cls_WriteVisitor(new StoredListWriter<int>(list)));
///     EXPECT_EQ(list.m_Elements, ...);
///     cls_ArrayPrim<int> again(cls_ReadVisitor(new StoredListReader<int>(list)));
///
/// Agents are deleted by their holders; the list's destructor fails the test for each one left. bool is
/// stored as char, so that runs are arrays.
template <class T> class StoredList {
 public:
  using Slot = std::conditional_t<std::is_same_v<T, bool>, char, T>;

  StoredList() = default;
  explicit StoredList(int count) {
    for (int i = 0; i < count; ++i) m_Elements.push_back(NumberedElement<T>(i));
  }
  ~StoredList() { EXPECT_EQ(m_LiveAgents, 0); }
  StoredList(StoredList const&) = delete;
  StoredList& operator=(StoredList const&) = delete;

  [[nodiscard]] int Count() const { return static_cast<int>(m_Elements.size()); }

  /// Returns the calls so far, such as "WriteRun(0, 2048)", and clears them. Recorded only if m_KeepsCalls.
  Lines TakeCalls() { return std::exchange(m_Calls, {}); }

  std::vector<Slot> m_Elements;
  cls_Uid m_Uid; ///< the list's identity as readers report it

  // --- Answers.
  int m_SizeHint = 1; ///< also set by writing
  bool m_Changed = false;
  bool m_ReadOnly = false;
  int m_FailingWrites = 0;        ///< the next so many writes throw BackEndFailure and store nothing
  std::function<void()> m_AtRead; ///< called at the start of each read; may throw
  std::function<void(cls_PC&)> m_AtRegister; ///< called for each holder that registers
  std::string m_FailingCall;                 ///< the next call of this operation throws BackEndFailure

  // --- Accounting.
  bool m_KeepsCalls = true;
  Lines m_Calls;
  int m_LiveAgents = 0;
  int m_MadeAgents = 0;
  int m_References = 0; ///< of all agents together
  long m_Reads = 0;
  long m_Writes = 0;
  long m_Flushes = 0;
  std::vector<cls_PC*> m_Holders; ///< in order of registration
};

template <class T> class StoredListAgent : public cls_AgentListPrim<T> {
 public:
  explicit StoredListAgent(StoredList<T>& list) : m_List(list) {
    ++m_List.m_LiveAgents;
    ++m_List.m_MadeAgents;
  }
  ~StoredListAgent() override {
    EXPECT_EQ(m_References, 0) << "deleted while it is referenced";
    Note("deleted");
    --m_List.m_LiveAgents;
  }

  int Count() override {
    Note("Count");
    return m_List.Count();
  }
  int SizeHint() override {
    Note("SizeHint");
    return m_List.m_SizeHint;
  }
  bool Changed() override {
    Note("Changed");
    return m_List.m_Changed;
  }
  void EndFlush() override {
    Note("EndFlush");
    ++m_List.m_Flushes;
  }
  void WriteRun(int firstIndex, int count, T const* values) override {
    NoteRun("WriteRun", firstIndex, count);
    ++m_List.m_Writes;
    if (m_List.m_FailingWrites > 0) {
      --m_List.m_FailingWrites;
      throw BackEndFailure("WriteRun");
    }
    if (count <= 0) return;
    auto const end = static_cast<std::size_t>(firstIndex) + static_cast<std::size_t>(count);
    if (m_List.m_Elements.size() < end) m_List.m_Elements.resize(end);
    std::copy_n(values, count, m_List.m_Elements.begin() + firstIndex);
  }
  int ReadRun(int firstIndex, int count, T* destination) override {
    NoteRun("ReadRun", firstIndex, count);
    ++m_List.m_Reads;
    if (m_List.m_AtRead) m_List.m_AtRead();
    int const read = std::max(std::min(m_List.Count() - firstIndex, count), 0);
    if (read > 0) std::copy_n(m_List.m_Elements.begin() + firstIndex, read, destination);
    return read;
  }
  void AddReference() override {
    Note("AddReference");
    ++m_References;
    ++m_List.m_References;
  }
  void DropReference() override {
    Note("DropReference");
    --m_References;
    --m_List.m_References;
  }
  bool StillReferenced() override {
    Note("StillReferenced");
    return m_References > 0;
  }
  bool ReadOnly() override {
    Note("ReadOnly");
    return m_List.m_ReadOnly;
  }
  void RegisterHolder(cls_PC* holder) override {
    Note("RegisterHolder");
    m_List.m_Holders.push_back(holder);
    if (m_List.m_AtRegister) m_List.m_AtRegister(*holder);
  }

 private:
  void Note(char const* call) {
    if (m_List.m_KeepsCalls) m_List.m_Calls.emplace_back(call);
    if (m_List.m_FailingCall != call) return;
    m_List.m_FailingCall.clear();
    throw BackEndFailure(call);
  }
  void NoteRun(char const* operation, int firstIndex, int count) {
    if (m_List.m_KeepsCalls)
      m_List.m_Calls.push_back(std::string(operation) + "(" + std::to_string(firstIndex) + ", " +
                               std::to_string(count) + ")");
  }

  StoredList<T>& m_List;
  int m_References = 0;
};

/// The memento of an object that is one stored list. It provides agents on the list and fails the test for
/// all other calls. Its visitor deletes it.
template <class T> class StoredListWriter : public MementoWriteSlots<StoredListWriter<T>> {
 public:
  explicit StoredListWriter(StoredList<T>& list) : m_List(list) {}

  template <class Operation, class... Args>
  auto Handle(char const* name, Operation, Args const&... args) const {
    using Result = std::invoke_result_t<Operation, cls_MementoWrite*, Args const&...>;
    if constexpr (std::is_same_v<Result, cls_AgentListPrim<T>*>) {
      return Open(args...);
    } else {
      EXPECT_STREQ(name, "NeedsDeletion");
      if constexpr (std::is_same_v<Result, bool>)
        return true;
      else
        return Result();
    }
  }
  void WriteBytes(cls_FieldHandle const&, void const*, int) override { ADD_FAILURE() << "WriteBytes"; }

 private:
  cls_AgentListPrim<T>* Open(T const*, int sizeHint) const {
    m_List.m_SizeHint = sizeHint;
    return new StoredListAgent<T>(m_List);
  }

  StoredList<T>& m_List;
};

template <class T> class StoredListReader : public MementoReadSlots<StoredListReader<T>> {
 public:
  explicit StoredListReader(StoredList<T>& list) : m_List(list) {}

  template <class Operation, class... Args> auto Handle(char const* name, Operation, Args const&...) const {
    using Result = std::invoke_result_t<Operation, cls_MementoRead*, Args const&...>;
    if constexpr (std::is_same_v<Result, cls_AgentListPrim<T>*>) {
      return Result(new StoredListAgent<T>(m_List));
    } else {
      EXPECT_STREQ(name, "NeedsDeletion");
      if constexpr (std::is_same_v<Result, bool>)
        return true;
      else
        return Result();
    }
  }
  cls_Uid const& HandleGetUid() const { return m_List.m_Uid; }

 private:
  StoredList<T>& m_List;
};

/// Stores an array, or anything with a DBWrite, as this list.
template <class Array, class T> void StoreAs(Array const& array, StoredList<T>& list) {
  cls_WriteVisitor const visitor(new StoredListWriter<T>(list));
  array.DBWrite(visitor);
}
