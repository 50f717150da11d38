#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "store/format/sto_Codec.h"

// The keys of indexes: a value of an attribute as bytes whose order is that of the values, so that a storage compares
// keys byte by byte and need not know what they mean.
//
//     key    := 1:byte number | 2:byte text
//     number := value:8 rest:2, without the zero bytes at its end
//
// `value` is the greatest double that is not greater than the number, `rest` what the number is more: only integers
// beyond 2^53 have some. Both are big-endian; of a negative double all bits are inverted, of any other the sign. So all
// numbers have one order, whatever their types: an attribute may become wider in a later version of its class. -0 is
// +0. All NaNs are one value, which is greater than all others.
//
// The bytes of a text follow as they are. No text is the empty text.

namespace sto_IndexKey {

[[nodiscard]] std::string OfInteger(std::int64_t value);
[[nodiscard]] std::string OfUnsigned(std::uint64_t value);
[[nodiscard]] std::string OfReal(double value);
[[nodiscard]] std::string OfText(std::string_view value);

/// The key of a C++ value, as it has when it is stored: a number, a bool, an enumeration, or a text.
template <class T> [[nodiscard]] std::string Of(T const& value) {
  if constexpr (std::is_enum_v<T>)
    return OfInteger(static_cast<int>(value));
  else if constexpr (std::floating_point<T>)
    return OfReal(value);
  else if constexpr (std::unsigned_integral<T>)
    return OfUnsigned(value);
  else if constexpr (std::integral<T>)
    return OfInteger(value);
  else
    return OfText(std::string_view(value));
}

/// Whether fields with a tag (sto_Format::ValueTag) have keys.
[[nodiscard]] bool HasKey(std::uint8_t tag) noexcept;
/// The key of a stored field. `payload`: as in sto_Field. REQUIRES: HasKey, and a payload of the tag's size.
[[nodiscard]] std::string OfField(std::uint8_t tag, sto_ByteView payload);

} // namespace sto_IndexKey

/// Whether a store can keep an index of an attribute that is declared so: a cls_AttributeType and a cls_CollectionType.
[[nodiscard]] bool sto_CanBeIndexed(int type, int collection) noexcept;
