#include "examples/heat/model/heat_ModelPart.h"

#include "persist/adapters/cls_TypeAdapter.h"

namespace {

// The number 1 was m_Next. Numbers are never reused.
cls_FieldHandle NameField() {
  return {0, "m_Name"_cow};
}

} // namespace

heat_ModelPart::heat_ModelPart(cls_ReadVisitor const& visitor)
    : m_Name(visitor.Read(NameField(), cow_String())), m_Uid(visitor.GetUid()) {}

void heat_ModelPart::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  visitor.Write(NameField(), m_Name);
}

void heat_ModelPart::Declare(cls_ClassRegistrar& registrar) {
  registrar.AddClassMD(new cls_TypeAdapter<heat_ModelPart>("heat_ModelPart"_cow, 2, 1))
      .AddAttribute(NameField(), ATTR_STRING, 1, COLLECTION_NONE);
}
