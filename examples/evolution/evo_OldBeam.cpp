#include "examples/evolution/evo_OldBeam.h"

#include "examples/evolution/evo_BeamV3.h"

namespace {

// The field handles of version 2.
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

constexpr double SteelDensity = 7850;      // kg/m3, the material of every beam of version 1
constexpr double NewtonsPerMetre = 1000.0; // per newton per millimetre

} // namespace

void* evo_OldBeam::Read(cls_ReadVisitor& reader) {
  // Does not read the stations: version 3 does not use them.
  evo_BeamV3::Values const values{.m_Length = reader.Read(LengthField(), 0.0),
                                  .m_LineLoad = reader.Read(LoadField(), 0.0) * NewtonsPerMetre,
                                  .m_Density = reader.Read(DensityField(), SteelDensity),
                                  .m_DensityIsAssumed = reader.FieldIsPresent(DensityField()) == 0};
  return new evo_BeamV3(reader, values);
}

void evo_OldBeam::Declare(cls_ClassRegistrar& registrar) {
  registrar.CreateClassMD("Beam"_cow, evo_BeamV3::TypeId(), 2, &Read, evo_Part::TypeId())
      .AddAttribute(LengthField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(LoadField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(StationsField(), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE)
      .AddAttribute(DensityField(), ATTR_DOUBLE, 1, COLLECTION_NONE);
}
