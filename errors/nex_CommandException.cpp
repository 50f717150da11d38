#include "errors/nex_CommandException.h"

#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "platform/atr/atr_translate.h"

nex_CommandException::nex_CommandException(cls_ReadVisitor const& visitor)
    : nex_Exception(cls_ReadVisitor(visitor)), m_Uid(visitor.GetUid()) {}

atr_String nex_CommandException::AsString() {
  atr_translate prefix("%s: ");
  atr_SubstituteFormat(prefix, 1, CommandName());
  atr_String text = prefix.Result();
  text.Append(CommandMessage());
  return text;
}

unsigned int nex_CommandException::DynTypeId() const {
  return TypeId();
}

void nex_CommandException::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  nex_Exception::DBWrite(cls_WriteVisitor(visitor, nex_Exception::TypeId()));
}
