#include <algorithm>
#include <cmath>
#include <limits>

#include <nlohmann/json.hpp>

#include "tools/kvlstore/base/kvs_Address.h"
#include "tools/kvlstore/base/kvs_Bar.h"
#include "tools/kvlstore/base/kvs_Interrupt.h"
#include "tools/kvlstore/base/kvs_OpenStore.h"
#include "tools/kvlstore/base/kvs_Output.h"
#include "tools/kvlstore/base/kvs_PrintJson.h"
#include "tools/kvlstore/base/kvs_Text.h"
#include "tools/kvlstore/base/kvs_Values.h"
#include "tools/kvlstore/plot/kvs_Curve.h"
#include "tools/kvlstore/plot/kvs_Drawing.h"
#include "tools/kvlstore/verbs/kvs_Verbs.h"

namespace {

/// The numbers of one array, some at a time.
class Numbers {
 public:
  Numbers(sto_Store& store, sto_Inspection const& inspection, std::string const& name, std::int64_t column)
      : m_Name(name), m_Column(column) {
    kvs_Found const found = kvs_Find(store, inspection, name);
    m_List.emplace(kvs_ListOf(inspection, found));
    m_Unit = m_List->Unit().empty() ? found.m_Unit : m_List->Unit();
    if (m_List->Type() == sto_InspectedType::Text || m_List->Type() == sto_InspectedType::Object ||
        m_List->Type() >= sto_InspectedType::ComplexFloat)
      throw kvs_Error(kvs_Printable(name) + ": A list of " + m_List->TypeName() + " cannot be drawn.");
    for (std::int64_t const extent : m_List->Row()) m_Columns *= std::max<std::int64_t>(extent, 1);
    if (m_Columns > 1 && m_Column >= m_Columns)
      throw kvs_Error(kvs_Printable(name) + ": It has no column " + kvs_Count(m_Column) + ": a row has " +
                      kvs_Count(m_Columns, "number") + ".");
  }

  [[nodiscard]] std::int64_t Rows() const { return m_List->Count() / m_Columns; }
  [[nodiscard]] bool HasColumns() const { return m_Columns > 1; }
  [[nodiscard]] std::string Label() const {
    std::string label = m_Name;
    if (m_Columns > 1) label += ", column " + std::to_string(m_Column);
    return m_Unit.empty() ? label : label + " [" + m_Unit + "]";
  }

  /// One number of each row from `first` on.
  [[nodiscard]] std::vector<double> Read(std::int64_t first, std::int64_t count) {
    std::vector<double> numbers;
    numbers.reserve(static_cast<std::size_t>(count));
    if (m_Columns > 1) {
      for (std::int64_t i = 0; i < count; ++i)
        Append(numbers, m_List->Read((first + i) * m_Columns + m_Column, 1));
    } else {
      Append(numbers, m_List->Read(first, count));
    }
    return numbers;
  }

 private:
  static void Append(std::vector<double>& numbers, sto_InspectedElements const& elements) {
    std::visit(
        [&](auto const& values) {
          using Value = typename std::decay_t<decltype(values)>::value_type;
          if constexpr (std::is_arithmetic_v<Value>)
            for (auto const value : values) numbers.push_back(static_cast<double>(value));
        },
        elements);
  }

  std::string m_Name, m_Unit;
  std::optional<sto_InspectedList> m_List;
  std::int64_t m_Columns = 1, m_Column;
};

kvs_Status PrintPoints(kvs_Curve const& curve, kvs_PlotLabels const& labels, kvs_Output& out) {
  nlohmann::ordered_json points = nlohmann::ordered_json::array();
  for (kvs_Curve::Point const& point : curve.Points()) points.push_back({point.m_X, point.m_Y});
  kvs_PrintJson(out,
                {{"x", labels.m_X}, {"y", labels.m_Y}, {"notFinite", curve.NotFinite()}, {"points", points}},
                true);
  return kvs_Status::Same;
}

} // namespace

kvs_Status kvs_Plot(kvs_PlotOptions const& options, kvs_Output& out) {
  sto_Store store = kvs_OpenToRead(options.m_Store);
  sto_Inspection const inspection(store);
  Numbers y(store, inspection, options.m_Y, options.m_Column);
  std::optional<Numbers> x;
  if (!options.m_X.empty()) x.emplace(store, inspection, options.m_X, options.m_Column);
  if (options.m_Column > 0 && !y.HasColumns() && !(x && x->HasColumns()))
    throw kvs_Error(kvs_Printable(options.m_Y) + ": It has no column " + kvs_Count(options.m_Column) +
                    ": a row has 1 number.");
  if (x && x->Rows() != y.Rows())
    throw kvs_Error(fmt::format("{} has {} and {} has {}: they cannot be drawn against each other.",
                                kvs_Printable(options.m_X), kvs_Count(x->Rows(), "row"),
                                kvs_Printable(options.m_Y), kvs_Count(y.Rows(), "row")));
  kvs_Slice::Range const range = options.m_Slice.Of(y.Rows());
  kvs_Curve curve(range.m_Count);
  kvs_Bar bar("reading");
  for (std::int64_t done = 0; done < range.m_Count;) {
    bar.Show({done, range.m_Count});
    kvs_CheckInterrupt();
    std::int64_t const count = std::min(kvs_ElementsAtOnce, range.m_Count - done);
    std::vector<double> const ys = y.Read(range.m_First + done, count);
    std::vector<double> xs;
    if (x) xs = x->Read(range.m_First + done, count);
    for (std::size_t i = 0; i < ys.size(); ++i)
      curve.Add(x ? xs[i] : static_cast<double>(range.m_First + done) + static_cast<double>(i), ys[i]);
    done += count;
  }
  curve.Finish();
  if (curve.Points().empty())
    throw kvs_Error(kvs_Printable(options.m_Y) + ": There is nothing to draw: it has no finite number here.");
  kvs_PlotLabels const labels{x ? x->Label() : "index", y.Label()};
  if (options.m_Json) return PrintPoints(curve, labels, out);
  out.Write(options.m_Svg ? kvs_DrawSvg(curve, labels, options.m_Width, options.m_Height)
                          : kvs_DrawText(curve, labels, options.m_Width, options.m_Height));
  return kvs_Status::Same;
}
