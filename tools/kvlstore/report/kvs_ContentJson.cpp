#include "tools/kvlstore/report/kvs_ContentJson.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <type_traits>

#include "store/base/sto_Exception.h"
#include "tools/kvlstore/report/kvs_ArraySummary.h"
#include "tools/kvlstore/report/kvs_ShapeTable.h"

namespace {

void WriteCurve(kvs_Json& json, char const* key, std::vector<double> const& values) {
  json.Key(key).Begin('[');
  for (double const value : values) json.Rounded(value);
  json.End(']');
}

template <class T> void WriteNumber(kvs_Json& json, T const& number) {
  if constexpr (std::is_same_v<T, float>)
    json.Float(number);
  else if constexpr (std::is_same_v<T, double>)
    json.Double(number);
  else if constexpr (std::is_same_v<T, bool>)
    json.Bool(number);
  else if constexpr (std::is_signed_v<T>)
    json.Int(number);
  else
    json.UInt(number);
}
template <class T> void WriteNumber(kvs_Json& json, std::complex<T> const& number) {
  json.Begin('[');
  WriteNumber(json, number.real());
  WriteNumber(json, number.imag());
  json.End(']');
}
void WriteNumber(kvs_Json&, sto_InspectedText const&) {}
void WriteNumber(kvs_Json&, sto_InspectedId const&) {}

} // namespace

std::string kvs_ContentJson::Write(sto_InspectedObject const& object, OnObject const& onObject) {
  std::string problem;
  m_Json.Begin('{').Key("n").Int(object.m_Count);
  std::size_t const depth = m_Json.Depth();
  try {
    if (object.m_Content == sto_InspectedContent::List) List(object, onObject);
    if (object.m_Content == sto_InspectedContent::Map) Map(object, onObject);
    if (object.m_Content == sto_InspectedContent::Blob) Blob(object);
  } catch (sto_Exception const& failure) {
    if (!kvs_Problems::IsOfContent(failure.Kind())) throw;
    problem = m_Problems.TextOf(failure);
    m_Json.EndTo(depth);
    m_Json.Key("problem").Text(problem);
  }
  m_Json.End('}');
  return problem;
}

void kvs_ContentJson::Ids(sto_InspectedList& list, std::int64_t first, std::int64_t count,
                          OnObject const& onObject) {
  auto const ids = std::get<std::vector<sto_InspectedId>>(list.Read(first, count));
  m_Json.Begin('[');
  for (sto_InspectedId const id : ids) {
    m_Json.Int(id.m_Id);
    if (id.m_Id != 0) onObject(id.m_Id);
  }
  m_Json.End(']');
}

void kvs_ContentJson::Texts(sto_InspectedList& list) {
  auto const texts = std::get<std::vector<sto_InspectedText>>(list.Read(0, std::min(list.Count(), MaxTexts)));
  m_Json.Key("v").Begin('[');
  for (sto_InspectedText const& text : texts) m_Value.Text(text);
  m_Json.End(']');
}

void kvs_ContentJson::FirstNumbers(sto_InspectedList& list) {
  std::int64_t const count = list.Count() <= MaxWhole ? list.Count() : MaxNumbers;
  sto_InspectedElements const first = list.Read(0, count);
  m_Json.Key("v").Begin('[');
  std::visit(
      [this](auto const& elements) {
        for (typename std::remove_cvref_t<decltype(elements)>::value_type const& element : elements)
          WriteNumber(m_Json, element);
      },
      first);
  m_Json.End(']');
}

void kvs_ContentJson::Statistics(kvs_ArraySummary const& summary) {
  m_Json.Key("read").Int(summary.ReadCount()).Key("nan").Int(summary.NaNs());
  m_Json.Key("inf").Int(summary.Infinities());
  if (summary.Numbers() == 0) return;
  m_Json.Key("min").Double(summary.Min()).Key("max").Double(summary.Max()).Key("mean").Double(summary.Mean());
  m_Json.Key("at").Begin('[').Int(summary.MinAt()).Int(summary.MaxAt()).End(']');
}

void kvs_ContentJson::Curves(kvs_ArraySummary const& summary) {
  if (summary.Numbers() == 0 || summary.ReadCount() < 2) return;
  bool const isOnePerPoint = summary.RowsInPoint() == 1 && summary.Columns() <= kvs_ArraySummary::MostCurves;
  m_Json.Key("step").Int(summary.RowsInPoint()).Key("curves").Begin('[');
  for (kvs_ArraySummary::Curve const& curve : summary.Curves()) {
    m_Json.Begin('{');
    WriteCurve(m_Json, "lo", curve.m_Low);
    if (!isOnePerPoint) WriteCurve(m_Json, "hi", curve.m_High);
    if (!curve.m_Mean.empty()) WriteCurve(m_Json, "mid", curve.m_Mean);
    m_Json.End('}');
  }
  m_Json.End(']');
}

std::int64_t kvs_ContentJson::MaxPoints() const noexcept {
  if (m_Json.Bytes() < m_Options.m_MaxBytes / 4) return m_Options.m_MaxPoints;
  return m_Options.m_MaxPoints / (m_Json.Bytes() < m_Options.m_MaxBytes / 2 ? 4 : 15);
}

void kvs_ContentJson::Numbers(sto_InspectedList& list) {
  if (list.Count() == 0) return;
  FirstNumbers(list);
  kvs_ArraySummary summary(list, MaxPoints(), m_Elements);
  std::optional<sto_Exception> failure;
  try {
    summary.Read();
  } catch (sto_Exception const& damage) {
    failure = damage;
  }
  m_Elements -= summary.ReadCount();
  Statistics(summary);
  Curves(summary);
  if (failure) throw *failure; // NOLINT(cert-err60-cpp)
}

void kvs_ContentJson::List(sto_InspectedObject const& object, OnObject const& onObject) {
  sto_InspectedList list = m_Inspection.List(object.m_Id);
  m_Json.Key("t").Text(list.TypeName());
  if (!list.Unit().empty()) m_Json.Key("u").Text(list.Unit());
  if (!list.Row().empty()) {
    m_Json.Key("row").Begin('[');
    for (std::int64_t const extent : list.Row()) m_Json.Int(extent);
    m_Json.End(']');
  }
  if (list.Type() == sto_InspectedType::Object) {
    m_Json.Key("o");
    std::int64_t const count = std::min(list.Count(), FirstObjects);
    Ids(list, 0, count, onObject);
  } else if (list.Type() == sto_InspectedType::Text) {
    Texts(list);
  } else {
    Numbers(list);
  }
}

std::int64_t kvs_ContentJson::Entries(sto_InspectedMap& map, std::int64_t most, OnObject const& onObject) {
  std::int64_t count = 0;
  m_Json.Begin('[');
  for (; count < most && map.Next(); ++count) {
    sto_InspectedValue const value = map.Value();
    m_Json.Begin('[');
    m_Value.Key(map.Key());
    m_Value.Value(value, {});
    m_Json.End(']');
    auto const* const id = std::get_if<sto_InspectedId>(&value);
    if (id != nullptr && id->m_Id != 0) onObject(id->m_Id);
  }
  m_Json.End(']');
  return count;
}

void kvs_ContentJson::Map(sto_InspectedObject const& object, OnObject const& onObject) {
  sto_InspectedMap map = m_Inspection.Map(object.m_Id);
  m_Json.Key("t").Text(map.TypeName());
  bool const hasObjects = map.ValueType() == sto_InspectedType::Object;
  m_Json.Key(hasObjects ? "mo" : "m");
  Entries(map, hasObjects ? FirstObjects : MaxTexts, onObject);
}

void kvs_ContentJson::Blob(sto_InspectedObject const& object) {
  sto_InspectedBlob blob = m_Inspection.Blob(object.m_Id);
  std::array<std::byte, 48> first{};
  auto const count = static_cast<std::size_t>(std::min<std::int64_t>(blob.Size(), first.size()));
  std::span<std::byte> const some(first.data(), count);
  blob.Read(0, some);
  m_Json.Key("b");
  m_Value.Bytes(some, blob.Size());
}
