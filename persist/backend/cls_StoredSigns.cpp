#include "persist/backend/cls_StoredSigns.h"

#include "persist/backend/cls_MementoRead.h"

cls_StoredSigns const* cls_StoredSigns::Of(cls_MementoRead const* memento) noexcept {
  return dynamic_cast<cls_StoredSigns const*>(memento);
}
