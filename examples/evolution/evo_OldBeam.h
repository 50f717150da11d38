#pragma once

#include "metadata/cls_ClassRegistrar.h"

// What program version 3 knows of beams before version 3: how they stand in a store, and how one becomes a
// beam of today. All of it goes on the day when no store of that time has to be read any more.
class evo_OldBeam {
 public:
  // Declares version 2 of class Beam with its own constructor function. Version 1 is not declared: the
  // registrar has no metadata of it and takes the next version above, which is this one.
  static void Declare(cls_ClassRegistrar& registrar);

 private:
  // Builds an evo_BeamV3 of a record of version 1 or 2. The caller owns it.
  static void* Read(cls_ReadVisitor& reader);
};
