#pragma once

#include "examples/heat/model/heat_Model.h"
#include "examples/heat/physics/heat_Solver.h"
#include "persist/identity/cls_OwnUid.h"

class heat_AnalysisModel;

// A stored solution: one temperature per node of the mesh [deg C]. The analysis holds it, so it refers back weakly.
class heat_SolutionModel : public heat_ModelPart {
 public:
  KVL_PERSISTED(heat_SolutionModel, heat_ModelPart, 0x640004, "heat_SolutionModel", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Analysis),
          kvl::As<std::shared_ptr<heat_AnalysisModel>>([](auto const& analysis) { return analysis.lock(); },
                                                       [](auto const& analysis) { return analysis; }));
    field(KVL_F(m_Mesh));
    field(KVL_F(m_Temperature), kvl::Unit("\u00B0C"), kvl::Note("picture.values", "m_Mesh"));
    field(KVL_F(m_Residual));
    field(KVL_F(m_SolveSeconds));
  }
  heat_SolutionModel(std::weak_ptr<heat_AnalysisModel> analysis, std::shared_ptr<heat_MeshModel> mesh,
                     heat_Solution const& solution, double solveSeconds)
      : heat_ModelPart("temperature"), m_Analysis(std::move(analysis)), m_Mesh(std::move(mesh)),
        m_Temperature(solution.temperature), m_Residual(solution.residual), m_SolveSeconds(solveSeconds) {}
  std::vector<double> const& Temperature() const { return m_Temperature; }
  double SolveSeconds() const { return m_SolveSeconds; }

 private:
  std::weak_ptr<heat_AnalysisModel> m_Analysis;
  std::shared_ptr<heat_MeshModel> m_Mesh;
  std::vector<double> m_Temperature;
  double m_Residual = 0;
  double m_SolveSeconds = 0;
};

// A stored analysis, the root of the object graph: the mesh, which the conditions and the solution share, the
// lists of materials and conditions, and the solution.
//
// Write a class by hand when Describe cannot say what it stores. This one leaves out the numbers of two fields: 4
// and 5 were those of version 1, which held the first parts of two chains. A described class numbers its fields in
// the order of their lines. It also declares a list of objects as COLLECTION_OBJ, and stores have COLLECTION_LIST.
class heat_AnalysisModel : public heat_ModelPart {
 public:
  static constexpr unsigned int TypeId() { return 0x640020; }
  static constexpr char Root[] = "analysis/steady-heat"; // its root name
  static void Declare(cls_ClassRegistrar& registrar);    // also declares all other classes of an analysis

  heat_AnalysisModel(std::string name, std::shared_ptr<heat_MeshModel> mesh, heat_Problem const& problem);
  explicit heat_AnalysisModel(cls_ReadVisitor const& visitor);
  void DBWrite(cls_WriteVisitor const& visitor) const override;
  cls_Uid const& Uid() const override { return m_Uid; }

  heat_MeshModel const& Mesh() const { return Existing(m_Mesh, "mesh"); }
  heat_SolutionModel const& Solution() const { return Existing(m_Solution, "solution"); }
  void SetSolution(std::shared_ptr<heat_SolutionModel> solution) { m_Solution = std::move(solution); }
  heat_Problem ToProblem() const;

 protected:
  // Throws heat_ModelError for a null pointer.
  template <class T> static T& Existing(std::shared_ptr<T> const& part, std::string const& what) {
    if (part == nullptr) throw heat_ModelError("the analysis has no " + what);
    return *part;
  }

 private:
  std::shared_ptr<heat_MeshModel> m_Mesh;
  std::vector<int> m_MaterialOf; // for each triangle, an index into the materials; empty: all 0
  std::vector<std::string> m_Notes;
  std::shared_ptr<heat_SolutionModel> m_Solution;
  std::vector<std::shared_ptr<heat_MaterialModel>> m_Materials;
  std::vector<std::shared_ptr<heat_ConditionModel>> m_Conditions;
  cls_OwnUid m_Uid, m_MaterialOfUid, m_NotesUid, m_MaterialsUid, m_ConditionsUid;
};
