#include "persist/pointers/cls_LaterWrites.h"

#include "persist/backend/cls_MementoWrite.h"
#include "persist/backend/cls_WriteObjects.h"

cls_WritesLater* cls_WritesLater::Of(cls_MementoWrite* memento) noexcept {
  return dynamic_cast<cls_WritesLater*>(memento);
}

cls_AppendsLater* cls_AppendsLater::Of(cls_WriteListObj* list) noexcept {
  return dynamic_cast<cls_AppendsLater*>(list);
}
