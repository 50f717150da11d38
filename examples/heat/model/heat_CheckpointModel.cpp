#include "examples/heat/model/heat_CheckpointModel.h"

#include "persist/adapters/cls_TypeAdapter.h"

namespace {

cls_FieldHandle StepField() {
  return {0, "m_Step"_cow};
}
cls_FieldHandle StepCountField() {
  return {1, "m_StepCount"_cow};
}

} // namespace

heat_CheckpointModel::heat_CheckpointModel(int stepCount)
    : heat_ModelPart("checkpoint"_cow), m_StepCount(stepCount) {}

heat_CheckpointModel::heat_CheckpointModel(cls_ReadVisitor const& visitor)
    : heat_ModelPart(cls_ReadVisitor(visitor)), m_Step(visitor.Read(StepField(), 0)),
      m_StepCount(visitor.Read(StepCountField(), 0)), m_Uid(visitor.GetUid()) {}

void heat_CheckpointModel::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  heat_ModelPart::DBWrite(cls_WriteVisitor(visitor, heat_ModelPart::TypeId()));
  visitor.Write(StepField(), m_Step);
  visitor.Write(StepCountField(), m_StepCount);
}

void heat_CheckpointModel::Declare(cls_ClassRegistrar& registrar) {
  registrar
      .AddClassMD(
          new cls_TypeAdapter<heat_CheckpointModel>("heat_CheckpointModel"_cow, 1, heat_ModelPart::TypeId()))
      .AddAttribute(StepField(), ATTR_INT, 1, COLLECTION_NONE)
      .AddAttribute(StepCountField(), ATTR_INT, 1, COLLECTION_NONE);
}
