#pragma once

#include "persist/pointers/cls_ReadCow.h"
#include "store/sto_Shared.h"

/// cls_ReadCow under the module's own name: the copy-on-write object that a field holds, whose payload is
/// shared by all holders of one stored object. See persist/pointers/cls_ReadCow.h. Errors: as sto_ReadShared.
/// Thread rule: as the store.
template <class T, class Policy>
[[nodiscard]] cow_COW<T, Policy> sto_ReadCow(cls_ReadVisitor const& parent, cls_FieldHandle const& field) {
  return cls_ReadCow<T, Policy>(parent, field);
}
