#pragma once

#include "examples/evolution/evo_Part.h"
#include "persist/identity/cls_OwnUid.h"

#include <memory>

// Class Beam, version 3, as program version 3 has it. The load is now called line load and is in N/m. The
// stations are gone: the program itself chooses where it computes results.
//
// The reading constructor reads beams of version 3 and knows nothing of earlier ones. evo_OldBeam reads those
// and converts them.
class evo_BeamV3 : public evo_Part {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x650001; }

  // All values of a beam except its name.
  struct Values {
    double m_Length = 0;             // mm
    double m_LineLoad = 0;           // N/m, constant along the beam
    double m_Density = 0;            // kg/m3
    bool m_DensityIsAssumed = false; // not stored: the record that was read has no density
  };

  evo_BeamV3(cow_String name, Values const& values);
  explicit evo_BeamV3(cls_ReadVisitor const& visitor);

  // The stored beam with values other than those of a version 3 record. The base-class part and the
  // identities are read, so that saving the beam replaces the old one.
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
