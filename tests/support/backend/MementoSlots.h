#pragma once

#include <type_traits>

#include "persist/backend/cls_AgentBlob.h"
#include "persist/backend/cls_AgentListObj.h"
#include "persist/backend/cls_AgentListPrim.h"
#include "persist/backend/cls_AgentMapKey2Obj.h"
#include "persist/backend/cls_MementoRead.h"
#include "persist/backend/cls_MementoWrite.h"
#include "persist/backend/cls_ReadListPrim.h"
#include "persist/backend/cls_ReadMapPrim.h"
#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "persist/backend/cls_WriteMapPrim.h"
#include "persist/backend/cls_WriteObjects.h"

/// Mementos whose every slot makes one call `Self::Handle(name, operation, arguments...)`, where `operation`
/// is the pointer to the slot's member function. What the call does is the derived class's: log it, or pass
/// it on.

/// Stacks `Layer<T, ...>` for each `T` on `Base`: one override for each type of a family of overloads.
template <template <class, class> class Layer, class Base, class... Ts> struct LayerStack {
  using Type = Base;
};
template <template <class, class> class Layer, class Base, class T, class... Ts>
struct LayerStack<Layer, Base, T, Ts...> {
  using Type = Layer<T, typename LayerStack<Layer, Base, Ts...>::Type>;
};

/// The bottom of a stack: `Interface` with the way from a slot to the handler. `Handle` names its operation
/// as a type, so that the right overload is taken.
template <class Self, class Interface> class SlotsBase : public Interface {
 protected:
  using Field = cls_FieldHandle const&;
  using Uid = cls_Uid const&;

  template <class Signature, class... Args>
  auto Pass(char const* name, Signature Interface::*operation, Args const&... args) const {
    return static_cast<Self const&>(*this).Handle(name, operation, args...);
  }
};

template <class T, class Base> class ScalarWrites : public Base {
 public:
  using Base::Write;
  void Write(cls_FieldHandle const& field, T const& value) override {
    this->template Pass<void(cls_FieldHandle const&, T const&)>("Write", &cls_MementoWrite::Write, field,
                                                                value);
  }
};

template <class T, class Base> class ListWrites : public Base {
 public:
  using Base::MakeWriteListPrim;
  cls_WriteListPrim<T>* MakeWriteListPrim(T const* tag, int width) override {
    return this->template Pass<cls_WriteListPrim<T>*(T const*, int)>(
        "MakeWriteListPrim", &cls_MementoWrite::MakeWriteListPrim, tag, width);
  }
};

template <class T, class Base> class MapWrites : public Base {
 public:
  using Base::MakeWriteMapInt2Prim;
  using Base::MakeWriteMapString2Prim;
  cls_WriteMapInt2Prim<T>* MakeWriteMapInt2Prim(T const* tag) override {
    return this->template Pass<cls_WriteMapInt2Prim<T>*(T const*)>(
        "MakeWriteMapInt2Prim", &cls_MementoWrite::MakeWriteMapInt2Prim, tag);
  }
  cls_WriteMapString2Prim<T>* MakeWriteMapString2Prim(T const* tag) override {
    return this->template Pass<cls_WriteMapString2Prim<T>*(T const*)>(
        "MakeWriteMapString2Prim", &cls_MementoWrite::MakeWriteMapString2Prim, tag);
  }
};

template <class T, class Base> class ListAgentWrites : public Base {
 public:
  using Base::MakeAgentListPrim;
  cls_AgentListPrim<T>* MakeAgentListPrim(T const* tag, int sizeHint) override {
    return this->template Pass<cls_AgentListPrim<T>*(T const*, int)>(
        "MakeAgentListPrim", &cls_MementoWrite::MakeAgentListPrim, tag, sizeHint);
  }
};

template <class K, class Base> class MapAgentWrites : public Base {
 public:
  using Base::MakeAgentMapKey2Obj;
  cls_AgentMapKey2Obj<K>* MakeAgentMapKey2Obj(K const* tag, int sizeHint) override {
    return this->template Pass<cls_AgentMapKey2Obj<K>*(K const*, int)>(
        "MakeAgentMapKey2Obj", &cls_MementoWrite::MakeAgentMapKey2Obj, tag, sizeHint);
  }
};

template <class Self> using WriteSlotsBase = SlotsBase<Self, cls_MementoWrite>;
template <class Base>
using WithScalarWrites =
    typename LayerStack<ScalarWrites, Base, bool, cow_String, float, double, unsigned int, int, signed char,
                        short, unsigned short, long long, unsigned long long>::Type;
template <class Base>
using WithListWrites =
    typename LayerStack<ListWrites, Base, bool, cow_String, float, double, unsigned int, int>::Type;
template <class Base>
using WithMapWrites =
    typename LayerStack<MapWrites, Base, cow_String, float, double, unsigned int, int>::Type;
template <class Base>
using WithListAgentWrites =
    typename LayerStack<ListAgentWrites, Base, bool, double, float, int, cow_String, unsigned int>::Type;
template <class Base>
using WithMapAgentWrites = typename LayerStack<MapAgentWrites, Base, int, cow_String>::Type;

/// Every slot of cls_MementoWrite.
template <class Self>
class MementoWriteSlots
    : public WithScalarWrites<
          WithListWrites<WithMapWrites<WithListAgentWrites<WithMapAgentWrites<WriteSlotsBase<Self>>>>>> {
  using M = cls_MementoWrite;
  using Field = cls_FieldHandle const&;
  using Uid = cls_Uid const&;
  using Cow = cow_COW<int, cow_Direct<int>> const*;

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
  cls_WriteMapInt2Obj* MakeWriteMapInt2Obj() override {
    return this->Pass("MakeWriteMapInt2Obj", &M::MakeWriteMapInt2Obj);
  }
  cls_WriteMapString2Obj* MakeWriteMapString2Obj() override {
    return this->Pass("MakeWriteMapString2Obj", &M::MakeWriteMapString2Obj);
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

template <class T, class Base> class ScalarReads : public Base {
 public:
  using Base::Read;
  T Read(cls_FieldHandle const& field, T const& defaultValue) override {
    return this->template Pass<T(cls_FieldHandle const&, T const&)>("Read", &cls_MementoRead::Read, field,
                                                                    defaultValue);
  }
};

template <class T, class Base> class ListReads : public Base {
 public:
  using Base::MakeReadListPrim;
  cls_ReadListPrim<T>* MakeReadListPrim(T* tag) override {
    return this->template Pass<cls_ReadListPrim<T>*(T*)>("MakeReadListPrim",
                                                         &cls_MementoRead::MakeReadListPrim, tag);
  }
};

template <class T, class Base> class MapReads : public Base {
 public:
  using Base::MakeReadMapInt2Prim;
  using Base::MakeReadMapString2Prim;
  cls_ReadMapInt2Prim<T>* MakeReadMapInt2Prim(T* tag) override {
    return this->template Pass<cls_ReadMapInt2Prim<T>*(T*)>("MakeReadMapInt2Prim",
                                                            &cls_MementoRead::MakeReadMapInt2Prim, tag);
  }
  cls_ReadMapString2Prim<T>* MakeReadMapString2Prim(T* tag) override {
    return this->template Pass<cls_ReadMapString2Prim<T>*(T*)>("MakeReadMapString2Prim",
                                                               &cls_MementoRead::MakeReadMapString2Prim, tag);
  }
};

template <class T, class Base> class ListAgentReads : public Base {
 public:
  using Base::MakeAgentListPrim;
  cls_AgentListPrim<T>* MakeAgentListPrim(T* tag) override {
    return this->template Pass<cls_AgentListPrim<T>*(T*)>("MakeAgentListPrim",
                                                          &cls_MementoRead::MakeAgentListPrim, tag);
  }
};

template <class K, class Base> class MapAgentReads : public Base {
 public:
  using Base::MakeAgentMapKey2Obj;
  cls_AgentMapKey2Obj<K>* MakeAgentMapKey2Obj(K* tag) override {
    return this->template Pass<cls_AgentMapKey2Obj<K>*(K*)>("MakeAgentMapKey2Obj",
                                                            &cls_MementoRead::MakeAgentMapKey2Obj, tag);
  }
};

template <class Self> using ReadSlotsBase = SlotsBase<Self, cls_MementoRead>;
template <class Base>
using WithScalarReads =
    typename LayerStack<ScalarReads, Base, bool, cow_String, float, double, unsigned int, int, signed char,
                        short, unsigned short, long long, unsigned long long>::Type;
template <class Base>
using WithListReads =
    typename LayerStack<ListReads, Base, bool, cow_String, float, double, unsigned int, int>::Type;
template <class Base>
using WithMapReads = typename LayerStack<MapReads, Base, cow_String, float, double, unsigned int, int>::Type;
template <class Base>
using WithListAgentReads =
    typename LayerStack<ListAgentReads, Base, bool, double, float, int, cow_String, unsigned int>::Type;
template <class Base>
using WithMapAgentReads = typename LayerStack<MapAgentReads, Base, int, cow_String>::Type;

/// Every slot of cls_MementoRead.
template <class Self>
class MementoReadSlots
    : public WithScalarReads<
          WithListReads<WithMapReads<WithListAgentReads<WithMapAgentReads<ReadSlotsBase<Self>>>>>> {
  using M = cls_MementoRead;
  using Field = cls_FieldHandle const&;

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
  cls_ReadMapInt2Obj* MakeReadMapInt2Obj() override {
    return this->Pass("MakeReadMapInt2Obj", &M::MakeReadMapInt2Obj);
  }
  cls_ReadMapString2Obj* MakeReadMapString2Obj() override {
    return this->Pass("MakeReadMapString2Obj", &M::MakeReadMapString2Obj);
  }
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
