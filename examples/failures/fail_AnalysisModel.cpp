#include "examples/failures/fail_AnalysisModel.h"

#include "persist/adapters/cls_TypeAdapter.h"
#include "store/sto_Shared.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

cls_FieldHandle NameField() {
  return {0, "m_Name"_cow};
}
cls_FieldHandle StatusField() {
  return {1, "m_Status"_cow};
}
cls_FieldHandle StepCountField() {
  return {2, "m_StepCount"_cow};
}
cls_FieldHandle LastLoadFactorField() {
  return {3, "m_LastLoadFactor"_cow};
}
cls_FieldHandle DisplacementsField() {
  return {4, "m_Displacements"_cow};
}
cls_FieldHandle FailureField() {
  return {5, "m_Failure"_cow};
}

} // namespace

void fail_AnalysisModel::Declare(cls_ClassRegistrar& registrar) {
  registrar
      .AddClassMD(new cls_TypeAdapter<fail_AnalysisModel>("fail_AnalysisModel"_cow, 1,
                                                          cls_ClassMetadata::RootClassId))
      .AddAttribute(NameField(), ATTR_STRING, 1, COLLECTION_NONE)
      .AddAttribute(StatusField(), ATTR_INT, 1, COLLECTION_NONE)
      .AddAttribute(StepCountField(), ATTR_INT, 1, COLLECTION_NONE)
      .AddAttribute(LastLoadFactorField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(DisplacementsField(), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE)
      .AddAttribute(FailureField(), ATTR_OBJECT, 1, COLLECTION_NONE);
}

fail_AnalysisModel::fail_AnalysisModel(std::string const& name, std::vector<fail_Step> const& steps,
                                       std::unique_ptr<nex_Exception> failure)
    : m_Name(name), m_Status(failure == nullptr ? fail_Status::Completed : fail_Status::Failed),
      m_StepCount(static_cast<int>(steps.size())),
      m_LastLoadFactor(steps.empty() ? 0 : steps.back().loadFactor), m_Failure(std::move(failure)) {
  for (fail_Step const& step : steps)
    for (double const displacement : step.displacements) m_Displacements.Append(displacement);
}

// The exception can be of any class: its metadata, declared by nex_initialize, builds it again.
fail_AnalysisModel::fail_AnalysisModel(cls_ReadVisitor const& visitor)
    : m_Name(visitor.Read(NameField(), cow_String())),
      m_Status(static_cast<fail_Status>(visitor.ReadEnum(StatusField()))),
      m_StepCount(visitor.Read(StepCountField(), 0)),
      m_LastLoadFactor(visitor.Read(LastLoadFactorField(), 0.0)),
      m_Displacements(cls_ReadVisitor(visitor, DisplacementsField()), nullptr),
      m_Failure(sto_ReadOwned<nex_Exception>(visitor, FailureField())), m_Uid(visitor.GetUid()) {}

// The exception's virtual DBWrite writes its actual class. An out-of-memory exception writes the process-wide
// detailed message instead of its own. Intentional: it keeps the message that users saw.
void fail_AnalysisModel::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  visitor.Write(NameField(), m_Name);
  visitor.WriteEnum(StatusField(), static_cast<int>(m_Status));
  visitor.Write(StepCountField(), m_StepCount);
  visitor.Write(LastLoadFactorField(), m_LastLoadFactor);
  m_Displacements.DBWrite(cls_WriteVisitor(visitor, DisplacementsField(), nullptr, &m_Displacements));
  if (m_Failure != nullptr)
    m_Failure->DBWrite(cls_WriteVisitor(visitor, FailureField(), nullptr, m_Failure.get()));
}

double fail_AnalysisModel::LargestDisplacement() const {
  double largest = 0;
  if (m_StepCount == 0) return largest;
  int const count = m_Displacements.Count();
  for (int i = count - count / m_StepCount; i < count; ++i)
    largest = std::max(largest, std::abs(m_Displacements.ConstGet(i)));
  return largest;
}
