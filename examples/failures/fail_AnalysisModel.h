#pragma once

#include "errors/nex_Exception.h"
#include "examples/failures/fail_Solver.h"
#include "metadata/cls_ClassRegistrar.h"
#include "persist/identity/cls_OwnUid.h"
#include "wrappers/cls_xp1DArrayList.h"

#include <memory>
#include <string>
#include <vector>

// How an analysis ended. The values are stored, so they never change.
enum class fail_Status : int {
  Completed = 1,
  Failed = 2,
};

// A stored analysis: the load steps that it completed, its results, and the exception that ended it. The
// exception is an object inside the analysis, of whatever class was thrown.
class fail_AnalysisModel {
 public:
  static constexpr unsigned int TypeId() { return 0x660004; }

  // Declares the class's metadata. The library declares its own exceptions.
  static void Declare(cls_ClassRegistrar& registrar);

  // failure: null if the analysis completed.
  fail_AnalysisModel(std::string const& name, std::vector<fail_Step> const& steps,
                     std::unique_ptr<nex_Exception> failure);
  explicit fail_AnalysisModel(cls_ReadVisitor const& visitor);
  void DBWrite(cls_WriteVisitor const& visitor) const;

  cow_String const& Name() const { return m_Name; }
  fail_Status Status() const { return m_Status; }
  int StepCount() const { return m_StepCount; } // load steps that reached equilibrium
  double LastLoadFactor() const { return m_LastLoadFactor; }

  // Displacements of all nodes, load step by load step: StepCount() runs of equal length [m].
  cls_xp1DArrayListDouble const& Displacements() const { return m_Displacements; }
  // The largest absolute displacement of the last load step [m]; 0 if there is none.
  double LargestDisplacement() const;

  nex_Exception const* Failure() const { return m_Failure.get(); } // null if completed

 private:
  cow_String m_Name;
  fail_Status m_Status;
  int m_StepCount;
  double m_LastLoadFactor;
  cls_xp1DArrayListDouble m_Displacements;
  std::unique_ptr<nex_Exception> m_Failure;
  cls_OwnUid m_Uid;
};
