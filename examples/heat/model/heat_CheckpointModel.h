#pragma once

#include "examples/heat/model/heat_ModelPart.h"
#include "persist/identity/cls_OwnUid.h"

// How far a stored run is. It is saved anew at each checkpoint, in the transaction that makes the history up
// to there durable, so the two always agree.
class heat_CheckpointModel : public heat_ModelPart {
 public:
  static constexpr unsigned int TypeId() { return 0x640031; }

  explicit heat_CheckpointModel(int stepCount);
  explicit heat_CheckpointModel(cls_ReadVisitor const& visitor);
  void DBWrite(cls_WriteVisitor const& visitor) const override;
  static void Declare(cls_ClassRegistrar& registrar);

  int Step() const { return m_Step; } // the last one whose field is there; 0 is the start
  void SetStep(int step) { m_Step = step; }
  int StepCount() const { return m_StepCount; } // where the run ends
  void SetStepCount(int stepCount) { m_StepCount = stepCount; }

 private:
  int m_Step = 0;
  int m_StepCount;
  cls_OwnUid m_Uid;
};
