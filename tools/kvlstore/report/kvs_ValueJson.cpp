#include "tools/kvlstore/report/kvs_ValueJson.h"

#include <algorithm>
#include <string_view>
#include <type_traits>

#include "tools/kvlstore/report/kvs_ShapeTable.h"
#include "tools/kvlstore/report/kvs_VisibleText.h"

namespace {

constexpr std::string_view FloatKind = "float";

std::string Hexadecimal(std::span<std::byte const> bytes) {
  constexpr std::string_view HexDigits = "0123456789abcdef";
  std::string text;
  text.reserve(3 * bytes.size());
  for (std::byte const byte : bytes) {
    if (!text.empty()) text += ' ';
    text += HexDigits[std::to_integer<std::size_t>(byte >> 4)];
    text += HexDigits[std::to_integer<std::size_t>(byte & std::byte{0xF})];
  }
  return text;
}

} // namespace

void kvs_ValueJson::Text(sto_InspectedText const& text) {
  if (!text) {
    m_Json.Null();
    return;
  }
  std::string_view const first = kvs_FirstBytes(*text, m_Options.m_MaxText);
  if (first.size() == text->size())
    m_Json.Text(first, m_Options.m_MaxText);
  else
    m_Json.Begin('{').Key("s").Text(first, m_Options.m_MaxText).Key("n").UInt(text->size()).End('}');
}

void kvs_ValueJson::Bytes(std::span<std::byte const> first, std::int64_t count) {
  m_Json.Begin('{').Key("x").Text(Hexadecimal(first.first(std::min(first.size(), MaxBytes))));
  m_Json.Key("n").Int(count).End('}');
}

void kvs_ValueJson::Key(sto_InspectedKey const& key) {
  if (auto const* const signedKey = std::get_if<std::int64_t>(&key))
    m_Json.Int(*signedKey);
  else if (auto const* const unsignedKey = std::get_if<std::uint64_t>(&key))
    m_Json.UInt(*unsignedKey);
  else
    Text(std::get<sto_InspectedText>(key));
}

void kvs_ValueJson::Member(sto_InspectedMember const& member) {
  m_Json.Begin('[').Text(member.m_Name).Text(member.m_Kind);
  m_Json.Text(std::string(1, kvs_TypeLetter(member.m_Value, member.m_Kind)));
  Value(member.m_Value, member.m_Kind);
  if (member.m_Name.empty() && member.m_Number >= 0) m_Json.Int(member.m_Number);
  m_Json.End(']');
}

void kvs_ValueJson::Tree(sto_InspectedTree const& tree) {
  m_Json.Begin('{')
      .Key("n")
      .UInt(tree.m_Members.size())
      .Key("a")
      .UInt(tree.m_Alternative)
      .Key("m")
      .Begin('[');
  if (m_Depth < MaxDepth) {
    ++m_Depth;
    for (std::size_t i = 0; i < std::min(tree.m_Members.size(), MaxMembers); ++i) Member(tree.m_Members[i]);
    --m_Depth;
  }
  m_Json.End(']').End('}');
}

void kvs_ValueJson::Value(sto_InspectedValue const& value, std::string const& kind) {
  std::visit(
      [&](auto const& typed) {
        using T = std::remove_cvref_t<decltype(typed)>;
        if constexpr (std::is_same_v<T, bool>)
          m_Json.Bool(typed);
        else if constexpr (std::is_same_v<T, std::int64_t>)
          m_Json.Int(typed);
        else if constexpr (std::is_same_v<T, std::uint64_t>)
          m_Json.UInt(typed);
        else if constexpr (std::is_same_v<T, double>)
          static_cast<void>(kind == FloatKind ? m_Json.Float(static_cast<float>(typed))
                                              : m_Json.Double(typed));
        else if constexpr (std::is_same_v<T, std::complex<double>>)
          m_Json.Begin('[').Double(typed.real()).Double(typed.imag()).End(']');
        else if constexpr (std::is_same_v<T, sto_InspectedText>)
          Text(typed);
        else if constexpr (std::is_same_v<T, std::vector<std::byte>>)
          Bytes(typed, static_cast<std::int64_t>(typed.size()));
        else if constexpr (std::is_same_v<T, sto_InspectedId>)
          m_Json.Int(typed.m_Id);
        else
          Tree(typed);
      },
      value);
}

void kvs_ValueJson::Field(sto_InspectedField const& field) {
  auto const* const number = std::get_if<std::int64_t>(&field.m_Value);
  if (number == nullptr || !field.m_Enumerator)
    Value(field.m_Value, field.m_Kind);
  else
    m_Json.Begin('[').Int(*number).Text(*field.m_Enumerator).End(']');
}
