#pragma once

#include "examples/heat/model/heat_AnalysisModel.h"
#include "store/arrays/sto_Array.h"
#include "store/sto_Store.h"

// How a transient run proceeds.
struct heat_TransientPlan {
  int stepCount = 0;   // total number of steps
  double timeStep = 0; // [s]
  int interval = 0;    // steps between checkpoints
};

// The progress of a stored run. It is saved again at each checkpoint, in the transaction that commits the
// history up to that step, so the two always agree.
class heat_CheckpointModel : public heat_ModelPart {
 public:
  KVL_PERSISTED(heat_CheckpointModel, heat_ModelPart, 0x640031, "heat_CheckpointModel", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Step));
    field(KVL_F(m_StepCount));
  }
  explicit heat_CheckpointModel(int stepCount) : heat_ModelPart("checkpoint"), m_StepCount(stepCount) {}

  int m_Step = 0;      // the last step in the history; 0 is the start
  int m_StepCount = 0; // the last step of the whole run
};

// A stored transient analysis: also the temperature of every node at every step [deg C]. The history has a
// row for each step, with a column for each node; row 0 is the start. It is in the store, block by block.
//
// Fields are appended within an open sto_Transaction; SaveCheckpoint and Commit make them durable. The
// transaction must end before the object is destroyed.
class heat_TransientModel : public heat_AnalysisModel {
 public:
  KVL_PERSISTED(heat_TransientModel, heat_AnalysisModel, 0x640030, "heat_TransientModel", 2)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_TimeStep), kvl::Unit("s"));
    field(KVL_F(m_Interval));
    field(KVL_F(m_Checkpoint));
    field(KVL_F(m_History), kvl::Unit("\u00B0C"), kvl::Note("picture.values", "m_Mesh"));
  }
  static constexpr char Root[] = "analysis/transient-heat"; // the root names of it and of its checkpoint
  static constexpr char CheckpointRoot[] = "analysis/transient-heat/checkpoint";

  // A run at step 0 with its initial field. Throws heat_ModelError for more steps than a history can hold.
  heat_TransientModel(std::string const& name, std::shared_ptr<heat_MeshModel> mesh,
                      heat_Problem const& problem, heat_TransientPlan const& plan,
                      std::vector<double> const& start);

  // Throws heat_ModelError if plan, checkpoint, mesh or history contradict each other. Then the history has rows, also
  // that of version 1, which was a bulk array.
  void Check();

  int Step() const { return m_Checkpoint->m_Step; }
  int StepCount() const { return m_Checkpoint->m_StepCount; }
  double TimeStep() const { return m_TimeStep; }
  int Interval() const { return m_Interval; }
  int NodeCount() const { return Mesh().NodeCount(); }
  double Temperature(int step, int node) const { return m_History.Get(1LL * step * NodeCount() + node); }
  std::vector<double> Field(int step) const { return m_History.Row(step); } // the temperatures of all nodes
  sto_Array<double> const& History() const { return m_History; }

  // Changes the last step of the run; stored with the next checkpoint. Throws as the constructor does.
  void SetStepCount(int stepCount);
  // Appends the field of the next step.
  void AppendField(std::vector<double> const& field);
  // Saves the current step in the open transaction, together with the history.
  void SaveCheckpoint(sto_Store& store) const { store.Save(CheckpointRoot, *m_Checkpoint); }

 private:
  double m_TimeStep = 0; // [s]
  int m_Interval = 0;    // steps between checkpoints
  std::shared_ptr<heat_CheckpointModel> m_Checkpoint;
  sto_Array<double> m_History; // a row for each step
};
