#pragma once

#include "metadata/cls_ClassRegistrar.h"
#include "persist/identity/cls_OwnUid.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"

// A load that is the same all along a beam: what program version 5 has split off from class Beam. It is an
// object of its own class, with an identity and a version of its own, in a field of the beam.
class evo_Load {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x650004; }

  // `lineLoad` in N/m.
  evo_Load(cow_String loadCase, double lineLoad) : m_Case(std::move(loadCase)), m_LineLoad(lineLoad) {}
  explicit evo_Load(cls_ReadVisitor const& visitor);

  void DBWrite(cls_WriteVisitor const& visitor) const;
  static void Declare(cls_ClassRegistrar& registrar);

  // The load of a beam from before version 5, which knew one load case and had no name for it.
  static evo_Load Permanent(double lineLoad) { return evo_Load("permanent"_cow, lineLoad); }

  void Print() const;

 private:
  cow_String m_Case;
  double m_LineLoad; // N/m
  cls_OwnUid m_Uid;
};
