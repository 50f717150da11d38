#pragma once

#include "platform/atr/atr_NaturalOrder.h"
#include "platform/cow/cow_String.h"
#include "platform/omni/omi_KeyOrder.h"

/// Names ascend: by their bytes as unsigned characters, or in natural order where that is chosen. "No text"
/// is the empty name. Names hold no nulls: natural order would not look behind one.
template <> struct omi_KeyOrder<cow_String> {
  [[nodiscard]] static int Direction(cow_String const& key, cow_String const& nodeKey) noexcept {
    if (atr_getNaturalOrder()) return strnatcmp(key.CharsOrEmpty(), nodeKey.CharsOrEmpty());
    return key.View().compare(nodeKey.View());
  }
};
