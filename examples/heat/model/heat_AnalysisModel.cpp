#include "examples/heat/model/heat_AnalysisModel.h"

#include "examples/heat/model/heat_ModelError.h"
#include "examples/heat/model/heat_OldChain.h"
#include "persist/adapters/cls_TypeAdapter.h"
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
cls_FieldHandle MaterialsField() {
  return {6, "m_MaterialList"_cow};
}
cls_FieldHandle ConditionsField() {
  return {7, "m_ConditionList"_cow};
}

// The field handles of version 1, which held the first part of each chain.
cls_FieldHandle FirstMaterialField() {
  return {4, "m_Materials"_cow};
}
cls_FieldHandle FirstConditionField() {
  return {5, "m_Conditions"_cow};
}

// The parts of an analysis of any version. A separate constructor function could not build an analysis from
// an old record, because an analysis is part of a cycle and can also be the base-class part of another one.
template <class Part>
heat_PartList<Part> ReadParts(cls_ReadVisitor const& visitor, cls_FieldHandle const& list,
                              cls_FieldHandle const& firstOfChain) {
  if (visitor.FieldIsPresent(list) != 0) return {visitor, list};
  return heat_PartList<Part>(heat_OldChain::Read<Part>(visitor, firstOfChain));
}

cow_List<cow_String> NotesOn(heat_MeshData const& mesh) {
  cow_List<cow_String> notes;
  notes.Append("Temperatures in degrees Celsius, everything else in SI units."_cow);
  notes.Append(cow_String("Mesh of " + std::to_string(mesh.nodes.size()) + " nodes and " +
                          std::to_string(mesh.triangles.size()) + " linear triangles."));
  return notes;
}

} // namespace

void heat_AnalysisModel::DeclareClasses(cls_ClassRegistrar& registrar) {
  heat_ModelPart::Declare(registrar);
  heat_MeshModel::Declare(registrar);
  heat_MaterialModel::Declare(registrar);
  heat_SolutionModel::Declare(registrar);
  heat_ConditionModel::Declare(registrar);
  registrar
      .AddClassMD(
          new cls_TypeAdapter<heat_AnalysisModel>("heat_AnalysisModel"_cow, 2, heat_ModelPart::TypeId()))
      .AddAttribute(MeshField(), ATTR_OBJECT, 1, COLLECTION_NONE)
      .AddAttribute(MaterialOfField(), ATTR_INT, 1, COLLECTION_LIST_INT)
      .AddAttribute(NotesField(), ATTR_STRING, 1, COLLECTION_LIST_STRING)
      .AddAttribute(SolutionField(), ATTR_OBJECT, 1, COLLECTION_NONE)
      .AddAttribute(MaterialsField(), ATTR_OBJECT, 1, COLLECTION_LIST)
      .AddAttribute(ConditionsField(), ATTR_OBJECT, 1, COLLECTION_LIST);
}

heat_AnalysisModel::heat_AnalysisModel(std::string const& name, std::shared_ptr<heat_MeshModel> mesh,
                                       heat_Problem const& problem)
    : heat_ModelPart(cow_String(name)), m_Mesh(std::move(mesh)),
      m_Notes(cls_xpListStringFromCow(NotesOn(m_Mesh->ToData()))) {
  for (heat_Material const& material : problem.materials)
    m_Materials.Append(std::make_shared<heat_MaterialModel>(material));
  for (int const index : problem.materialOf) m_MaterialOf.Append(index);
  AddConditions<heat_FixedTemperatureModel>(problem.fixedTemperatures);
  AddConditions<heat_EdgeConvectionModel>(problem.edgeConvections);
  AddConditions<heat_FaceConvectionModel>(problem.faceConvections);
  AddConditions<heat_EdgeFluxModel>(problem.edgeFluxes);
}

template <class Model, class Conditions>
void heat_AnalysisModel::AddConditions(std::vector<Conditions> const& conditions) {
  for (Conditions const& condition : conditions)
    m_Conditions.Append(std::make_shared<Model>(condition, m_Mesh));
}

heat_AnalysisModel::heat_AnalysisModel(cls_ReadVisitor const& visitor)
    : heat_ModelPart(cls_ReadVisitor(visitor)), m_Mesh(sto_ReadShared<heat_MeshModel>(visitor, MeshField())),
      m_MaterialOf(cls_ReadVisitor(visitor, MaterialOfField()), nullptr),
      m_Notes(cls_ReadVisitor(visitor, NotesField())),
      m_Solution(sto_ReadShared<heat_SolutionModel>(visitor, SolutionField())), m_Uid(visitor.GetUid()) {
  m_Materials = ReadParts<heat_MaterialModel>(visitor, MaterialsField(), FirstMaterialField());
  m_Conditions = ReadParts<heat_ConditionModel>(visitor, ConditionsField(), FirstConditionField());
}

void heat_AnalysisModel::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  heat_ModelPart::DBWrite(cls_WriteVisitor(visitor, heat_ModelPart::TypeId()));
  heat_WriteField(visitor, MeshField(), m_Mesh.get());
  heat_WriteField(visitor, MaterialOfField(), &m_MaterialOf);
  heat_WriteField(visitor, NotesField(), &m_Notes);
  heat_WriteField(visitor, SolutionField(), m_Solution.get());
  m_Materials.Write(visitor, MaterialsField());
  m_Conditions.Write(visitor, ConditionsField());
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
  for (auto const& material : m_Materials.All()) problem.materials.push_back(material->ToData());
  for (int i = 0; i < m_MaterialOf.Count(); ++i) problem.materialOf.push_back(m_MaterialOf.ConstGet(i));
  for (auto const& condition : m_Conditions.All()) condition->AddTo(problem);
  return problem;
}
