#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <unordered_map>

#include "persist/identity/cls_Reach.h"
#include "store/session/sto_LaterWrites.h"
#include "store/session/sto_NewIds.h"
#include "store/session/sto_SpareBuilders.h"

class sto_ElementSave;
class sto_Session;

/// The saves of a session; at most one is running. A save writes each object once, and is undone as a whole
/// if it fails. sto_Session.h says who ends it. Internal to the module. Thread rule: the thread of the
/// session.
class sto_Save {
 public:
  sto_Save(sto_Session& session, sto_NewIds const& ids) noexcept : m_Session(session), m_NewIds(ids) {}
  sto_Save(sto_Save const&) = delete;
  sto_Save& operator=(sto_Save const&) = delete;

  /// Starts a save under a root name, or of an element (null). Misuse during a save; raises a kept failure.
  /// If it raises, it has started no save. REQUIRES: an open write transaction.
  void Begin(std::string_view const* root = nullptr);
  /// Ends the save. Misuse if it is incomplete or not running; raises a kept failure. If it raises, the save
  /// is still running: undo it.
  void End();
  /// Undoes the save in the store and in memory. If the storage cannot do that, it rolls back the whole
  /// transaction.
  void Undo() noexcept;
  /// The transaction is over: a running save ends with it, and what its saves reached is forgotten. Called by
  /// the session.
  void EndTransaction() noexcept;

  [[nodiscard]] bool IsGoingOn() const noexcept { return m_IsGoingOn; }
  /// Misuse if no save is running.
  void Check() const;
  /// The number of the latest save.
  [[nodiscard]] std::int64_t Number() const noexcept { return m_Number; }
  /// Whether an object's id was given out in this save, so that the store cannot have anything of it yet.
  [[nodiscard]] bool IsNew(std::int64_t id) const noexcept { return m_NewIds.HasSince(m_FirstId, id); }

  /// Notes that an object of the save failed: the save can only be undone, even if the failure is swallowed.
  void MarkIncomplete() noexcept { m_IsIncomplete = true; }

  /// Notes that what undoing needs is lost: if the save is undone, the whole transaction is.
  void MarkNotUndoable() noexcept { m_CannotBeUndone = true; }

  /// The objects that are written after their holders. Those that are left are written by WriteLater, which End
  /// calls too. REQUIRES, for adding: a running save.
  [[nodiscard]] sto_LaterWrites& Later() noexcept { return m_Later; }
  void WriteLater() { m_Later.WriteAll(m_Session); }
  /// Adds an object, unless this save has reached it already. Throws std::bad_alloc.
  void AddLater(sto_LaterWrite object, cls_IdentityMap::Tie const& tie) {
    if (!m_Reach.IsMet(tie, object.m_Object.m_Object.get())) m_Later.Add(std::move(object), tie.Id());
  }

  /// What the saves of the transaction have reached.
  [[nodiscard]] cls_Reach& Reach() noexcept { return m_Reach; }

  /// Conflict if this save already wrote a collection with the same id and another hash: one identity cannot
  /// have two values. `what` names the kind of collection.
  void CheckSameCollection(std::int64_t id, std::uint64_t hash, char const* what = "lists");

  [[nodiscard]] sto_SpareBuilders& Builders() noexcept { return m_Builders; }

  /// The running save of single elements; the mementos of its elements own it.
  [[nodiscard]] std::weak_ptr<sto_ElementSave>& ElementSave() noexcept { return m_ElementSave; }

 private:
  sto_Session& m_Session;
  sto_NewIds const& m_NewIds;
  cls_Reach m_Reach;
  sto_SpareBuilders m_Builders;
  sto_LaterWrites m_Later;
  std::weak_ptr<sto_ElementSave> m_ElementSave;
  bool m_IsGoingOn = false;      // set by Begin; cleared by End, Undo and EndTransaction
  bool m_IsIncomplete = false;   // set by MarkIncomplete, cleared by Begin
  bool m_CannotBeUndone = false; // set by MarkNotUndoable, cleared by Begin
  std::int64_t m_Number = 0;     // counted up by Begin
  std::int64_t m_FirstId = 1;    // m_NewIds.Next() when the latest save began
  std::unordered_map<std::int64_t, std::uint64_t> m_Collections; // the hashes of those that were written
};
