#pragma once

#include "persist/backend/cls_Complex.h"
#include "platform/cow/cow_String.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

// Values in JSON, exact to the bit: numbers, texts, true and false wherever JSON has them. Others are objects
// with one member: {"bits": 9221120237041090560} for infinities and NaNs, {"bytes": [255, 0]} for texts that
// are not UTF-8. No text is null. A complex number is an array of its two parts.
using jsl_Json = nlohmann::ordered_json;
using jsl_Bytes = std::vector<unsigned char>;
template <class T> using jsl_BitsOf = std::conditional_t<sizeof(T) == 8, std::uint64_t, std::uint32_t>;

template <class T> jsl_Json jsl_Encode(T const& value) {
  if constexpr (std::is_floating_point_v<T>)
    if (!std::isfinite(value)) return {{"bits", std::bit_cast<jsl_BitsOf<T>>(value)}};
  return value;
}
template <class T> jsl_Json jsl_Encode(cls_Complex<T> const& value) {
  return jsl_Json::array({jsl_Encode(value.m_Real), jsl_Encode(value.m_Imaginary)});
}
inline jsl_Json jsl_Encode(cow_String const& value) try {
  jsl_Json const text = std::string(value.View());
  static_cast<void>(text.dump()); // raises an exception for what is not UTF-8
  return value.HasText() ? text : nullptr;
} catch (jsl_Json::type_error const&) {
  return {{"bytes", jsl_Bytes(value.View().begin(), value.View().end())}};
}

template <class T> inline constexpr bool jsl_IsComplex = false;
template <class T> inline constexpr bool jsl_IsComplex<cls_Complex<T>> = true;

// For what is not a T: an exception of JSON, or a value that is encoded as something else.
template <class T> T jsl_Decode(jsl_Json const& stored) {
  if constexpr (jsl_IsComplex<T>) {
    using Number = decltype(T::m_Real);
    return {jsl_Decode<Number>(stored.at(0)), jsl_Decode<Number>(stored.at(1))};
  } else if constexpr (std::is_same_v<T, cow_String>) {
    if (stored.is_null()) return cow_String();
    if (!stored.is_object()) return cow_String(std::string_view(stored.get_ref<std::string const&>()));
    auto const bytes = stored.at("bytes").get<jsl_Bytes>();
    return cow_String(std::string_view(std::string(bytes.begin(), bytes.end())));
  } else if constexpr (std::is_floating_point_v<T>) {
    if (stored.is_object()) return std::bit_cast<T>(stored.at("bits").get<jsl_BitsOf<T>>());
    constexpr double Max = std::numeric_limits<T>::max();
    return static_cast<T>(std::clamp(stored.get<double>(), -Max, Max));
  } else {
    return stored.is_number_float() ? T() : stored.get<T>();
  }
}
