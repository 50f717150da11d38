#include "errors/nex_AssertException.h"

#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "platform/atr/atr_translate.h"

nex_AssertException::nex_AssertException(cls_ReadVisitor const& visitor)
    : nex_Exception(cls_ReadVisitor(visitor)),
      m_Value(visitor.Read(cls_FieldHandle(0, "m_Value"_cow), ""_cow)), m_Uid(visitor.GetUid()) {}

atr_String nex_AssertException::AsString() {
  atr_translate text("%s");
  atr_SubstituteFormat(text, 1, atr_StringBase(m_Value));
  return text.Result();
}

void nex_AssertException::Propagate() const {
  throw nex_AssertException(*this);
}

nex_Exception* nex_AssertException::Copy() const {
  return new nex_AssertException(*this);
}

unsigned int nex_AssertException::DynTypeId() const {
  return TypeId();
}

void nex_AssertException::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  nex_Exception::DBWrite(cls_WriteVisitor(visitor, nex_Exception::TypeId()));
  visitor.Write(cls_FieldHandle(0, "m_Value"_cow), m_Value);
}
