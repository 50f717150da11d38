#include "store/session/sto_ElementScope.h"

std::shared_ptr<sto_ElementSave> sto_ElementSave::Join(sto_Session& session) {
  std::shared_ptr<sto_ElementSave> save = session.Save().ElementSave().lock();
  if (save == nullptr && !session.Save().IsGoingOn()) {
    save = std::make_shared<sto_ElementSave>(session);
    session.Save().ElementSave() = save;
  }
  return save;
}

sto_ElementSave::sto_ElementSave(sto_Session& session)
    : m_Session(session), m_Transaction(session, true, sto_Keeping::Handles) {
  if (!session.IsWriting())
    session.Raise(sto_ErrorKind::Misuse,
                  "Saving in a transaction that only reads, or while an object is being loaded.");
  session.Save().Begin();
}

sto_ElementSave::~sto_ElementSave() {
  if (!m_Session.Save().IsGoingOn()) return; // undone with its transaction
  if (std::uncaught_exceptions() > m_Exceptions) {
    m_Session.Save().Undo();
    return;
  }
  try {
    m_Session.Save().End();
    if (m_Transaction.IsOwn()) m_Session.Collections().FlushHolders();
    m_Transaction.Commit();
  } catch (...) {
    std::exception_ptr const failure = std::current_exception();
    if (m_Session.Save().IsGoingOn()) m_Session.Save().Undo();
    if (m_Transaction.IsOwn()) m_Session.Rollback();
    m_Session.Keep(failure); // undoing and rolling back clear what was kept earlier
  }
}

std::shared_ptr<sto_ElementRead> sto_ElementRead::Join(sto_Session& session) {
  std::shared_ptr<sto_ElementRead> read = session.ElementRead().lock();
  if (read == nullptr || !session.InTransaction()) { // or the transaction that it was in is over
    read = std::make_shared<sto_ElementRead>(session);
    session.ElementRead() = read;
  }
  return read;
}

sto_ElementRead::sto_ElementRead(sto_Session& session)
    : m_Session(session), m_Transaction(session, false), m_Walk(session.Records().Ahead()) {
  m_Session.Loaded().Enter();
}

sto_ElementRead::~sto_ElementRead() {
  m_Session.Loaded().Leave();
}
