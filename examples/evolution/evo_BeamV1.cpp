#include "examples/evolution/evo_BeamV1.h"

#include "examples/evolution/evo_Print.h"
#include "persist/adapters/cls_TypeAdapter.h"

namespace {

cls_FieldHandle LengthField() {
  return {0, "m_Length"_cow};
}
cls_FieldHandle LoadField() {
  return {1, "m_Load"_cow};
}
cls_FieldHandle StationsField() {
  return {2, "m_Stations"_cow};
}

} // namespace

evo_BeamV1::evo_BeamV1(cow_String name, double length, double load)
    : evo_Part(std::move(name)), m_Length(length), m_Load(load) {}

evo_BeamV1::evo_BeamV1(cls_ReadVisitor const& visitor)
    : evo_Part(cls_ReadVisitor(visitor)), m_Length(visitor.Read(LengthField(), 0.0)),
      m_Load(visitor.Read(LoadField(), 0.0)), m_Stations(cls_ReadVisitor(visitor, StationsField()), nullptr),
      m_Uid(visitor.GetUid()) {}

void evo_BeamV1::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  evo_Part::DBWrite(cls_WriteVisitor(visitor, evo_Part::TypeId()));
  visitor.Write(LengthField(), m_Length);
  visitor.Write(LoadField(), m_Load);
  m_Stations.DBWrite(cls_WriteVisitor(visitor, StationsField(), nullptr, &m_Stations));
}

void evo_BeamV1::Declare(cls_ClassRegistrar& registrar) {
  evo_Part::Declare(registrar);
  registrar.AddClassMD(new cls_TypeAdapter<evo_BeamV1>("Beam"_cow, 1, evo_Part::TypeId()))
      .AddAttribute(LengthField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(LoadField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(StationsField(), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE);
}

std::unique_ptr<evo_BeamV1> evo_BeamV1::Example() {
  auto beam = std::make_unique<evo_BeamV1>("purlin"_cow, 4000, 12.5);
  for (double const position : {0.0, 1000.0, 2500.0, 4000.0}) beam->AddStation(position);
  return beam;
}

void evo_BeamV1::Print() const {
  evo_Print::Text("name", Name());
  evo_Print::Number("length", m_Length, "mm");
  evo_Print::Number("load", m_Load, "N/mm");
  evo_Print::List("stations", m_Stations, "mm");
}
