#pragma once

#include "metadata/cls_ClassRegistrar.h"
#include "persist/identity/cls_OwnUid.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"

// A load that is constant along a beam. Program version 5 has split it off from class Beam: it is an object
// in a field of the beam, with its own class, identity and version.
class evo_Load {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x650004; }

  // `lineLoad` in N/m.
  evo_Load(cow_String loadCase, double lineLoad) : m_Case(std::move(loadCase)), m_LineLoad(lineLoad) {}
  explicit evo_Load(cls_ReadVisitor const& visitor);

  void DBWrite(cls_WriteVisitor const& visitor) const;
  static void Declare(cls_ClassRegistrar& registrar);

  // The load of a beam from before version 5. Those beams had one load case, without a name.
  static evo_Load Permanent(double lineLoad) { return evo_Load("permanent"_cow, lineLoad); }

  void Print() const;

 private:
  cow_String m_Case;
  double m_LineLoad; // N/m
  cls_OwnUid m_Uid;
};
