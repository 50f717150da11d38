#pragma once

#include "examples/evolution/evo_Part.h"
#include "persist/identity/cls_OwnUid.h"
#include "wrappers/cls_xp1DArrayList.h"

#include <memory>

// Class Beam, version 2, as program version 2 has it. It adds the density of the material.
//
// A beam of version 1 has no density. Program version 1 was sold for steel only, so steel is the right
// default for all its beams. The reading constructor fills it in; nothing else is needed.
class evo_BeamV2 : public evo_Part {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x650001; }
  static constexpr double SteelDensity = 7850; // kg/m3

  evo_BeamV2(cow_String name, double length, double load, double density);
  explicit evo_BeamV2(cls_ReadVisitor const& visitor);
  void DBWrite(cls_WriteVisitor const& visitor) const override;
  static void Declare(cls_ClassRegistrar& registrar);

  // The beam that the program's command `write` saves.
  static std::unique_ptr<evo_BeamV2> Example();

  void AddStation(double position) { m_Stations.Append(position); }
  void Print() const;

 private:
  double m_Length;                    // mm
  double m_Load;                      // N/mm, constant along the beam
  cls_xp1DArrayListDouble m_Stations; // mm from the start: where results are wanted
  bool m_DensityIsAssumed = false;    // not stored: the record that was read has no density
  double m_Density;                   // kg/m3
  cls_OwnUid m_Uid;
};
