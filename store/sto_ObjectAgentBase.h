#pragma once

#include <functional>

#include "persist/cls_MementoRead.h"
#include "persist/cls_MementoWrite.h"
#include "store/sto_OpenAgent.h"
#include "store/sto_OwnTransaction.h"

/// What the agents of lists and maps of objects have in common: they hold the ids of the elements, and write
/// them with the transaction. Internal to the module; see sto_OpenAgent.
///
/// Each operation is a transaction of its own when none is open. Writing an element outside of a save begins
/// one, which ends when the element's memento is deleted; an element that is read lives in a load that its
/// memento keeps open, with a transaction of its own when there was none. What fails then is raised by the
/// session's next operation.
class sto_ObjectAgentBase : public sto_OpenAgent {
 protected:
  /// `depth` is how many objects hold the collection.
  sto_ObjectAgentBase(sto_Session& session, std::int64_t id, int depth)
      : sto_OpenAgent(session, id), m_Depth(depth) {}

  /// Calls `act` on the stored state, in a transaction; what it answers where nothing is stored any more is
  /// its default.
  template <class Act> auto Look(Act act) -> decltype(act()) {
    if (IsDropping()) return {};
    sto_OwnTransaction const transaction(Session(), false);
    Session().RaiseKept();
    Synchronise();
    return act();
  }
  /// Calls `act`, which answers whether it has changed the ids, in a write transaction.
  bool Change(std::function<bool()> const& act);

  /// The memento of the element that `find` finds, 0 for none.
  [[nodiscard]] cls_MementoRead* ReadElement(std::function<std::int64_t()> const& find);
  /// The memento of an element that `put` puts in its place; `check` raises when there is no such place.
  [[nodiscard]] cls_MementoWrite* WriteElement(unsigned int classId, cls_Uid const& uid,
                                               std::function<void()> const& check,
                                               std::function<void(std::int64_t id)> const& put);

  /// For destructors: what has not been written yet is.
  void WriteLastRecord() noexcept;

  void RefreshHolder(cls_PC*) override {} // a container of objects keeps none that could be stale

 private:
  /// ReadOnly for a collection that is not stored, or a store that is not written; Misuse.
  void CheckChange() const;

  int m_Depth;
};
