#include "tools/kvlstore/report/kvs_ShapeTable.h"

#include <array>
#include <sstream>
#include <string_view>
#include <vector>

namespace {

void WriteField(kvs_Json& json, sto_InspectedField const& field) {
  json.Begin('{').Key("n").Text(field.m_Name);
  if (field.m_Name.empty()) json.Key("i").Int(field.m_Number);
  json.Key("k").Text(field.m_Kind);
  json.Key("t").Text(std::string(1, kvs_TypeLetter(field.m_Value, field.m_Kind)));
  if (!field.m_Unit.empty()) json.Key("u").Text(field.m_Unit);
  if (field.m_Default) json.Key("d").Text(*field.m_Default);
  json.End('}');
}

void WritePart(kvs_Json& json, sto_InspectedPart const& part) {
  json.Begin('{').Key("c").Text(part.m_ClassName).Key("i").UInt(part.m_ClassId).Key("v").Int(part.m_Version);
  json.Key("f").Begin('[');
  for (sto_InspectedField const& field : part.m_Fields) WriteField(json, field);
  json.End(']').End('}');
}

std::string ShapeOf(sto_InspectedObject const& object) {
  std::ostringstream text;
  {
    kvs_Json json(text);
    json.Begin('{').Key("k").Text(object.m_Kind).Key("c").Int(static_cast<int>(object.m_Content));
    if (object.m_IsDeleted) json.Key("x").Bool(true);
    json.Key("p").Begin('[');
    for (sto_InspectedPart const& part : object.m_Parts) WritePart(json, part);
    json.End(']').End('}');
  }
  return std::move(text).str();
}

} // namespace

char kvs_TypeLetter(sto_InspectedValue const& value, std::string const& kind) noexcept {
  constexpr std::string_view Letters = "binfctxom";
  char const letter = Letters[value.index()];
  if (letter == 'i' && kind == "enumeration") return 'e';
  return letter == 'o' && kind == "reference" ? 'r' : letter;
}

std::size_t kvs_ShapeTable::Number(sto_InspectedObject const& object) {
  auto const [place, isNew] = m_Numbers.try_emplace(ShapeOf(object), m_Numbers.size());
  if (isNew) m_Bytes += static_cast<std::int64_t>(place->first.size());
  return place->second;
}

void kvs_ShapeTable::Write(kvs_Json& json) const {
  std::vector<std::string const*> inOrder(m_Numbers.size());
  for (auto const& [shape, number] : m_Numbers) inOrder[number] = &shape;
  json.Begin('[');
  for (std::string const* const shape : inOrder) json.Raw(*shape);
  json.End(']');
}
