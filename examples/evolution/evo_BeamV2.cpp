#include "examples/evolution/evo_BeamV2.h"

#include "examples/evolution/evo_Print.h"
#include "persist/adapters/cls_TypeAdapter.h"

namespace {

// A new field takes the next free number; existing fields keep theirs.
cls_FieldHandle LengthField() {
  return {0, "m_Length"_cow};
}
cls_FieldHandle LoadField() {
  return {1, "m_Load"_cow};
}
cls_FieldHandle StationsField() {
  return {2, "m_Stations"_cow};
}
cls_FieldHandle DensityField() {
  return {3, "m_Density"_cow};
}

} // namespace

evo_BeamV2::evo_BeamV2(cow_String name, double length, double load, double density)
    : evo_Part(std::move(name)), m_Length(length), m_Load(load), m_Density(density) {}

evo_BeamV2::evo_BeamV2(cls_ReadVisitor const& visitor)
    : evo_Part(cls_ReadVisitor(visitor)), m_Length(visitor.Read(LengthField(), 0.0)),
      m_Load(visitor.Read(LoadField(), 0.0)), m_Stations(cls_ReadVisitor(visitor, StationsField()), nullptr),
      m_DensityIsAssumed(visitor.FieldIsPresent(DensityField()) == 0),
      m_Density(visitor.Read(DensityField(), SteelDensity)), m_Uid(visitor.GetUid()) {}

void evo_BeamV2::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  evo_Part::DBWrite(cls_WriteVisitor(visitor, evo_Part::TypeId()));
  visitor.Write(LengthField(), m_Length);
  visitor.Write(LoadField(), m_Load);
  m_Stations.DBWrite(cls_WriteVisitor(visitor, StationsField(), nullptr, &m_Stations));
  visitor.Write(DensityField(), m_Density);
}

// Declares version 2 only. Version 1 has no metadata in this program, so the next higher version builds the
// object.
void evo_BeamV2::Declare(cls_ClassRegistrar& registrar) {
  evo_Part::Declare(registrar);
  registrar.AddClassMD(new cls_TypeAdapter<evo_BeamV2>("Beam"_cow, 2, evo_Part::TypeId()))
      .AddAttribute(LengthField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(LoadField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(StationsField(), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE)
      .AddAttribute(DensityField(), ATTR_DOUBLE, 1, COLLECTION_NONE);
}

std::unique_ptr<evo_BeamV2> evo_BeamV2::Example() {
  auto beam = std::make_unique<evo_BeamV2>("rafter"_cow, 5200, 8.25, 2700);
  for (double const position : {0.0, 2600.0, 5200.0}) beam->AddStation(position);
  return beam;
}

void evo_BeamV2::Print() const {
  evo_Print::Text("name", Name());
  evo_Print::Number("length", m_Length, "mm");
  evo_Print::Number("load", m_Load, "N/mm");
  evo_Print::List("stations", m_Stations, "mm");
  evo_Print::Number("density", m_Density, m_DensityIsAssumed ? "kg/m3, assumed" : "kg/m3");
}
