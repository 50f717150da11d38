#pragma once

/// Which way a key goes in an omi_Btree: `Direction(key, nodeKey)` is negative for left, positive for right,
/// 0 for the node itself. Each key type has its own; a type without one cannot be a key.
template <class K> struct omi_KeyOrder;

/// The 32-bit difference read as a signed number decides, so the order is ascending for keys that lie less
/// than 2^31 apart. Meant.
template <> struct omi_KeyOrder<unsigned int> {
  [[nodiscard]] static int Direction(unsigned int key, unsigned int nodeKey) noexcept {
    return static_cast<int>(key - nodeKey);
  }
};
