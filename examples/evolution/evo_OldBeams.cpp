#include "examples/evolution/evo_OldBeams.h"

namespace {

constexpr unsigned int BeamId = 0x650001;

// The field handles of versions 1 to 3.
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
cls_FieldHandle LineLoadField() {
  return {4, "m_LineLoad"_cow};
}

constexpr double SteelDensity = 7850;      // kg/m3, the material of every beam of version 1
constexpr double NewtonsPerMetre = 1000.0; // per newton per millimetre

} // namespace

evo_OldBeams::Values evo_OldBeams::ReadVersion1Or2(cls_ReadVisitor const& reader) {
  return {.m_Length = reader.Read(LengthField(), 0.0),
          .m_LineLoad = reader.Read(LoadField(), 0.0) * NewtonsPerMetre,
          .m_Material = {.m_Density = reader.Read(DensityField(), SteelDensity),
                         .m_DensityIsAssumed = reader.FieldIsPresent(DensityField()) == 0}};
}

evo_OldBeams::Values evo_OldBeams::ReadVersion3(cls_ReadVisitor const& reader) {
  return {.m_Length = reader.Read(LengthField(), 0.0),
          .m_LineLoad = reader.Read(LineLoadField(), 0.0),
          .m_Material = {.m_Density = reader.Read(DensityField(), 0.0)}};
}

void evo_OldBeams::DeclareVersion1(cls_ClassRegistrar& registrar, cls_ClassMetadata::CtorFn read) {
  registrar.CreateClassMD("Beam"_cow, BeamId, 1, read, evo_Part::TypeId())
      .AddAttribute(LengthField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(LoadField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(StationsField(), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE);
}

void evo_OldBeams::DeclareVersion2(cls_ClassRegistrar& registrar, cls_ClassMetadata::CtorFn read) {
  registrar.CreateClassMD("Beam"_cow, BeamId, 2, read, evo_Part::TypeId())
      .AddAttribute(LengthField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(LoadField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(StationsField(), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE)
      .AddAttribute(DensityField(), ATTR_DOUBLE, 1, COLLECTION_NONE);
}

void evo_OldBeams::DeclareVersion3(cls_ClassRegistrar& registrar, cls_ClassMetadata::CtorFn read) {
  registrar.CreateClassMD("Beam"_cow, BeamId, 3, read, evo_Part::TypeId())
      .AddAttribute(LengthField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(DensityField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(LineLoadField(), ATTR_DOUBLE, 1, COLLECTION_NONE);
}
