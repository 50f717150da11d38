#include "store/sto_ObjectAgentBase.h"

#include "metadata/cls_CollectionType.h"
#include "store/sto_ElementScope.h"
#include "store/sto_MementoRead.h"
#include "store/sto_MementoWrite.h"

namespace {

/// An element that keeps the load that it belongs to.
class ElementMemento final : public sto_MementoRead {
 public:
  ElementMemento(std::shared_ptr<sto_ElementRead> read, sto_Session& session, sto_RecordRef record, int depth)
      : sto_MementoRead(session, std::move(record), depth), m_Read(std::move(read)) {}

 private:
  std::shared_ptr<sto_ElementRead> m_Read;
};

} // namespace

void sto_ObjectAgentBase::CheckChange() const {
  Session().RaiseKept();
  if (Id() == 0)
    Session().Raise(sto_ErrorKind::ReadOnly, Describe() + " is not stored and cannot be written.");
}

bool sto_ObjectAgentBase::Change(std::function<bool()> const& act) {
  if (IsDropping()) return false;
  CheckChange();
  sto_OwnTransaction transaction(Session(), true);
  CheckWriting();
  Synchronise();
  bool const isChanged = act();
  if (isChanged) {
    NoteChanged();
    transaction.Commit();
  }
  return isChanged;
}

cls_MementoRead* sto_ObjectAgentBase::ReadElement(std::function<std::int64_t()> const& find) {
  sto_Session& session = Session();
  session.RaiseKept();
  std::shared_ptr<sto_ElementRead> read = sto_ElementRead::Join(session);
  Synchronise();
  sto_RecordRef record = sto_MementoRead::ReadElement(
      session, find(), m_Depth + 1, {StoredClassId() == cls_InternalListTypeId ? "list" : "map", Id()});
  return new ElementMemento(std::move(read), session, std::move(record), m_Depth + 1);
}

cls_MementoWrite* sto_ObjectAgentBase::WriteElement(unsigned int classId, cls_Uid const& uid,
                                                    std::function<void()> const& check,
                                                    std::function<void(std::int64_t id)> const& put) {
  CheckChange();
  sto_Session& session = Session();
  std::shared_ptr<sto_ElementSave> save = sto_ElementSave::Join(session);
  Synchronise();
  check();
  std::int64_t id = 0;
  std::unique_ptr<sto_MementoWrite> element =
      sto_MementoWrite::ForObject(session, classId, uid, m_Depth + 1, id);
  NoteChanged();
  put(id);
  if (element != nullptr) element->KeepUntilWritten(std::move(save));
  return element.release();
}

void sto_ObjectAgentBase::WriteLastRecord() noexcept {
  if (IsClosed() || IsDropping() || !Session().IsWriting()) return;
  try {
    WriteRecord();
  } catch (...) {
    Session().Keep(std::current_exception());
  }
}
