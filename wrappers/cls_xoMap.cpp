#include "wrappers/cls_xoMap.h"

#include <memory>

#include "metadata/cls_CollectionType.h"
#include "persist/backend/cls_AgentRequest.h"
#include "persist/backend/cls_MementoRead.h"
#include "persist/backend/cls_MementoWrite.h"
#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_WriteObjects.h"
#include "wrappers/cls_xpWriter.h"

template <class K, class V>
cls_xoMap<K, V>::cls_xoMap(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
  if (visitor.Memento() == nullptr) return;
  // Intentional: the wrapper always deletes the cursor, without asking NeedsDeletion.
  std::unique_ptr<cls_ReadMapString2Obj> const reader(visitor.Memento()->MakeReadMapString2Obj());
  while (reader->More()) {
    reader->Next();
    K key;
    cls_ReadVisitor const entry(reader->Fetch(key));
    this->Insert(key, V(entry, nullptr));
  }
}

template <class K, class V> void cls_xoMap<K, V>::DBWrite(cls_WriteVisitor const& visitor) const {
  // Intentional: the result is ignored. Unlike other persisted classes, a value wrapper always writes.
  visitor.StartWrite(cls_InternalMapTypeId, m_Uid);
  visitor.CheckCollectionType(COLLECTION_MAP_STRING_OBJ);
  if (visitor.Memento() == nullptr) return; // the back end declined the object: there is nothing to write to
  cls_xpWriter<cls_WriteMapString2Obj> const writer(visitor.Memento()->MakeWriteMapString2Obj());
  for (cow_ConstMapIterator<K, V> entry(*this); !entry.IsDone(); entry.Next()) {
    cls_WriteRequestMapString2Obj const request(writer.get(), entry.Key());
    entry.Value().DBWrite(cls_WriteVisitor(request, &entry.Value()));
  }
}

template <class K, class V> cls_xoMap<K, V>& cls_xoMap<K, V>::operator=(cow_Map<K, V> const& source) {
  if (&source == static_cast<cow_Map<K, V>*>(this)) return *this;
  cow_Map<K, V>::operator=(source);
  m_Uid.NewUid();
  return *this;
}

template class cls_xoMap<cow_String, cls_xp1DArrayListFloat>;
