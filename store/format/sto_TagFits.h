#pragma once

#include "metadata/cls_AttributeType.h"
#include "store/format/sto_Format.h"

/// Whether an attribute of a declared type may hold a value stored under `tag`. A type that this library does
/// not know belongs to the host program and takes any value. Thread rule: any thread.
[[nodiscard]] bool sto_TagFits(sto_Format::ValueTag tag, cls_AttributeType type) noexcept;
