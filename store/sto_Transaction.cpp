#include "store/sto_Transaction.h"

#include <utility>

#include "store/session/sto_Session.h"
#include "store/sto_Store.h"

sto_Transaction::sto_Transaction(sto_Store& store) : m_Session(store.Session().Self()) {
  (*m_Session)->Begin(true, sto_Keeping::Copies);
}

sto_Transaction::~sto_Transaction() {
  Rollback();
}

sto_Session& sto_Transaction::Session() const {
  if (m_Session == nullptr) sto_Raise(sto_ErrorKind::Misuse, "The transaction is over.");
  if (*m_Session == nullptr)
    sto_Raise(sto_ErrorKind::Misuse, "The store was closed before its transaction was committed, which was "
                                     "rolled back: the store must outlive it.");
  (*m_Session)->RefuseInProgress();
  return **m_Session;
}

void sto_Transaction::SetNote(std::string_view note) {
  Session().CheckTransaction();
  Session().Driver().SetNote(note);
}

void sto_Transaction::Commit() {
  Session().Collections().FlushHolders();
  Session().Commit();
  m_Session = nullptr;
}

void sto_Transaction::Rollback() noexcept {
  std::shared_ptr<sto_Session*> const session = std::exchange(m_Session, nullptr);
  if (session != nullptr && *session != nullptr) (*session)->RollbackForProgram();
}

sto_ReadTransaction::sto_ReadTransaction(sto_Store& store) : m_Session(store.Session().Self()) {
  (*m_Session)->Begin(false);
}

sto_ReadTransaction::~sto_ReadTransaction() {
  if (*m_Session != nullptr) (*m_Session)->RollbackForProgram();
}
