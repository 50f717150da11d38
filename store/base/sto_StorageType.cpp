#include "store/base/sto_StorageType.h"

namespace {

cls_StorageTypeId const Kind(cls_StorageTypeId::AllocateId()); // while libraries are loaded, on one thread

} // namespace

cls_StorageTypeId const& sto_StorageType() noexcept {
  return Kind;
}
