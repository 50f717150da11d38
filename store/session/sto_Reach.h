#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "store/session/sto_IdentityMap.h"

/// What an object that a save has met is compared with while it is written.
enum class sto_Comparing {
  Nothing,
  ThisSave,   ///< what this save has written under its identity, from another object in memory
  OtherRoot,  ///< what an earlier save of the transaction wrote under another root, from another object
  SecondName, ///< what is stored: the save gives a second root name to an object that has one
};

/// Decides what happens where a save meets an identity. A copy of an object keeps its identity, so one
/// identity can stand for two objects in memory that differ; stored, they would be one, and the other would
/// be lost. So an identity that is met at a second address is written once more, to be compared only. One
/// that is met at the same address is not visited again, which ends cycles and keeps shared graphs linear.
/// Internal to the module. Thread rule: the thread of the session.
class sto_Reach {
 public:
  /// Where an identity was met.
  struct Occurrence {
    void const* m_Address; ///< of the object in memory; null when it is not known
    std::int64_t m_Holder; ///< the id of the object that holds it; 0 for a root
  };

  /// What is to be done there.
  struct Meeting {
    bool m_IsWritten = true; ///< the object is to be written, if only to be compared
    sto_Comparing m_Comparing = sto_Comparing::Nothing;
    sto_Visit* m_Visit = nullptr; ///< to be marked as written with the record; null for a comparison
    sto_Visit m_Before;           ///< what it is compared with was written there
  };

  /// A save begins; `root` is the name that it saves under, null for the save of an element.
  void BeginSave(std::int64_t number, std::string_view const* root);
  /// The save is undone: what it has met was not met.
  void UndoSave() noexcept;
  /// The transaction is over.
  void Reset() noexcept;

  /// A root that saves of the transaction may have named has another name now. Throws std::bad_alloc.
  void RenameRoot(std::string_view from, std::string_view to);
  /// A root is no more: what was saved under its name has no root by that.
  void RemoveRoot(std::string_view root) noexcept;

  /// An object that was met. `isNew`: its id was given out in this save. Throws std::bad_alloc.
  [[nodiscard]] Meeting Meet(sto_IdentityMap::Tie const& tie, Occurrence const& occurrence, bool isNew);

  /// The same for a collection or a blob, which is written each time that it is met: within one save its
  /// contents are compared elsewhere.
  [[nodiscard]] Meeting MeetCollection(sto_IdentityMap::Tie const& tie, Occurrence const& occurrence,
                                       bool isNew);

  /// From now on everything in the save that is stored already is compared (SecondName).
  void CompareAll() noexcept { m_ComparesAll = true; }

  /// Notes that an object was stored with another content than the save gives it.
  void NoteOtherContent(std::int64_t id) noexcept {
    if (m_OtherContent == 0) m_OtherContent = id;
  }
  /// The first of these in this save; 0 when there is none.
  [[nodiscard]] std::int64_t OtherContent() const noexcept { return m_OtherContent; }

  /// The root name of a save of this transaction; empty for the save of an element.
  [[nodiscard]] std::string const& RootOf(std::int64_t save) const noexcept;

 private:
  struct SaveOfTransaction {
    std::string m_Root;
    bool m_HasRoot; // false for the save of an element, and when it was undone or its root was removed
  };

  [[nodiscard]] SaveOfTransaction const* Find(std::int64_t save) const noexcept;
  /// Whether an earlier visit, at another address and under another root name, is to be compared with.
  [[nodiscard]] bool WasUnderOtherRoot(sto_Visit const& before, Occurrence const& occurrence) const noexcept;

  std::int64_t m_Save = 0;                                   // the number of the latest save
  std::vector<SaveOfTransaction> m_Saves;                    // of the transaction, the latest last
  std::vector<std::pair<sto_Visit*, sto_Visit>> m_Replaced;  // by this save, and what they were
  std::set<std::pair<std::int64_t, void const*>> m_Compared; // ids and further addresses, in this save
  bool m_ComparesAll = false;
  std::int64_t m_OtherContent = 0;
};
