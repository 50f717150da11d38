#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "store/format/sto_Format.h"

/// The bytes of values of fixed size, by tag; 0 if they vary.
inline constexpr auto sto_FixedSizesOfTags = [] {
  std::array<std::uint8_t, sto_Format::LastTag + 1> sizes{};
  using enum sto_Format::ValueTag;
  for (auto const tag : {Bool, Int8, UInt8}) sizes[tag] = 1;
  for (auto const tag : {Int16, UInt16}) sizes[tag] = 2;
  for (auto const tag : {Int32, UInt32, Float, Enum}) sizes[tag] = 4;
  for (auto const tag : {Int64, UInt64, Double, ComplexFloat}) sizes[tag] = 8;
  sizes[ComplexDouble] = 16;
  return sizes;
}();

/// The bytes of a value with a tag; 0 if they vary, or there is no such tag.
[[nodiscard]] constexpr std::size_t sto_FixedValueBytes(std::uint8_t tag) noexcept {
  return tag < sto_FixedSizesOfTags.size() ? sto_FixedSizesOfTags[tag] : 0;
}
