#pragma once

#include "persist/backend/cls_StorageTypeId.h"
#include "platform/kvl_Export.h"

/// The storage type of the module's stores. cls_StorageTypeId::AllocateId never returns its number.
[[nodiscard]] KVL_EXPORT cls_StorageTypeId const& sto_StorageType() noexcept;
