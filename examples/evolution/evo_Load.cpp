#include "examples/evolution/evo_Load.h"

#include "examples/evolution/evo_Print.h"
#include "persist/adapters/cls_TypeAdapter.h"

namespace {

cls_FieldHandle CaseField() {
  return {0, "m_Case"_cow};
}
cls_FieldHandle LineLoadField() {
  return {1, "m_LineLoad"_cow};
}

} // namespace

evo_Load::evo_Load(cls_ReadVisitor const& visitor)
    : m_Case(visitor.Read(CaseField(), cow_String())), m_LineLoad(visitor.Read(LineLoadField(), 0.0)),
      m_Uid(visitor.GetUid()) {}

void evo_Load::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  visitor.Write(CaseField(), m_Case);
  visitor.Write(LineLoadField(), m_LineLoad);
}

void evo_Load::Declare(cls_ClassRegistrar& registrar) {
  registrar.AddClassMD(new cls_TypeAdapter<evo_Load>("Load"_cow, 1, cls_ClassMetadata::RootClassId))
      .AddAttribute(CaseField(), ATTR_STRING, 1, COLLECTION_NONE)
      .AddAttribute(LineLoadField(), ATTR_DOUBLE, 1, COLLECTION_NONE);
}

void evo_Load::Print() const {
  evo_Print::Text("load case", m_Case);
  evo_Print::Number("line load", m_LineLoad, "N/m");
}
