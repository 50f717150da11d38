#pragma once

#include <type_traits>

#include "persist/backend/cls_AgentBlob.h"
#include "persist/backend/cls_AgentListObj.h"
#include "persist/backend/cls_AgentListPrim.h"
#include "persist/backend/cls_AgentMapKey2Obj.h"
#include "persist/backend/cls_ReadListPrim.h"
#include "persist/backend/cls_ReadMapPrim.h"
#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_TypedMementoRead.h"
#include "persist/backend/cls_TypedMementoWrite.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "persist/backend/cls_WriteMapPrim.h"
#include "persist/backend/cls_WriteObjects.h"

/// Mementos that turn every slot into one call of `Self::Handle(name, operation, arguments...)`, where
/// `operation` is the pointer to the slot's member function. The derived class says what happens then: it
/// logs the call, or passes it on.

/// Every slot of cls_MementoWrite.
template <class Self> class MementoWriteSlots : public cls_TypedMementoWrite<MementoWriteSlots<Self>> {
  using M = cls_MementoWrite;
  using Field = cls_FieldHandle const&;
  using Uid = cls_Uid const&;
  using Cow = cow_COW<int, cow_Direct<int>> const*;

  /// For an overloaded operation the caller names the signature, which selects the overload.
  template <class Signature, class... Args>
  auto Pass(char const* name, Signature M::*operation, Args const&... args) const {
    return static_cast<Self const&>(*this).Handle(name, operation, args...);
  }

  friend cls_TypedMementoWrite<MementoWriteSlots>;
  template <class T> void WriteScalar(Field field, T const& value) {
    Pass<void(Field, T const&)>("Write", &M::Write, field, value);
  }
  template <class T> cls_WriteListPrim<T>* MakeListOf(T const* tag, int width) {
    return Pass<cls_WriteListPrim<T>*(T const*, int)>("MakeWriteListPrim", &M::MakeWriteListPrim, tag, width);
  }
  template <class K, class T> cls_WriteMapOf<K, T>* MakeMapOf(T const* tag) {
    using Signature = cls_WriteMapOf<K, T>*(T const*);
    if constexpr (std::is_same_v<K, int>)
      return Pass<Signature>("MakeWriteMapInt2Prim", &M::MakeWriteMapInt2Prim, tag);
    else
      return Pass<Signature>("MakeWriteMapString2Prim", &M::MakeWriteMapString2Prim, tag);
  }
  template <class K> cls_WriteObjectMapOf<K>* MakeObjectMapOf() {
    if constexpr (std::is_same_v<K, int>)
      return Pass("MakeWriteMapInt2Obj", &M::MakeWriteMapInt2Obj);
    else
      return Pass("MakeWriteMapString2Obj", &M::MakeWriteMapString2Obj);
  }
  template <class T> cls_AgentListPrim<T>* MakeListAgentOf(T const* tag, int sizeHint) {
    return Pass<cls_AgentListPrim<T>*(T const*, int)>("MakeAgentListPrim", &M::MakeAgentListPrim, tag,
                                                      sizeHint);
  }
  template <class K> cls_AgentMapKey2Obj<K>* MakeObjectMapAgentOf(K const* tag, int sizeHint) {
    return Pass<cls_AgentMapKey2Obj<K>*(K const*, int)>("MakeAgentMapKey2Obj", &M::MakeAgentMapKey2Obj, tag,
                                                        sizeHint);
  }

 public:
  bool NeedsDeletion() const override { return this->Pass("NeedsDeletion", &M::NeedsDeletion); }
  int FieldIsPresent(Field field) const override {
    return this->Pass("FieldIsPresent", &M::FieldIsPresent, field);
  }
  cls_MementoWrite* MakeFieldWriteObj(Field field, unsigned int classId, Uid uid,
                                      void const* object) override {
    return this->Pass("MakeFieldWriteObj", &M::MakeFieldWriteObj, field, classId, uid, object);
  }
  cls_MementoWrite* MakeFieldWriteObjCow(Field field, unsigned int classId, Uid uid, Cow cow) override {
    return this->Pass("MakeFieldWriteObjCow", &M::MakeFieldWriteObjCow, field, classId, uid, cow);
  }
  cls_MementoWrite* MakeBaseWriteObj(unsigned int classId, Uid uid) override {
    return this->Pass("MakeBaseWriteObj", &M::MakeBaseWriteObj, classId, uid);
  }
  void WriteEnum(Field field, int const& value) override {
    this->Pass("WriteEnum", &M::WriteEnum, field, value);
  }
  void WriteReference(Field field, Uid uid) override {
    this->Pass("WriteReference", &M::WriteReference, field, uid);
  }
  void WriteBytes(Field field, void const* bytes, int sizeBytes) override {
    this->Pass("WriteBytes", &M::WriteBytes, field, bytes, sizeBytes);
  }
  cls_WriteListObj* MakeWriteListObj() override {
    return this->Pass("MakeWriteListObj", &M::MakeWriteListObj);
  }
  cls_WriteIntTableInt* MakeWriteIntTableInt() override {
    return this->Pass("MakeWriteIntTableInt", &M::MakeWriteIntTableInt);
  }
  cls_WriteListObj* MakeFieldWriteListObj(Field field, Uid uid) override {
    return this->Pass("MakeFieldWriteListObj", &M::MakeFieldWriteListObj, field, uid);
  }
  cls_WriteMapInt2Obj* MakeFieldWriteMapInt2Obj(Field field, Uid uid) override {
    return this->Pass("MakeFieldWriteMapInt2Obj", &M::MakeFieldWriteMapInt2Obj, field, uid);
  }
  cls_WriteMapString2Obj* MakeFieldWriteMapString2Obj(Field field, Uid uid) override {
    return this->Pass("MakeFieldWriteMapString2Obj", &M::MakeFieldWriteMapString2Obj, field, uid);
  }
  cls_WriteIntTableInt* MakeFieldWriteIntTableInt(Field field, Uid uid) override {
    return this->Pass("MakeFieldWriteIntTableInt", &M::MakeFieldWriteIntTableInt, field, uid);
  }
  cls_AgentListObj* MakeAgentListObj(int sizeHint) override {
    return this->Pass("MakeAgentListObj", &M::MakeAgentListObj, sizeHint);
  }
  cls_AgentBlob* MakeAgentBlob() override { return this->Pass("MakeAgentBlob", &M::MakeAgentBlob); }
  void CheckCollectionType(cls_CollectionType type, cow_String const& name) override {
    this->Pass("CheckCollectionType", &M::CheckCollectionType, type, name);
  }
  bool CopyBranch(cls_AgentProxy* proxy, Field field) override {
    return this->Pass("CopyBranch", &M::CopyBranch, proxy, field);
  }
  void StartSharedPtrOutput() override { this->Pass("StartSharedPtrOutput", &M::StartSharedPtrOutput); }
  void EndSharedPtrOutput() override { this->Pass("EndSharedPtrOutput", &M::EndSharedPtrOutput); }
};

/// Every slot of cls_MementoRead.
template <class Self> class MementoReadSlots : public cls_TypedMementoRead<MementoReadSlots<Self>> {
  using M = cls_MementoRead;
  using Field = cls_FieldHandle const&;

  template <class Signature, class... Args>
  auto Pass(char const* name, Signature M::*operation, Args const&... args) const {
    return static_cast<Self const&>(*this).Handle(name, operation, args...);
  }

  friend cls_TypedMementoRead<MementoReadSlots>;
  template <class T> T ReadScalar(Field field, T const& defaultValue) {
    return Pass<T(Field, T const&)>("Read", &M::Read, field, defaultValue);
  }
  template <class T> cls_ReadListPrim<T>* MakeListOf(T* tag) {
    return Pass<cls_ReadListPrim<T>*(T*)>("MakeReadListPrim", &M::MakeReadListPrim, tag);
  }
  template <class K, class T> cls_ReadMapOf<K, T>* MakeMapOf(T* tag) {
    using Signature = cls_ReadMapOf<K, T>*(T*);
    if constexpr (std::is_same_v<K, int>)
      return Pass<Signature>("MakeReadMapInt2Prim", &M::MakeReadMapInt2Prim, tag);
    else
      return Pass<Signature>("MakeReadMapString2Prim", &M::MakeReadMapString2Prim, tag);
  }
  template <class K> cls_ReadObjectMapOf<K>* MakeObjectMapOf() {
    if constexpr (std::is_same_v<K, int>)
      return Pass("MakeReadMapInt2Obj", &M::MakeReadMapInt2Obj);
    else
      return Pass("MakeReadMapString2Obj", &M::MakeReadMapString2Obj);
  }
  template <class T> cls_AgentListPrim<T>* MakeListAgentOf(T* tag) {
    return Pass<cls_AgentListPrim<T>*(T*)>("MakeAgentListPrim", &M::MakeAgentListPrim, tag);
  }
  template <class K> cls_AgentMapKey2Obj<K>* MakeObjectMapAgentOf(K* tag) {
    return Pass<cls_AgentMapKey2Obj<K>*(K*)>("MakeAgentMapKey2Obj", &M::MakeAgentMapKey2Obj, tag);
  }

 public:
  bool NeedsDeletion() const override { return this->Pass("NeedsDeletion", &M::NeedsDeletion); }
  cow_String DbId() override { return this->Pass("DbId", &M::DbId); }
  cls_Uid const& GetUid() override { return static_cast<Self const*>(this)->HandleGetUid(); }
  int FieldIsPresent(Field field) const override {
    return this->Pass("FieldIsPresent", &M::FieldIsPresent, field);
  }
  int DataIsPresent(Field field) const override {
    return this->Pass("DataIsPresent", &M::DataIsPresent, field);
  }
  cls_MementoRead* MakeFieldReadObj(Field field) override {
    return this->Pass("MakeFieldReadObj", &M::MakeFieldReadObj, field);
  }
  cls_MementoRead* Clone() override { return this->Pass("Clone", &M::Clone); }
  int ReadEnum(Field field) override { return this->Pass("ReadEnum", &M::ReadEnum, field); }
  cls_Uid ReadReference(Field field) override {
    return this->Pass("ReadReference", &M::ReadReference, field);
  }
  int ReadBytes(Field field, void* bytes, int capacityBytes) override {
    return this->Pass("ReadBytes", &M::ReadBytes, field, bytes, capacityBytes);
  }
  unsigned int ClassId() const override { return this->Pass("ClassId", &M::ClassId); }
  int ClassVersion() const override { return this->Pass("ClassVersion", &M::ClassVersion); }
  cls_ReadListObj* MakeReadListObj() override { return this->Pass("MakeReadListObj", &M::MakeReadListObj); }
  cls_ReadIntTableInt* MakeReadIntTableInt() override {
    return this->Pass("MakeReadIntTableInt", &M::MakeReadIntTableInt);
  }
  cls_ReadListObj* MakeFieldReadListObj(Field field) override {
    return this->Pass("MakeFieldReadListObj", &M::MakeFieldReadListObj, field);
  }
  cls_ReadMapInt2Obj* MakeFieldReadMapInt2Obj(Field field) override {
    return this->Pass("MakeFieldReadMapInt2Obj", &M::MakeFieldReadMapInt2Obj, field);
  }
  cls_ReadMapString2Obj* MakeFieldReadMapString2Obj(Field field) override {
    return this->Pass("MakeFieldReadMapString2Obj", &M::MakeFieldReadMapString2Obj, field);
  }
  cls_ReadIntTableInt* MakeFieldReadIntTableInt(Field field) override {
    return this->Pass("MakeFieldReadIntTableInt", &M::MakeFieldReadIntTableInt, field);
  }
  cls_AgentListObj* MakeAgentListObj() override {
    return this->Pass("MakeAgentListObj", &M::MakeAgentListObj);
  }
  cls_AgentBlob* MakeAgentBlob() override { return this->Pass("MakeAgentBlob", &M::MakeAgentBlob); }
  void CheckCollectionType(cls_CollectionType type, cow_String const& name) override {
    this->Pass("CheckCollectionType", &M::CheckCollectionType, type, name);
  }
};
