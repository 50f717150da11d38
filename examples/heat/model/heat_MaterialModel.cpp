#include "examples/heat/model/heat_MaterialModel.h"

#include "persist/adapters/cls_TypeAdapter.h"

#include <string>

namespace {

cls_FieldHandle ConductivityField() {
  return {0, "m_Conductivity"_cow};
}
cls_FieldHandle ThicknessField() {
  return {1, "m_Thickness"_cow};
}
cls_FieldHandle HeatSourceField() {
  return {2, "m_HeatSource"_cow};
}
cls_FieldHandle DensityField() {
  return {3, "m_Density"_cow};
}
cls_FieldHandle SpecificHeatField() {
  return {4, "m_SpecificHeat"_cow};
}

} // namespace

heat_MaterialModel::heat_MaterialModel(heat_Material const& material)
    : heat_ModelPart(cow_String(material.name)), m_Conductivity(material.conductivity),
      m_Thickness(material.thickness), m_HeatSource(material.heatSource), m_Density(material.density),
      m_SpecificHeat(material.specificHeat) {}

heat_MaterialModel::heat_MaterialModel(cls_ReadVisitor const& visitor)
    : heat_ModelPart(cls_ReadVisitor(visitor)), m_Conductivity(visitor.Read(ConductivityField(), 0.0)),
      m_Thickness(visitor.Read(ThicknessField(), 0.0)), m_HeatSource(visitor.Read(HeatSourceField(), 0.0)),
      m_Density(visitor.Read(DensityField(), 0.0)), m_SpecificHeat(visitor.Read(SpecificHeatField(), 0.0)),
      m_Uid(visitor.GetUid()) {}

void heat_MaterialModel::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  heat_ModelPart::DBWrite(cls_WriteVisitor(visitor, heat_ModelPart::TypeId()));
  visitor.Write(ConductivityField(), m_Conductivity);
  visitor.Write(ThicknessField(), m_Thickness);
  visitor.Write(HeatSourceField(), m_HeatSource);
  visitor.Write(DensityField(), m_Density);
  visitor.Write(SpecificHeatField(), m_SpecificHeat);
}

heat_Material heat_MaterialModel::ToData() const {
  return {std::string(Name().View()), m_Conductivity, m_Thickness, m_HeatSource, m_Density, m_SpecificHeat};
}

void heat_MaterialModel::Declare(cls_ClassRegistrar& registrar) {
  registrar
      .AddClassMD(
          new cls_TypeAdapter<heat_MaterialModel>("heat_MaterialModel"_cow, 2, heat_ModelPart::TypeId()))
      .AddAttribute(ConductivityField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(ThicknessField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(HeatSourceField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(DensityField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(SpecificHeatField(), ATTR_DOUBLE, 1, COLLECTION_NONE);
}
