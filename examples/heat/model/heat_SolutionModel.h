#pragma once

#include "examples/heat/model/heat_MeshModel.h"
#include "examples/heat/model/heat_ModelPart.h"
#include "examples/heat/physics/heat_Solver.h"
#include "persist/identity/cls_OwnUid.h"

#include <memory>

class heat_AnalysisModel;

// A stored solution: one temperature per node of the mesh, in degrees Celsius.
class heat_SolutionModel : public heat_ModelPart {
 public:
  static constexpr unsigned int TypeId() { return 0x640004; }

  heat_SolutionModel(std::shared_ptr<heat_AnalysisModel> const& analysis,
                     std::shared_ptr<heat_MeshModel> mesh, heat_Solution const& solution,
                     double solveSeconds);
  explicit heat_SolutionModel(cls_ReadVisitor const& visitor);
  void DBWrite(cls_WriteVisitor const& visitor) const override;
  static void Declare(cls_ClassRegistrar& registrar);

  std::vector<double> Temperature() const;
  double Residual() const { return m_Residual; }
  double SolveSeconds() const { return m_SolveSeconds; }

  // The analysis that this solution belongs to; null if it no longer exists.
  std::shared_ptr<heat_AnalysisModel> Analysis() const { return m_Analysis.lock(); }
  std::shared_ptr<heat_MeshModel> const& Mesh() const { return m_Mesh; }

 private:
  std::weak_ptr<heat_AnalysisModel> m_Analysis; // weak: the analysis owns the solution
  std::shared_ptr<heat_MeshModel> m_Mesh;
  cls_xp1DArrayListDouble m_Temperature;
  double m_Residual;
  double m_SolveSeconds;
  cls_OwnUid m_Uid;
};
