#pragma once

#include <complex>
#include <cstdint>
#include <type_traits>

#include "store/format/sto_ElementCodec.h"
#include "store/inspect/sto_InspectedValue.h"

// From the number of an element type to the type of C++ that programs get. Internal to store/inspect.

template <class T> inline constexpr bool sto_IsComplex = false;
template <class T> inline constexpr bool sto_IsComplex<std::complex<T>> = true;

/// What sto_ElementCodec has for a T.
template <class T> struct sto_CodedAs { using Type = T; };
template <class T> struct sto_CodedAs<std::complex<T>> { using Type = cls_Complex<T>; };

/// The number that encoded bytes begin with; 0 if they are too short.
template <class T> [[nodiscard]] T sto_DecodeNumber(sto_ByteReader& reader) {
  auto const coded = sto_ElementCodec<typename sto_CodedAs<T>::Type>::Decode(reader);
  if constexpr (sto_IsComplex<T>)
    return {coded.m_Real, coded.m_Imaginary};
  else
    return coded;
}
template <class T> [[nodiscard]] T sto_DecodeNumber(sto_ByteView bytes) {
  sto_ByteReader reader(bytes);
  return sto_DecodeNumber<T>(reader);
}

/// Calls `take` with a null pointer of the type of the elements; not for texts and objects.
template <class Take> void sto_WithNumberType(std::uint8_t type, Take take) {
  switch (static_cast<sto_InspectedType>(type)) {
  case sto_InspectedType::Bool:
    return take(static_cast<bool const*>(nullptr));
  case sto_InspectedType::Float:
    return take(static_cast<float const*>(nullptr));
  case sto_InspectedType::Double:
    return take(static_cast<double const*>(nullptr));
  case sto_InspectedType::UInt32:
    return take(static_cast<std::uint32_t const*>(nullptr));
  case sto_InspectedType::Int32:
    return take(static_cast<std::int32_t const*>(nullptr));
  case sto_InspectedType::Int8:
    return take(static_cast<std::int8_t const*>(nullptr));
  case sto_InspectedType::UInt8:
    return take(static_cast<std::uint8_t const*>(nullptr));
  case sto_InspectedType::Int16:
    return take(static_cast<std::int16_t const*>(nullptr));
  case sto_InspectedType::UInt16:
    return take(static_cast<std::uint16_t const*>(nullptr));
  case sto_InspectedType::Int64:
    return take(static_cast<std::int64_t const*>(nullptr));
  case sto_InspectedType::UInt64:
    return take(static_cast<std::uint64_t const*>(nullptr));
  case sto_InspectedType::ComplexFloat:
    return take(static_cast<std::complex<float> const*>(nullptr));
  case sto_InspectedType::ComplexDouble:
    return take(static_cast<std::complex<double> const*>(nullptr));
  default:
    return;
  }
}

static_assert(static_cast<int>(sto_InspectedType::Object) == sto_Format::ElementObject);
static_assert(static_cast<int>(sto_InspectedType::ComplexDouble) == sto_Format::LastElementType);
