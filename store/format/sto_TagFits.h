#pragma once

#include "metadata/cls_AttributeMetadata.h"
#include "store/format/sto_Format.h"

/// Whether a value that is stored under `tag` may stand in an attribute of a declared type. Types that this
/// library does not know are the host's, and take anything.
[[nodiscard]] bool sto_TagFits(sto_Format::ValueTag tag, cls_AttributeType type) noexcept;
