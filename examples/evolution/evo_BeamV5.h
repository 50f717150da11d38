#pragma once

#include "examples/evolution/evo_Load.h"
#include "examples/evolution/evo_Member.h"
#include "examples/evolution/evo_OldBeams.h"
#include "persist/identity/cls_OwnUid.h"

#include <memory>

// Class Beam, version 5, as program version 5 has it. Its load is now an object of class Load.
//
// A beam of version 4 has the line load among its own attributes; a constructor function reads it and makes
// the Load. evo_OldBeams reads versions 1 to 3.
class evo_BeamV5 : public evo_Member {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x650001; }

  // `length` in mm.
  evo_BeamV5(cow_String name, Material const& material, double length, evo_Load load);
  explicit evo_BeamV5(cls_ReadVisitor const& visitor);

  // The stored beam of a version before 4.
  evo_BeamV5(cls_ReadVisitor const& visitor, evo_OldBeams::Values const& values);

  void DBWrite(cls_WriteVisitor const& visitor) const override;
  static void Declare(cls_ClassRegistrar& registrar);

  // The beam that the program's command `write` saves.
  static std::unique_ptr<evo_BeamV5> Example();

  void Print() const;

 private:
  // The stored beam of version 4 or 5, with this load.
  evo_BeamV5(cls_ReadVisitor const& visitor, evo_Load load);

  // Builds a beam from a record of version 4. The caller owns it.
  static void* ReadVersion4(cls_ReadVisitor& reader);

  double m_Length; // mm
  evo_Load m_Load;
  cls_OwnUid m_Uid;
};
