#pragma once

#include "collections/cls_ArrayPrim.h"
#include "examples/heat/model/heat_AnalysisModel.h"
#include "examples/heat/model/heat_CheckpointModel.h"
#include "persist/identity/cls_OwnUid.h"

#include <memory>
#include <string>
#include <vector>

class sto_Store;

// How a transient run proceeds.
struct heat_TransientPlan {
  int stepCount = 0;   // total number of steps
  double timeStep = 0; // [s]
  int interval = 0;    // steps between checkpoints
};

// A stored transient analysis: mesh, materials and conditions as in a steady one, and the temperature of
// every node at every step, in degrees Celsius. The history is a bulk array that keeps a single block in
// memory. Its element step * nodes + node is the temperature of a node at a step; step 0 is the start.
//
// Fields are appended within an open sto_Transaction; SaveCheckpoint and Commit make them durable. The
// transaction must end before the object is destroyed.
class heat_TransientModel : public heat_AnalysisModel {
 public:
  static constexpr unsigned int TypeId() { return 0x640030; }

  // The root names of a transient analysis and of its checkpoint.
  static constexpr char Root[] = "analysis/transient-heat";
  static constexpr char CheckpointRoot[] = "analysis/transient-heat/checkpoint";

  // Declares the classes that heat_AnalysisModel::DeclareClasses does not declare.
  static void DeclareClasses(cls_ClassRegistrar& registrar);

  // A run at step 0 with its initial field. Throws heat_ModelError for more steps than a history can hold.
  heat_TransientModel(std::string const& name, std::shared_ptr<heat_MeshModel> mesh,
                      heat_Problem const& problem, heat_TransientPlan const& plan,
                      std::vector<double> const& start);
  explicit heat_TransientModel(cls_ReadVisitor const& visitor);
  ~heat_TransientModel() override;
  void DBWrite(cls_WriteVisitor const& visitor) const override;

  // Throws heat_ModelError if plan, checkpoint, mesh or history contradict each other.
  void Check() const;

  int Step() const { return m_Checkpoint->Step(); } // the last one computed
  int StepCount() const { return m_Checkpoint->StepCount(); }
  double TimeStep() const { return m_TimeStep; }
  int Interval() const { return m_Interval; }
  int NodeCount() const { return Mesh().NodeCount(); }

  // Changes the last step of the run; stored with the next checkpoint. Throws heat_ModelError as the
  // constructor does.
  void SetStepCount(int stepCount);

  // The temperatures of all nodes at a step, of one node at a step, and the whole history.
  std::vector<double> Field(int step) const;
  double Temperature(int step, int node) const { return m_History.ConstGet(step * NodeCount() + node); }
  cls_ArrayPrim<double> const& History() const { return m_History; }

  // Appends the field of the next step.
  void AppendField(std::vector<double> const& field);

  // Saves the current step in the open transaction, together with the history.
  void SaveCheckpoint(sto_Store& store) const;

 private:
  void CheckFits(int stepCount) const;

  double m_TimeStep; // [s]
  int m_Interval;
  std::shared_ptr<heat_CheckpointModel> m_Checkpoint;
  cls_ArrayPrim<double> m_History;
  cls_OwnUid m_Uid;
};
