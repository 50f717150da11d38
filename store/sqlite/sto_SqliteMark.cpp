#include "store/sqlite/sto_SqliteMark.h"

#include <utility>

#include "store/sqlite/sto_SqliteBlocks.h"
#include "store/sqlite/sto_SqliteChanges.h"
#include "store/sqlite/sto_SqliteIndexes.h"
#include "store/sqlite/sto_SqliteObjects.h"
#include "store/sqlite/sto_SqliteRoots.h"
#include "store/sqlite/sto_SqliteTransaction.h"

void sto_SqliteMark::Set() {
  m_Roots.SetMark();
  m_Objects.SetMark();
  m_Indexes.SetMark();
  m_Changes.SetMark(); // last: roots may have been written
  m_State = State::InMemory;
}

void sto_SqliteMark::OpenSavepoint() {
  m_Objects.WriteStateAtMark();
  m_Indexes.WriteStateAtMark();
  m_Blocks.SetMark();
  m_Transaction.OpenMark();
  m_State = State::InFile; // last: if this fails, the mark is still in memory
}

void sto_SqliteMark::Release() {
  if (m_State == State::InFile) {
    m_Blocks.Close(); // an open byte string is a statement in progress
    m_Transaction.ReleaseMark();
  } else {
    m_Transaction.CheckOpen();
  }
  m_Roots.RemoveMark();
  m_Indexes.RemoveMark();
  m_State = State::None;
}

void sto_SqliteMark::GoBack() {
  State const state = std::exchange(m_State, State::None);
  m_Blocks.Close();
  if (!m_Transaction.IsOpen()) return m_Objects.Drop();
  m_Roots.GoBackToMark();
  m_Indexes.GoBackToMark();
  m_Changes.GoBackToMark();
  if (state != State::InFile) return m_Objects.GoBackToMark();
  m_Objects.Drop();
  m_Transaction.RollbackToMark();
  m_Blocks.ReturnToMark();
}
