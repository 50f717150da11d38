#pragma once

#include <type_traits>

#include "persist/backend/cls_DeleteWhenNeeded.h"
#include "persist/backend/cls_MementoRead.h"
#include "persist/backend/cls_ReadMapPrim.h"
#include "persist/backend/cls_ReadObjects.h"

/// The cursor over a map from `K` (int or cow_String) to values of `T`.
template <class K, class T>
using cls_ReadMapOf =
    std::conditional_t<std::is_same_v<K, int>, cls_ReadMapInt2Prim<T>, cls_ReadMapString2Prim<T>>;

/// The cursor over a map from `K` (int or cow_String) to objects.
template <class K>
using cls_ReadObjectMapOf =
    std::conditional_t<std::is_same_v<K, int>, cls_ReadMapInt2Obj, cls_ReadMapString2Obj>;

/// Base of a back end's reading memento: cls_TypedMementoWrite for the other direction. It overrides each
/// family of operations of cls_MementoRead that differ in a type only, and calls one template member of
/// `Self`, which derives from it.
///
///     class MyReader : public cls_TypedMementoRead<MyReader> {
///       friend cls_TypedMementoRead<MyReader>; // the members below may be private
///       template <class T> T ReadScalar(cls_FieldHandle const& field, T const& defaultValue);
///       ...
///     };
///
/// `Self` must have these member templates; a missing one is a compile error. They take the arguments of the
/// operations that they answer; a `tag` selects the type and must not be read. Elements are bool,
/// cow_String, float, double, unsigned int and int; map values the same without bool; keys are int and
/// cow_String.
///
///     // Read, for elements and signed char, short, unsigned short, long long, unsigned long long:
///     template <class T> T ReadScalar(cls_FieldHandle const& field, T const& defaultValue);
///     // MakeReadListPrim, for elements:
///     template <class T> cls_ReadListPrim<T>* MakeListOf(T* tag);
///     // MakeReadMapInt2Prim and MakeReadMapString2Prim, for keys and map values:
///     template <class K, class T> cls_ReadMapOf<K, T>* MakeMapOf(T* tag);
///     // MakeReadMapInt2Obj and MakeReadMapString2Obj, for keys:
///     template <class K> cls_ReadObjectMapOf<K>* MakeObjectMapOf();
///     // MakeAgentListPrim, for elements:
///     template <class T> cls_AgentListPrim<T>* MakeListAgentOf(T* tag);
///     // MakeAgentMapKey2Obj, for keys:
///     template <class K> cls_AgentMapKey2Obj<K>* MakeObjectMapAgentOf(K* tag);
///
/// MakeFieldReadListObj, MakeFieldReadMapInt2Obj, MakeFieldReadMapString2Obj and MakeFieldReadIntTableInt
/// have a default here: they make the memento of the collection with MakeFieldReadObj, make the cursor with
/// it, and delete the memento if that needs deletion. `Self` overrides them when its cursors cannot outlive
/// their memento.
///
/// `Self` overrides the remaining operations of cls_MementoRead itself. It may also override one type of a
/// family; then it names the others as well: `using cls_TypedMementoRead<MyReader>::Read;`.
///
/// Cost: one virtual call, as without this class; the call of `Self` is static and inlined. No slot moves.
/// When the members of `Self` are defined in a source file, declare `extern template class
/// cls_TypedMementoRead<MyReader>;` behind `Self` and instantiate it in that file.
///
/// Ownership, thread rule and errors are those of cls_MementoRead. The constructor and the destructor call
/// nothing of `Self`.
template <class Self> class cls_TypedMementoRead : public cls_MementoRead {
 public:
  bool Read(cls_FieldHandle const& field, bool const& defaultValue) override {
    return TypedSelf().ReadScalar(field, defaultValue);
  }
  cow_String Read(cls_FieldHandle const& field, cow_String const& defaultValue) override {
    return TypedSelf().ReadScalar(field, defaultValue);
  }
  float Read(cls_FieldHandle const& field, float const& defaultValue) override {
    return TypedSelf().ReadScalar(field, defaultValue);
  }
  double Read(cls_FieldHandle const& field, double const& defaultValue) override {
    return TypedSelf().ReadScalar(field, defaultValue);
  }
  unsigned int Read(cls_FieldHandle const& field, unsigned int const& defaultValue) override {
    return TypedSelf().ReadScalar(field, defaultValue);
  }
  int Read(cls_FieldHandle const& field, int const& defaultValue) override {
    return TypedSelf().ReadScalar(field, defaultValue);
  }
  signed char Read(cls_FieldHandle const& field, signed char const& defaultValue) override {
    return TypedSelf().ReadScalar(field, defaultValue);
  }
  short Read(cls_FieldHandle const& field, short const& defaultValue) override {
    return TypedSelf().ReadScalar(field, defaultValue);
  }
  unsigned short Read(cls_FieldHandle const& field, unsigned short const& defaultValue) override {
    return TypedSelf().ReadScalar(field, defaultValue);
  }
  long long Read(cls_FieldHandle const& field, long long const& defaultValue) override {
    return TypedSelf().ReadScalar(field, defaultValue);
  }
  unsigned long long Read(cls_FieldHandle const& field, unsigned long long const& defaultValue) override {
    return TypedSelf().ReadScalar(field, defaultValue);
  }

  cls_ReadListPrim<bool>* MakeReadListPrim(bool* tag) override { return TypedSelf().MakeListOf(tag); }
  cls_ReadListPrim<cow_String>* MakeReadListPrim(cow_String* tag) override {
    return TypedSelf().MakeListOf(tag);
  }
  cls_ReadListPrim<float>* MakeReadListPrim(float* tag) override { return TypedSelf().MakeListOf(tag); }
  cls_ReadListPrim<double>* MakeReadListPrim(double* tag) override { return TypedSelf().MakeListOf(tag); }
  cls_ReadListPrim<unsigned int>* MakeReadListPrim(unsigned int* tag) override {
    return TypedSelf().MakeListOf(tag);
  }
  cls_ReadListPrim<int>* MakeReadListPrim(int* tag) override { return TypedSelf().MakeListOf(tag); }

  cls_ReadMapInt2Prim<cow_String>* MakeReadMapInt2Prim(cow_String* tag) override {
    return TypedSelf().template MakeMapOf<int>(tag);
  }
  cls_ReadMapInt2Prim<float>* MakeReadMapInt2Prim(float* tag) override {
    return TypedSelf().template MakeMapOf<int>(tag);
  }
  cls_ReadMapInt2Prim<double>* MakeReadMapInt2Prim(double* tag) override {
    return TypedSelf().template MakeMapOf<int>(tag);
  }
  cls_ReadMapInt2Prim<unsigned int>* MakeReadMapInt2Prim(unsigned int* tag) override {
    return TypedSelf().template MakeMapOf<int>(tag);
  }
  cls_ReadMapInt2Prim<int>* MakeReadMapInt2Prim(int* tag) override {
    return TypedSelf().template MakeMapOf<int>(tag);
  }

  cls_ReadMapString2Prim<unsigned int>* MakeReadMapString2Prim(unsigned int* tag) override {
    return TypedSelf().template MakeMapOf<cow_String>(tag);
  }
  cls_ReadMapString2Prim<cow_String>* MakeReadMapString2Prim(cow_String* tag) override {
    return TypedSelf().template MakeMapOf<cow_String>(tag);
  }
  cls_ReadMapString2Prim<int>* MakeReadMapString2Prim(int* tag) override {
    return TypedSelf().template MakeMapOf<cow_String>(tag);
  }
  cls_ReadMapString2Prim<float>* MakeReadMapString2Prim(float* tag) override {
    return TypedSelf().template MakeMapOf<cow_String>(tag);
  }
  cls_ReadMapString2Prim<double>* MakeReadMapString2Prim(double* tag) override {
    return TypedSelf().template MakeMapOf<cow_String>(tag);
  }

  cls_ReadMapInt2Obj* MakeReadMapInt2Obj() override { return TypedSelf().template MakeObjectMapOf<int>(); }
  cls_ReadMapString2Obj* MakeReadMapString2Obj() override {
    return TypedSelf().template MakeObjectMapOf<cow_String>();
  }

  cls_AgentListPrim<bool>* MakeAgentListPrim(bool* tag) override { return TypedSelf().MakeListAgentOf(tag); }
  cls_AgentListPrim<double>* MakeAgentListPrim(double* tag) override {
    return TypedSelf().MakeListAgentOf(tag);
  }
  cls_AgentListPrim<float>* MakeAgentListPrim(float* tag) override {
    return TypedSelf().MakeListAgentOf(tag);
  }
  cls_AgentListPrim<int>* MakeAgentListPrim(int* tag) override { return TypedSelf().MakeListAgentOf(tag); }
  cls_AgentListPrim<cow_String>* MakeAgentListPrim(cow_String* tag) override {
    return TypedSelf().MakeListAgentOf(tag);
  }
  cls_AgentListPrim<unsigned int>* MakeAgentListPrim(unsigned int* tag) override {
    return TypedSelf().MakeListAgentOf(tag);
  }

  cls_AgentMapKey2Obj<int>* MakeAgentMapKey2Obj(int* tag) override {
    return TypedSelf().MakeObjectMapAgentOf(tag);
  }
  cls_AgentMapKey2Obj<cow_String>* MakeAgentMapKey2Obj(cow_String* tag) override {
    return TypedSelf().MakeObjectMapAgentOf(tag);
  }

  cls_ReadListObj* MakeFieldReadListObj(cls_FieldHandle const& field) override {
    return MakeTypedCollection(field)->MakeReadListObj();
  }
  cls_ReadMapInt2Obj* MakeFieldReadMapInt2Obj(cls_FieldHandle const& field) override {
    return MakeTypedCollection(field)->MakeReadMapInt2Obj();
  }
  cls_ReadMapString2Obj* MakeFieldReadMapString2Obj(cls_FieldHandle const& field) override {
    return MakeTypedCollection(field)->MakeReadMapString2Obj();
  }
  cls_ReadIntTableInt* MakeFieldReadIntTableInt(cls_FieldHandle const& field) override {
    return MakeTypedCollection(field)->MakeReadIntTableInt();
  }

 private:
  // Long names: they must not hide names that `Self` uses.
  [[nodiscard]] Self& TypedSelf() noexcept { return static_cast<Self&>(*this); }
  [[nodiscard]] cls_Received<cls_MementoRead> MakeTypedCollection(cls_FieldHandle const& field) {
    return cls_Received<cls_MementoRead>(this->MakeFieldReadObj(field));
  }
};
