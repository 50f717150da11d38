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
// lists of the materials and of the conditions, and the solution, which leads back to the analysis. A
// transient analysis is one too; see heat_TransientModel. Version 1 of the class chained materials and
// conditions; its analyses are read, see heat_OldChain.
class heat_AnalysisModel : public heat_ModelPart {
 public:
  static constexpr unsigned int TypeId() { return 0x640020; }

  // The name under which an analysis stands in a store.
  static constexpr char Root[] = "analysis/steady-heat";

  // Declares all classes of stored analyses.
  static void DeclareClasses(cls_ClassRegistrar& registrar);

  heat_AnalysisModel(std::string const& name, std::shared_ptr<heat_MeshModel> mesh,
                     heat_Problem const& problem);
  explicit heat_AnalysisModel(cls_ReadVisitor const& visitor);
  void DBWrite(cls_WriteVisitor const& visitor) const override;

  heat_MeshModel const& Mesh() const;         // heat_ModelError when the stored analysis has none
  heat_SolutionModel const& Solution() const; // the same
  std::shared_ptr<heat_MeshModel> const& SharedMesh() const { return m_Mesh; }
  void SetSolution(std::shared_ptr<heat_SolutionModel> solution) { m_Solution = std::move(solution); }

  // The problem as plain data.
  heat_Problem ToProblem() const;

 private:
  template <class Model, class Condition> void AddConditions(std::vector<Condition> const& conditions);

  std::shared_ptr<heat_MeshModel> m_Mesh;
  heat_PartList<heat_MaterialModel> m_Materials;
  cls_xp1DArrayListInt m_MaterialOf; // an index into the materials for each triangle; empty: all of the first
  heat_PartList<heat_ConditionModel> m_Conditions;
  cls_xpListString m_Notes; // lines for a person
  std::shared_ptr<heat_SolutionModel> m_Solution;
  cls_OwnUid m_Uid;
};
