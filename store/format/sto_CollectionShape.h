#pragma once

#include <cstdint>
#include <string>

#include "metadata/cls_AttributeMetadata.h"
#include "store/format/sto_Format.h"
#include "store/format/sto_Record.h"

/// The kind of a collection that is written or stored: what the declaration of an attribute says about it.
/// Internal to the module.
struct sto_CollectionShape {
  std::uint8_t m_ElementType;
  std::uint8_t m_KeyType = 0; ///< 0 for a list
  bool m_IsTable = false;     ///< an int table, which is declared as a map from int to int

  [[nodiscard]] static sto_CollectionShape List(std::uint8_t elementType) noexcept { return {elementType}; }
  [[nodiscard]] static sto_CollectionShape Of(sto_MapHeader const& map) noexcept {
    return {map.m_ElementType, map.m_KeyType, map.m_IsTable};
  }

  [[nodiscard]] bool IsMap() const noexcept { return m_KeyType != 0; }
  [[nodiscard]] bool HoldsObjects() const noexcept { return m_ElementType == sto_Format::ElementObject; }
  /// "list of double", "map from string to objects".
  [[nodiscard]] std::string Name() const;

  friend bool operator==(sto_CollectionShape const& a, sto_CollectionShape const& b) noexcept = default;
};

/// Whether an attribute with this declaration may hold the collection. A generic collection type takes every
/// collection of its kind; a type that this library does not know takes any. For lists with a collection type of their
/// own the element type is not compared: the list checks it itself against that (CheckCollectionType).
[[nodiscard]] bool sto_ShapeFits(sto_CollectionShape const& shape,
                                 cls_AttributeMetadata const& declared) noexcept;
