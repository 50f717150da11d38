#pragma once

#include "persist/backend/cls_StorageTypeId.h"
#include "platform/kvl_Export.h"

/// The kind of storage that the module's stores are. Its number is none of cls_StorageTypeId::AllocateId's.
[[nodiscard]] KVL_EXPORT cls_StorageTypeId const& sto_StorageType() noexcept;
