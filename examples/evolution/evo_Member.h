#pragma once

#include "examples/evolution/evo_Part.h"
#include "persist/identity/cls_OwnUid.h"

// A part that carries load, made of some material: the base class that program version 4 puts between Part
// and Beam, because its columns and braces have a material as well. The density of a beam is here from then
// on.
class evo_Member : public evo_Part {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x650003; }

  struct Material {
    double m_Density = 0;            // kg/m3
    bool m_DensityIsAssumed = false; // not stored: the record that was read has no density
  };

  evo_Member(cow_String name, Material const& material);

  // Reads the Member part that the visitor reads, and the Part below it.
  explicit evo_Member(cls_ReadVisitor const& visitor);

  // The member of a record that has no Member part: below the class that derived from Part in those days,
  // which the visitor reads, comes Part. The material is what the caller has found elsewhere.
  evo_Member(cls_ReadVisitor const& derived, Material const& material);

  void DBWrite(cls_WriteVisitor const& visitor) const override;
  static void Declare(cls_ClassRegistrar& registrar);

  Material const& GetMaterial() const { return m_Material; }

 private:
  Material m_Material;
  cls_OwnUid m_Uid;
};
