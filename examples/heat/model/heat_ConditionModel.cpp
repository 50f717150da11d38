#include "examples/heat/model/heat_ConditionModel.h"

#include "examples/heat/model/heat_ModelError.h"
#include "persist/adapters/cls_TypeAdapter.h"
#include "store/sto_Shared.h"

namespace {

cls_FieldHandle ConditionMeshField() {
  return {0, "m_Mesh"_cow};
}
cls_FieldHandle WhereField() {
  return {1, "m_Where"_cow};
}
cls_FieldHandle ValueField() {
  return {2, "m_Value"_cow};
}
cls_FieldHandle AmbientField() {
  return {3, "m_Ambient"_cow};
}

cow_List<int> ToList(std::vector<int> const& indexes) {
  cow_List<int> list;
  for (int const index : indexes) list.Append(index);
  return list;
}

cow_List<int> ToList(std::vector<heat_Edge> const& edges) {
  cow_List<int> list;
  for (heat_Edge const& edge : edges)
    for (int const node : edge) list.Append(node);
  return list;
}

// The names of the members in the plain conditions.
cow_List<int> Where(heat_FixedTemperature const& condition) {
  return ToList(condition.nodes);
}
cow_List<int> Where(heat_EdgeConvection const& condition) {
  return ToList(condition.edges);
}
cow_List<int> Where(heat_FaceConvection const& condition) {
  return ToList(condition.triangles);
}
cow_List<int> Where(heat_EdgeFlux const& condition) {
  return ToList(condition.edges);
}

double Value(heat_FixedTemperature const& condition) {
  return condition.temperature;
}
double Value(heat_EdgeConvection const& condition) {
  return condition.film;
}
double Value(heat_FaceConvection const& condition) {
  return condition.film;
}
double Value(heat_EdgeFlux const& condition) {
  return condition.flux;
}

double Ambient(heat_EdgeConvection const& condition) {
  return condition.ambient;
}
double Ambient(heat_FaceConvection const& condition) {
  return condition.ambient;
}
template <class Condition> double Ambient(Condition const&) {
  return 0;
}

template <class Model> void DeclareConcrete(cls_ClassRegistrar& registrar, cow_String const& name) {
  registrar.AddClassMD(new cls_TypeAdapter<Model>(name, 1, heat_ConditionModel::TypeId()));
}

} // namespace

heat_ConditionModel::heat_ConditionModel(std::string const& name, std::shared_ptr<heat_MeshModel> mesh,
                                         cow_List<int> const& where, double value, double ambient)
    : heat_ModelPart(cow_String(name)), m_Mesh(std::move(mesh)), m_Where(cls_xpListIntFromCow(where)),
      m_Value(value), m_Ambient(ambient) {}

heat_ConditionModel::heat_ConditionModel(cls_ReadVisitor const& visitor)
    : heat_ModelPart(cls_ReadVisitor(visitor)),
      m_Mesh(sto_ReadShared<heat_MeshModel>(visitor, ConditionMeshField())),
      m_Where(cls_ReadVisitor(visitor, WhereField())), m_Value(visitor.Read(ValueField(), 0.0)),
      m_Ambient(visitor.Read(AmbientField(), 0.0)), m_Uid(visitor.GetUid()) {}

void heat_ConditionModel::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  heat_ModelPart::DBWrite(cls_WriteVisitor(visitor, heat_ModelPart::TypeId()));
  heat_WriteField(visitor, ConditionMeshField(), m_Mesh.get());
  heat_WriteField(visitor, WhereField(), &m_Where);
  visitor.Write(ValueField(), m_Value);
  visitor.Write(AmbientField(), m_Ambient);
}

std::vector<int> heat_ConditionModel::Indexes() const {
  std::vector<int> indexes;
  for (cow_1DArrayIter<int> index = m_Where.Iterator(); !index.AtEnd(); index.Next())
    indexes.push_back(index.ConstGet());
  return indexes;
}

std::vector<heat_Edge> heat_ConditionModel::Edges() const {
  std::vector<int> const nodes = Indexes();
  if (nodes.size() % 2 != 0)
    throw heat_ModelError("condition " + std::string(Name().View()) + " has an odd number of edge nodes");
  std::vector<heat_Edge> edges;
  for (std::size_t i = 0; i < nodes.size(); i += 2) edges.push_back({nodes[i], nodes[i + 1]});
  return edges;
}

void heat_ConditionModel::Declare(cls_ClassRegistrar& registrar) {
  registrar
      .AddClassMD(
          new cls_AbsTypeAdapter<heat_ConditionModel>("heat_ConditionModel"_cow, 1, heat_ModelPart::TypeId()))
      .AddAttribute(ConditionMeshField(), ATTR_OBJECT, 1, COLLECTION_NONE)
      .AddAttribute(WhereField(), ATTR_INT, 1, COLLECTION_LIST_INT)
      .AddAttribute(ValueField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(AmbientField(), ATTR_DOUBLE, 1, COLLECTION_NONE);
  DeclareConcrete<heat_FixedTemperatureModel>(registrar, "heat_FixedTemperatureModel"_cow);
  DeclareConcrete<heat_EdgeConvectionModel>(registrar, "heat_EdgeConvectionModel"_cow);
  DeclareConcrete<heat_FaceConvectionModel>(registrar, "heat_FaceConvectionModel"_cow);
  DeclareConcrete<heat_EdgeFluxModel>(registrar, "heat_EdgeFluxModel"_cow);
}

template <class Condition, unsigned int Id>
heat_ConditionOf<Condition, Id>::heat_ConditionOf(Condition const& condition,
                                                  std::shared_ptr<heat_MeshModel> mesh)
    : heat_ConditionModel(condition.name, std::move(mesh), Where(condition), ::Value(condition),
                          ::Ambient(condition)) {}

template <class Condition, unsigned int Id>
heat_ConditionOf<Condition, Id>::heat_ConditionOf(cls_ReadVisitor const& visitor)
    : heat_ConditionModel(cls_ReadVisitor(visitor)), m_Uid(visitor.GetUid()) {}

template <class Condition, unsigned int Id>
void heat_ConditionOf<Condition, Id>::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  heat_ConditionModel::DBWrite(cls_WriteVisitor(visitor, heat_ConditionModel::TypeId()));
}

template <> void heat_FixedTemperatureModel::AddTo(heat_Problem& problem) const {
  problem.fixedTemperatures.push_back({std::string(Name().View()), Indexes(), Value()});
}

template <> void heat_EdgeConvectionModel::AddTo(heat_Problem& problem) const {
  problem.edgeConvections.push_back({std::string(Name().View()), Edges(), Value(), Ambient()});
}

template <> void heat_FaceConvectionModel::AddTo(heat_Problem& problem) const {
  problem.faceConvections.push_back({std::string(Name().View()), Indexes(), Value(), Ambient()});
}

template <> void heat_EdgeFluxModel::AddTo(heat_Problem& problem) const {
  problem.edgeFluxes.push_back({std::string(Name().View()), Edges(), Value()});
}

template class heat_ConditionOf<heat_FixedTemperature, 0x640011>;
template class heat_ConditionOf<heat_EdgeConvection, 0x640012>;
template class heat_ConditionOf<heat_FaceConvection, 0x640013>;
template class heat_ConditionOf<heat_EdgeFlux, 0x640014>;
