#include "store/base/sto_StorageType.h"

namespace {

// A number that AllocateId never gives, so that its numbers are all the program's.
cls_StorageTypeId const Kind(-1);

} // namespace

cls_StorageTypeId const& sto_StorageType() noexcept {
  return Kind;
}
