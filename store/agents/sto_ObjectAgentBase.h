#pragma once

#include <functional>

#include "persist/backend/cls_MementoRead.h"
#include "persist/backend/cls_MementoWrite.h"
#include "store/agents/sto_CollectionAgent.h"
#include "store/session/sto_OwnTransaction.h"

/// What the agents of lists and maps of objects have in common: they hold the ids of the elements, and write
/// them with the transaction. Internal to the module; see sto_CollectionAgent.
///
/// Each operation is a transaction of its own when none is open. Writing an element outside of a save begins
/// one, which ends when the element's memento is deleted; an element that is read lives in a load that its
/// memento keeps open, with a transaction of its own when there was none. What fails then is raised by the
/// session's next operation.
///
/// A change relies on what was seen: when another session has changed the collection since an operation of
/// this one looked at it, changing it raises Conflict, and nothing is changed. In a map only the key's own
/// element matters.
class sto_ObjectAgentBase : public sto_CollectionAgent {
 protected:
  /// `depth` is how many objects hold the collection.
  sto_ObjectAgentBase(sto_Session& session, std::int64_t id, int depth)
      : sto_CollectionAgent(session, id), m_Depth(depth) {}

  /// Calls `act` on the stored state, in a transaction.
  template <class Act> auto Look(Act act) -> decltype(act()) {
    sto_OwnTransaction const transaction(Session(), false);
    Session().RaiseKept();
    LookAgain();
    return act();
  }
  /// Whether another session has changed what a change is about, and no operation has shown it since. Without
  /// one the change is about the whole collection.
  using IsUnseen = std::function<bool()>;
  /// Calls `act`, which answers whether it has changed the ids, in a write transaction.
  bool Change(IsUnseen const& isUnseen, std::function<bool()> const& act);

  /// The memento of the element that `find` finds, 0 for none.
  [[nodiscard]] cls_MementoRead* ReadElement(std::function<std::int64_t()> const& find);
  /// The memento of an element that `put` puts into the collection; `check` raises when it cannot be put there.
  [[nodiscard]] cls_MementoWrite* WriteElement(unsigned int classId, cls_Uid const& uid,
                                               IsUnseen const& isUnseen, std::function<void()> const& check,
                                               std::function<void(std::int64_t id)> const& put);

  /// For destructors: what has not been written yet is.
  void WriteLastRecord() noexcept;

  [[nodiscard]] int KnownCount() const noexcept override { return 0; } // containers of objects keep none
  [[nodiscard]] bool IsOwnedByHolders() const noexcept override { return false; }
  void NoteShown() noexcept override { m_ShownForeign = Foreign(); }

 private:
  /// Synchronises for an operation that shows the collection.
  void LookAgain();
  /// Synchronises for one that changes it. Conflict.
  void SynchroniseForChange(IsUnseen const& isUnseen);
  /// ReadOnly for a collection that is not stored, or a store that is not written; Misuse.
  void CheckChange() const;

  int m_Depth;
  std::int64_t m_ShownForeign = 0; // the changes by other sessions that were shown
};
