#pragma once

#include <cstddef>
#include <string_view>

#include "persist/visitors/cls_FieldHandle.h"

/// The name of an attribute as a type. Its handles cost what those of a literal name cost: nothing is allocated
/// or counted.
template <cow_LiteralChars Text> struct dsc_Name {
  static constexpr std::string_view View() noexcept { return {Text.m_Chars, sizeof(Text.m_Chars) - 1}; }
  static cow_String Cow() noexcept { return cow_String(cow_ImmortalBuffer<Text>); }
  static cls_FieldHandle Handle(int number) noexcept { return {number, Cow()}; }
};

template <cow_LiteralChars First, cow_LiteralChars Second> consteval auto dsc_JoinTexts() {
  constexpr std::size_t FirstChars = sizeof(First.m_Chars) - 1;
  char chars[FirstChars + sizeof(Second.m_Chars)] = {};
  for (std::size_t i = 0; i < FirstChars; ++i) chars[i] = First.m_Chars[i];
  for (std::size_t i = 0; i < sizeof(Second.m_Chars); ++i) chars[FirstChars + i] = Second.m_Chars[i];
  return cow_LiteralChars(chars);
}

template <class Name, cow_LiteralChars Suffix> struct dsc_Suffixed;
template <cow_LiteralChars Text, cow_LiteralChars Suffix> struct dsc_Suffixed<dsc_Name<Text>, Suffix> {
  using Type = dsc_Name<dsc_JoinTexts<Text, Suffix>()>;
};
/// dsc_Name<"m_Point"> with the suffix ".x" is dsc_Name<"m_Point.x">.
template <class Name, cow_LiteralChars Suffix>
using dsc_WithSuffix = typename dsc_Suffixed<Name, Suffix>::Type;

namespace kvl {

/// "m_Length"_field: a field's name where no macro is wanted. Not consteval: Clang 14 would leave calls of it.
template <cow_LiteralChars Text> constexpr dsc_Name<Text> operator""_field() noexcept {
  return {};
}

} // namespace kvl
