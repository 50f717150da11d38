#pragma once

#include "store/session/sto_Session.h"

/// A transaction for one operation, unless one is open already. Rolled back when it is not committed.
class sto_OwnTransaction {
 public:
  sto_OwnTransaction(sto_Session& session, bool forWriting, sto_Keeping keeping = sto_Keeping::Nothing)
      : m_Session(session), m_IsOwn(!session.InTransaction()) {
    if (m_IsOwn)
      m_Session.Begin(forWriting, keeping);
    else
      m_Session.CheckTransaction();
  }
  sto_OwnTransaction(sto_OwnTransaction const&) = delete;
  sto_OwnTransaction& operator=(sto_OwnTransaction const&) = delete;
  ~sto_OwnTransaction() {
    if (m_IsOwn) m_Session.Rollback();
  }

  /// Whether it began here.
  [[nodiscard]] bool IsOwn() const noexcept { return m_IsOwn; }

  /// Commits what began here; nothing inside another transaction.
  void Commit() {
    if (m_IsOwn) m_Session.Commit();
    m_IsOwn = false;
  }

 private:
  sto_Session& m_Session;
  bool m_IsOwn;
};
