#include "errors/nex_BadCastException.h"

#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"

nex_BadCastException::nex_BadCastException(cls_ReadVisitor const& visitor)
    : nex_Exception(cls_ReadVisitor(visitor)),
      m_Value(visitor.Read(cls_FieldHandle(0, "m_Value"_cow), atr_String(""_cow))), m_Uid(visitor.GetUid()) {}

atr_String nex_BadCastException::AsString() {
  return m_Value;
}

void nex_BadCastException::Propagate() const {
  throw nex_BadCastException(*this);
}

nex_Exception* nex_BadCastException::Copy() const {
  return new nex_BadCastException(*this);
}

unsigned int nex_BadCastException::DynTypeId() const {
  return TypeId();
}

void nex_BadCastException::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  nex_Exception::DBWrite(cls_WriteVisitor(visitor, nex_Exception::TypeId()));
  visitor.Write(cls_FieldHandle(0, "m_Value"_cow), m_Value);
}
