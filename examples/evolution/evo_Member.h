#pragma once

#include "examples/evolution/evo_Part.h"
#include "persist/identity/cls_OwnUid.h"

// A load-bearing part made of some material. Program version 4 puts this base class between Part and Beam,
// because its columns and braces have a material too. It takes over the density of the beam.
class evo_Member : public evo_Part {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x650003; }

  struct Material {
    double m_Density = 0;            // kg/m3
    bool m_DensityIsAssumed = false; // not stored: the record that was read has no density
  };

  evo_Member(cow_String name, Material const& material);

  // Reads the Member part at the visitor, and the Part below it.
  explicit evo_Member(cls_ReadVisitor const& visitor);

  // The member of a record that has no Member part: the class at the visitor derived directly from Part then.
  // The caller supplies the material, which it found elsewhere.
  evo_Member(cls_ReadVisitor const& derived, Material const& material);

  void DBWrite(cls_WriteVisitor const& visitor) const override;
  static void Declare(cls_ClassRegistrar& registrar);

  Material const& GetMaterial() const { return m_Material; }

 private:
  Material m_Material;
  cls_OwnUid m_Uid;
};
