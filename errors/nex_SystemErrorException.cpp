#include "errors/nex_SystemErrorException.h"

#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "platform/atr/atr_translate.h"

namespace {

// The field names are stored. Members of a value are written by name only: with a dot, without a number.
cls_FieldHandle NativeField() {
  return cls_FieldHandle("m_Value.m_NativeErrorCode"_cow);
}
cls_FieldHandle RuntimeField() {
  return cls_FieldHandle("m_Value.m_CRTErrorCode"_cow);
}

} // namespace

nex_SystemErrorException::nex_SystemErrorException(cls_ReadVisitor const& visitor)
    : nex_Exception(cls_ReadVisitor(visitor)), m_Value(COW_ERRORCODE_NONE), m_Uid(visitor.GetUid()) {
  // Intentional: the identity is read before the fields. Most other classes read it after them.
  m_Value.m_NativeErrorCode = visitor.Read(NativeField(), 0U);
  m_Value.m_CRTErrorCode = visitor.Read(RuntimeField(), 0);
}

atr_String nex_SystemErrorException::AsString() {
  atr_translate text("%s");
  atr_SubstituteFormat(text, 1, atr_StringBase(m_Value.GetText()));
  return text.Result();
}

void nex_SystemErrorException::Propagate() const {
  throw nex_SystemErrorException(*this);
}

nex_Exception* nex_SystemErrorException::Copy() const {
  return new nex_SystemErrorException(*this);
}

unsigned int nex_SystemErrorException::DynTypeId() const {
  return TypeId();
}

void nex_SystemErrorException::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  nex_Exception::DBWrite(cls_WriteVisitor(visitor, nex_Exception::TypeId()));
  visitor.Write(NativeField(), m_Value.m_NativeErrorCode);
  // Intentional: written as unsigned but read as signed. The 32 bits are read back unchanged.
  visitor.Write(RuntimeField(), static_cast<unsigned int>(m_Value.m_CRTErrorCode));
}
