#include "store/sto_Blob.h"

#include "metadata/cls_CollectionType.h"
#include "store/base/sto_Exception.h"
#include "store/objects/sto_MementoWrite.h"

void sto_KeepBlob(cls_WriteVisitor const& visitor, cls_FieldHandle const& field, cls_Uid const& uid) {
  auto* const memento = dynamic_cast<sto_MementoWrite*>(visitor.Memento());
  if (memento == nullptr)
    sto_Raise(sto_ErrorKind::Misuse, "A blob can be kept as it is only in an object that a store is saving.");
  sto_Session& session = memento->Session();
  session.RaiseKept();
  session.Save().Check();
  cls_IdentityMap::Tie const* const tie = session.Identities().Find(uid);
  sto_RecordRef const record = tie == nullptr ? nullptr : session.Records().Read(tie->Id());
  if (record == nullptr || record->Parts().front().m_ClassId != cls_BlobTypeId) {
    session.Save().MarkIncomplete();
    session.Raise(sto_ErrorKind::Misuse,
                  "Attribute " + std::string(field.Name().View()) +
                      " is to keep its blob as it is, but the store has none under its "
                      "identity: write it.");
  }
  memento->HoldObject(field, cls_BlobTypeId, tie->Id());
}
