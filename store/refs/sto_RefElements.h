#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "persist/identity/cls_Uid.h"
#include "store/refs/sto_RefAccess.h"

class sto_ObjectListWriter;
class sto_Session;

/// The elements of a sto_List, whatever their class. An element that nobody has asked for is a number; a list that nobody
/// has asked for is in the store only. Internal to store/refs. Thread rule and errors: as sto_List.
///
/// Invariants:
/// 1. Elements that are in memory as numbers are objects of the home store that were committed when the list was read.
/// 2. A list that is only in the store has a number there that was committed when its holder was read.
class KVL_EXPORT sto_RefElements {
 public:
  sto_RefElements() noexcept = default;
  sto_RefElements(sto_RefElements const& other);
  sto_RefElements(sto_RefElements&& other) noexcept { Swap(other); }
  /// Keeps the list's own place in its store, as assigning to a container that is there does.
  sto_RefElements& operator=(sto_RefElements const& other);
  sto_RefElements& operator=(sto_RefElements&& other) noexcept {
    sto_RefElements taken(std::move(other));
    Swap(taken);
    return *this;
  }
  ~sto_RefElements();

  [[nodiscard]] std::size_t Size() const;
  /// The same, with the elements in memory.
  [[nodiscard]] std::size_t NeedSize() const {
    Need();
    return m_Words.size();
  }
  /// Null for an element without an object. Misuse if there is no such element.
  [[nodiscard]] sto_Resident* At(std::size_t index) const;
  void Set(std::size_t index, sto_Resident* resident);
  /// Misuse if `index` is behind the end.
  void Insert(std::size_t index, sto_Resident* resident);
  void Erase(std::size_t first, std::size_t count);
  void Clear() noexcept;
  void Reserve(std::size_t count);
  /// Where an object is first, from an element on; Size() if it is not there.
  [[nodiscard]] std::size_t Find(sto_Resident const* resident, std::size_t first = 0) const;
  /// Whether the elements are in memory.
  [[nodiscard]] bool IsRead() const noexcept { return m_IsRead; }

  void Write(cls_WriteVisitor const& visitor, cls_FieldHandle const& field, sto_RefClass const& asked) const;
  void Read(cls_ReadVisitor const& visitor, cls_FieldHandle const& field);

 private:
  /// 0: no object; odd: twice its number, and one; otherwise the address of its resident, which is held.
  using Word = std::uint64_t;
  static_assert(sizeof(void*) <= sizeof(Word));

  [[nodiscard]] static Word ToWord(sto_Resident* resident) noexcept {
    if (resident != nullptr) resident->Hold();
    return reinterpret_cast<std::uintptr_t>(resident);
  }
  [[nodiscard]] static Word ToWord(std::int64_t id) noexcept {
    return id == 0 ? 0 : static_cast<Word>(id) << 1 | 1;
  }
  [[nodiscard]] static bool IsNumber(Word word) noexcept { return (word & 1) != 0; }
  [[nodiscard]] static std::int64_t NumberOf(Word word) noexcept {
    return static_cast<std::int64_t>(word >> 1);
  }
  [[nodiscard]] static sto_Resident* ResidentOf(Word word) noexcept {
    return reinterpret_cast<sto_Resident*>(static_cast<std::uintptr_t>(word));
  }
  static void Drop(Word word) noexcept {
    if (word != 0 && !IsNumber(word)) ResidentOf(word)->LetGo();
  }

  void Swap(sto_RefElements& other) noexcept;
  /// Reads the elements if they are not in memory.
  void Need() const {
    if (!m_IsRead) ReadElements(true);
  }
  /// Reads the count of a list in blocks only, unless `all`.
  void ReadElements(bool all) const;
  void CheckIndex(std::size_t index, std::size_t end) const;
  [[nodiscard]] sto_Session& HomeSession() const;
  [[nodiscard]] bool IsIn(sto_Session& session) const noexcept;
  /// Whether the stored list is what it is here, so that a field can hold it as it is.
  [[nodiscard]] bool IsStoredIn(sto_Session& session) const;
  void Append(sto_ObjectListWriter& list, std::size_t index, sto_Session& session,
              sto_RefClass const& asked) const;
  [[nodiscard]] cls_Uid const& IdentityIn(sto_Session& session) const;

  sto_Residents* m_Home = nullptr; // held; null: never stored, and the elements are no numbers
  std::int64_t m_Id = 0;           // of the stored list that was read; 0: none
  mutable std::vector<Word> m_Words;
  mutable std::int64_t m_Count = -1;       // of elements, if only that is known
  mutable std::uint32_t m_SeenInEpoch = 0; // of the home: the list and the elements were there
  mutable bool m_IsRead = true;
  bool m_IsChanged = true;              // since it was read
  mutable std::optional<cls_Uid> m_Uid; // once it was written
};
