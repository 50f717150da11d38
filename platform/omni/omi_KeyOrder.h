#pragma once

/// Where a key goes in an omi_Btree: `Direction(key, nodeKey)` is negative for left, positive for right, 0
/// for the node itself. Each key type specialises it; a type without a specialisation cannot be a key.
template <class K> struct omi_KeyOrder;

/// Intentional: the 32-bit difference, read as a signed number, decides. The order is ascending only for keys
/// less than 2^31 apart.
template <> struct omi_KeyOrder<unsigned int> {
  [[nodiscard]] static int Direction(unsigned int key, unsigned int nodeKey) noexcept {
    return static_cast<int>(key - nodeKey);
  }
};
