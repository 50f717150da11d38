#pragma once

#include "metadata/cls_AttributeMetadata.h"
#include "platform/kvl_Export.h"

/// Whether a field that is declared as `asked` may read what an earlier version of its class declared as `stored`, in
/// some objects at least: an integer, also one in a list, may be read as one of another width, if its value fits. Types of other back ends
/// are not judged: true. Not for programs; exported for our tools. Thread rule: any thread.
[[nodiscard]] KVL_EXPORT bool sto_CanReadAs(cls_AttributeType stored, cls_CollectionType storedCollection,
                                            cls_AttributeType asked,
                                            cls_CollectionType askedCollection) noexcept;
