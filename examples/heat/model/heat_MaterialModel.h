#pragma once

#include "examples/heat/model/heat_ModelPart.h"
#include "examples/heat/physics/heat_Problem.h"
#include "persist/identity/cls_OwnUid.h"

// A stored material. Parts of a mesh can share it. Version 2 of the class adds density and specific heat,
// which transient runs need.
class heat_MaterialModel : public heat_ModelPart {
 public:
  static constexpr unsigned int TypeId() { return 0x640003; }

  explicit heat_MaterialModel(heat_Material const& material);
  explicit heat_MaterialModel(cls_ReadVisitor const& visitor);
  void DBWrite(cls_WriteVisitor const& visitor) const override;
  static void Declare(cls_ClassRegistrar& registrar);

  heat_Material ToData() const;

 private:
  double m_Conductivity; // [W/(m K)]
  double m_Thickness;    // [m]
  double m_HeatSource;   // [W/m^3]
  double m_Density;      // [kg/m^3], 0 in stores of version 1
  double m_SpecificHeat; // [J/(kg K)], 0 in stores of version 1
  cls_OwnUid m_Uid;
};
