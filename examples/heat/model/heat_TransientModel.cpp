#include "examples/heat/model/heat_TransientModel.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

heat_TransientModel::heat_TransientModel(std::string const& name, std::shared_ptr<heat_MeshModel> mesh,
                                         heat_Problem const& problem, heat_TransientPlan const& plan,
                                         std::vector<double> const& start)
    : heat_AnalysisModel(name, std::move(mesh), problem), m_TimeStep(plan.timeStep),
      m_Interval(plan.interval), m_Checkpoint(std::make_shared<heat_CheckpointModel>(plan.stepCount)),
      m_History(sto_Array<double>::OfRows({NodeCount()})) {
  SetStepCount(plan.stepCount);
  m_History.Append(start);
}

void heat_TransientModel::Check() {
  Existing(m_Checkpoint, "checkpoint");
  if (!std::isfinite(m_TimeStep) || !(m_TimeStep > 0) || m_Interval < 1)
    throw heat_ModelError("the analysis has no usable time step or checkpoint interval");
  auto const fields = static_cast<std::int64_t>(Step()) + 1;
  if (Step() < 0 || Step() > StepCount() || NodeCount() < 1 || fields * NodeCount() != m_History.Size())
    throw heat_ModelError("the history has " + std::to_string(m_History.Size()) + " temperatures, but " +
                          std::to_string(NodeCount()) + " nodes have reached step " + std::to_string(Step()) +
                          " of " + std::to_string(StepCount()));
  m_History.SetRows({NodeCount()});
}

void heat_TransientModel::SetStepCount(int stepCount) {
  auto const most = std::numeric_limits<int>::max() / std::max(1, NodeCount()) - 1;
  if (stepCount > most)
    throw heat_ModelError("a history of " + std::to_string(NodeCount()) + " nodes has room for " +
                          std::to_string(most) + " steps, not for " + std::to_string(stepCount));
  m_Checkpoint->m_StepCount = stepCount;
}

void heat_TransientModel::AppendField(std::vector<double> const& field) {
  m_History.Append(field);
  ++m_Checkpoint->m_Step;
}
