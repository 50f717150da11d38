#include "examples/heat/model/heat_AnalysisModel.h"

#include "describe/dsc_Functions.h"
#include "persist/adapters/cls_TypeAdapter.h"

#include <algorithm>
#include <cstddef>

namespace {

struct Field {
  static cls_FieldHandle Mesh() { return {0, "m_Mesh"_cow}; }
  static cls_FieldHandle MaterialOf() { return {1, "m_MaterialOf"_cow}; }
  static cls_FieldHandle Notes() { return {2, "m_Notes"_cow}; }
  static cls_FieldHandle Solution() { return {3, "m_Solution"_cow}; }
  static cls_FieldHandle FirstMaterial() { return {4, "m_Materials"_cow}; } // of version 1, as the next
  static cls_FieldHandle FirstCondition() { return {5, "m_Conditions"_cow}; }
  static cls_FieldHandle Materials() { return {6, "m_MaterialList"_cow}; }
  static cls_FieldHandle Conditions() { return {7, "m_ConditionList"_cow}; }
};

template <class Part> using Parts = std::vector<std::shared_ptr<Part>>;

template <class Part>
void WriteParts(cls_WriteVisitor const& visitor, cls_FieldHandle const& field, Parts<Part> const& parts,
                cls_OwnUid const& uid) {
  cls_Received<cls_WriteListObj> const list(visitor.MakeFieldWriteListObj(field, uid));
  for (auto const& part : parts) static_cast<void>(cls_AppendLater(*list, nullptr, part));
}

// Version 1 held the first part only, in another field; see FollowChain.
template <class Part>
void ReadParts(cls_ReadVisitor const& visitor, cls_FieldHandle const& field, cls_FieldHandle const& first,
               Parts<Part>& parts, cls_OwnUid& uid) {
  if (visitor.FieldIsPresent(field) == 0) {
    std::shared_ptr<Part> part;
    kvl::Read(visitor, first, part);
    if (part != nullptr) parts.push_back(part);
    return;
  }
  cls_ReadVisitor const stored(visitor, field);
  uid = stored.GetUid();
  cls_Received<cls_ReadListObj> const list(stored.Memento()->MakeReadListObj());
  for (int i = 0; list->More() != 0; ++i) {
    parts.push_back(cls_ConstructShared<Part>(cls_ReadVisitor(list->Next())));
    if (parts.back() == nullptr)
      throw heat_ModelError("element " + std::to_string(i) + " of " + std::string(field.Name().View()) +
                            " is missing");
  }
}

// Appends the parts of an old chain, each of which has the next one.
template <class Part> void FollowChain(Parts<Part>& parts, std::string const& field) {
  for (std::size_t i = 0; i < parts.size(); ++i) {
    auto const next = parts[i]->OldNext();
    if (next == nullptr) continue;
    if (std::find(parts.begin(), parts.end(), next) != parts.end())
      throw heat_ModelError("the chain of " + field + " leads back into itself");
    parts.push_back(std::dynamic_pointer_cast<Part>(next));
    if (parts.back() == nullptr)
      throw heat_ModelError("the chain of " + field + " leads to another kind of part");
  }
}

template <class Model, class Part, class Data>
void AddModels(Parts<Part>& parts, std::vector<Data> const& data, auto const&... mesh) {
  for (Data const& each : data) parts.push_back(std::make_shared<Model>(each, mesh...));
}

} // namespace

void heat_AnalysisModel::Declare(cls_ClassRegistrar& registrar) {
  if (registrar.ClassVersionIsPresent(TypeId(), 2)) return;
  heat_ModelPart::Declare(registrar);
  registrar
      .AddClassMD(
          new cls_TypeAdapter<heat_AnalysisModel>("heat_AnalysisModel"_cow, 2, heat_ModelPart::TypeId()))
      .AddAttribute(Field::Mesh(), ATTR_OBJECT, 1, COLLECTION_NONE)
      .AddAttribute(Field::MaterialOf(), ATTR_INT, 1, COLLECTION_LIST_INT)
      .AddAttribute(Field::Notes(), ATTR_STRING, 1, COLLECTION_LIST_STRING)
      .AddAttribute(Field::Solution(), ATTR_OBJECT, 1, COLLECTION_NONE)
      .AddAttribute(Field::Materials(), ATTR_OBJECT, 1, COLLECTION_LIST)
      .AddAttribute(Field::Conditions(), ATTR_OBJECT, 1, COLLECTION_LIST);
  heat_MaterialModel::Declare(registrar);
  heat_SolutionModel::Declare(registrar);
  heat_FixedTemperatureModel::Declare(registrar);
  heat_EdgeConvectionModel::Declare(registrar);
  heat_FaceConvectionModel::Declare(registrar);
  heat_EdgeFluxModel::Declare(registrar);
}

heat_AnalysisModel::heat_AnalysisModel(std::string name, std::shared_ptr<heat_MeshModel> mesh,
                                       heat_Problem const& problem)
    : heat_ModelPart(std::move(name)), m_Mesh(std::move(mesh)), m_MaterialOf(problem.materialOf) {
  m_Notes = {"Temperatures in degrees Celsius, everything else in SI units.",
             "Mesh of " + std::to_string(m_Mesh->NodeCount()) + " nodes and " +
                 std::to_string(m_Mesh->TriangleCount()) + " linear triangles."};
  AddModels<heat_MaterialModel>(m_Materials, problem.materials);
  AddModels<heat_FixedTemperatureModel>(m_Conditions, problem.fixedTemperatures, m_Mesh);
  AddModels<heat_EdgeConvectionModel>(m_Conditions, problem.edgeConvections, m_Mesh);
  AddModels<heat_FaceConvectionModel>(m_Conditions, problem.faceConvections, m_Mesh);
  AddModels<heat_EdgeFluxModel>(m_Conditions, problem.edgeFluxes, m_Mesh);
}

heat_AnalysisModel::heat_AnalysisModel(cls_ReadVisitor const& visitor)
    : heat_ModelPart(cls_ReadVisitor(visitor)), m_Uid(visitor.GetUid()) {
  kvl::Read(visitor, Field::Mesh(), m_Mesh);
  kvl::Read(visitor, Field::MaterialOf(), m_MaterialOf, m_MaterialOfUid);
  kvl::Read(visitor, Field::Notes(), m_Notes, m_NotesUid);
  kvl::Read(visitor, Field::Solution(), m_Solution);
  ReadParts(visitor, Field::Materials(), Field::FirstMaterial(), m_Materials, m_MaterialsUid);
  ReadParts(visitor, Field::Conditions(), Field::FirstCondition(), m_Conditions, m_ConditionsUid);
  cls_AfterLoad(visitor, *this, 0, [](void* analysis, int) {
    FollowChain(static_cast<heat_AnalysisModel*>(analysis)->m_Materials, "m_Materials");
    FollowChain(static_cast<heat_AnalysisModel*>(analysis)->m_Conditions, "m_Conditions");
  });
}

void heat_AnalysisModel::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  heat_ModelPart::DBWrite(cls_WriteVisitor(visitor, heat_ModelPart::TypeId()));
  kvl::Write(visitor, Field::Mesh(), m_Mesh);
  kvl::Write(visitor, Field::MaterialOf(), m_MaterialOf, m_MaterialOfUid);
  kvl::Write(visitor, Field::Notes(), m_Notes, m_NotesUid);
  kvl::Write(visitor, Field::Solution(), m_Solution);
  WriteParts(visitor, Field::Materials(), m_Materials, m_MaterialsUid);
  WriteParts(visitor, Field::Conditions(), m_Conditions, m_ConditionsUid);
}

heat_Problem heat_AnalysisModel::ToProblem() const {
  heat_Problem problem;
  problem.materialOf = m_MaterialOf;
  for (auto const& material : m_Materials) problem.materials.push_back(material->ToData());
  for (auto const& condition : m_Conditions) condition->AddTo(problem);
  return problem;
}
