#include "errors/nex_ExitException.h"

#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"

namespace {

// The field names are stored. Members of a value are written by name only: with a dot, without a number.
cls_FieldHandle MessageField() {
  return cls_FieldHandle("m_Value.m_Msg"_cow);
}
cls_FieldHandle CodeField() {
  return cls_FieldHandle("m_Value.m_Err"_cow);
}

} // namespace

nex_ExitException::nex_ExitException(cls_ReadVisitor const& visitor)
    : nex_Exception(cls_ReadVisitor(visitor)), m_Uid(visitor.GetUid()) {
  // Intentional: the identity is read before the fields. Most other classes read it after them.
  m_Value.m_Msg = visitor.Read(MessageField(), atr_String(""_cow));
  m_Value.m_Err = visitor.Read(CodeField(), 0);
}

atr_String nex_ExitException::AsString() {
  if (m_Value.m_Msg.Length() != 0) return m_Value.m_Msg;
  atr_String text("Exit code: ");
  text.Append(atr_StringBase(m_Value.m_Err));
  return text;
}

void nex_ExitException::Propagate() const {
  throw nex_ExitException(*this);
}

nex_Exception* nex_ExitException::Copy() const {
  return new nex_ExitException(*this);
}

unsigned int nex_ExitException::DynTypeId() const {
  return TypeId();
}

void nex_ExitException::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  nex_Exception::DBWrite(cls_WriteVisitor(visitor, nex_Exception::TypeId()));
  visitor.Write(MessageField(), m_Value.m_Msg);
  visitor.Write(CodeField(), m_Value.m_Err);
}
