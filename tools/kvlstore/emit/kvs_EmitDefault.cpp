#include "tools/kvlstore/emit/kvs_EmitDefault.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>

namespace {

template <class T> std::optional<T> Parse(std::string_view text) {
  T value{};
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

template <class T, class Wide> std::optional<kvs_DefaultValue> Integer(std::string_view text) {
  auto const value = Parse<T>(text);
  if (!value) return std::nullopt;
  return static_cast<Wide>(*value);
}

std::optional<kvs_DefaultValue> Bool(std::string_view text) {
  if (text == "true" || text == "1") return true;
  if (text == "false" || text == "0") return false;
  return std::nullopt;
}

/// A finite one.
template <class T> std::optional<kvs_DefaultValue> Number(std::string_view text) {
  auto const value = Parse<T>(text);
  if (!value || !std::isfinite(*value)) return std::nullopt;
  return static_cast<double>(*value);
}

std::optional<kvs_DefaultValue> Enumerator(kvs_Attribute const& attribute) {
  auto const found =
      std::ranges::find(attribute.m_Enumerators, *attribute.m_Default, &sto_EnumeratorDescription::m_Name);
  if (found == attribute.m_Enumerators.end())
    return Integer<std::int32_t, std::int64_t>(*attribute.m_Default);
  return found->m_Value;
}

} // namespace

std::optional<kvs_DefaultValue> kvs_DefaultOf(kvs_Attribute const& attribute, kvs_Shape const& shape) {
  if (!attribute.m_Default) return std::nullopt;
  std::string const& text = *attribute.m_Default;
  if (shape.m_Form == kvs_Form::Enum) return Enumerator(attribute);
  if (shape.m_Form != kvs_Form::Value) return std::nullopt;
  switch (shape.m_Element) {
  case ATTR_BOOL:
    return Bool(text);
  case ATTR_SCHAR:
    return Integer<std::int8_t, std::int64_t>(text);
  case ATTR_SHORT:
    return Integer<std::int16_t, std::int64_t>(text);
  case ATTR_USHORT:
    return Integer<std::uint16_t, std::int64_t>(text);
  case ATTR_INT:
    return Integer<std::int32_t, std::int64_t>(text);
  case ATTR_UINT:
    return Integer<std::uint32_t, std::uint64_t>(text);
  case ATTR_LONGLONG:
    return Integer<std::int64_t, std::int64_t>(text);
  case ATTR_ULONGLONG:
    return Integer<std::uint64_t, std::uint64_t>(text);
  case ATTR_FLOAT:
    return Number<float>(text);
  case ATTR_DOUBLE:
    return Number<double>(text);
  case ATTR_STRING:
    return text;
  default:
    return std::nullopt;
  }
}
