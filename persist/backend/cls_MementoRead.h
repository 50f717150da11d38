#pragma once

#include "persist/backend/cls_AgentForward.h"
#include "persist/identity/cls_Uid.h"
#include "persist/visitors/cls_FieldHandle.h"
#include "platform/kvl_Export.h"

/// What a storage back end implements to read one object.
///
/// A memento reads one stored object, or one base-class part of it. Persisted classes reach it through
/// cls_ReadVisitor. Nothing that a memento makes is null.
///
/// Ownership: cls_DeleteWhenNeeded.h says who deletes what a memento returns.
///
/// A field is identified by its name; by its number only when its name is empty.
///
/// An absent object (class ID 1) has no fields. Its collections are empty, its agents are empty and refuse
/// writing (ReadOnly() is true).
///
/// A tag argument only selects the element type and its target is never read.
///
/// The comment before each operation is its virtual slot; the order is frozen, and a test compares it with
/// the compiled table. Compared with cls_MementoWrite, scalars come two slots later, builders and agents
/// four.
///
/// Thread rule: a memento and all it returns are used by one thread. Errors: the library raises nothing here;
/// back ends raise exceptions of the nex_ family.
class KVL_EXPORT cls_MementoRead {
 public:
  cls_MementoRead() = default;
  cls_MementoRead(cls_MementoRead const&) = delete;
  cls_MementoRead& operator=(cls_MementoRead const&) = delete;

  /* 0 */ virtual ~cls_MementoRead();

  /// Whether the receiver of this memento deletes it; true unless the back end keeps it.
  /* 1 */ virtual bool NeedsDeletion() const;

  /// The name of the database that the object is stored in.
  /* 2 */ virtual cow_String DbId() = 0;

  /// The identity of the stored object, or of the base-class part that the memento reads.
  /* 3 */ virtual cls_Uid const& GetUid() = 0;

  /// Nonzero when the object has the field.
  /* 4 */ virtual int FieldIsPresent(cls_FieldHandle const& field) const = 0;

  /// Nonzero when the field holds data: for a field that holds an object, when that object is stored.
  /* 5 */ virtual int DataIsPresent(cls_FieldHandle const& field) const = 0;

  // bool comes before the object operations, away from the other scalars.
  /* 6 */ virtual bool Read(cls_FieldHandle const& field, bool const& defaultValue) = 0;

  /// A memento of the object that `field` holds; of an empty object if there is none. A field that holds a
  /// reference is followed like one that holds the object.
  /* 7 */ virtual cls_MementoRead* MakeFieldReadObj(cls_FieldHandle const& field) = 0;

  /// A memento of the base-class part of this object. The part has its own fields and identity: a field of
  /// the same name in both parts is two fields.
  /* 8 */ virtual cls_MementoRead* Clone() = 0;

  // Scalars: the stored value, or the default if the field is absent. A value that is stored as another type
  // is converted if nothing is lost, or refused; it is never changed, and never taken for absent. (sto_Store:
  // integers and enumerations convert to each other if the value fits, float converts to double; anything
  // else is WrongClass.)
  /* 9 */ virtual cow_String Read(cls_FieldHandle const& field, cow_String const& defaultValue) = 0;
  /* 10 */ virtual float Read(cls_FieldHandle const& field, float const& defaultValue) = 0;
  /* 11 */ virtual double Read(cls_FieldHandle const& field, double const& defaultValue) = 0;
  /* 12 */ virtual unsigned int Read(cls_FieldHandle const& field, unsigned int const& defaultValue) = 0;
  /* 13 */ virtual int Read(cls_FieldHandle const& field, int const& defaultValue) = 0;
  /* 14 */ virtual signed char Read(cls_FieldHandle const& field, signed char const& defaultValue) = 0;
  /* 15 */ virtual short Read(cls_FieldHandle const& field, short const& defaultValue) = 0;
  /* 16 */ virtual unsigned short Read(cls_FieldHandle const& field, unsigned short const& defaultValue) = 0;
  /* 17 */ virtual long long Read(cls_FieldHandle const& field, long long const& defaultValue) = 0;
  /* 18 */ virtual unsigned long long Read(cls_FieldHandle const& field,
                                           unsigned long long const& defaultValue) = 0;

  /// An enumeration; the back end decides what an absent field returns.
  /* 19 */ virtual int ReadEnum(cls_FieldHandle const& field) = 0;

  /// The identity of the object that a reference names, or that the field holds; a fresh one if the field is
  /// absent.
  /* 20 */ virtual cls_Uid ReadReference(cls_FieldHandle const& field) = 0;

  /// Copies at most `capacityBytes` bytes of the field to `bytes`. Returns how many bytes the field has,
  /// or -1 if it is absent.
  /* 21 */ virtual int ReadBytes(cls_FieldHandle const& field, void* bytes, int capacityBytes) = 0;

  /// The class ID under which this object or part was written; 1 for an empty object.
  /* 22 */ virtual unsigned int ClassId() const = 0;

  /// The version of that class that wrote it; -1 for an empty object.
  /* 23 */ virtual int ClassVersion() const = 0;

  // Cursors over the collection that this object is.
  /* 24 */ virtual cls_ReadMapInt2Obj* MakeReadMapInt2Obj() = 0;
  /* 25 */ virtual cls_ReadMapString2Obj* MakeReadMapString2Obj() = 0;

  /* 26 */ virtual cls_ReadListPrim<bool>* MakeReadListPrim(bool* tag) = 0;
  /* 27 */ virtual cls_ReadListPrim<cow_String>* MakeReadListPrim(cow_String* tag) = 0;
  /* 28 */ virtual cls_ReadListPrim<float>* MakeReadListPrim(float* tag) = 0;
  /* 29 */ virtual cls_ReadListPrim<double>* MakeReadListPrim(double* tag) = 0;
  /* 30 */ virtual cls_ReadListPrim<unsigned int>* MakeReadListPrim(unsigned int* tag) = 0;
  /* 31 */ virtual cls_ReadListPrim<int>* MakeReadListPrim(int* tag) = 0;

  /* 32 */ virtual cls_ReadMapInt2Prim<cow_String>* MakeReadMapInt2Prim(cow_String* tag) = 0;
  /* 33 */ virtual cls_ReadMapInt2Prim<float>* MakeReadMapInt2Prim(float* tag) = 0;
  /* 34 */ virtual cls_ReadMapInt2Prim<double>* MakeReadMapInt2Prim(double* tag) = 0;
  /* 35 */ virtual cls_ReadMapInt2Prim<unsigned int>* MakeReadMapInt2Prim(unsigned int* tag) = 0;
  /* 36 */ virtual cls_ReadMapInt2Prim<int>* MakeReadMapInt2Prim(int* tag) = 0;

  /* 37 */ virtual cls_ReadListObj* MakeReadListObj() = 0;
  /* 38 */ virtual cls_ReadIntTableInt* MakeReadIntTableInt() = 0;

  // The same cursors in one step for the collection object that `field` holds; empty if it is absent.
  /* 39 */ virtual cls_ReadListObj* MakeFieldReadListObj(cls_FieldHandle const& field) = 0;
  /* 40 */ virtual cls_ReadMapInt2Obj* MakeFieldReadMapInt2Obj(cls_FieldHandle const& field) = 0;
  /* 41 */ virtual cls_ReadMapString2Obj* MakeFieldReadMapString2Obj(cls_FieldHandle const& field) = 0;
  /* 42 */ virtual cls_ReadIntTableInt* MakeFieldReadIntTableInt(cls_FieldHandle const& field) = 0;

  // String-keyed maps; unlike the other families, unsigned int comes first and int before float.
  /* 43 */ virtual cls_ReadMapString2Prim<unsigned int>* MakeReadMapString2Prim(unsigned int* tag) = 0;
  /* 44 */ virtual cls_ReadMapString2Prim<cow_String>* MakeReadMapString2Prim(cow_String* tag) = 0;
  /* 45 */ virtual cls_ReadMapString2Prim<int>* MakeReadMapString2Prim(int* tag) = 0;
  /* 46 */ virtual cls_ReadMapString2Prim<float>* MakeReadMapString2Prim(float* tag) = 0;
  /* 47 */ virtual cls_ReadMapString2Prim<double>* MakeReadMapString2Prim(double* tag) = 0;

  // Agents of the stored collection; they outlive this memento.
  /* 48 */ virtual cls_AgentListObj* MakeAgentListObj() = 0;
  /* 49 */ virtual cls_AgentMapKey2Obj<int>* MakeAgentMapKey2Obj(int* tag) = 0;
  /* 50 */ virtual cls_AgentMapKey2Obj<cow_String>* MakeAgentMapKey2Obj(cow_String* tag) = 0;
  /* 51 */ virtual cls_AgentListPrim<bool>* MakeAgentListPrim(bool* tag) = 0;
  /* 52 */ virtual cls_AgentListPrim<double>* MakeAgentListPrim(double* tag) = 0;
  /* 53 */ virtual cls_AgentListPrim<float>* MakeAgentListPrim(float* tag) = 0;
  /* 54 */ virtual cls_AgentListPrim<int>* MakeAgentListPrim(int* tag) = 0;
  /* 55 */ virtual cls_AgentListPrim<cow_String>* MakeAgentListPrim(cow_String* tag) = 0;
  /* 56 */ virtual cls_AgentListPrim<unsigned int>* MakeAgentListPrim(unsigned int* tag) = 0;
  /* 57 */ virtual cls_AgentBlob* MakeAgentBlob() = 0;

  /// The reading side of cls_MementoWrite::CheckCollectionType: checks that the stored attribute `name` is a
  /// collection that a declaration of `type` accepts. An absent field passes. The back end decides how a
  /// mismatch is reported (sto_Store: WrongClass, because the stored object is not what is asked for).
  /* 58 */ virtual void CheckCollectionType(cls_CollectionType type, cow_String const& name) = 0;
};
