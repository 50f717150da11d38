#include "examples/evolution/evo_BeamV3.h"

#include "examples/evolution/evo_OldBeam.h"
#include "examples/evolution/evo_Print.h"
#include "persist/adapters/cls_TypeAdapter.h"

namespace {

// The numbers 1 and 2 were m_Load and m_Stations. Numbers are never reused, so that a number identifies an
// attribute as well as its name does.
cls_FieldHandle LengthField() {
  return {0, "m_Length"_cow};
}
cls_FieldHandle DensityField() {
  return {3, "m_Density"_cow};
}
cls_FieldHandle LineLoadField() {
  return {4, "m_LineLoad"_cow};
}

evo_BeamV3::Values ReadValues(cls_ReadVisitor const& visitor) {
  return {.m_Length = visitor.Read(LengthField(), 0.0),
          .m_LineLoad = visitor.Read(LineLoadField(), 0.0),
          .m_Density = visitor.Read(DensityField(), 0.0)};
}

} // namespace

evo_BeamV3::evo_BeamV3(cow_String name, Values const& values) : evo_Part(std::move(name)), m_Values(values) {}

evo_BeamV3::evo_BeamV3(cls_ReadVisitor const& visitor) : evo_BeamV3(visitor, ReadValues(visitor)) {}

evo_BeamV3::evo_BeamV3(cls_ReadVisitor const& visitor, Values const& values)
    : evo_Part(cls_ReadVisitor(visitor)), m_Values(values), m_Uid(visitor.GetUid()) {}

void evo_BeamV3::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  evo_Part::DBWrite(cls_WriteVisitor(visitor, evo_Part::TypeId()));
  visitor.Write(LengthField(), m_Values.m_Length);
  visitor.Write(DensityField(), m_Values.m_Density);
  visitor.Write(LineLoadField(), m_Values.m_LineLoad);
}

void evo_BeamV3::Declare(cls_ClassRegistrar& registrar) {
  evo_Part::Declare(registrar);
  evo_OldBeam::Declare(registrar);
  registrar.AddClassMD(new cls_TypeAdapter<evo_BeamV3>("Beam"_cow, 3, evo_Part::TypeId()))
      .AddAttribute(LengthField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(DensityField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(LineLoadField(), ATTR_DOUBLE, 1, COLLECTION_NONE);
}

std::unique_ptr<evo_BeamV3> evo_BeamV3::Example() {
  return std::make_unique<evo_BeamV3>("lintel"_cow,
                                      Values{.m_Length = 1800, .m_LineLoad = 30500, .m_Density = 2400});
}

void evo_BeamV3::Print() const {
  evo_Print::Text("name", Name());
  evo_Print::Number("length", m_Values.m_Length, "mm");
  evo_Print::Number("line load", m_Values.m_LineLoad, "N/m");
  evo_Print::Number("density", m_Values.m_Density, m_Values.m_DensityIsAssumed ? "kg/m3, assumed" : "kg/m3");
}
