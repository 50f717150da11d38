#pragma once

#include <functional>

#include "persist/backend/cls_MementoRead.h"
#include "persist/backend/cls_MementoWrite.h"
#include "store/agents/sto_CollectionAgent.h"
#include "store/session/sto_OwnTransaction.h"

/// What the agents of lists and maps of objects have in common: they hold the ids of the elements (of a map,
/// those that have changed), and write them once, before the commit. What a save changes is noted, and undone
/// in memory if the save is. Internal to the module; see sto_CollectionAgent.
///
/// Each operation runs in the open transaction, or in one of its own. Writing an element outside a save
/// begins a save, which ends when the element's memento is deleted. Reading an element begins a load, which
/// its memento keeps open, with a transaction of its own if none was open. Failures at the end of the save
/// are raised by the session's next operation.
///
/// A change raises Conflict, and changes nothing, if another session has changed the collection since an
/// operation here last showed it. In a map only the key's own element matters, or, if the map is in chunks and
/// the key's chunk was not in memory, only that chunk.
class sto_ObjectAgentBase : public sto_CollectionAgent {
 protected:
  /// `depth` is the number of objects that hold the collection, one inside another.
  sto_ObjectAgentBase(sto_Session& session, std::int64_t id, int depth)
      : sto_CollectionAgent(session, id), m_Depth(depth) {}

  /// Calls `act` in a transaction, after reading the current stored state.
  template <class Act> auto Look(Act act) -> decltype(act()) {
    sto_OwnTransaction const transaction(Session(), false);
    Session().RaiseKept();
    LookAgain();
    return act();
  }
  /// Returns whether another session has changed the element that is about to be changed, and no operation
  /// has shown it since. If empty, any unseen change of the collection counts.
  using IsUnseen = std::function<bool()>;
  /// Calls `act` in a write transaction. `act` returns whether it has changed the ids, and so does Change.
  bool Change(IsUnseen const& isUnseen, std::function<bool()> const& act);

  /// A memento that reads an element; the caller owns it. `find` returns the element's id, or 0.
  [[nodiscard]] cls_MementoRead* ReadElement(std::function<std::int64_t()> const& find);
  /// A memento that writes an element; the caller owns it. Null if the save has already written the element.
  /// `check` raises if the element cannot be put into the collection; `find` returns the id of the element
  /// that is there now, or 0; `put` replaces it. An element that is there already changes only itself.
  [[nodiscard]] cls_MementoWrite* WriteElement(unsigned int classId, cls_Uid const& uid,
                                               IsUnseen const& isUnseen, std::function<void()> const& check,
                                               std::function<std::int64_t()> const& find,
                                               std::function<void(std::int64_t id)> const& put);

  /// For destructors: writes a pending record.
  void WriteLastRecord() noexcept;

  [[nodiscard]] int KnownCount() const noexcept override { return 0; } // containers of objects keep none
  [[nodiscard]] bool IsOwnedByHolders() const noexcept override { return false; }
  void NoteShown() noexcept override { m_ShownForeign = Foreign(); }
  [[nodiscard]] bool UndoesInMemory() const noexcept override { return true; }

 private:
  /// Synchronises for an operation that shows the collection.
  void LookAgain();
  /// Synchronises for an operation that changes it. Conflict.
  void SynchroniseForChange(IsUnseen const& isUnseen);
  /// ReadOnly for a collection that is not stored. Raises a kept failure first.
  void CheckChange() const;

  int m_Depth;
  std::int64_t m_ShownForeign = 0; // how many changes by other sessions operations here have shown
};
