#pragma once

#include "examples/heat/model/heat_ModelPart.h"
#include "persist/identity/cls_OwnUid.h"

// The progress of a stored run. It is saved again at each checkpoint, in the transaction that commits the
// history up to that step, so the two always agree.
class heat_CheckpointModel : public heat_ModelPart {
 public:
  static constexpr unsigned int TypeId() { return 0x640031; }

  explicit heat_CheckpointModel(int stepCount);
  explicit heat_CheckpointModel(cls_ReadVisitor const& visitor);
  void DBWrite(cls_WriteVisitor const& visitor) const override;
  static void Declare(cls_ClassRegistrar& registrar);

  int Step() const { return m_Step; } // the last step in the history; 0 is the start
  void SetStep(int step) { m_Step = step; }
  int StepCount() const { return m_StepCount; } // the last step of the whole run
  void SetStepCount(int stepCount) { m_StepCount = stepCount; }

 private:
  int m_Step = 0;
  int m_StepCount;
  cls_OwnUid m_Uid;
};
