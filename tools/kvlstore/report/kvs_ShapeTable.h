#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>

#include "store/inspect/sto_InspectedObject.h"
#include "tools/kvlstore/report/kvs_Json.h"

/// How a page reads a value: one letter for each alternative of sto_InspectedValue, 'e' for an enumeration, 'o' for an object that
/// is held, and 'r' for one that is referred to.
[[nodiscard]] char kvs_TypeLetter(sto_InspectedValue const& value, std::string const& kind) noexcept;

/// What many objects of a report have in common: their classes, and names, kinds and units of their fields. Each shape is
/// written once, and its objects name it by its number.
class kvs_ShapeTable {
 public:
  /// The number of an object's shape.
  std::size_t Number(sto_InspectedObject const& object);
  /// All shapes, as an array.
  void Write(kvs_Json& json) const;
  /// What the shapes take.
  [[nodiscard]] std::int64_t Bytes() const noexcept { return m_Bytes; }

 private:
  std::unordered_map<std::string, std::size_t> m_Numbers; // by the shape in JSON
  std::int64_t m_Bytes = 0;
};
