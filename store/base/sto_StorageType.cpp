#include "store/base/sto_StorageType.h"

namespace {

// AllocateId never returns this number, so all of its numbers are left to the program.
cls_StorageTypeId const Kind(-1);

} // namespace

cls_StorageTypeId const& sto_StorageType() noexcept {
  return Kind;
}
