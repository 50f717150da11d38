#include "examples/evolution/evo_Part.h"

#include "persist/adapters/cls_TypeAdapter.h"

namespace {

cls_FieldHandle NameField() {
  return {0, "m_Name"_cow};
}

} // namespace

evo_Part::evo_Part(cls_ReadVisitor const& visitor)
    : m_Name(visitor.Read(NameField(), cow_String())), m_Uid(visitor.GetUid()) {}

void evo_Part::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  visitor.Write(NameField(), m_Name);
}

void evo_Part::Declare(cls_ClassRegistrar& registrar) {
  registrar.AddClassMD(new cls_TypeAdapter<evo_Part>("Part"_cow, 1, cls_ClassMetadata::RootClassId))
      .AddAttribute(NameField(), ATTR_STRING, 1, COLLECTION_NONE);
}
