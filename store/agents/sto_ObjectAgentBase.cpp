#include "store/agents/sto_ObjectAgentBase.h"

#include "metadata/cls_CollectionType.h"
#include "store/objects/sto_MementoRead.h"
#include "store/objects/sto_MementoWrite.h"
#include "store/session/sto_ElementScope.h"

namespace {

/// The memento of an element; keeps the element's load open.
class ElementMemento final : public sto_MementoRead {
 public:
  ElementMemento(std::shared_ptr<sto_ElementRead> read, sto_Session& session, sto_RecordRef record, int depth)
      : sto_MementoRead(session, std::move(record), depth), m_Read(std::move(read)) {}

 private:
  std::shared_ptr<sto_ElementRead> m_Read;
};
static_assert(sizeof(ElementMemento) <= sto_MementoPool::PieceBytes);

cls_StoredMementoType<ElementMemento> const s_DeclaredType;

} // namespace

void sto_ObjectAgentBase::CheckChange() const {
  Session().RaiseKept();
  if (Id() == 0)
    Session().Raise(sto_ErrorKind::ReadOnly, Describe() + " is not stored and cannot be written.");
}

void sto_ObjectAgentBase::LookAgain() {
  Synchronise();
  NoteShown();
}

void sto_ObjectAgentBase::SynchroniseForChange(IsUnseen const& isUnseen) {
  Synchronise();
  if (m_ShownForeign != Foreign() && (!isUnseen || isUnseen())) RaiseStale();
}

bool sto_ObjectAgentBase::Change(IsUnseen const& isUnseen, std::function<bool()> const& act) {
  CheckChange();
  sto_OwnTransaction transaction(Session(), true);
  CheckWriting();
  SynchroniseForChange(isUnseen);
  PrepareChange();
  bool const isChanged = act();
  if (isChanged) {
    MarkChanged();
    transaction.Commit();
  }
  return isChanged;
}

cls_MementoRead* sto_ObjectAgentBase::ReadElement(std::function<std::int64_t()> const& find) {
  sto_Session& session = Session();
  session.RaiseKept();
  std::shared_ptr<sto_ElementRead> read = sto_ElementRead::Join(session);
  LookAgain();
  sto_RecordRef record = sto_MementoRead::ReadElement(
      session, find(), m_Depth + 1, {StoredClassId() == cls_InternalListTypeId ? "list" : "map", Id()});
  return new (session) ElementMemento(std::move(read), session, std::move(record), m_Depth + 1);
}

cls_MementoWrite* sto_ObjectAgentBase::WriteElement(unsigned int classId, cls_Uid const& uid,
                                                    IsUnseen const& isUnseen,
                                                    std::function<void()> const& check,
                                                    std::function<std::int64_t()> const& find,
                                                    std::function<void(std::int64_t id)> const& put) {
  CheckChange();
  sto_Session& session = Session();
  std::shared_ptr<sto_ElementSave> save = sto_ElementSave::Join(session);
  SynchroniseForChange(isUnseen);
  check();
  std::int64_t id = 0;
  std::unique_ptr<sto_MementoWrite> memento =
      sto_MementoWrite::ForObject(session, classId, uid, m_Depth + 1, {nullptr, Id()}, id);
  if (find() != id) {
    PrepareChange();
    put(id);
    MarkChanged();
  }
  if (memento != nullptr) memento->KeepUntilWritten(std::move(save));
  return memento.release();
}

void sto_ObjectAgentBase::WriteLastRecord() noexcept {
  if (IsClosed() || IsLost() || !Home().IsWriting()) return;
  // Without the agent, nobody could undo the save in memory.
  if (IsInSave() && !IsMadeInSave() && WasPendingAtMark()) Home().Save().MarkNotUndoable();
  try {
    WriteRecord();
  } catch (...) {
    KeepFailure();
  }
}
