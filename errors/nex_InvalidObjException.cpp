#include "errors/nex_InvalidObjException.h"

#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"

nex_InvalidObjException::nex_InvalidObjException(cls_ReadVisitor const& visitor)
    : nex_Exception(cls_ReadVisitor(visitor)),
      m_Value(visitor.Read(cls_FieldHandle(0, "m_Value"_cow), atr_String(""_cow))), m_Uid(visitor.GetUid()) {}

atr_String nex_InvalidObjException::AsString() {
  return m_Value;
}

void nex_InvalidObjException::Propagate() const {
  throw nex_InvalidObjException(*this);
}

nex_Exception* nex_InvalidObjException::Copy() const {
  return new nex_InvalidObjException(*this);
}

unsigned int nex_InvalidObjException::DynTypeId() const {
  return TypeId();
}

void nex_InvalidObjException::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  nex_Exception::DBWrite(cls_WriteVisitor(visitor, nex_Exception::TypeId()));
  visitor.Write(cls_FieldHandle(0, "m_Value"_cow), m_Value);
}
