#include "errors/nex_ClassMetadata.h"

#include <memory>

#include "errors/nex_AssertException.h"
#include "errors/nex_BadCastException.h"
#include "errors/nex_CommandException.h"
#include "errors/nex_ExitException.h"
#include "errors/nex_InvalidObjException.h"
#include "errors/nex_OutOfMemoryException.h"
#include "errors/nex_SystemErrorException.h"
#include "errors/nex_TextException.h"
#include "persist/adapters/cls_TypeAdapter.h"
#include "persist/visitors/cls_FieldHandle.h"

namespace {

constexpr unsigned int NoBase = cls_ClassMetadata::RootClassId;
constexpr unsigned int Root = nex_Exception::TypeId();
constexpr int Version = 800;
constexpr int OutOfMemoryVersion = 871; // intentional: the only class with a newer version

constexpr cls_MetadataRegistrar::InitFn Functions[] = {
    &nex_ClassMetadata::DeclareAssertException,     &nex_ClassMetadata::DeclareBadCastException,
    &nex_ClassMetadata::DeclareCommandException,    &nex_ClassMetadata::DeclareException,
    &nex_ClassMetadata::DeclareExitException,       &nex_ClassMetadata::DeclareOutOfMemoryException,
    &nex_ClassMetadata::DeclareInvalidObjException, &nex_ClassMetadata::DeclareSystemErrorException,
    &nex_ClassMetadata::DeclareTextException,
};

/// Declares a field that is one plain value.
void AddValue(cls_ClassMetadata& metadata, cls_FieldHandle const& field, cls_AttributeType type) {
  metadata.AddAttribute(field, type, 1, COLLECTION_NONE);
}

/// Deletes the holder of a stored exception, and the exception if no other holder shares it.
/// `data` is a nex_ExceptionHolder on the heap, passed as a generic holder.
void DeleteHolder(cow_COW<int, cow_Direct<int>>* data) {
  delete reinterpret_cast<nex_ExceptionHolder*>(data);
}

} // namespace

void nex_ClassMetadata::DeclareException(cls_ClassRegistrar& registrar) {
  cls_ClassMetadata& metadata =
      registrar.AddClassMD(new cls_AbsTypeAdapter<nex_Exception>("nex_Exception"_cow, Version, NoBase));
  metadata.AddDtor(&DeleteHolder);
  AddValue(metadata, cls_FieldHandle(0, "m_FromFile"_cow), ATTR_STRING);
  AddValue(metadata, cls_FieldHandle(1, "m_FromLine"_cow), ATTR_INT);
}

void nex_ClassMetadata::DeclareTextException(cls_ClassRegistrar& registrar) {
  AddValue(
      registrar.AddClassMD(new cls_TypeAdapter<nex_TextException>("nex_TextException"_cow, Version, Root)),
      cls_FieldHandle(0, "m_Value"_cow), ATTR_TRSTRING);
}

void nex_ClassMetadata::DeclareCommandException(cls_ClassRegistrar& registrar) {
  registrar.AddClassMD(
      new cls_AbsTypeAdapter<nex_CommandException>("nex_CommandException"_cow, Version, Root));
}

void nex_ClassMetadata::DeclareAssertException(cls_ClassRegistrar& registrar) {
  AddValue(registrar.AddClassMD(
               new cls_TypeAdapter<nex_AssertException>("nex_AssertException"_cow, Version, Root)),
           cls_FieldHandle(0, "m_Value"_cow), ATTR_STRING);
}

void nex_ClassMetadata::DeclareBadCastException(cls_ClassRegistrar& registrar) {
  AddValue(registrar.AddClassMD(
               new cls_TypeAdapter<nex_BadCastException>("nex_BadCastException"_cow, Version, Root)),
           cls_FieldHandle(0, "m_Value"_cow), ATTR_TRSTRING);
}

void nex_ClassMetadata::DeclareExitException(cls_ClassRegistrar& registrar) {
  cls_ClassMetadata& metadata =
      registrar.AddClassMD(new cls_TypeAdapter<nex_ExitException>("nex_ExitException"_cow, Version, Root));
  AddValue(metadata, cls_FieldHandle("m_Value.m_Msg"_cow), ATTR_TRSTRING);
  AddValue(metadata, cls_FieldHandle("m_Value.m_Err"_cow), ATTR_INT);
}

void nex_ClassMetadata::DeclareInvalidObjException(cls_ClassRegistrar& registrar) {
  AddValue(registrar.AddClassMD(
               new cls_TypeAdapter<nex_InvalidObjException>("nex_InvalidObjException"_cow, Version, Root)),
           cls_FieldHandle(0, "m_Value"_cow), ATTR_TRSTRING);
}

void nex_ClassMetadata::DeclareSystemErrorException(cls_ClassRegistrar& registrar) {
  cls_ClassMetadata& metadata = registrar.AddClassMD(
      new cls_TypeAdapter<nex_SystemErrorException>("nex_SystemErrorException"_cow, Version, Root));
  AddValue(metadata, cls_FieldHandle("m_Value.m_NativeErrorCode"_cow), ATTR_UINT);
  AddValue(metadata, cls_FieldHandle("m_Value.m_CRTErrorCode"_cow), ATTR_INT);
}

void nex_ClassMetadata::DeclareOutOfMemoryException(cls_ClassRegistrar& registrar) {
  cls_ClassMetadata& metadata = registrar.AddClassMD(new cls_TypeAdapter<nex_OutOfMemoryException>(
      "nex_OutOfMemoryException"_cow, OutOfMemoryVersion, Root));
  AddValue(metadata, cls_FieldHandle(0, "m_Msg"_cow), ATTR_TRSTRING);
  AddValue(metadata, cls_FieldHandle(1, "m_Err"_cow), ATTR_INT);
}

std::span<cls_MetadataRegistrar::InitFn const> nex_ClassMetadata::InOrder() noexcept {
  return Functions;
}
