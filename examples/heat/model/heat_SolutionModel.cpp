#include "examples/heat/model/heat_SolutionModel.h"

#include "persist/adapters/cls_TypeAdapter.h"

#include "examples/heat/model/heat_AnalysisModel.h"
#include "store/sto_Shared.h"

namespace {

cls_FieldHandle AnalysisField() {
  return {0, "m_Analysis"_cow};
}
cls_FieldHandle SolutionMeshField() {
  return {1, "m_Mesh"_cow};
}
cls_FieldHandle TemperatureField() {
  return {2, "m_Temperature"_cow};
}
cls_FieldHandle ResidualField() {
  return {3, "m_Residual"_cow};
}
cls_FieldHandle SolveSecondsField() {
  return {4, "m_SolveSeconds"_cow};
}

} // namespace

heat_SolutionModel::heat_SolutionModel(std::shared_ptr<heat_AnalysisModel> const& analysis,
                                       std::shared_ptr<heat_MeshModel> mesh, heat_Solution const& solution,
                                       double solveSeconds)
    : heat_ModelPart("temperature"_cow), m_Analysis(analysis), m_Mesh(std::move(mesh)),
      m_Residual(solution.residual), m_SolveSeconds(solveSeconds) {
  for (double const temperature : solution.temperature) m_Temperature.Append(temperature);
}

heat_SolutionModel::heat_SolutionModel(cls_ReadVisitor const& visitor)
    : heat_ModelPart(cls_ReadVisitor(visitor)),
      m_Analysis(sto_ReadShared<heat_AnalysisModel>(visitor, AnalysisField())),
      m_Mesh(sto_ReadShared<heat_MeshModel>(visitor, SolutionMeshField())),
      m_Temperature(cls_ReadVisitor(visitor, TemperatureField()), nullptr),
      m_Residual(visitor.Read(ResidualField(), 0.0)), m_SolveSeconds(visitor.Read(SolveSecondsField(), 0.0)),
      m_Uid(visitor.GetUid()) {}

void heat_SolutionModel::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  heat_ModelPart::DBWrite(cls_WriteVisitor(visitor, heat_ModelPart::TypeId()));
  heat_WriteField(visitor, AnalysisField(), Analysis().get());
  heat_WriteField(visitor, SolutionMeshField(), m_Mesh.get());
  heat_WriteField(visitor, TemperatureField(), &m_Temperature);
  visitor.Write(ResidualField(), m_Residual);
  visitor.Write(SolveSecondsField(), m_SolveSeconds);
}

std::vector<double> heat_SolutionModel::Temperature() const {
  double const* const first = m_Temperature.ConstData();
  return {first, first + m_Temperature.Count()};
}

void heat_SolutionModel::Declare(cls_ClassRegistrar& registrar) {
  registrar
      .AddClassMD(
          new cls_TypeAdapter<heat_SolutionModel>("heat_SolutionModel"_cow, 1, heat_ModelPart::TypeId()))
      .AddAttribute(AnalysisField(), ATTR_OBJECT, 1, COLLECTION_NONE)
      .AddAttribute(SolutionMeshField(), ATTR_OBJECT, 1, COLLECTION_NONE)
      .AddAttribute(TemperatureField(), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE)
      .AddAttribute(ResidualField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(SolveSecondsField(), ATTR_DOUBLE, 1, COLLECTION_NONE);
}
