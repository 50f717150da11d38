#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "persist/identity/cls_Uid.h"
#include "store/refs/sto_RefAccess.h"

/// What a list and a map of references have in common, whatever the class of their objects. An element that nobody has
/// asked for is a number; a collection that nobody has asked for is in the store only. Internal to store/refs. Thread rule
/// and errors: as sto_List.
///
/// Invariants:
/// 1. Elements that are in memory as numbers are objects of the home store that were committed when they were read.
/// 2. A collection that is only in the store has a number there that was committed when its holder was read.
class KVL_EXPORT sto_RefCollection {
 public:
  /// Whether the numbers of the elements are in memory.
  [[nodiscard]] bool IsRead() const noexcept { return m_IsRead; }

 protected:
  /// 0: no object; odd: twice its number, and one; otherwise the address of its resident, which is held.
  using Word = std::uint64_t;
  static_assert(sizeof(void*) <= sizeof(Word));

  /// `what`: "list" or "map"; it lives forever.
  explicit sto_RefCollection(char const* what) noexcept : m_What(what) {}
  sto_RefCollection(sto_RefCollection const&) = delete;
  sto_RefCollection& operator=(sto_RefCollection const&) = delete;
  ~sto_RefCollection();

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
    return std::bit_cast<sto_Resident*>(static_cast<std::uintptr_t>(word));
  }
  static void Drop(Word word) noexcept {
    if (word != 0 && !IsNumber(word)) ResidentOf(word)->LetGo();
  }

  void Swap(sto_RefCollection& other) noexcept;
  /// "plate.kvs: The list of object 5", for messages.
  [[nodiscard]] std::string Describe() const;
  /// Misuse if there is no such place before `end`.
  void CheckIndex(std::size_t index, std::size_t end) const;
  /// The resident of an element that is in memory; null for one without an object.
  [[nodiscard]] sto_Resident* ResidentAt(std::size_t index) const;
  /// Whether an element is an object.
  [[nodiscard]] bool IsAt(std::size_t index, sto_Resident const* resident) const noexcept;
  /// Replaces an element that is in memory.
  void Replace(std::size_t index, sto_Resident* resident);
  /// Takes the elements; the collection is read, and has changed.
  [[nodiscard]] std::vector<Word> TakeAll() noexcept;

  [[nodiscard]] sto_Session& HomeSession() const;
  /// NotFound: the store does not have the collection any more.
  [[noreturn]] void RaiseMissing() const;
  /// The numbers of all elements have been read.
  void NoteRead(sto_Session& session, std::vector<Word>& words) const;

  [[nodiscard]] bool IsIn(sto_Session& session) const noexcept;
  /// Whether the stored collection is what it is here, so that a field can hold it as it is.
  [[nodiscard]] bool IsStoredIn(sto_Session& session) const;
  /// Writes a field that holds the stored collection; false if that is not what is here.
  [[nodiscard]] bool IsHeldAsItIs(sto_MementoWrite& memento, cls_FieldHandle const& field,
                                  unsigned int classId) const;
  /// The object with an id writes the collection. One that was moved here from another object becomes a new one.
  void NoteHolder(std::int64_t holder) const;
  /// Whether an element is a number that can be written as it is.
  [[nodiscard]] bool IsThere(Word word, sto_Session& session) const;
  [[nodiscard]] cls_Uid const& IdentityIn(sto_Session& session) const;
  /// The elements were written.
  void NoteWritten(sto_Session& session) const noexcept;

  /// Becomes what a field holds, without reading it; true if it must be read at once (NoteReadNow).
  [[nodiscard]] bool TakeHeld(cls_ReadVisitor const& visitor, cls_FieldHandle const& field);
  void NoteReadNow();

  char const* m_What;
  sto_Residents* m_Home = nullptr;   // held; null: never stored, and the elements are no numbers
  mutable std::int64_t m_Id = 0;     // of the stored collection that was read; 0: none
  mutable std::int64_t m_Holder = 0; // the id of the object that it was read or written with; 0: none
  mutable std::vector<Word> m_Words;
  mutable std::int64_t m_Count = -1;       // of elements, if only that is known
  mutable std::uint32_t m_SeenInEpoch = 0; // of the home: the collection and the elements were there
  mutable bool m_IsRead = true;
  mutable bool m_IsChanged = true;      // since it was read
  mutable std::optional<cls_Uid> m_Uid; // once it was written
};
