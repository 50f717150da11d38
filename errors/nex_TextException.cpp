#include "errors/nex_TextException.h"

#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"

nex_TextException::nex_TextException(cls_ReadVisitor const& visitor)
    : nex_Exception(cls_ReadVisitor(visitor)),
      m_Value(visitor.Read(cls_FieldHandle(0, "m_Value"_cow), atr_String(""_cow))), m_Uid(visitor.GetUid()) {}

atr_String nex_TextException::AsString() {
  return m_Value;
}

void nex_TextException::Propagate() const {
  throw nex_TextException(*this);
}

nex_Exception* nex_TextException::Copy() const {
  return new nex_TextException(*this);
}

unsigned int nex_TextException::DynTypeId() const {
  return TypeId();
}

void nex_TextException::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  nex_Exception::DBWrite(cls_WriteVisitor(visitor, nex_Exception::TypeId()));
  visitor.Write(cls_FieldHandle(0, "m_Value"_cow), m_Value);
}
