#include "examples/evolution/evo_BeamV4.h"

#include "examples/evolution/evo_Print.h"
#include "persist/adapters/cls_TypeAdapter.h"

namespace {

// The numbers 1, 2 and 3 were m_Load, m_Stations and m_Density.
cls_FieldHandle LengthField() {
  return {0, "m_Length"_cow};
}
cls_FieldHandle LineLoadField() {
  return {4, "m_LineLoad"_cow};
}

} // namespace

evo_BeamV4::evo_BeamV4(cow_String name, Material const& material, double length, double lineLoad)
    : evo_Member(std::move(name), material), m_Length(length), m_LineLoad(lineLoad) {}

evo_BeamV4::evo_BeamV4(cls_ReadVisitor const& visitor)
    : evo_Member(cls_ReadVisitor(visitor)), m_Length(visitor.Read(LengthField(), 0.0)),
      m_LineLoad(visitor.Read(LineLoadField(), 0.0)), m_Uid(visitor.GetUid()) {}

// Does not copy the visitor for Member, because the record has no Member part. Member copies it for Part.
evo_BeamV4::evo_BeamV4(cls_ReadVisitor const& visitor, evo_OldBeams::Values const& values)
    : evo_Member(visitor, values.m_Material), m_Length(values.m_Length), m_LineLoad(values.m_LineLoad),
      m_Uid(visitor.GetUid()) {}

void evo_BeamV4::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  evo_Member::DBWrite(cls_WriteVisitor(visitor, evo_Member::TypeId()));
  visitor.Write(LengthField(), m_Length);
  visitor.Write(LineLoadField(), m_LineLoad);
}

void evo_BeamV4::Declare(cls_ClassRegistrar& registrar) {
  evo_Member::Declare(registrar);
  evo_OldBeams::Declare<evo_BeamV4>(registrar);
  registrar.AddClassMD(new cls_TypeAdapter<evo_BeamV4>("Beam"_cow, 4, evo_Member::TypeId()))
      .AddAttribute(LengthField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(LineLoadField(), ATTR_DOUBLE, 1, COLLECTION_NONE);
}

std::unique_ptr<evo_BeamV4> evo_BeamV4::Example() {
  return std::make_unique<evo_BeamV4>("joist"_cow, Material{.m_Density = 450}, 3600, 2200);
}

void evo_BeamV4::Print() const {
  evo_Print::Text("name", Name());
  evo_Print::Number("length", m_Length, "mm");
  evo_Print::Number("line load", m_LineLoad, "N/m");
  evo_Print::Number("density", GetMaterial().m_Density,
                    GetMaterial().m_DensityIsAssumed ? "kg/m3, assumed" : "kg/m3");
}
