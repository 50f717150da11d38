#pragma once

#include "platform/omni/omi_KeyOrder.h"

/// One version of one class, as a key.
struct cls_CIDVersion {
  unsigned int m_ClassId;
  int m_Version;
};

/// -1, 0 or 1: by class ID as unsigned numbers, then by version as signed ones.
[[nodiscard]] constexpr int cls_Compare(cls_CIDVersion const& a, cls_CIDVersion const& b) noexcept {
  int const byClass = (a.m_ClassId > b.m_ClassId) - (a.m_ClassId < b.m_ClassId);
  return byClass != 0 ? byClass : (a.m_Version > b.m_Version) - (a.m_Version < b.m_Version);
}

/// Intentional: the order descends, because the arguments are swapped against the class-ID index. It shows in
/// cls_ClassRegistrar::GetHistoryMDList.
template <> struct omi_KeyOrder<cls_CIDVersion> {
  [[nodiscard]] static int Direction(cls_CIDVersion const& key, cls_CIDVersion const& nodeKey) noexcept {
    return cls_Compare(nodeKey, key);
  }
};
