#pragma once

#include <string>

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
template <>
struct sto_ElementCodec<unsigned int> : sto_NumberElementCodec<unsigned int, sto_Format::ElementUInt> {};
template <> struct sto_ElementCodec<int> : sto_NumberElementCodec<int, sto_Format::ElementInt> {};

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

/// Each id depends on the one before it: see sto_IdCodec.h.
template <> struct sto_ElementCodec<sto_ObjectId> {
  static constexpr sto_Format::ElementType ElementType = sto_Format::ElementObject;
};

/// The bytes of an element of a list, 1 if they differ: what compression shuffles.
[[nodiscard]] constexpr std::size_t sto_ElementBytes(std::uint8_t type) noexcept {
  switch (type) {
  case sto_Format::ElementFloat:
  case sto_Format::ElementUInt:
  case sto_Format::ElementInt:
    return 4;
  case sto_Format::ElementDouble:
    return 8;
  default:
    return 1;
  }
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
  default:
    return "unknown";
  }
}
