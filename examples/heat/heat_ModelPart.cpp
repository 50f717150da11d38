#include "examples/heat/heat_ModelPart.h"

#include "persist/adapters/cls_TypeAdapter.h"
#include "store/sto_Shared.h"

namespace {

cls_FieldHandle NameField() {
  return {0, "m_Name"_cow};
}
cls_FieldHandle NextField() {
  return {1, "m_Next"_cow};
}

} // namespace

heat_ModelPart::heat_ModelPart(cls_ReadVisitor const& visitor)
    : m_Name(visitor.Read(NameField(), cow_String())),
      m_Next(sto_ReadShared<heat_ModelPart>(visitor, NextField())), m_Uid(visitor.GetUid()) {}

void heat_ModelPart::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  visitor.Write(NameField(), m_Name);
  heat_WriteField(visitor, NextField(), m_Next.get());
}

void heat_ModelPart::Declare(cls_ClassRegistrar& registrar) {
  registrar.AddClassMD(new cls_TypeAdapter<heat_ModelPart>("heat_ModelPart"_cow, 1, 1))
      .AddAttribute(NameField(), ATTR_STRING, 1, COLLECTION_NONE)
      .AddAttribute(NextField(), ATTR_OBJECT, 1, COLLECTION_NONE);
}
