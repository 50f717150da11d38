#include "bench/bulk_Plate.h"

#include <algorithm>
#include <numeric>
#include <random>

namespace {

// SI units.
constexpr double Width = 0.12;
constexpr double Thickness = 0.01;
constexpr double Conductivity = 50;
constexpr double Capacity = 7850.0 * 460; // of a volume
constexpr double TimeStep = 0.25;
constexpr double Air = 20; // degrees Celsius, also the plate's at the start
constexpr double Hot = 400;
constexpr double FilmOfAir = 25;
constexpr double FilmBelow = 10; // not as above: no two nodes of a step have the same temperature
constexpr double FilmOfHotSide = 2000;
constexpr int ScatterColumns = 8; // within as many columns of nodes the numbers are random

} // namespace

bulk_Plate::bulk_Plate(int columns, int rows)
    : m_Columns(columns), m_Rows(rows), m_Film(static_cast<std::size_t>(NodeCount())),
      m_Source(m_Film.size()), m_Matrix(m_Film.size() * static_cast<std::size_t>(rows + 1)) {
  double const spacing = Width / columns;
  for (int column = 0; column < columns; ++column)
    for (int row = 0; row < rows; ++row) {
      int const node = column * rows + row;
      At(node, 0) += Capacity * spacing * spacing * Thickness / TimeStep;
      if (row > 0) Conduct(node, node - 1);
      if (column > 0) Conduct(node, node - rows);
      double const edge = spacing * Thickness;
      if (column == 0) Exchange(node, FilmOfHotSide * edge, Hot);
      if (column == columns - 1) Exchange(node, FilmOfAir * edge, Air);
      if (row == 0) Exchange(node, FilmOfAir * edge, Air);
      if (row == rows - 1) Exchange(node, FilmBelow * edge, Air);
    }
  Factor();
}

void bulk_Plate::Conduct(int one, int other) {
  double const conductance = Conductivity * Thickness; // between two nodes of a square grid
  m_Links.push_back({one, other});
  At(one, 0) += conductance;
  At(other, 0) += conductance;
  At(one, one - other) -= conductance;
}

void bulk_Plate::Exchange(int node, double film, double ambient) {
  m_Film[static_cast<std::size_t>(node)] += film;
  m_Source[static_cast<std::size_t>(node)] += film * ambient;
  At(node, 0) += film;
}

/// Replaces the matrix by its factors L D L', within the band.
void bulk_Plate::Factor() {
  std::vector<double> scaled(static_cast<std::size_t>(m_Rows + 1));
  for (int row = 0; row < NodeCount(); ++row) {
    int const first = std::max(0, row - m_Rows);
    for (int column = first; column < row; ++column) {
      double value = At(row, row - column);
      for (int k = std::max(first, column - m_Rows); k < column; ++k)
        value -= scaled[static_cast<std::size_t>(row - k)] * At(column, column - k);
      scaled[static_cast<std::size_t>(row - column)] = value;
    }
    for (int column = first; column < row; ++column) {
      double const value = scaled[static_cast<std::size_t>(row - column)];
      At(row, row - column) = value / At(column, 0);
      At(row, 0) -= value * At(row, row - column);
    }
  }
}

void bulk_Plate::Solve(std::vector<double>& values) const {
  auto const value = [&](int node) -> double& { return values[static_cast<std::size_t>(node)]; };
  for (int row = 0; row < NodeCount(); ++row)
    for (int back = 1; back <= std::min(row, m_Rows); ++back) value(row) -= At(row, back) * value(row - back);
  for (int row = 0; row < NodeCount(); ++row) value(row) /= At(row, 0);
  for (int row = NodeCount() - 1; row >= 0; --row)
    for (int back = 1; back <= std::min(row, m_Rows); ++back) value(row - back) -= At(row, back) * value(row);
}

std::vector<double> bulk_Plate::HeatFlow(std::vector<double> const& temperature) const {
  std::vector<double> flow(temperature.size());
  for (std::size_t i = 0; i < flow.size(); ++i) flow[i] = m_Source[i] - m_Film[i] * temperature[i];
  for (Link const& link : m_Links) {
    auto const one = static_cast<std::size_t>(link.m_One);
    auto const other = static_cast<std::size_t>(link.m_Other);
    double const conducted = Conductivity * Thickness * (temperature[other] - temperature[one]);
    flow[one] += conducted;
    flow[other] -= conducted;
  }
  return flow;
}

std::vector<double> bulk_Plate::History(int steps) const {
  std::vector<std::size_t> numbers(static_cast<std::size_t>(NodeCount()));
  std::iota(numbers.begin(), numbers.end(), std::size_t{0});
  std::mt19937 random(3);
  auto const scatter = static_cast<std::ptrdiff_t>(ScatterColumns * m_Rows);
  for (auto first = numbers.begin(); first != numbers.end();) {
    auto const last = first + std::min(scatter, numbers.end() - first);
    std::shuffle(first, last, random);
    first = last;
  }
  std::vector<double> temperature(numbers.size(), Air);
  std::vector<double> history;
  history.reserve(numbers.size() * static_cast<std::size_t>(steps + 1));
  for (int step = 0;; ++step) {
    for (std::size_t const number : numbers) history.push_back(temperature[number]);
    if (step == steps) return history;
    std::vector<double> change = HeatFlow(temperature);
    Solve(change);
    for (std::size_t i = 0; i < change.size(); ++i) temperature[i] += change[i];
  }
}
