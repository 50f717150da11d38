#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

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
  /// One that only reads, which also searches a root; see Root.
  sto_OwnTransaction(sto_Session& session, std::string_view root)
      : m_Session(session), m_IsOwn(!session.InTransaction()) {
    if (m_IsOwn) {
      m_Root = m_Session.Begin(false, sto_Keeping::Nothing, root);
    } else {
      m_Session.CheckTransaction();
      m_Root = m_Session.Driver().FindRoot(root);
    }
  }
  sto_OwnTransaction(sto_OwnTransaction const&) = delete;
  sto_OwnTransaction& operator=(sto_OwnTransaction const&) = delete;
  ~sto_OwnTransaction() {
    if (m_IsOwn) m_Session.Rollback();
  }

  /// Whether the transaction began here and is not committed yet.
  [[nodiscard]] bool IsOwn() const noexcept { return m_IsOwn; }

  /// The object under the root name; empty if there is no such root.
  [[nodiscard]] std::optional<std::int64_t> Root() const noexcept { return m_Root; }

  /// Commits a transaction that began here; does nothing inside another one.
  void Commit() {
    if (m_IsOwn) m_Session.Commit();
    m_IsOwn = false;
  }

 private:
  sto_Session& m_Session;
  bool m_IsOwn;
  std::optional<std::int64_t> m_Root;
};
