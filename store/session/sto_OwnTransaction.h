#pragma once

#include "store/session/sto_Session.h"

/// A transaction for one operation; does nothing if one is already open. The destructor rolls back what was
/// not committed. REQUIRES: the session outlives it. Internal to the module. Thread rule: the thread of the
/// session.
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

  /// Whether the transaction began here and is not committed yet.
  [[nodiscard]] bool IsOwn() const noexcept { return m_IsOwn; }

  /// Commits a transaction that began here; does nothing inside another one.
  void Commit() {
    if (m_IsOwn) m_Session.Commit();
    m_IsOwn = false;
  }

 private:
  sto_Session& m_Session;
  bool m_IsOwn;
};
