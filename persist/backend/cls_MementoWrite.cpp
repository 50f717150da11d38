#include "persist/backend/cls_MementoWrite.h"

cls_MementoWrite::~cls_MementoWrite() = default;
bool cls_MementoWrite::NeedsDeletion() const {
  return true;
}
bool cls_MementoWrite::CopyBranch(cls_AgentProxy*, cls_FieldHandle const&) {
  return false;
}
void cls_MementoWrite::StartSharedPtrOutput() {}
void cls_MementoWrite::EndSharedPtrOutput() {}
