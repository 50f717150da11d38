#pragma once

#include <limits>
#include <string>
#include <type_traits>

#include "describe/dsc_Stored.h"
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

/// The attribute type of what a memento writes.
template <class T> inline constexpr cls_AttributeType dsc_AttributeType = ATTR_INT;
template <> inline constexpr cls_AttributeType dsc_AttributeType<bool> = ATTR_BOOL;
template <> inline constexpr cls_AttributeType dsc_AttributeType<signed char> = ATTR_SCHAR;
template <> inline constexpr cls_AttributeType dsc_AttributeType<short> = ATTR_SHORT;
template <> inline constexpr cls_AttributeType dsc_AttributeType<unsigned short> = ATTR_USHORT;
template <> inline constexpr cls_AttributeType dsc_AttributeType<unsigned int> = ATTR_UINT;
template <> inline constexpr cls_AttributeType dsc_AttributeType<long long> = ATTR_LONGLONG;
template <> inline constexpr cls_AttributeType dsc_AttributeType<unsigned long long> = ATTR_ULONGLONG;
template <> inline constexpr cls_AttributeType dsc_AttributeType<float> = ATTR_FLOAT;
template <> inline constexpr cls_AttributeType dsc_AttributeType<double> = ATTR_DOUBLE;
template <> inline constexpr cls_AttributeType dsc_AttributeType<cow_String> = ATTR_STRING;
template <> inline constexpr cls_AttributeType dsc_AttributeType<atr_String> = ATTR_TRSTRING;

template <class T>
concept dsc_IsInteger = std::is_integral_v<T> && !std::is_same_v<T, bool>;

template <class T>
concept dsc_IsEnum = std::is_enum_v<T> && sizeof(T) <= sizeof(int);

template <class T>
concept dsc_IsText = std::is_same_v<T, std::string> || std::is_same_v<T, cow_String>;

/// What a memento writes for a single value of type T.
template <class T> struct dsc_Plain { using Type = T; };
template <dsc_IsInteger T> struct dsc_Plain<T> {
  using Type = typename dsc_SizedInteger<sizeof(T), std::is_signed_v<T>>::Type;
};
template <dsc_IsEnum T> struct dsc_Plain<T> { using Type = int; };
template <> struct dsc_Plain<std::string> { using Type = cow_String; };

template <class T>
concept dsc_IsScalar = dsc_IsInteger<T> || dsc_IsEnum<T> || dsc_IsText<T> || std::is_same_v<T, bool> ||
    std::is_same_v<T, float> || std::is_same_v<T, double> || std::is_same_v<T, atr_String>;

/// A value as `To`, which is a type that a memento writes and has room for it.
template <class To, class T> [[nodiscard]] To dsc_ToPlain(T const& value) {
  if constexpr (std::is_same_v<T, std::string>)
    return To(std::string_view(value));
  else if constexpr (std::is_same_v<T, To>)
    return value;
  else
    return static_cast<To>(value);
}

/// A stored number as a T; an error if it is outside of T's range.
template <class T, class Name, class From> [[nodiscard]] T dsc_FromNumber(From value, char const* className) {
  if constexpr (std::is_enum_v<T>) {
    using Underlying = std::underlying_type_t<T>;
    if constexpr (sizeof(Underlying) == sizeof(From))
      return static_cast<T>(value); // written from it, bit by bit
    else
      return static_cast<T>(dsc_FromNumber<Underlying, Name>(value, className));
  } else if constexpr (std::is_same_v<T, bool>) {
    return value != 0;
  } else {
    if constexpr (sizeof(T) < sizeof(From))
      if (value < static_cast<From>(std::numeric_limits<T>::min()) ||
          value > static_cast<From>(std::numeric_limits<T>::max()))
        dsc_RaiseValue(className, Name::View(), value);
    return static_cast<T>(value);
  }
}

/// What a memento or a cursor has read, as a T.
template <class T, class Name, class From>
[[nodiscard]] T dsc_FromPlain(From const& value, char const* className) {
  if constexpr (std::is_same_v<T, std::string>)
    return std::string(value.View());
  else if constexpr (std::is_same_v<T, From>)
    return value;
  else
    return dsc_FromNumber<T, Name>(value, className);
}

template <dsc_IsScalar T> struct dsc_Stored<T> : dsc_OneField<0> {
  using Plain = typename dsc_Plain<T>::Type;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    to.Add<Name>(at, dsc_AttributeType<Plain>, COLLECTION_NONE);
  }

  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& value) {
    if constexpr (std::is_enum_v<T>)
      out.m_Visitor.WriteEnum(Name::Handle(at.m_Number), static_cast<int>(value));
    else if constexpr (std::is_same_v<T, Plain>)
      out.m_Visitor.Write(Name::Handle(at.m_Number), value);
    else
      out.m_Visitor.Write(Name::Handle(at.m_Number), dsc_ToPlain<Plain>(value));
  }

  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& value) {
    cls_FieldHandle const field = Name::Handle(at.m_Number);
    if constexpr (std::is_enum_v<T>) {
      int const number = in.m_Visitor.ReadEnum(field);
      if (number == 0 && in.m_Visitor.FieldIsPresent(field) == 0) return; // absent ones read as 0
      value = dsc_FromNumber<T, Name>(number, in.m_Class);
    } else if constexpr (std::is_same_v<T, std::string>) {
      cow_String const text = in.m_Visitor.Read(field, cow_String());
      if (text.HasText() || in.m_Visitor.FieldIsPresent(field) != 0) value.assign(text.View());
    } else if constexpr (std::is_same_v<T, Plain>) {
      value = in.m_Visitor.Read(field, value);
      CheckSign<Name>(in, field, value);
    } else {
      Plain const plain = in.m_Visitor.Read(field, dsc_ToPlain<Plain>(value));
      CheckSign<Name>(in, field, plain);
      value = dsc_FromNumber<T, Name>(plain, in.m_Class);
    }
  }

 private:
  /// A memento reads a 32-bit integer of the other sign bit by bit. Refuses one that is another number then.
  template <class Name>
  static void CheckSign(dsc_In const& in, cls_FieldHandle const& field, Plain const& plain) {
    if constexpr (std::is_same_v<Plain, int> || std::is_same_v<Plain, unsigned int>) {
      using Other = std::conditional_t<std::is_signed_v<Plain>, unsigned int, int>;
      if (static_cast<int>(plain) < 0 && dsc_HasOtherSign(in, field, std::is_signed_v<Plain>))
        dsc_RaiseValue(in.m_Class, Name::View(), static_cast<Other>(plain));
    }
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
