#include "store/graph/sto_AgentProxy.h"

#include "store/base/sto_Exception.h"
#include "store/base/sto_StorageType.h"
#include "store/graph/sto_BranchCopy.h"
#include "store/objects/sto_MementoWrite.h"
#include "store/session/sto_OwnTransaction.h"

sto_AgentProxy::sto_AgentProxy(sto_Session& session, std::int64_t id)
    : sto_OpenProxy(id), m_Session(session.Self()), m_Location(session.Location()) {
  session.OpenProxies().insert(this);
}

sto_AgentProxy::~sto_AgentProxy() {
  if (*m_Session != nullptr) (*m_Session)->OpenProxies().erase(this);
}

bool sto_AgentProxy::Transfer(cls_StorageTypeId const& storage, cls_MementoWrite* writer,
                              cls_FieldHandle const& field) {
  auto* const memento = dynamic_cast<sto_MementoWrite*>(writer);
  if (!(storage == sto_StorageType()) || memento == nullptr) return false;
  sto_Session& target = memento->Session();
  target.RaiseKept();
  target.Save().Check();
  try {
    if (IsOver())
      sto_Raise(sto_ErrorKind::Unavailable, m_Location + ": Object " + std::to_string(Id()) +
                                                " cannot be copied any more: it was made in work that was "
                                                "undone.");
    if (*m_Session == nullptr)
      sto_Raise(sto_ErrorKind::Unavailable, m_Location + ": Object " + std::to_string(Id()) +
                                                " cannot be copied any more: its store was closed.");
    sto_Session& source = **m_Session;
    sto_OwnTransaction const transaction(source, false);
    unsigned int classId = 0;
    std::int64_t const id = sto_BranchCopy(source, target).Copy(Id(), classId);
    memento->HoldObject(field, classId, id);
  } catch (...) {
    target.Save().MarkIncomplete(); // half a copy must not stay, even if this failure is swallowed
    throw;
  }
  return true;
}
