#include "persist/pointers/cls_LaterWrites.h"

#include "persist/backend/cls_MementoWrite.h"
#include "persist/backend/cls_WriteObjects.h"

namespace {

constinit cls_DeclaredTypes s_LaterTypes;

} // namespace

cls_LaterMementoTypeBase::cls_LaterMementoTypeBase(std::type_info const& type, std::ptrdiff_t offset) noexcept
    : m_Type(&type) {
  s_LaterTypes.Add(type, offset);
}

cls_LaterMementoTypeBase::~cls_LaterMementoTypeBase() {
  s_LaterTypes.Remove(*m_Type);
}

cls_WritesLater* cls_WritesLater::Of(cls_MementoWrite* memento) noexcept {
  return s_LaterTypes.Find<cls_WritesLater>(memento);
}

cls_AppendsLater* cls_AppendsLater::Of(cls_WriteListObj* list) noexcept {
  return dynamic_cast<cls_AppendsLater*>(list);
}
