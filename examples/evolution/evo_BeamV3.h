#pragma once

#include "examples/evolution/evo_Part.h"
#include "persist/identity/cls_OwnUid.h"

#include <memory>

// Class Beam as program version 3 has it: version 3. The load is now called line load and stands in N/m, and
// the stations are gone: the program chooses by itself where it computes results.
//
// Beams of version 3 are read by the reading constructor, which knows nothing of the past. Those of earlier
// versions are read by evo_OldBeam, which makes a beam of today of them.
class evo_BeamV3 : public evo_Part {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x650001; }

  // What a beam is besides its name.
  struct Values {
    double m_Length = 0;             // mm
    double m_LineLoad = 0;           // N/m, the same all along the beam
    double m_Density = 0;            // kg/m3
    bool m_DensityIsAssumed = false; // not stored: the record that was read has no density
  };

  evo_BeamV3(cow_String name, Values const& values);
  explicit evo_BeamV3(cls_ReadVisitor const& visitor);

  // The stored beam with other values than a record of version 3 would have: base-class part and identities
  // are read, so that the beam is saved in the place of the old one.
  evo_BeamV3(cls_ReadVisitor const& visitor, Values const& values);

  void DBWrite(cls_WriteVisitor const& visitor) const override;
  static void Declare(cls_ClassRegistrar& registrar);

  // The beam that the program's command `write` saves.
  static std::unique_ptr<evo_BeamV3> Example();

  void Print() const;

 private:
  Values m_Values;
  cls_OwnUid m_Uid;
};
