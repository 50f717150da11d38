#include "store/session/sto_Save.h"

#include <string>

#include "store/session/sto_Session.h"

void sto_Save::Begin(std::string_view const* root) {
  m_Session.RaiseKept();
  if (m_IsGoingOn) m_Session.Raise(sto_ErrorKind::Misuse, "A save is going on already.");
  if (m_Session.Loaded().Later().IsWaiting())
    m_Session.Raise(
        sto_ErrorKind::Misuse,
        "A save begins inside a load that has not filled all pointers yet, so what is saved could lack "
        "them. Save when the load has returned, or in AfterRead.");
  // Undoing restores this state, so it must be complete in the store, or restorable in memory.
  m_Session.Collections().ForEachTouched([](sto_OpenCollection& collection) { collection.WriteForMark(); });
  m_Reach.BeginSave(m_Number + 1, root);
  ++m_Number;
  m_Session.Driver().SetMark();
  m_Session.Changes().SetMark();
  m_FirstId = m_NewIds.Next();
  m_Collections.clear();
  m_IsIncomplete = m_CannotBeUndone = false;
  m_IsGoingOn = true;
}

void sto_Save::Check() const {
  if (!m_IsGoingOn) m_Session.Raise(sto_ErrorKind::Misuse, "Writing outside a save.");
}

void sto_Save::End() {
  m_Session.RaiseKept();
  Check();
  WriteLater();
  m_Session.RaiseKept();
  if (m_IsIncomplete)
    m_Session.Raise(sto_ErrorKind::Misuse,
                    "An object could not be saved, and its failure was not passed on.");
  m_Session.Collections().ForEachTouched([](sto_OpenCollection& collection) {
    collection.CheckWhole();
    collection.WriteForMark();
  });
  m_Session.Driver().ReleaseMark();
  m_IsGoingOn = false;
  m_Session.Collections().ForEachTouched([](sto_OpenCollection& collection) { collection.ForgetMark(); });
}

void sto_Save::Undo() noexcept {
  m_IsGoingOn = false;
  m_Session.ForgetKept();
  m_Session.VerifiedBlocks().Clear();
  m_Session.Records().Ahead().Clear();
  try {
    if (m_CannotBeUndone)
      m_Session.Driver().Rollback();
    else
      m_Session.Driver().RollbackToMark();
  } catch (...) {
    m_Session.Driver().Rollback(); // a transaction that can still commit must not contain half a save
  }
  sto_Collections& collections = m_Session.Collections();
  collections.ForEachTouched([](sto_OpenCollection& collection) { collection.NoteIdentity(false); });
  m_Reach.UndoSave();
  m_Later.Clear();
  m_Session.Residents().UndoSave(m_Number);
  m_Session.TakeBackIds(m_FirstId);
  m_Session.Changes().UndoSave(m_Number);
  for (sto_OpenBlob* const blob : m_Session.OpenBlobs()) blob->UndoSave();
  collections.ForEachTouched([](sto_OpenCollection& collection) { collection.UndoSave(); });
}

void sto_Save::EndTransaction() noexcept {
  m_IsGoingOn = false;
  m_Reach.Reset();
  m_Later.Clear();
}

void sto_Save::CheckSameCollection(std::int64_t id, std::uint64_t hash, char const* what) {
  auto const [known, isFirst] = m_Collections.emplace(id, hash);
  if (!isFirst && known->second != hash)
    m_Session.Raise(sto_ErrorKind::Conflict,
                    "Object " + std::to_string(id) + " is saved as two " + what +
                        " that differ: copies of a value share its identity until one of them "
                        "is assigned a new content.");
}
