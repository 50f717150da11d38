#pragma once

#include <concepts>
#include <cstdint>
#include <string_view>
#include <type_traits>
#include <variant>

#include "platform/cow/cow_String.h"

/// A value that objects are searched by: a number, a bool, an enumeration, or a text, which must live as long. Numbers of
/// all types have one order, so the type need not be that of the attribute. See sto_Find.h.
class sto_SearchValue {
 public:
  template <class Value>
  requires(std::is_arithmetic_v<Value> || std::is_enum_v<Value>)
      sto_SearchValue(Value value) { // NOLINT(google-explicit-constructor): it is one
    if constexpr (std::is_enum_v<Value>)
      m_Value = static_cast<std::int64_t>(static_cast<int>(value)); // as it is stored
    else if constexpr (std::floating_point<Value>)
      m_Value = static_cast<double>(value);
    else if constexpr (std::unsigned_integral<Value> && !std::same_as<Value, bool>)
      m_Value = static_cast<std::uint64_t>(value);
    else
      m_Value = static_cast<std::int64_t>(value);
  }
  template <class Text>
  requires std::is_convertible_v<Text const&, std::string_view> sto_SearchValue(Text const& text)
      : m_Value(std::string_view(text)) {}                          // NOLINT
  sto_SearchValue(cow_String const& text) : m_Value(text.View()) {} // NOLINT

  [[nodiscard]] std::variant<std::int64_t, std::uint64_t, double, std::string_view> const&
  Value() const noexcept {
    return m_Value;
  }

 private:
  std::variant<std::int64_t, std::uint64_t, double, std::string_view> m_Value;
};
