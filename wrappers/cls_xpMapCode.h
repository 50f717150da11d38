#pragma once

#include <memory>

#include "metadata/cls_CollectionType.h"
#include "persist/backend/cls_MementoRead.h"
#include "persist/backend/cls_MementoWrite.h"
#include "persist/backend/cls_ReadMapPrim.h"
#include "persist/backend/cls_WriteMapPrim.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "wrappers/cls_xpWriter.h"

/// The collection type of a map from cow_String to `T`.
template <class T> inline constexpr cls_CollectionType cls_xpMapCode = COLLECTION_NONE;
template <> inline constexpr cls_CollectionType cls_xpMapCode<float> = COLLECTION_MAP_STRING_FLOAT;
template <> inline constexpr cls_CollectionType cls_xpMapCode<cow_String> = COLLECTION_MAP_STRING_STRING;
template <> inline constexpr cls_CollectionType cls_xpMapCode<unsigned int> = COLLECTION_MAP_STRING_UINT;

/// Writes a wrapper's entries as one map from cow_String to `T`, in the order in which `Iterator` walks them.
template <class T, class Iterator, class Container>
void cls_xpWriteMap(cls_WriteVisitor const& visitor, cls_Uid const& uid, Container const& container) {
  // Intentional: the result is ignored. Unlike other persisted classes, a value wrapper always writes.
  visitor.StartWrite(cls_InternalMapTypeId, uid);
  visitor.CheckCollectionType(cls_xpMapCode<T>);
  if (visitor.Memento() == nullptr) return; // the back end declined the object: there is nothing to write to
  T const tag{};
  cls_xpWriter<cls_WriteMapString2Prim<T>> const writer(visitor.Memento()->MakeWriteMapString2Prim(&tag));
  for (Iterator entry(container); !entry.IsDone(); entry.Next()) writer->Insert(entry.Key(), entry.Value());
}

/// Passes each entry of a stored map to `add(key, value)`, in stored order. Intentional: the cursor is always
/// deleted, without asking NeedsDeletion.
template <class T, class Add> void cls_xpReadMap(cls_ReadVisitor const& visitor, Add add) {
  if (visitor.Memento() == nullptr) return;
  T tag{};
  std::unique_ptr<cls_ReadMapString2Prim<T>> const reader(visitor.Memento()->MakeReadMapString2Prim(&tag));
  while (reader->More()) {
    T const value = reader->Next(); // moves to the entry, so it comes before the key
    cow_String key;
    reader->Key(key);
    add(key, value);
  }
}
