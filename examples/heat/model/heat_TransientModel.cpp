#include "examples/heat/model/heat_TransientModel.h"

#include "examples/heat/model/heat_ModelError.h"
#include "persist/adapters/cls_TypeAdapter.h"
#include "store/sto_Shared.h"
#include "store/sto_Store.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace {

cls_FieldHandle TimeStepField() {
  return {0, "m_TimeStep"_cow};
}
cls_FieldHandle IntervalField() {
  return {1, "m_Interval"_cow};
}
cls_FieldHandle CheckpointField() {
  return {2, "m_Checkpoint"_cow};
}
cls_FieldHandle HistoryField() {
  return {3, "m_History"_cow};
}

} // namespace

void heat_TransientModel::DeclareClasses(cls_ClassRegistrar& registrar) {
  heat_CheckpointModel::Declare(registrar);
  registrar
      .AddClassMD(new cls_TypeAdapter<heat_TransientModel>("heat_TransientModel"_cow, 1,
                                                           heat_AnalysisModel::TypeId()))
      .AddAttribute(TimeStepField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(IntervalField(), ATTR_INT, 1, COLLECTION_NONE)
      .AddAttribute(CheckpointField(), ATTR_OBJECT, 1, COLLECTION_NONE)
      .AddAttribute(HistoryField(), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE);
}

heat_TransientModel::heat_TransientModel(std::string const& name, std::shared_ptr<heat_MeshModel> mesh,
                                         heat_Problem const& problem, heat_TransientPlan const& plan,
                                         std::vector<double> const& start)
    : heat_AnalysisModel(name, std::move(mesh), problem), m_TimeStep(plan.timeStep),
      m_Interval(plan.interval), m_Checkpoint(std::make_shared<heat_CheckpointModel>(plan.stepCount)) {
  CheckFits(plan.stepCount);
  for (double const temperature : start) m_History.Append(temperature);
}

heat_TransientModel::heat_TransientModel(cls_ReadVisitor const& visitor)
    : heat_AnalysisModel(cls_ReadVisitor(visitor)), m_TimeStep(visitor.Read(TimeStepField(), 0.0)),
      m_Interval(visitor.Read(IntervalField(), 0)),
      m_Checkpoint(sto_ReadShared<heat_CheckpointModel>(visitor, CheckpointField())),
      m_History(cls_ReadVisitor(visitor, HistoryField())), m_Uid(visitor.GetUid()) {}

heat_TransientModel::~heat_TransientModel() {
  // An array keeps its blocks for others that may share them. Here there are none, so drop the blocks.
  // Nothing is written: what a transaction has not committed is discarded with it.
  m_History.Release();
  m_History.DropBlocks();
}

void heat_TransientModel::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  heat_AnalysisModel::DBWrite(cls_WriteVisitor(visitor, heat_AnalysisModel::TypeId()));
  visitor.Write(TimeStepField(), m_TimeStep);
  visitor.Write(IntervalField(), m_Interval);
  heat_WriteField(visitor, CheckpointField(), m_Checkpoint.get());
  heat_WriteField(visitor, HistoryField(), &m_History);
}

void heat_TransientModel::Check() const {
  if (m_Checkpoint == nullptr) throw heat_ModelError("the analysis has no checkpoint");
  if (!std::isfinite(m_TimeStep) || !(m_TimeStep > 0) || m_Interval < 1)
    throw heat_ModelError("the analysis has no usable time step or checkpoint interval");
  auto const fields = static_cast<std::int64_t>(Step()) + 1;
  if (Step() < 0 || Step() > StepCount() || NodeCount() < 1 || fields * NodeCount() != m_History.Size())
    throw heat_ModelError("the history has " + std::to_string(m_History.Size()) + " temperatures, but " +
                          std::to_string(NodeCount()) + " nodes have reached step " + std::to_string(Step()) +
                          " of " + std::to_string(StepCount()));
}

void heat_TransientModel::CheckFits(int stepCount) const {
  auto const most = std::numeric_limits<int>::max() / std::max(1, NodeCount()) - 1;
  if (stepCount > most)
    throw heat_ModelError("a history of " + std::to_string(NodeCount()) + " nodes has room for " +
                          std::to_string(most) + " steps, not for " + std::to_string(stepCount));
}

void heat_TransientModel::SetStepCount(int stepCount) {
  CheckFits(stepCount);
  m_Checkpoint->SetStepCount(stepCount);
}

std::vector<double> heat_TransientModel::Field(int step) const {
  std::vector<double> field;
  auto const nodes = NodeCount();
  field.reserve(static_cast<std::size_t>(nodes));
  for (int node = 0; node < nodes; ++node) field.push_back(m_History.ConstGet(step * nodes + node));
  return field;
}

void heat_TransientModel::AppendField(std::vector<double> const& field) {
  for (double const temperature : field) m_History.Append(temperature);
  m_Checkpoint->SetStep(Step() + 1);
}

void heat_TransientModel::SaveCheckpoint(sto_Store& store) const {
  store.Save(CheckpointRoot, *m_Checkpoint);
}
