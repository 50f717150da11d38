#include "examples/heat/heat_AnalysisModel.h"

#include "examples/heat/heat_ModelError.h"
#include "store/sto_Shared.h"

namespace {

cls_FieldHandle MeshField() {
  return {0, "m_Mesh"_cow};
}
cls_FieldHandle MaterialOfField() {
  return {1, "m_MaterialOf"_cow};
}
cls_FieldHandle NotesField() {
  return {2, "m_Notes"_cow};
}
cls_FieldHandle SolutionField() {
  return {3, "m_Solution"_cow};
}
cls_FieldHandle MaterialCountField() {
  return {4, "m_MaterialCount"_cow};
}
cls_FieldHandle ConditionCountField() {
  return {5, "m_ConditionCount"_cow};
}

// The materials and conditions follow as fields without name: even numbers and odd numbers.
cls_FieldHandle MaterialField(int index) {
  return {2 * index, cow_String()};
}
cls_FieldHandle ConditionField(int index) {
  return {2 * index + 1, cow_String()};
}

constexpr unsigned int Part = heat_ModelPart::TypeId();
constexpr unsigned int Condition = heat_ConditionModel::TypeId();

constexpr cls_ClassDeclaration ClassDeclarations[] = {
    {"heat_ModelPart", Part, 1, 1},
    {"heat_MeshModel", heat_MeshModel::TypeId(), 1, Part},
    {"heat_MaterialModel", heat_MaterialModel::TypeId(), 1, Part},
    {"heat_SolutionModel", heat_SolutionModel::TypeId(), 1, Part},
    {"heat_ConditionModel", Condition, 1, Part},
    {"heat_FixedTemperatureModel", heat_FixedTemperatureModel::TypeId(), 1, Condition},
    {"heat_EdgeConvectionModel", heat_EdgeConvectionModel::TypeId(), 1, Condition},
    {"heat_FaceConvectionModel", heat_FaceConvectionModel::TypeId(), 1, Condition},
    {"heat_EdgeFluxModel", heat_EdgeFluxModel::TypeId(), 1, Condition},
    {"heat_AnalysisModel", heat_AnalysisModel::TypeId(), 1, Part},
};

cow_List<cow_String> NotesOn(heat_MeshData const& mesh) {
  cow_List<cow_String> notes;
  notes.Append("Temperatures in degrees Celsius, everything else in SI units."_cow);
  notes.Append(cow_String("Mesh of " + std::to_string(mesh.nodes.size()) + " nodes and " +
                          std::to_string(mesh.triangles.size()) + " linear triangles."));
  return notes;
}

} // namespace

std::span<cls_ClassDeclaration const> heat_AnalysisModel::Classes() {
  return ClassDeclarations;
}

heat_AnalysisModel::heat_AnalysisModel(std::string const& name, std::shared_ptr<heat_MeshModel> mesh,
                                       heat_Problem const& problem)
    : heat_ModelPart(cow_String(name)), m_Mesh(std::move(mesh)),
      m_Notes(cls_xpListStringFromCow(NotesOn(m_Mesh->ToData()))) {
  for (heat_Material const& material : problem.materials)
    m_Materials.push_back(std::make_shared<heat_MaterialModel>(material));
  for (int const index : problem.materialOf) m_MaterialOf.Append(index);
  AddConditions<heat_FixedTemperatureModel>(problem.fixedTemperatures);
  AddConditions<heat_EdgeConvectionModel>(problem.edgeConvections);
  AddConditions<heat_FaceConvectionModel>(problem.faceConvections);
  AddConditions<heat_EdgeFluxModel>(problem.edgeFluxes);
}

template <class Model, class Conditions>
void heat_AnalysisModel::AddConditions(std::vector<Conditions> const& conditions) {
  for (Conditions const& condition : conditions)
    m_Conditions.push_back(std::make_unique<Model>(condition, m_Mesh));
}

heat_AnalysisModel::heat_AnalysisModel(cls_ReadVisitor const& visitor)
    : heat_ModelPart(cls_ReadVisitor(visitor)), m_Mesh(sto_ReadShared<heat_MeshModel>(visitor, MeshField())),
      m_MaterialOf(cls_ReadVisitor(visitor, MaterialOfField()), nullptr),
      m_Notes(cls_ReadVisitor(visitor, NotesField())),
      m_Solution(sto_ReadShared<heat_SolutionModel>(visitor, SolutionField())), m_Uid(visitor.GetUid()) {
  int const materialCount = visitor.Read(MaterialCountField(), 0);
  for (int i = 0; i < materialCount; ++i) {
    m_Materials.push_back(sto_ReadShared<heat_MaterialModel>(visitor, MaterialField(i)));
    if (m_Materials.back() == nullptr) throw heat_ModelError("material " + std::to_string(i) + " is missing");
  }
  int const conditionCount = visitor.Read(ConditionCountField(), 0);
  for (int i = 0; i < conditionCount; ++i)
    m_Conditions.push_back(heat_ConditionModel::Read(cls_ReadVisitor(visitor, ConditionField(i))));
}

void heat_AnalysisModel::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  heat_ModelPart::DBWrite(cls_WriteVisitor(visitor, heat_ModelPart::TypeId()));
  heat_WriteField(visitor, MeshField(), m_Mesh.get());
  heat_WriteField(visitor, MaterialOfField(), &m_MaterialOf);
  heat_WriteField(visitor, NotesField(), &m_Notes);
  heat_WriteField(visitor, SolutionField(), m_Solution.get());
  visitor.Write(MaterialCountField(), static_cast<int>(m_Materials.size()));
  visitor.Write(ConditionCountField(), static_cast<int>(m_Conditions.size()));
  for (std::size_t i = 0; i < m_Materials.size(); ++i)
    heat_WriteField(visitor, MaterialField(static_cast<int>(i)), m_Materials[i].get());
  for (std::size_t i = 0; i < m_Conditions.size(); ++i)
    heat_WriteField(visitor, ConditionField(static_cast<int>(i)), m_Conditions[i].get());
}

heat_MeshModel const& heat_AnalysisModel::Mesh() const {
  if (m_Mesh == nullptr) throw heat_ModelError("the analysis has no mesh");
  return *m_Mesh;
}

heat_SolutionModel const& heat_AnalysisModel::Solution() const {
  if (m_Solution == nullptr) throw heat_ModelError("the analysis has no solution");
  return *m_Solution;
}

heat_Problem heat_AnalysisModel::ToProblem() const {
  heat_Problem problem;
  for (auto const& material : m_Materials) problem.materials.push_back(material->ToData());
  for (int i = 0; i < m_MaterialOf.Count(); ++i) problem.materialOf.push_back(m_MaterialOf.ConstGet(i));
  for (auto const& condition : m_Conditions) condition->AddTo(problem);
  return problem;
}
