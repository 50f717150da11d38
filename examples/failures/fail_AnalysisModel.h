#pragma once

#include "errors/nex_Exception.h"
#include "examples/failures/fail_Solver.h"
#include "metadata/cls_ClassRegistrar.h"
#include "persist/identity/cls_OwnUid.h"
#include "wrappers/cls_xp1DArrayList.h"

#include <memory>
#include <string>
#include <vector>

// How an analysis ended. The values stand in stores.
enum class fail_Status : int {
  Completed = 1,
  Failed = 2,
};

// A stored analysis: how far it came, what it found on the way, and the exception that ended it, which is an
// object of its own inside the analysis, of whatever class was thrown.
class fail_AnalysisModel {
 public:
  static constexpr unsigned int TypeId() { return 0x660004; }

  // Declares the class's metadata. The library knows its exceptions by itself.
  static void Declare(cls_ClassRegistrar& registrar);

  // failure: null for an analysis that has completed.
  fail_AnalysisModel(std::string const& name, std::vector<fail_Step> const& steps,
                     std::unique_ptr<nex_Exception> failure);
  explicit fail_AnalysisModel(cls_ReadVisitor const& visitor);
  void DBWrite(cls_WriteVisitor const& visitor) const;

  cow_String const& Name() const { return m_Name; }
  fail_Status Status() const { return m_Status; }
  int StepCount() const { return m_StepCount; } // load steps in equilibrium
  double LastLoadFactor() const { return m_LastLoadFactor; }

  // Displacements of all nodes for one load step after the other: StepCount() runs of one length [m].
  cls_xp1DArrayListDouble const& Displacements() const { return m_Displacements; }
  // The largest displacement of the last load step, without sign [m]; 0 when there is none.
  double LargestDisplacement() const;

  nex_Exception const* Failure() const { return m_Failure.get(); } // null when completed

 private:
  cow_String m_Name;
  fail_Status m_Status;
  int m_StepCount;
  double m_LastLoadFactor;
  cls_xp1DArrayListDouble m_Displacements;
  std::unique_ptr<nex_Exception> m_Failure;
  cls_OwnUid m_Uid;
};
