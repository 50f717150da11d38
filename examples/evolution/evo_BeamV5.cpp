#include "examples/evolution/evo_BeamV5.h"

#include "examples/evolution/evo_Print.h"
#include "persist/adapters/cls_TypeAdapter.h"

namespace {

// The numbers 1, 2 and 3 were m_Load, m_Stations and m_Density. The new field is an object, so it cannot be
// called m_Load: version 1 used that name for a number.
cls_FieldHandle LengthField() {
  return {0, "m_Length"_cow};
}
cls_FieldHandle LineLoadField() { // of version 4
  return {4, "m_LineLoad"_cow};
}
cls_FieldHandle LoadObjectField() {
  return {5, "m_LoadObject"_cow};
}

} // namespace

evo_BeamV5::evo_BeamV5(cow_String name, Material const& material, double length, evo_Load load)
    : evo_Member(std::move(name), material), m_Length(length), m_Load(std::move(load)) {}

evo_BeamV5::evo_BeamV5(cls_ReadVisitor const& visitor)
    : evo_BeamV5(visitor, evo_Load(cls_ReadVisitor(visitor, LoadObjectField()))) {}

evo_BeamV5::evo_BeamV5(cls_ReadVisitor const& visitor, evo_Load load)
    : evo_Member(cls_ReadVisitor(visitor)), m_Length(visitor.Read(LengthField(), 0.0)),
      m_Load(std::move(load)), m_Uid(visitor.GetUid()) {}

evo_BeamV5::evo_BeamV5(cls_ReadVisitor const& visitor, evo_OldBeams::Values const& values)
    : evo_Member(visitor, values.m_Material), m_Length(values.m_Length),
      m_Load(evo_Load::Permanent(values.m_LineLoad)), m_Uid(visitor.GetUid()) {}

void* evo_BeamV5::ReadVersion4(cls_ReadVisitor& reader) {
  return new evo_BeamV5(reader, evo_Load::Permanent(reader.Read(LineLoadField(), 0.0)));
}

void evo_BeamV5::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  evo_Member::DBWrite(cls_WriteVisitor(visitor, evo_Member::TypeId()));
  visitor.Write(LengthField(), m_Length);
  m_Load.DBWrite(cls_WriteVisitor(visitor, LoadObjectField(), nullptr, &m_Load));
}

void evo_BeamV5::Declare(cls_ClassRegistrar& registrar) {
  evo_Member::Declare(registrar);
  evo_Load::Declare(registrar);
  evo_OldBeams::Declare<evo_BeamV5>(registrar);
  registrar.CreateClassMD("Beam"_cow, TypeId(), 4, &ReadVersion4, evo_Member::TypeId())
      .AddAttribute(LengthField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(LineLoadField(), ATTR_DOUBLE, 1, COLLECTION_NONE);
  registrar.AddClassMD(new cls_TypeAdapter<evo_BeamV5>("Beam"_cow, 5, evo_Member::TypeId()))
      .AddAttribute(LengthField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(LoadObjectField(), ATTR_OBJECT, 1, COLLECTION_NONE);
}

std::unique_ptr<evo_BeamV5> evo_BeamV5::Example() {
  return std::make_unique<evo_BeamV5>("girder"_cow, Material{.m_Density = 2500}, 12000,
                                      evo_Load("snow"_cow, 18000));
}

void evo_BeamV5::Print() const {
  evo_Print::Text("name", Name());
  evo_Print::Number("length", m_Length, "mm");
  m_Load.Print();
  evo_Print::Number("density", GetMaterial().m_Density,
                    GetMaterial().m_DensityIsAssumed ? "kg/m3, assumed" : "kg/m3");
}
