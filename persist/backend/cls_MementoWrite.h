#pragma once

#include "persist/backend/cls_AgentForward.h"
#include "persist/identity/cls_Uid.h"
#include "persist/visitors/cls_FieldHandle.h"
#include "platform/cow/cow_COW.h"
#include "platform/kvl_Export.h"

/// What a storage back end implements to write one object: a database, a file format, a copier.
///
/// A memento writes one object (or one base-class part of it). Persisted classes reach it through
/// cls_WriteVisitor. A null child memento means: do not write that object (it is already written, or not
/// wanted), and callers skip it. For the collection classes (0x230001, 0x230002) and blobs (0x230005) a back
/// end always supplies one, because their writers do not check for null.
///
/// Ownership: cls_DeleteWhenNeeded.h says who deletes what a memento returns.
///
/// A field is identified by its name; by its number only when its name is empty.
///
/// How a save begins: the back end does not know the class and the identity of the root before the root
/// starts its visitor. It makes the memento then; see cls_RootRequest.
///
/// A tag argument only selects the element type: it points at a dummy value and its target is never read.
/// Field handles and strings are the caller's; a back end copies what it keeps.
///
/// The comment before each operation is its virtual slot (slot 0 is the destructor). The order is frozen: a
/// test compares it with the compiled table.
///
/// Thread rule: a memento and all it returns are used by one thread. Errors: the library raises nothing here;
/// back ends raise exceptions of the nex_ family.
class KVL_EXPORT cls_MementoWrite {
 public:
  cls_MementoWrite() = default;
  cls_MementoWrite(cls_MementoWrite const&) = delete;
  cls_MementoWrite& operator=(cls_MementoWrite const&) = delete;

  /* 0 */ virtual ~cls_MementoWrite();

  /// Whether the receiver of this memento deletes it; true unless the back end keeps it.
  /* 1 */ virtual bool NeedsDeletion() const;

  /// Nonzero when the field has already been written to this object (or part).
  /* 2 */ virtual int FieldIsPresent(cls_FieldHandle const& field) const = 0;

  /// The memento of an object of class `classId` and identity `uid` that `field` holds; `object` is the
  /// caller's object, null when not known. Null: do not write it. The memento of a list, map or blob that is
  /// stored already does not clear it; only a builder or an agent from here does. A bulk array that is tied
  /// to its stored list is saved again by a memento that makes neither.
  /* 3 */ virtual cls_MementoWrite* MakeFieldWriteObj(cls_FieldHandle const& field, unsigned int classId,
                                                      cls_Uid const& uid, void const* object) = 0;

  /// The same for an object held copy-on-write; `cow` is its holder seen as one of int, null for a blob
  /// (class 0x230005).
  /* 4 */ virtual cls_MementoWrite* MakeFieldWriteObjCow(cls_FieldHandle const& field, unsigned int classId,
                                                         cls_Uid const& uid,
                                                         cow_COW<int, cow_Direct<int>> const* cow) = 0;

  /// The memento of the base-class part `classId` of this object; `uid` is the part's own identity.
  /* 5 */ virtual cls_MementoWrite* MakeBaseWriteObj(unsigned int classId, cls_Uid const& uid) = 0;

  // Scalars, each under its field; a second write of a field replaces the first.
  /* 6 */ virtual void Write(cls_FieldHandle const& field, bool const& value) = 0;
  /* 7 */ virtual void Write(cls_FieldHandle const& field, cow_String const& value) = 0;
  /* 8 */ virtual void Write(cls_FieldHandle const& field, float const& value) = 0;
  /* 9 */ virtual void Write(cls_FieldHandle const& field, double const& value) = 0;
  /* 10 */ virtual void Write(cls_FieldHandle const& field, unsigned int const& value) = 0;
  /* 11 */ virtual void Write(cls_FieldHandle const& field, int const& value) = 0;
  /* 12 */ virtual void Write(cls_FieldHandle const& field, signed char const& value) = 0;
  /* 13 */ virtual void Write(cls_FieldHandle const& field, short const& value) = 0;
  /* 14 */ virtual void Write(cls_FieldHandle const& field, unsigned short const& value) = 0;
  /* 15 */ virtual void Write(cls_FieldHandle const& field, long long const& value) = 0;
  /* 16 */ virtual void Write(cls_FieldHandle const& field, unsigned long long const& value) = 0;

  /// An enumeration, as its underlying int.
  /* 17 */ virtual void WriteEnum(cls_FieldHandle const& field, int const& value) = 0;

  /// A reference to an object that is stored on its own: its identity only.
  /* 18 */ virtual void WriteReference(cls_FieldHandle const& field, cls_Uid const& uid) = 0;

  /// `sizeBytes` raw bytes (0 or more) from `bytes`, few enough to be kept in the object's record.
  /* 19 */ virtual void WriteBytes(cls_FieldHandle const& field, void const* bytes, int sizeBytes) = 0;

  // Builders of the collection that this object is. The caller fills each, then deletes it if it needs
  // deletion.
  /* 20 */ virtual cls_WriteMapInt2Obj* MakeWriteMapInt2Obj() = 0;
  /* 21 */ virtual cls_WriteMapString2Obj* MakeWriteMapString2Obj() = 0;

  // Lists; `width` is the row width: 1 for one-dimensional values, the column count for tables. A list is
  // refused if its elements are no whole number of rows. Only the deletion of the builder shows that, so the
  // back end keeps the failure: the save's next operation, or its end, raises it (sto_Store: Misuse).
  /* 22 */ virtual cls_WriteListPrim<bool>* MakeWriteListPrim(bool const* tag, int width) = 0;
  /* 23 */ virtual cls_WriteListPrim<cow_String>* MakeWriteListPrim(cow_String const* tag, int width) = 0;
  /* 24 */ virtual cls_WriteListPrim<float>* MakeWriteListPrim(float const* tag, int width) = 0;
  /* 25 */ virtual cls_WriteListPrim<double>* MakeWriteListPrim(double const* tag, int width) = 0;
  /* 26 */ virtual cls_WriteListPrim<unsigned int>* MakeWriteListPrim(unsigned int const* tag, int width) = 0;
  /* 27 */ virtual cls_WriteListPrim<int>* MakeWriteListPrim(int const* tag, int width) = 0;

  // Int-keyed maps.
  /* 28 */ virtual cls_WriteMapInt2Prim<cow_String>* MakeWriteMapInt2Prim(cow_String const* tag) = 0;
  /* 29 */ virtual cls_WriteMapInt2Prim<float>* MakeWriteMapInt2Prim(float const* tag) = 0;
  /* 30 */ virtual cls_WriteMapInt2Prim<double>* MakeWriteMapInt2Prim(double const* tag) = 0;
  /* 31 */ virtual cls_WriteMapInt2Prim<unsigned int>* MakeWriteMapInt2Prim(unsigned int const* tag) = 0;
  /* 32 */ virtual cls_WriteMapInt2Prim<int>* MakeWriteMapInt2Prim(int const* tag) = 0;

  /* 33 */ virtual cls_WriteListObj* MakeWriteListObj() = 0;
  /* 34 */ virtual cls_WriteIntTableInt* MakeWriteIntTableInt() = 0;

  // The same builders in one step for a collection object that `field` holds under the identity `uid`.
  /* 35 */ virtual cls_WriteListObj* MakeFieldWriteListObj(cls_FieldHandle const& field,
                                                           cls_Uid const& uid) = 0;
  /* 36 */ virtual cls_WriteMapInt2Obj* MakeFieldWriteMapInt2Obj(cls_FieldHandle const& field,
                                                                 cls_Uid const& uid) = 0;
  /* 37 */ virtual cls_WriteMapString2Obj* MakeFieldWriteMapString2Obj(cls_FieldHandle const& field,
                                                                       cls_Uid const& uid) = 0;
  /* 38 */ virtual cls_WriteIntTableInt* MakeFieldWriteIntTableInt(cls_FieldHandle const& field,
                                                                   cls_Uid const& uid) = 0;

  // String-keyed maps; unlike the other families, unsigned int comes first and int before float.
  /* 39 */ virtual cls_WriteMapString2Prim<unsigned int>*
  MakeWriteMapString2Prim(unsigned int const* tag) = 0;
  /* 40 */ virtual cls_WriteMapString2Prim<cow_String>* MakeWriteMapString2Prim(cow_String const* tag) = 0;
  /* 41 */ virtual cls_WriteMapString2Prim<int>* MakeWriteMapString2Prim(int const* tag) = 0;
  /* 42 */ virtual cls_WriteMapString2Prim<float>* MakeWriteMapString2Prim(float const* tag) = 0;
  /* 43 */ virtual cls_WriteMapString2Prim<double>* MakeWriteMapString2Prim(double const* tag) = 0;

  // Agents, which stay connected to the store after the object is written.
  /* 44 */ virtual cls_AgentListObj* MakeAgentListObj(int sizeHint) = 0;
  /* 45 */ virtual cls_AgentMapKey2Obj<int>* MakeAgentMapKey2Obj(int const* tag, int sizeHint) = 0;
  /* 46 */ virtual cls_AgentMapKey2Obj<cow_String>* MakeAgentMapKey2Obj(cow_String const* tag,
                                                                        int sizeHint) = 0;

  // List agents; `sizeHint` is the number of elements to expect, 1 when that is not known.
  /* 47 */ virtual cls_AgentListPrim<bool>* MakeAgentListPrim(bool const* tag, int sizeHint) = 0;
  /* 48 */ virtual cls_AgentListPrim<double>* MakeAgentListPrim(double const* tag, int sizeHint) = 0;
  /* 49 */ virtual cls_AgentListPrim<float>* MakeAgentListPrim(float const* tag, int sizeHint) = 0;
  /* 50 */ virtual cls_AgentListPrim<int>* MakeAgentListPrim(int const* tag, int sizeHint) = 0;
  /* 51 */ virtual cls_AgentListPrim<cow_String>* MakeAgentListPrim(cow_String const* tag, int sizeHint) = 0;
  /* 52 */ virtual cls_AgentListPrim<unsigned int>* MakeAgentListPrim(unsigned int const* tag,
                                                                      int sizeHint) = 0;

  /// The agent of the blob that this object (class 0x230005) is. It outlives this memento.
  /* 53 */ virtual cls_AgentBlob* MakeAgentBlob() = 0;

  /// Checks that the class declares attribute `name` with a collection type that accepts `type`, and records
  /// `type` with the field if the field is written. It is called on the memento of the holder, after the
  /// memento of the collection is made. The back end decides how a mismatch is reported (sto_Store: Misuse).
  /* 54 */ virtual void CheckCollectionType(cls_CollectionType type, cow_String const& name) = 0;

  /// Copies the object that `proxy` represents, with all it holds, into `field`. Returns false if nothing was
  /// copied. A back end that can be copied to passes this on to the proxy, which knows its source:
  ///
  ///     return proxy != nullptr && proxy->Transfer(kindOfThisStorage, this, field);
  ///
  /// The default always returns false.
  /* 55 */ virtual bool CopyBranch(cls_AgentProxy* proxy, cls_FieldHandle const& field);

  // Called before and after the writing of an object held by a shared pointer. The defaults do nothing.
  /* 56 */ virtual void StartSharedPtrOutput();
  /* 57 */ virtual void EndSharedPtrOutput();
};
