#include "tools/kvlstore/report/kvs_ArraySummary.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <type_traits>

namespace {

constexpr std::int64_t SliceElements = 65536;

/// How many elements a row has; 1 if what the store says cannot be.
std::int64_t ColumnsOf(sto_InspectedList const& list) {
  std::int64_t columns = 1;
  for (std::int64_t const extent : list.Row()) {
    if (extent < 1 || columns > list.Count() / extent) return 1;
    columns *= extent;
  }
  return list.Count() % columns == 0 ? columns : 1;
}

template <class T> inline constexpr bool IsNumber = std::is_arithmetic_v<T>;
template <class T> inline constexpr bool IsNumber<std::complex<T>> = true;

template <class T> double NumberOf(T const& element) {
  return static_cast<double>(element);
}
template <class T> double NumberOf(std::complex<T> const& element) {
  return static_cast<double>(std::abs(element));
}

void Widen(double& low, double& high, double value) noexcept {
  if (!(low <= value)) low = value; // also if it is none yet
  if (!(high >= value)) high = value;
}

} // namespace

kvs_ArraySummary::kvs_ArraySummary(sto_InspectedList& list, std::int64_t maxPoints, std::int64_t read)
    : m_List(list), m_Count(std::min(list.Count(), std::max<std::int64_t>(read, 0))),
      m_Columns(ColumnsOf(list)) {
  if (list.Count() > 0) MakeCurves(std::max<std::int64_t>(maxPoints, 1));
}

void kvs_ArraySummary::MakeCurves(std::int64_t maxPoints) {
  std::int64_t const rows = m_List.Count() / m_Columns;
  m_RowsInPoint = (rows + maxPoints - 1) / maxPoints;
  auto const points = static_cast<std::size_t>((rows + m_RowsInPoint - 1) / m_RowsInPoint);
  constexpr double None = std::numeric_limits<double>::quiet_NaN();
  bool const isOneForAll = m_Columns > MostCurves;
  Curve curve{std::vector<double>(points, None), std::vector<double>(points, None), {}};
  if (isOneForAll) {
    curve.m_Mean.assign(points, 0);
    m_InPoint.assign(points, 0);
  }
  m_Curves.assign(isOneForAll ? 1 : static_cast<std::size_t>(m_Columns), curve);
}

double kvs_ArraySummary::Mean() const noexcept {
  return m_Numbers == 0 ? std::numeric_limits<double>::quiet_NaN()
                        : static_cast<double>(m_Sum / static_cast<long double>(m_Numbers));
}

void kvs_ArraySummary::TakeExtremes(double value, std::int64_t at) noexcept {
  if (m_Numbers == 0 || value < m_Min) {
    m_Min = value;
    m_MinAt = at;
  }
  if (m_Numbers == 0 || value > m_Max) {
    m_Max = value;
    m_MaxAt = at;
  }
}

void kvs_ArraySummary::Take(double value) {
  std::int64_t const at = m_Read++;
  if (std::isnan(value)) {
    ++m_NaNs;
    return;
  }
  if (std::isinf(value)) {
    ++m_Infinities;
    return;
  }
  TakeExtremes(value, at);
  ++m_Numbers;
  m_Sum += value;
  auto const point = static_cast<std::size_t>(at / m_Columns / m_RowsInPoint);
  if (m_InPoint.empty()) {
    Curve& curve = m_Curves[static_cast<std::size_t>(at % m_Columns)];
    Widen(curve.m_Low[point], curve.m_High[point], value);
  } else {
    Curve& curve = m_Curves.front();
    Widen(curve.m_Low[point], curve.m_High[point], value);
    // The mean of those so far, which cannot overflow as a sum can.
    double const share = 1 / static_cast<double>(++m_InPoint[point]);
    curve.m_Mean[point] += value * share - curve.m_Mean[point] * share;
  }
}

template <class T> void kvs_ArraySummary::Take(std::vector<T> const& elements) {
  if constexpr (IsNumber<T>)
    for (auto const& element : elements) Take(NumberOf(element));
}

void kvs_ArraySummary::Read() {
  while (m_Read < m_Count) {
    sto_InspectedElements const slice = m_List.Read(m_Read, std::min(SliceElements, m_Count - m_Read));
    std::int64_t const before = m_Read;
    std::visit([this](auto const& elements) { Take(elements); }, slice);
    if (m_Read == before) return; // no numbers
  }
}
