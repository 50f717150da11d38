#pragma once

#include "examples/evolution/evo_Member.h"
#include "examples/evolution/evo_OldBeams.h"
#include "persist/identity/cls_OwnUid.h"

#include <memory>

// Class Beam, version 4, as program version 4 has it. It derives from Member, which now has the density, and
// Member derives from Part.
//
// A record of version 4 has three parts: Beam, Member and Part. Earlier records have two: Beam and Part.
// Parts are read in order, starting with the first, so earlier versions need their own readers: evo_OldBeams.
class evo_BeamV4 : public evo_Member {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x650001; }

  // `lineLoad` in N/m, constant along the beam; `length` in mm.
  evo_BeamV4(cow_String name, Material const& material, double length, double lineLoad);
  explicit evo_BeamV4(cls_ReadVisitor const& visitor);

  // The stored beam of a version before 4.
  evo_BeamV4(cls_ReadVisitor const& visitor, evo_OldBeams::Values const& values);

  void DBWrite(cls_WriteVisitor const& visitor) const override;
  static void Declare(cls_ClassRegistrar& registrar);

  // The beam that the program's command `write` saves.
  static std::unique_ptr<evo_BeamV4> Example();

  void Print() const;

 private:
  double m_Length;   // mm
  double m_LineLoad; // N/m
  cls_OwnUid m_Uid;
};
