#pragma once

#include "examples/heat/model/heat_ConditionModel.h"
#include "examples/heat/model/heat_MaterialModel.h"
#include "examples/heat/model/heat_MeshModel.h"
#include "examples/heat/model/heat_PartList.h"
#include "examples/heat/model/heat_SolutionModel.h"
#include "persist/identity/cls_OwnUid.h"

#include <memory>
#include <vector>

// A stored analysis, the root of the object graph: the mesh, which the conditions and the solution share, the
// lists of materials and conditions, and the solution, which refers back to the analysis. A transient
// analysis is one too; see heat_TransientModel. Version 1 of the class chained materials and conditions; see
// heat_OldChain for how it is read.
class heat_AnalysisModel : public heat_ModelPart {
 public:
  static constexpr unsigned int TypeId() { return 0x640020; }

  // The root name of an analysis.
  static constexpr char Root[] = "analysis/steady-heat";

  // Declares all classes of a stored analysis.
  static void DeclareClasses(cls_ClassRegistrar& registrar);

  heat_AnalysisModel(std::string const& name, std::shared_ptr<heat_MeshModel> mesh,
                     heat_Problem const& problem);
  explicit heat_AnalysisModel(cls_ReadVisitor const& visitor);
  void DBWrite(cls_WriteVisitor const& visitor) const override;

  heat_MeshModel const& Mesh() const;         // throws heat_ModelError if there is none
  heat_SolutionModel const& Solution() const; // throws heat_ModelError if there is none
  std::shared_ptr<heat_MeshModel> const& SharedMesh() const { return m_Mesh; }
  void SetSolution(std::shared_ptr<heat_SolutionModel> solution) { m_Solution = std::move(solution); }

  // The problem as plain data.
  heat_Problem ToProblem() const;

 private:
  template <class Model, class Condition> void AddConditions(std::vector<Condition> const& conditions);

  std::shared_ptr<heat_MeshModel> m_Mesh;
  heat_PartList<heat_MaterialModel> m_Materials;
  cls_xp1DArrayListInt m_MaterialOf; // for each triangle, an index into the materials; empty: all 0
  heat_PartList<heat_ConditionModel> m_Conditions;
  cls_xpListString m_Notes; // lines of text for the user
  std::shared_ptr<heat_SolutionModel> m_Solution;
  cls_OwnUid m_Uid;
};
