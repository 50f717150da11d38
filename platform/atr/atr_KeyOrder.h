#pragma once

#include "platform/atr/atr_NaturalOrder.h"
#include "platform/cow/cow_String.h"
#include "platform/omni/omi_KeyOrder.h"

/// Names ascend by their bytes as unsigned characters, or in natural order if that is chosen. "No text" is
/// the empty name. REQUIRES: names contain no nulls, because natural order would ignore what follows one.
template <> struct omi_KeyOrder<cow_String> {
  [[nodiscard]] static int Direction(cow_String const& key, cow_String const& nodeKey) noexcept {
    if (atr_getNaturalOrder()) return strnatcmp(key.CharsOrEmpty(), nodeKey.CharsOrEmpty());
    return key.View().compare(nodeKey.View());
  }
};
