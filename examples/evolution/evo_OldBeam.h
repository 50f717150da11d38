#pragma once

#include "metadata/cls_ClassRegistrar.h"

// All that program version 3 knows of earlier beams: how they are stored, and how one becomes a beam of
// version 3. Delete this file when no such stores need to be read any more.
class evo_OldBeam {
 public:
  // Declares version 2 of class Beam with a constructor function. Version 1 is not declared, so the registrar
  // takes the next higher version, which is this one.
  static void Declare(cls_ClassRegistrar& registrar);

 private:
  // Builds an evo_BeamV3 from a record of version 1 or 2. The caller owns it.
  static void* Read(cls_ReadVisitor& reader);
};
