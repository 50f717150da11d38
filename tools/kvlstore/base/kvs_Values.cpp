#include "tools/kvlstore/base/kvs_Values.h"

#include <cmath>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/kvlstore/base/kvs_PrintJson.h"
#include "tools/kvlstore/base/kvs_Text.h"

namespace {

bool IsMap(std::string_view kind) {
  return kind.starts_with("map");
}

std::string TreeText(sto_InspectedTree const& tree, std::size_t maxChars) {
  bool const hasNames = !tree.m_Members.empty() && !tree.m_Members.front().m_Name.empty();
  std::string text(1, hasNames ? '{' : '[');
  for (std::size_t i = 0; i < tree.m_Members.size(); ++i) {
    sto_InspectedMember const& member = tree.m_Members[i];
    if (i > 0) text += ", ";
    if (text.size() >= maxChars) return text + "...";
    if (!member.m_Name.empty()) text.append(kvs_Printable(member.m_Name)).append(": ");
    text += kvs_ValueText(member.m_Value, maxChars);
  }
  return text + (hasNames ? '}' : ']');
}

std::string BytesText(std::vector<std::byte> const& bytes, std::size_t maxChars) {
  std::string text;
  for (std::byte const byte : bytes) {
    if (text.size() + 2 > maxChars) return text + "...";
    fmt::format_to(std::back_inserter(text), "{:02x}", std::to_integer<unsigned>(byte));
  }
  return text;
}

struct TextOf {
  std::size_t m_MaxChars;

  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(std::int64_t value) const { return std::to_string(value); }
  std::string operator()(std::uint64_t value) const { return std::to_string(value); }
  std::string operator()(double value) const { return kvs_Number(value); }
  std::string operator()(std::complex<double> const& value) const { return kvs_Number(value); }
  std::string operator()(sto_InspectedText const& value) const {
    if (!value) return "none";
    if (value->size() <= m_MaxChars) return kvs_Quoted(*value);
    return kvs_Quoted(kvs_Beginning(*value, m_MaxChars)) + "...";
  }
  std::string operator()(std::vector<std::byte> const& value) const { return BytesText(value, m_MaxChars); }
  std::string operator()(sto_InspectedId const& value) const {
    return value.m_Id == 0 ? "none" : "#" + std::to_string(value.m_Id);
  }
  std::string operator()(sto_InspectedTree const& value) const { return TreeText(value, m_MaxChars); }
};

void AppendTree(std::string& to, sto_InspectedTree const& tree, std::string_view kind);

struct AppendTo {
  std::string& m_To;
  std::string_view m_Kind;

  void operator()(bool value) const { m_To += value ? "true" : "false"; }
  void operator()(std::int64_t value) const { kvs_AppendNumber(m_To, value); }
  void operator()(std::uint64_t value) const { kvs_AppendNumber(m_To, value); }
  void operator()(double value) const { kvs_AppendJson(m_To, value); }
  void operator()(std::complex<double> const& value) const {
    m_To += '[';
    kvs_AppendJson(m_To, value.real());
    m_To += ',';
    kvs_AppendJson(m_To, value.imag());
    m_To += ']';
  }
  void operator()(sto_InspectedText const& value) const {
    if (value)
      kvs_AppendJson(m_To, std::string_view(*value));
    else
      m_To += "null";
  }
  void operator()(std::vector<std::byte> const& value) const {
    m_To += '"';
    for (std::byte const byte : value)
      fmt::format_to(std::back_inserter(m_To), "{:02x}", std::to_integer<unsigned>(byte));
    m_To += '"';
  }
  void operator()(sto_InspectedId const& value) const {
    if (value.m_Id == 0)
      m_To += "null";
    else
      fmt::format_to(std::back_inserter(m_To), "{{\"object\":{}}}", value.m_Id);
  }
  void operator()(sto_InspectedTree const& value) const { AppendTree(m_To, value, m_Kind); }
};

void AppendTree(std::string& to, sto_InspectedTree const& tree, std::string_view kind) {
  std::vector<sto_InspectedMember> const& members = tree.m_Members;
  bool const isStruct = kind == "struct";
  to += isStruct ? '{' : '[';
  for (std::size_t i = 0; i < members.size(); ++i) {
    if (i > 0) to += ',';
    if (isStruct) {
      kvs_AppendJson(to, std::string_view(members[i].m_Name.empty() ? std::to_string(members[i].m_Number)
                                                                    : members[i].m_Name));
      to += ':';
    }
    bool const isPair = IsMap(kind) && i + 1 < members.size();
    if (isPair) to += '[';
    kvs_AppendJson(to, members[i].m_Value, members[i].m_Kind);
    if (!isPair) continue;
    to += ',';
    ++i;
    kvs_AppendJson(to, members[i].m_Value, members[i].m_Kind);
    to += ']';
  }
  to += isStruct ? '}' : ']';
}

/// The shortest text. Readers take "-0" for the integer 0.
template <class T> void AppendFinite(std::string& to, T value) {
  kvs_AppendNumber(to, value);
  if (value == 0 && std::signbit(value)) to += ".0";
}

template <class T> sto_InspectedValue Widened(T const& value) {
  if constexpr (std::is_floating_point_v<T>)
    return static_cast<double>(value);
  else if constexpr (std::is_same_v<T, std::complex<float>>)
    return std::complex<double>(value);
  else if constexpr (std::is_integral_v<T> && std::is_signed_v<T>)
    return static_cast<std::int64_t>(value);
  else if constexpr (std::is_integral_v<T> && !std::is_same_v<T, bool>)
    return static_cast<std::uint64_t>(value);
  else
    return value;
}

} // namespace

std::string kvs_ValueText(sto_InspectedValue const& value, std::size_t maxChars) {
  return std::visit(TextOf{maxChars}, value);
}

std::string kvs_FieldText(sto_InspectedField const& field, std::size_t maxChars) {
  std::string text = kvs_ValueText(field.m_Value, maxChars);
  if (field.m_Enumerator) return kvs_Printable(*field.m_Enumerator) + " (" + text + ")";
  return field.m_Unit.empty() ? text : text + " " + kvs_Printable(field.m_Unit);
}

void kvs_AppendJson(std::string& to, sto_InspectedValue const& value, std::string_view kind) {
  std::visit(AppendTo{to, kind}, value);
}

void kvs_AppendJson(std::string& to, std::string_view text) {
  to += kvs_SafeJson(nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

void kvs_AppendJson(std::string& to, double value) {
  if (std::isfinite(value))
    AppendFinite(to, value);
  else
    to += std::isnan(value) ? "\"NaN\"" : value > 0 ? "\"Infinity\"" : "\"-Infinity\"";
}

sto_InspectedValue kvs_ValueOf(sto_InspectedKey const& key) {
  return std::visit([](auto const& value) { return sto_InspectedValue(value); }, key);
}

void kvs_AppendElementsJson(std::string& to, sto_InspectedElements const& elements) {
  std::visit(
      [&](auto const& values) {
        bool isFirst = true;
        for (auto const& value : values) {
          if (!isFirst) to += ',';
          isFirst = false;
          using Value = std::decay_t<decltype(value)>;
          if constexpr (std::is_same_v<Value, float>) // a float's own shortest text
            std::isfinite(value) ? AppendFinite(to, value) : kvs_AppendJson(to, static_cast<double>(value));
          else
            kvs_AppendJson(to, Widened(value));
        }
      },
      elements);
}

sto_InspectedValue kvs_ElementOf(sto_InspectedElements const& elements, std::size_t index) {
  return std::visit(
      [index](auto const& values) {
        using Value = typename std::decay_t<decltype(values)>::value_type;
        return Widened(static_cast<Value>(values[index]));
      },
      elements);
}
