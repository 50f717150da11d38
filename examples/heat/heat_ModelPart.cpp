#include "examples/heat/heat_ModelPart.h"

heat_ModelPart::heat_ModelPart(cls_ReadVisitor const& visitor)
    : m_Name(visitor.Read(cls_FieldHandle(0, "m_Name"_cow), ""_cow)), m_Uid(visitor.GetUid()) {}

void heat_ModelPart::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  visitor.Write(cls_FieldHandle(0, "m_Name"_cow), m_Name);
}
