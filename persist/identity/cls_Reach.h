#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "persist/identity/cls_IdentityMap.h"
#include "platform/kvl_Export.h"

/// What an object that a save reaches is compared with when it is written.
enum class cls_Comparing {
  Nothing,
  ThisSave,   ///< with what this save wrote under its identity, from another object in memory
  OtherRoot,  ///< with what an earlier save of the transaction wrote under another root, from another object
  SecondName, ///< with what is stored: the save gives a second root name to a root
};

/// Decides what to do when a save of a back end reaches an identity. A copy of an object keeps its identity, so
/// two different objects in memory can have the same one. The storage would keep only one of them, and the
/// other would be lost. So an identity that is reached at a second address is written again, but only to be
/// compared. One that is reached again at the same address is skipped, which ends cycles and keeps the cost
/// of shared graphs linear.
///
/// The back end numbers its saves from 1 on without gaps, calls BeginSave for each, asks Meet for each object
/// that is reached, and marks the visit (Meeting::m_Visit) when the object's record is written. Where a
/// comparison is asked for, it writes the object aside, compares the bytes, and refuses the save if they
/// differ. At the end of the transaction it calls Reset and cls_IdentityMap::ForgetVisits.
///
/// REQUIRES: the ties are of one map. Errors: std::bad_alloc. Thread rule: the thread of the map.
class KVL_EXPORT cls_Reach {
 public:
  /// Where an identity was reached.
  struct Occurrence {
    void const* m_Address; ///< of the object in memory; null when it is not known
    std::int64_t m_Holder; ///< the id of the object that holds it; 0 for a root
  };

  /// What to do there.
  struct Meeting {
    bool m_IsWritten = true; ///< the object must be written, if only to be compared
    cls_Comparing m_Comparing = cls_Comparing::Nothing;
    cls_Visit* m_Visit = nullptr; ///< mark it as written when the record is written; null for a comparison
    cls_Visit m_Before;           ///< where the object that it is compared with was reached
  };

  /// A save begins; `root` is the name it saves under, null for the save of an element. Throws
  /// std::bad_alloc.
  void BeginSave(std::int64_t number, std::string_view const* root);
  /// The save is undone: restores the visits from before it.
  void UndoSave() noexcept;
  /// The transaction is over: forgets its saves.
  void Reset() noexcept;

  /// A root was renamed that saves of the transaction may have used. Throws std::bad_alloc.
  void RenameRoot(std::string_view from, std::string_view to);
  /// A root was removed: saves under its name no longer have a root.
  void RemoveRoot(std::string_view root) noexcept;

  /// Whether the save has reached the identity at this address already, so that there is nothing to do. Throws
  /// std::bad_alloc.
  [[nodiscard]] bool IsMet(cls_IdentityMap::Tie const& tie, void const* address) const {
    cls_Visit const& visit = tie.Visit();
    return visit.m_Save == m_Save && visit.m_Address == address && address != nullptr;
  }
  /// Says what to do with an object that was reached. `isNew`: its id was given out in this save. Throws
  /// std::bad_alloc.
  [[nodiscard]] Meeting Meet(cls_IdentityMap::Tie const& tie, Occurrence const& occurrence, bool isNew);

  /// The same for a collection or a blob. These are written each time they are reached: within one save,
  /// the back end compares their contents as it writes them.
  [[nodiscard]] Meeting MeetCollection(cls_IdentityMap::Tie const& tie, Occurrence const& occurrence,
                                       bool isNew);

  /// From now on, compares every object of the save that is already stored (SecondName).
  void CompareAll() noexcept { m_ComparesAll = true; }

  /// Notes that an object's stored content differs from what the save writes.
  void NoteOtherContent(std::int64_t id) noexcept {
    if (m_OtherContent == 0) m_OtherContent = id;
  }
  /// The first such object of this save; 0 if there is none.
  [[nodiscard]] std::int64_t OtherContent() const noexcept { return m_OtherContent; }

  /// The root name of a save of this transaction; empty for the save of an element.
  [[nodiscard]] std::string const& RootOf(std::int64_t save) const noexcept;

 private:
  struct SaveOfTransaction {
    std::string m_Root;
    bool m_HasRoot; // false for the save of an element, and after the save was undone or its root removed
  };

  [[nodiscard]] SaveOfTransaction const* Find(std::int64_t save) const noexcept;
  /// Whether an earlier visit was at another address and under another root name, so that the two objects
  /// must be compared.
  [[nodiscard]] bool WasUnderOtherRoot(cls_Visit const& before, Occurrence const& occurrence) const noexcept;

  std::int64_t m_Save = 0;                                   // the number of the latest save
  std::vector<SaveOfTransaction> m_Saves;                    // of the transaction, the latest last
  std::vector<std::pair<cls_Visit*, cls_Visit>> m_Replaced;  // visits that this save replaced; old values
  std::set<std::pair<std::int64_t, void const*>> m_Compared; // id and second address, in this save
  bool m_ComparesAll = false;
  std::int64_t m_OtherContent = 0;
};
