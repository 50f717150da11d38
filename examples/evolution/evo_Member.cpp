#include "examples/evolution/evo_Member.h"

#include "persist/adapters/cls_TypeAdapter.h"

namespace {

cls_FieldHandle DensityField() {
  return {0, "m_Density"_cow};
}

} // namespace

evo_Member::evo_Member(cow_String name, Material const& material)
    : evo_Part(std::move(name)), m_Material(material) {}

evo_Member::evo_Member(cls_ReadVisitor const& visitor)
    : evo_Part(cls_ReadVisitor(visitor)), m_Material{.m_Density = visitor.Read(DensityField(), 0.0)},
      m_Uid(visitor.GetUid()) {}

// The record has no Member part, so its identity is new.
evo_Member::evo_Member(cls_ReadVisitor const& derived, Material const& material)
    : evo_Part(cls_ReadVisitor(derived)), m_Material(material) {}

void evo_Member::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  evo_Part::DBWrite(cls_WriteVisitor(visitor, evo_Part::TypeId()));
  visitor.Write(DensityField(), m_Material.m_Density);
}

void evo_Member::Declare(cls_ClassRegistrar& registrar) {
  evo_Part::Declare(registrar);
  registrar.AddClassMD(new cls_TypeAdapter<evo_Member>("Member"_cow, 1, evo_Part::TypeId()))
      .AddAttribute(DensityField(), ATTR_DOUBLE, 1, COLLECTION_NONE);
}
