#pragma once

#include "examples/evolution/evo_Part.h"
#include "persist/identity/cls_OwnUid.h"
#include "wrappers/cls_xp1DArrayList.h"

#include <memory>

// Class Beam, version 1, as program version 1 had it.
class evo_BeamV1 : public evo_Part {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x650001; }

  evo_BeamV1(cow_String name, double length, double load);
  explicit evo_BeamV1(cls_ReadVisitor const& visitor);
  void DBWrite(cls_WriteVisitor const& visitor) const override;
  static void Declare(cls_ClassRegistrar& registrar);

  // The beam that the program's command `write` saves.
  static std::unique_ptr<evo_BeamV1> Example();

  void AddStation(double position) { m_Stations.Append(position); }
  void Print() const;

 private:
  double m_Length;                    // mm
  double m_Load;                      // N/mm, constant along the beam
  cls_xp1DArrayListDouble m_Stations; // mm from the start: where results are wanted
  cls_OwnUid m_Uid;
};
