#pragma once

#include <memory>

#include "metadata/cls_CollectionType.h"
#include "persist/backend/cls_MementoRead.h"
#include "persist/backend/cls_MementoWrite.h"
#include "persist/backend/cls_ReadListPrim.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "wrappers/cls_xpWriter.h"

/// The collection type of a list of `T`.
template <class T> inline constexpr cls_CollectionType cls_xpListCode = COLLECTION_NONE;
template <> inline constexpr cls_CollectionType cls_xpListCode<double> = COLLECTION_LIST_DOUBLE;
template <> inline constexpr cls_CollectionType cls_xpListCode<float> = COLLECTION_LIST_FLOAT;
template <> inline constexpr cls_CollectionType cls_xpListCode<int> = COLLECTION_LIST_INT;
template <> inline constexpr cls_CollectionType cls_xpListCode<cow_String> = COLLECTION_LIST_STRING;
template <> inline constexpr cls_CollectionType cls_xpListCode<unsigned int> = COLLECTION_LIST_UINT;

/// Writes a wrapper's elements as one list: `appendAll` passes each element to the writer.
template <class T, class AppendAll>
void cls_xpWriteList(cls_WriteVisitor const& visitor, cls_Uid const& uid, AppendAll appendAll) {
  // Intentional: the result is ignored. Unlike other persisted classes, a value wrapper always writes.
  visitor.StartWrite(cls_InternalListTypeId, uid);
  visitor.CheckCollectionType(cls_xpListCode<T>);
  if (visitor.Memento() == nullptr) return; // the back end declined the object: there is nothing to write to
  T const tag{};
  cls_xpWriter<cls_WriteListPrim<T>> const writer(visitor.Memento()->MakeWriteListPrim(&tag, 1));
  appendAll(*writer);
}

/// The cursor over a stored wrapper's elements. Intentional: the caller always deletes it, without asking
/// NeedsDeletion.
template <class T> std::unique_ptr<cls_ReadListPrim<T>> cls_xpReadList(cls_ReadVisitor const& visitor) {
  T tag{};
  return std::unique_ptr<cls_ReadListPrim<T>>(visitor.Memento()->MakeReadListPrim(&tag));
}
