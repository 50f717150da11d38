#pragma once

#include <type_traits>

#include "persist/backend/cls_CollectionTypeIds.h"
#include "persist/backend/cls_DeleteWhenNeeded.h"
#include "persist/backend/cls_MementoWrite.h"
#include "persist/backend/cls_WriteMapPrim.h"
#include "persist/backend/cls_WriteObjects.h"

/// The builder of a map from `K` (int or cow_String) to values of `T`.
template <class K, class T>
using cls_WriteMapOf =
    std::conditional_t<std::is_same_v<K, int>, cls_WriteMapInt2Prim<T>, cls_WriteMapString2Prim<T>>;

/// The builder of a map from `K` (int or cow_String) to objects.
template <class K>
using cls_WriteObjectMapOf =
    std::conditional_t<std::is_same_v<K, int>, cls_WriteMapInt2Obj, cls_WriteMapString2Obj>;

/// Base of a back end's writing memento. Many operations of cls_MementoWrite differ in a type only; this
/// class overrides each such family and calls one template member of `Self`, which derives from it.
///
///     class MyWriter : public cls_TypedMementoWrite<MyWriter> {
///       friend cls_TypedMementoWrite<MyWriter>; // the members below may be private
///       template <class T> void WriteScalar(cls_FieldHandle const& field, T const& value);
///       ...
///     };
///
/// `Self` must have these member templates. A missing one is a compile error, because an operation that did
/// nothing would lose data. They take the arguments of the operations that they answer; a `tag` selects
/// the type and must not be read. Elements are bool, cow_String, float, double, unsigned int and int; map
/// values the same without bool; keys are int and cow_String.
///
///     // Write, for elements and signed char, short, unsigned short, long long, unsigned long long:
///     template <class T> void WriteScalar(cls_FieldHandle const& field, T const& value);
///     // MakeWriteListPrim, for elements:
///     template <class T> cls_WriteListPrim<T>* MakeListOf(T const* tag, int width);
///     // MakeWriteMapInt2Prim and MakeWriteMapString2Prim, for keys and map values:
///     template <class K, class T> cls_WriteMapOf<K, T>* MakeMapOf(T const* tag);
///     // MakeWriteMapInt2Obj and MakeWriteMapString2Obj, for keys:
///     template <class K> cls_WriteObjectMapOf<K>* MakeObjectMapOf();
///     // MakeAgentListPrim, for elements:
///     template <class T> cls_AgentListPrim<T>* MakeListAgentOf(T const* tag, int sizeHint);
///     // MakeAgentMapKey2Obj, for keys:
///     template <class K> cls_AgentMapKey2Obj<K>* MakeObjectMapAgentOf(K const* tag, int sizeHint);
///
/// MakeFieldWriteListObj, MakeFieldWriteMapInt2Obj, MakeFieldWriteMapString2Obj and MakeFieldWriteIntTableInt
/// have a default here: they make the memento of the collection with MakeFieldWriteObj (class 0x230001 for a
/// list, 0x230002 for a map and an int table, null as object), make the builder with it, and delete the
/// memento if that needs deletion. They return null when the memento is null. `Self` overrides them when its
/// builders cannot outlive their memento.
///
/// `Self` overrides the remaining operations of cls_MementoWrite itself. It may also override one type of a
/// family; then it names the others as well: `using cls_TypedMementoWrite<MyWriter>::Write;`.
///
/// Cost: one virtual call, as without this class; the call of `Self` is static and inlined. No slot moves.
/// When the members of `Self` are defined in a source file, declare `extern template class
/// cls_TypedMementoWrite<MyWriter>;` behind `Self` and instantiate it in that file.
///
/// Ownership, thread rule and errors are those of cls_MementoWrite. The constructor and the destructor call
/// nothing of `Self`.
template <class Self> class cls_TypedMementoWrite : public cls_MementoWrite {
 public:
  void Write(cls_FieldHandle const& field, bool const& value) override {
    TypedSelf().WriteScalar(field, value);
  }
  void Write(cls_FieldHandle const& field, cow_String const& value) override {
    TypedSelf().WriteScalar(field, value);
  }
  void Write(cls_FieldHandle const& field, float const& value) override {
    TypedSelf().WriteScalar(field, value);
  }
  void Write(cls_FieldHandle const& field, double const& value) override {
    TypedSelf().WriteScalar(field, value);
  }
  void Write(cls_FieldHandle const& field, unsigned int const& value) override {
    TypedSelf().WriteScalar(field, value);
  }
  void Write(cls_FieldHandle const& field, int const& value) override {
    TypedSelf().WriteScalar(field, value);
  }
  void Write(cls_FieldHandle const& field, signed char const& value) override {
    TypedSelf().WriteScalar(field, value);
  }
  void Write(cls_FieldHandle const& field, short const& value) override {
    TypedSelf().WriteScalar(field, value);
  }
  void Write(cls_FieldHandle const& field, unsigned short const& value) override {
    TypedSelf().WriteScalar(field, value);
  }
  void Write(cls_FieldHandle const& field, long long const& value) override {
    TypedSelf().WriteScalar(field, value);
  }
  void Write(cls_FieldHandle const& field, unsigned long long const& value) override {
    TypedSelf().WriteScalar(field, value);
  }

  cls_WriteListPrim<bool>* MakeWriteListPrim(bool const* tag, int width) override {
    return TypedSelf().MakeListOf(tag, width);
  }
  cls_WriteListPrim<cow_String>* MakeWriteListPrim(cow_String const* tag, int width) override {
    return TypedSelf().MakeListOf(tag, width);
  }
  cls_WriteListPrim<float>* MakeWriteListPrim(float const* tag, int width) override {
    return TypedSelf().MakeListOf(tag, width);
  }
  cls_WriteListPrim<double>* MakeWriteListPrim(double const* tag, int width) override {
    return TypedSelf().MakeListOf(tag, width);
  }
  cls_WriteListPrim<unsigned int>* MakeWriteListPrim(unsigned int const* tag, int width) override {
    return TypedSelf().MakeListOf(tag, width);
  }
  cls_WriteListPrim<int>* MakeWriteListPrim(int const* tag, int width) override {
    return TypedSelf().MakeListOf(tag, width);
  }

  cls_WriteMapInt2Prim<cow_String>* MakeWriteMapInt2Prim(cow_String const* tag) override {
    return TypedSelf().template MakeMapOf<int>(tag);
  }
  cls_WriteMapInt2Prim<float>* MakeWriteMapInt2Prim(float const* tag) override {
    return TypedSelf().template MakeMapOf<int>(tag);
  }
  cls_WriteMapInt2Prim<double>* MakeWriteMapInt2Prim(double const* tag) override {
    return TypedSelf().template MakeMapOf<int>(tag);
  }
  cls_WriteMapInt2Prim<unsigned int>* MakeWriteMapInt2Prim(unsigned int const* tag) override {
    return TypedSelf().template MakeMapOf<int>(tag);
  }
  cls_WriteMapInt2Prim<int>* MakeWriteMapInt2Prim(int const* tag) override {
    return TypedSelf().template MakeMapOf<int>(tag);
  }

  cls_WriteMapString2Prim<unsigned int>* MakeWriteMapString2Prim(unsigned int const* tag) override {
    return TypedSelf().template MakeMapOf<cow_String>(tag);
  }
  cls_WriteMapString2Prim<cow_String>* MakeWriteMapString2Prim(cow_String const* tag) override {
    return TypedSelf().template MakeMapOf<cow_String>(tag);
  }
  cls_WriteMapString2Prim<int>* MakeWriteMapString2Prim(int const* tag) override {
    return TypedSelf().template MakeMapOf<cow_String>(tag);
  }
  cls_WriteMapString2Prim<float>* MakeWriteMapString2Prim(float const* tag) override {
    return TypedSelf().template MakeMapOf<cow_String>(tag);
  }
  cls_WriteMapString2Prim<double>* MakeWriteMapString2Prim(double const* tag) override {
    return TypedSelf().template MakeMapOf<cow_String>(tag);
  }

  cls_WriteMapInt2Obj* MakeWriteMapInt2Obj() override { return TypedSelf().template MakeObjectMapOf<int>(); }
  cls_WriteMapString2Obj* MakeWriteMapString2Obj() override {
    return TypedSelf().template MakeObjectMapOf<cow_String>();
  }

  cls_AgentListPrim<bool>* MakeAgentListPrim(bool const* tag, int sizeHint) override {
    return TypedSelf().MakeListAgentOf(tag, sizeHint);
  }
  cls_AgentListPrim<double>* MakeAgentListPrim(double const* tag, int sizeHint) override {
    return TypedSelf().MakeListAgentOf(tag, sizeHint);
  }
  cls_AgentListPrim<float>* MakeAgentListPrim(float const* tag, int sizeHint) override {
    return TypedSelf().MakeListAgentOf(tag, sizeHint);
  }
  cls_AgentListPrim<int>* MakeAgentListPrim(int const* tag, int sizeHint) override {
    return TypedSelf().MakeListAgentOf(tag, sizeHint);
  }
  cls_AgentListPrim<cow_String>* MakeAgentListPrim(cow_String const* tag, int sizeHint) override {
    return TypedSelf().MakeListAgentOf(tag, sizeHint);
  }
  cls_AgentListPrim<unsigned int>* MakeAgentListPrim(unsigned int const* tag, int sizeHint) override {
    return TypedSelf().MakeListAgentOf(tag, sizeHint);
  }

  cls_AgentMapKey2Obj<int>* MakeAgentMapKey2Obj(int const* tag, int sizeHint) override {
    return TypedSelf().MakeObjectMapAgentOf(tag, sizeHint);
  }
  cls_AgentMapKey2Obj<cow_String>* MakeAgentMapKey2Obj(cow_String const* tag, int sizeHint) override {
    return TypedSelf().MakeObjectMapAgentOf(tag, sizeHint);
  }

  cls_WriteListObj* MakeFieldWriteListObj(cls_FieldHandle const& field, cls_Uid const& uid) override {
    cls_Received<cls_MementoWrite> const list = MakeTypedCollection(field, cls_InternalListTypeId, uid);
    return list == nullptr ? nullptr : list->MakeWriteListObj();
  }
  cls_WriteMapInt2Obj* MakeFieldWriteMapInt2Obj(cls_FieldHandle const& field, cls_Uid const& uid) override {
    cls_Received<cls_MementoWrite> const map = MakeTypedCollection(field, cls_InternalMapTypeId, uid);
    return map == nullptr ? nullptr : map->MakeWriteMapInt2Obj();
  }
  cls_WriteMapString2Obj* MakeFieldWriteMapString2Obj(cls_FieldHandle const& field,
                                                      cls_Uid const& uid) override {
    cls_Received<cls_MementoWrite> const map = MakeTypedCollection(field, cls_InternalMapTypeId, uid);
    return map == nullptr ? nullptr : map->MakeWriteMapString2Obj();
  }
  cls_WriteIntTableInt* MakeFieldWriteIntTableInt(cls_FieldHandle const& field, cls_Uid const& uid) override {
    cls_Received<cls_MementoWrite> const table = MakeTypedCollection(field, cls_InternalMapTypeId, uid);
    return table == nullptr ? nullptr : table->MakeWriteIntTableInt();
  }

 private:
  // Long names: they must not hide names that `Self` uses.
  [[nodiscard]] Self& TypedSelf() noexcept { return static_cast<Self&>(*this); }
  [[nodiscard]] cls_Received<cls_MementoWrite> MakeTypedCollection(cls_FieldHandle const& field,
                                                                   unsigned int classId, cls_Uid const& uid) {
    return cls_Received<cls_MementoWrite>(this->MakeFieldWriteObj(field, classId, uid, nullptr));
  }
};
