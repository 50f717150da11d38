#pragma once

#include <limits>
#include <string>
#include <type_traits>

#include "describe/dsc_Stored.h"
#include "persist/backend/cls_Complex.h"
#include "platform/atr/atr_String.h"

// Members that are one value: numbers, bool, enumerations, texts.

template <class T> inline constexpr bool dsc_IsCharacter = false;
template <> inline constexpr bool dsc_IsCharacter<char> = true;
template <> inline constexpr bool dsc_IsCharacter<wchar_t> = true;
template <> inline constexpr bool dsc_IsCharacter<char8_t> = true;
template <> inline constexpr bool dsc_IsCharacter<char16_t> = true;
template <> inline constexpr bool dsc_IsCharacter<char32_t> = true;

/// The integer type that a memento has for integers of these bytes. There is none for an unsigned byte.
template <std::size_t Bytes, bool IsSigned> struct dsc_SizedInteger;
template <> struct dsc_SizedInteger<1, true> { using Type = signed char; };
template <> struct dsc_SizedInteger<1, false> { using Type = unsigned short; };
template <> struct dsc_SizedInteger<2, true> { using Type = short; };
template <> struct dsc_SizedInteger<2, false> { using Type = unsigned short; };
template <> struct dsc_SizedInteger<4, true> { using Type = int; };
template <> struct dsc_SizedInteger<4, false> { using Type = unsigned int; };
template <> struct dsc_SizedInteger<8, true> { using Type = long long; };
template <> struct dsc_SizedInteger<8, false> { using Type = unsigned long long; };

/// The attribute type of what a memento, or a list, has.
template <class T> inline constexpr cls_AttributeType dsc_AttributeType = ATTR_INT;
template <> inline constexpr cls_AttributeType dsc_AttributeType<bool> = ATTR_BOOL;
template <> inline constexpr cls_AttributeType dsc_AttributeType<signed char> = ATTR_SCHAR;
template <> inline constexpr cls_AttributeType dsc_AttributeType<unsigned char> = ATTR_UCHAR;
template <> inline constexpr cls_AttributeType dsc_AttributeType<short> = ATTR_SHORT;
template <> inline constexpr cls_AttributeType dsc_AttributeType<unsigned short> = ATTR_USHORT;
template <> inline constexpr cls_AttributeType dsc_AttributeType<unsigned int> = ATTR_UINT;
template <> inline constexpr cls_AttributeType dsc_AttributeType<long long> = ATTR_LONGLONG;
template <> inline constexpr cls_AttributeType dsc_AttributeType<unsigned long long> = ATTR_ULONGLONG;
template <> inline constexpr cls_AttributeType dsc_AttributeType<float> = ATTR_FLOAT;
template <> inline constexpr cls_AttributeType dsc_AttributeType<double> = ATTR_DOUBLE;
template <> inline constexpr cls_AttributeType dsc_AttributeType<cls_Complex<float>> = ATTR_COMPLEX_FLOAT;
template <> inline constexpr cls_AttributeType dsc_AttributeType<cls_Complex<double>> = ATTR_COMPLEX_DOUBLE;
template <> inline constexpr cls_AttributeType dsc_AttributeType<cow_String> = ATTR_STRING;
template <> inline constexpr cls_AttributeType dsc_AttributeType<atr_String> = ATTR_TRSTRING;

template <class T>
concept dsc_IsInteger = std::is_integral_v<T> && !std::is_same_v<T, bool>;

template <class T>
concept dsc_IsEnum = std::is_enum_v<T> && sizeof(T) <= sizeof(int);

/// An enumeration of 32 bits without a sign, if its type says so: that of one without a fixed type depends on the
/// compiler.
template <class T>
concept dsc_IsUnsignedEnum =
    dsc_IsEnum<T> && sizeof(T) == sizeof(int) && std::is_unsigned_v<std::underlying_type_t<T>>&& requires {
  T{std::underlying_type_t<T>{}};
};

template <class T>
concept dsc_IsText = std::is_same_v<T, std::string> || std::is_same_v<T, cow_String>;

/// What a memento writes for a single value of type T.
template <class T> struct dsc_Plain { using Type = T; };
template <dsc_IsInteger T> struct dsc_Plain<T> {
  using Type = typename dsc_SizedInteger<sizeof(T), std::is_signed_v<T>>::Type;
};
template <dsc_IsEnum T> struct dsc_Plain<T> { using Type = int; };
template <> struct dsc_Plain<std::string> { using Type = cow_String; };

/// How a value of a type that is no scalar itself is stored as one. A specialisation, in the header of the type, has
///
///     using Type = ...;  // what is stored: an integer of 64 bits, float, double or cow_String
///     using Value = ...; // what it is made of: the same, or an integer that a stored one may not fit
///     static Type To(T const& value);
///     static T From(Value const& value);
///     static constexpr char const* Unit = ...; // may be missing
template <class T> struct dsc_Like { using Type = void; };

template <class T>
concept dsc_IsLike = !std::is_void_v<typename dsc_Like<T>::Type>;

template <dsc_IsLike T> struct dsc_Plain<T> : dsc_Plain<typename dsc_Like<T>::Type> {};

/// What declares values of type T: in the unit that these have.
template <class T> [[nodiscard]] dsc_Declaring dsc_ForValue(dsc_Declaring const& to) noexcept {
  if constexpr (requires { dsc_Like<T>::Unit; })
    return to.InUnit(dsc_Like<T>::Unit);
  else
    return to;
}

/// std::complex, known by what it can do.
template <class T>
concept dsc_IsComplex = requires(T const& value) {
  requires std::is_same_v<typename T::value_type, float> || std::is_same_v<typename T::value_type, double>;
  { value.real() } -> std::same_as<typename T::value_type>;
  { value.imag() } -> std::same_as<typename T::value_type>;
};

template <class T>
concept dsc_IsScalar = dsc_IsInteger<T> || dsc_IsEnum<T> || dsc_IsText<T> || std::is_same_v<T, bool> ||
    std::is_same_v<T, float> || std::is_same_v<T, double> || std::is_same_v<T, atr_String> || dsc_IsLike<T>;

/// A value as `To`, which is a type that a memento writes and has room for it.
template <class To, class T> [[nodiscard]] To dsc_ToPlain(T const& value) {
  if constexpr (dsc_IsLike<T>)
    return dsc_ToPlain<To>(dsc_Like<T>::To(value));
  else if constexpr (std::is_same_v<T, std::string>)
    return To(std::string_view(value));
  else if constexpr (dsc_IsComplex<T>)
    return To{value.real(), value.imag()};
  else if constexpr (std::is_same_v<T, To>)
    return value;
  else
    return static_cast<To>(value);
}

/// A stored number as a T; an error if it is outside of T's range.
template <class T, class From> [[nodiscard]] T dsc_FromNumber(From value, dsc_Where const& where) {
  if constexpr (std::is_enum_v<T>) {
    using Underlying = std::underlying_type_t<T>;
    if constexpr (sizeof(Underlying) == sizeof(From))
      return static_cast<T>(value); // written from it, bit by bit
    else
      return static_cast<T>(dsc_FromNumber<Underlying>(value, where));
  } else if constexpr (std::is_same_v<T, bool>) {
    return value != 0;
  } else {
    if constexpr (sizeof(T) < sizeof(From))
      if (value < static_cast<From>(std::numeric_limits<T>::min()) ||
          value > static_cast<From>(std::numeric_limits<T>::max()))
        dsc_RaiseValue(where, static_cast<long long>(value));
    return static_cast<T>(value);
  }
}

/// What a memento or a cursor has read, as a T.
template <class T, class From> [[nodiscard]] T dsc_FromPlain(From const& value, dsc_Where const& where) {
  if constexpr (dsc_IsLike<T>)
    return dsc_Like<T>::From(dsc_FromPlain<typename dsc_Like<T>::Value>(value, where));
  else if constexpr (std::is_same_v<T, std::string>)
    return std::string(value.View());
  else if constexpr (dsc_IsComplex<T>)
    return T(value.m_Real, value.m_Imaginary);
  else if constexpr (std::is_same_v<T, From>)
    return value;
  else
    return dsc_FromNumber<T>(value, where);
}

template <dsc_IsScalar T>
void dsc_WriteScalar(cls_WriteVisitor const& visitor, cls_FieldHandle const& field, T const& value) {
  using Plain = typename dsc_Plain<T>::Type;
  if constexpr (std::is_enum_v<T>)
    visitor.WriteEnum(field, static_cast<int>(value));
  else if constexpr (std::is_same_v<T, Plain>)
    visitor.Write(field, value);
  else
    visitor.Write(field, dsc_ToPlain<Plain>(value));
}

/// Whether an integer, or the type of an enumeration, has a sign.
template <class T> [[nodiscard]] consteval bool dsc_IsSigned() {
  if constexpr (std::is_enum_v<T>)
    return std::is_signed_v<std::underlying_type_t<T>>;
  else
    return std::is_signed_v<T>;
}

/// A memento reads an integer as one of the other sign bit by bit. Refuses one that is another number then. `asked`: the
/// class's version of today; 0: any.
template <class T>
void dsc_CheckSign(cls_ReadVisitor const& visitor, cls_FieldHandle const& field, T value,
                   dsc_Where const& where, int asked) {
  constexpr bool IsSigned = dsc_IsSigned<T>();
  if (static_cast<int>(value) >= 0 || !dsc_HasOtherSign(visitor, field, IsSigned, asked)) return;
  auto const bits = static_cast<unsigned int>(value);
  dsc_RaiseValue(where,
                 IsSigned ? static_cast<long long>(bits) : static_cast<long long>(static_cast<int>(bits)));
}

/// Leaves `value` as it is if the field is absent. `version`: see dsc_CheckSign.
template <dsc_IsScalar T>
void dsc_ReadScalar(cls_ReadVisitor const& visitor, cls_FieldHandle const& field, T& value,
                    dsc_Where const& where, int version = 0) {
  using Plain = typename dsc_Plain<T>::Type;
  if constexpr (std::is_enum_v<T>) {
    int const number = visitor.ReadEnum(field);
    if (number == 0 && visitor.FieldIsPresent(field) == 0) return; // absent ones read as 0
    value = dsc_FromNumber<T>(number, where);
    dsc_CheckSign(visitor, field, value, where,
                  0); // also of the same version: an int may have become an enumeration
  } else if constexpr (std::is_same_v<T, std::string>) {
    cow_String const text = visitor.Read(field, cow_String());
    if (text.HasText() || visitor.FieldIsPresent(field) != 0) value.assign(text.View());
  } else if constexpr (std::is_same_v<T, Plain>) {
    value = visitor.Read(field, value);
  } else if constexpr (dsc_IsLike<T>) {
    if (visitor.FieldIsPresent(field) != 0) value = dsc_FromPlain<T>(visitor.Read(field, Plain()), where);
  } else {
    value = dsc_FromNumber<T>(visitor.Read(field, dsc_ToPlain<Plain>(value)), where);
  }
  if constexpr (dsc_IsInteger<T> && sizeof(T) == sizeof(int))
    dsc_CheckSign(visitor, field, value, where, version);
}

template <dsc_IsScalar T> struct dsc_Stored<T> : dsc_OneField<0> {
  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    dsc_ForValue<T>(to).template Add<Name>(at, dsc_AttributeType<typename dsc_Plain<T>::Type>,
                                           COLLECTION_NONE);
  }
  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& value) {
    dsc_WriteScalar(out.m_Visitor, Name::Handle(at.m_Number), value);
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& value) {
    dsc_ReadScalar(in.m_Visitor, Name::Handle(at.m_Number), value, in.Where<Name>(), in.m_Version);
  }
};

/// std::optional, known by what it can do, so that its header is included by those only who use it.
template <class T>
concept dsc_IsOptional = requires(T& value) {
  typename T::value_type;
  value.has_value();
  value.reset();
  *value;
  value.emplace();
};

/// An optional value is a field that is absent when there is none.
template <dsc_IsOptional T>
requires dsc_IsScalar<typename T::value_type>
struct dsc_Stored<T> : dsc_OneField<0> {
  using Value = dsc_Stored<typename T::value_type>;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    Value::template Declare<Name>(to.Optional(), at);
  }
  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& value) {
    if (value.has_value()) Value::template Write<Name>(out, at, *value);
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& value) {
    value.reset();
    if (Value::template IsPresent<Name>(in, at)) Value::template Read<Name>(in, at, value.emplace());
  }
};
