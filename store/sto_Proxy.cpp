#include "store/sto_Proxy.h"

#include <cstdio>

#include "persist/pointers/cls_StoredObject.h"
#include "store/base/sto_Exception.h"
#include "store/graph/sto_AgentProxy.h"
#include "store/graph/sto_BranchCopy.h"
#include "store/session/sto_OwnTransaction.h"

namespace {

/// Writes the unwritten changes of bulk arrays, unless nothing can be written now.
void WriteArrays(sto_Session& session) {
  session.RaiseKept();
  session.WriteChangedObjects();
  if (session.IsWriting())
    session.Collections().FlushHolders();
  else if (!session.InTransaction() && !session.Driver().IsReadOnly())
    session.Close(); // only writes; the session stays open
}

/// The object under a root name.
std::int64_t FindRoot(sto_Session& session, std::string_view name) {
  std::string const root(name);
  std::optional<std::int64_t> const id = session.Driver().FindRoot(name);
  if (!id) session.Raise(sto_ErrorKind::NotFound, "There is no root " + root + ".");
  std::string const object = "Object " + std::to_string(*id) + ", which is root " + root;
  if (!session.IsGivenOut(*id) || !session.IsStored(*id))
    session.Raise(sto_ErrorKind::Damaged, object + ", is missing.");
  if (!session.IsThere(*id)) session.Raise(sto_ErrorKind::NotFound, object + ", was deleted.");
  return *id;
}

/// Refuses a memento that reads no object of a store. An empty proxy would copy nothing, and only the result
/// of CopyBranch would say so.
[[noreturn]] void RaiseForeign(cls_MementoRead& memento) {
  char classId[16];
  std::snprintf(classId, sizeof classId, "0x%X", memento.ClassId());
  sto_Raise(sto_ErrorKind::Misuse, "A proxy is made of an object of a store only. This object, of class " +
                                       std::string(classId) + ", is read from " +
                                       std::string(memento.DbId().View()) +
                                       " through a memento that leads to no store.");
}

/// Copies a root in a save of its own. If the source's transaction begins here, it ends before the save does.
void CopyRoot(sto_Session& source, std::string_view name, sto_Session& target, std::string_view newName) {
  target.Save().Begin();
  try {
    std::int64_t copy = 0;
    unsigned int classId = 0;
    {
      sto_OwnTransaction const reading(source, false);
      copy = sto_BranchCopy(source, target).Copy(FindRoot(source, name), classId);
    }
    target.Driver().SetRoot(newName, copy, classId);
    target.Save().End();
  } catch (...) {
    target.Save().Undo();
    throw;
  }
}

} // namespace

cow_CountedHld<cls_AgentProxy> sto_MakeProxy(sto_Store& store, std::string_view root) {
  cow_CountedHld<cls_AgentProxy> proxy;
  store.LoadWith(root, [&proxy](cls_ReadVisitor const& visitor) { proxy = sto_MakeProxy(visitor); });
  return proxy;
}

cow_CountedHld<cls_AgentProxy> sto_MakeProxy(cls_ReadVisitor const& visitor) {
  if (visitor.Memento() == nullptr) return {};
  cls_StoredObject* const object = cls_StoredObject::Of(visitor.Memento());
  cls_StoredObject::Place const place = object == nullptr ? cls_StoredObject::Place() : object->StoredAt();
  auto* const session = dynamic_cast<sto_Session*>(place.m_Source);
  if (session == nullptr) RaiseForeign(*visitor.Memento());
  if (place.m_Id == 0) return {};
  return cow_CountedHld<cls_AgentProxy>(new sto_AgentProxy(*session, place.m_Id));
}

void sto_CopyRoot(sto_Store& from, std::string_view name, sto_Store& to, std::string_view newName) {
  sto_Session& source = from.Session();
  sto_Session& target = to.Session();
  bool const isBusy = target.Save().IsGoingOn() || target.Loaded().InLoad() || source.Save().IsGoingOn();
  if (isBusy || (target.InTransaction() && !target.IsWriting()))
    target.Raise(sto_ErrorKind::Misuse, "Copying a root in a transaction that only reads, or while an object "
                                        "is being saved or loaded.");
  WriteArrays(source);
  sto_OwnTransaction transaction(target, true, sto_Keeping::Handles);
  if (target.Driver().FindRoot(newName))
    target.Raise(sto_ErrorKind::Conflict, "Root " + std::string(name) + " of " + source.Location() +
                                              " cannot be copied to root " + std::string(newName) +
                                              ": there is a root of that name. Remove or rename it first.");
  CopyRoot(source, name, target, newName);
  transaction.Commit();
}
