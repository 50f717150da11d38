#pragma once

#include <bit>
#include <concepts>
#include <string>
#include <type_traits>

#include "persist/backend/cls_Complex.h"
#include "platform/cow/cow_String.h"
#include "store/format/sto_Codec.h"
#include "store/format/sto_Format.h"

/// How the elements of a list are stored, one after the other: a number as it is, a bool as one byte, a
/// string as a varint of its length plus 1 and its bytes, or as the varint 0 if it has no text.
template <class T> struct sto_ElementCodec;

template <class T, sto_Format::ElementType Type> struct sto_NumberElementCodec {
  static constexpr sto_Format::ElementType ElementType = Type;
  static constexpr std::size_t MinBytes = sizeof(T);

  static void Encode(sto_ByteWriter& writer, T const& element) { writer.Number(element); }
  static T Decode(sto_ByteReader& reader) { return reader.template Number<T>(); }
};

template <> struct sto_ElementCodec<float> : sto_NumberElementCodec<float, sto_Format::ElementFloat> {};
template <> struct sto_ElementCodec<double> : sto_NumberElementCodec<double, sto_Format::ElementDouble> {};

/// The element type of an integer, by its size and its sign.
template <std::integral T> [[nodiscard]] constexpr sto_Format::ElementType sto_IntegerElementType() noexcept {
  bool const isSigned = std::is_signed_v<T>;
  switch (sizeof(T)) {
  case 1:
    return isSigned ? sto_Format::ElementInt8 : sto_Format::ElementUInt8;
  case 2:
    return isSigned ? sto_Format::ElementInt16 : sto_Format::ElementUInt16;
  case 4:
    return isSigned ? sto_Format::ElementInt : sto_Format::ElementUInt;
  default:
    return isSigned ? sto_Format::ElementInt64 : sto_Format::ElementUInt64;
  }
}

/// Every integer type but the characters.
template <std::integral T>
struct sto_ElementCodec<T> : sto_NumberElementCodec<T, sto_IntegerElementType<T>()> {};
template <> struct sto_ElementCodec<char>;
template <> struct sto_ElementCodec<wchar_t>;
template <> struct sto_ElementCodec<char16_t>;
template <> struct sto_ElementCodec<char32_t>;

template <class T> struct sto_ElementCodec<cls_Complex<T>> {
  static_assert(std::same_as<T, float> || std::same_as<T, double>);
  static constexpr sto_Format::ElementType ElementType =
      sizeof(T) == sizeof(float) ? sto_Format::ElementComplexFloat : sto_Format::ElementComplexDouble;
  static constexpr std::size_t MinBytes = 2 * sizeof(T);

  static void Encode(sto_ByteWriter& writer, cls_Complex<T> const& element) {
    writer.Number(element.m_Real);
    writer.Number(element.m_Imaginary);
  }
  static cls_Complex<T> Decode(sto_ByteReader& reader) {
    T const real = reader.template Number<T>();
    return {real, reader.template Number<T>()};
  }
};

template <> struct sto_ElementCodec<bool> {
  static constexpr sto_Format::ElementType ElementType = sto_Format::ElementBool;
  static constexpr std::size_t MinBytes = 1;

  static void Encode(sto_ByteWriter& writer, bool const& element) { writer.U8(element ? 1 : 0); }
  static bool Decode(sto_ByteReader& reader) { return reader.U8() != 0; }
};

template <> struct sto_ElementCodec<cow_String> {
  static constexpr sto_Format::ElementType ElementType = sto_Format::ElementString;
  static constexpr std::size_t MinBytes = 1;

  static void Encode(sto_ByteWriter& writer, cow_String const& element) {
    if (!element.HasText()) return writer.Varint(0);
    std::string_view const text = element.View();
    writer.Varint(text.size() + 1);
    writer.Raw(text.data(), text.size());
  }
  static cow_String Decode(sto_ByteReader& reader) {
    std::uint64_t const length = reader.Varint();
    return length == 0 ? cow_String() : cow_String(sto_AsText(reader.Raw(length - 1)));
  }
};

/// Elements whose stored bytes are those that they have in memory: numbers. Any byte is a bool in memory only if it is 0
/// or 1, so these are checked one by one.
template <class T> inline constexpr bool sto_IsStoredAsItIs = std::endian::native == std::endian::little;
template <> inline constexpr bool sto_IsStoredAsItIs<bool> = false;
template <> inline constexpr bool sto_IsStoredAsItIs<cow_String> = false;

/// Whether the elements of a list fill whole rows. A negative width never fits; a width of 0 or 1 always
/// does.
[[nodiscard]] constexpr bool sto_HasWholeRows(int count, int width) noexcept {
  return width >= 0 && (width <= 1 || count % width == 0);
}
/// Error text for a list that is not a whole number of rows; appended to the list's name.
[[nodiscard]] inline std::string sto_UnevenRows(int count, int width) {
  return " has " + std::to_string(count) + " elements, which is not a whole number of rows of " +
         std::to_string(width) + ".";
}

/// The id of an object that is an element of a list, 0 for no element.
struct sto_ObjectId {
  std::int64_t m_Id = 0;
};

template <> inline constexpr bool sto_IsStoredAsItIs<sto_ObjectId> = false;

/// Each id depends on the one before it: see sto_IdCodec.h.
template <> struct sto_ElementCodec<sto_ObjectId> {
  static constexpr sto_Format::ElementType ElementType = sto_Format::ElementObject;
};

/// The bytes of each element of a type; 0 if they differ from element to element, or the type is unknown.
[[nodiscard]] constexpr std::size_t sto_FixedElementBytes(std::uint8_t type) noexcept {
  constexpr std::uint8_t Sizes[] = {0, 1, 0, 4, 8, 4, 4, 0, 1, 1, 2, 2, 8, 8, 8, 16};
  static_assert(sizeof Sizes == sto_Format::LastElementType + 1);
  return type <= sto_Format::LastElementType ? Sizes[type] : 0;
}

/// The bytes of an element of a list, 1 if they differ: what compression shuffles.
[[nodiscard]] constexpr std::size_t sto_ElementBytes(std::uint8_t type) noexcept {
  std::size_t const bytes = sto_FixedElementBytes(type);
  return bytes == 0 ? 1 : bytes;
}

/// The printable name of an element type.
[[nodiscard]] inline char const* sto_ElementTypeName(std::uint8_t type) noexcept {
  switch (type) {
  case sto_Format::ElementBool:
    return "bool";
  case sto_Format::ElementString:
    return "string";
  case sto_Format::ElementFloat:
    return "float";
  case sto_Format::ElementDouble:
    return "double";
  case sto_Format::ElementUInt:
    return "unsigned int";
  case sto_Format::ElementInt:
    return "int";
  case sto_Format::ElementObject:
    return "objects";
  case sto_Format::ElementInt8:
    return "8-bit integer";
  case sto_Format::ElementUInt8:
    return "unsigned 8-bit integer";
  case sto_Format::ElementInt16:
    return "16-bit integer";
  case sto_Format::ElementUInt16:
    return "unsigned 16-bit integer";
  case sto_Format::ElementInt64:
    return "64-bit integer";
  case sto_Format::ElementUInt64:
    return "unsigned 64-bit integer";
  case sto_Format::ElementComplexFloat:
    return "complex float";
  case sto_Format::ElementComplexDouble:
    return "complex double";
  default:
    return "unknown";
  }
}
