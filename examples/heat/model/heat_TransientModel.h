#pragma once

#include "collections/cls_ArrayPrim.h"
#include "examples/heat/model/heat_AnalysisModel.h"
#include "examples/heat/model/heat_CheckpointModel.h"
#include "persist/identity/cls_OwnUid.h"

#include <memory>
#include <string>
#include <vector>

class sto_Store;

// How a transient run goes on.
struct heat_TransientPlan {
  int stepCount = 0;   // steps in all
  double timeStep = 0; // [s]
  int interval = 0;    // steps from one checkpoint to the next
};

// A stored transient analysis: mesh, materials and conditions as a steady one has them, and the temperature
// of every node at every step, in degrees Celsius. The history is one bulk array, of which a single block is
// in memory: element step * nodes + node, where step 0 is the start.
//
// Fields are appended within an open sto_Transaction; SaveCheckpoint and its Commit make them durable. The
// transaction must end before the object does.
class heat_TransientModel : public heat_AnalysisModel {
 public:
  static constexpr unsigned int TypeId() { return 0x640030; }

  // The names under which a transient analysis and its checkpoint stand in a store.
  static constexpr char Root[] = "analysis/transient-heat";
  static constexpr char CheckpointRoot[] = "analysis/transient-heat/checkpoint";

  // Declares what heat_AnalysisModel::DeclareClasses does not.
  static void DeclareClasses(cls_ClassRegistrar& registrar);

  // A run that is at step 0 with the field to start from. heat_ModelError for more steps than a history can
  // hold.
  heat_TransientModel(std::string const& name, std::shared_ptr<heat_MeshModel> mesh,
                      heat_Problem const& problem, heat_TransientPlan const& plan,
                      std::vector<double> const& start);
  explicit heat_TransientModel(cls_ReadVisitor const& visitor);
  ~heat_TransientModel() override;
  void DBWrite(cls_WriteVisitor const& visitor) const override;

  // Throws heat_ModelError unless plan, checkpoint, mesh and history fit together.
  void Check() const;

  int Step() const { return m_Checkpoint->Step(); } // reached
  int StepCount() const { return m_Checkpoint->StepCount(); }
  double TimeStep() const { return m_TimeStep; }
  int Interval() const { return m_Interval; }
  int NodeCount() const { return Mesh().NodeCount(); }

  // Another end for the run; stored with the next checkpoint. heat_ModelError as the constructor.
  void SetStepCount(int stepCount);

  // The temperature of each node at a step, of one node at a step, and the plain array.
  std::vector<double> Field(int step) const;
  double Temperature(int step, int node) const { return m_History.ConstGet(step * NodeCount() + node); }
  cls_ArrayPrim<double> const& History() const { return m_History; }

  // Takes the run one step further.
  void AppendField(std::vector<double> const& field);

  // Saves the step reached, beside the history, in the open transaction.
  void SaveCheckpoint(sto_Store& store) const;

 private:
  void CheckFits(int stepCount) const;

  double m_TimeStep; // [s]
  int m_Interval;
  std::shared_ptr<heat_CheckpointModel> m_Checkpoint;
  cls_ArrayPrim<double> m_History;
  cls_OwnUid m_Uid;
};
