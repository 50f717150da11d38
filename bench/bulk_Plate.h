#pragma once

#include <vector>

/// Computes how a steel plate heats up, one side hot and the others cooled by air: a history as a program of
/// heat conduction stores it, whose bits no formula repeats. Implicit Euler with one factorisation, as in
/// examples/heat.
class bulk_Plate {
 public:
  bulk_Plate(int columns, int rows);

  /// The temperature of each node at the start and after each step, `NodeCount()` values a step, in degrees
  /// Celsius. Nodes near each other have numbers near each other only roughly, as from a mesh generator.
  [[nodiscard]] std::vector<double> History(int steps) const;
  [[nodiscard]] int NodeCount() const { return m_Columns * m_Rows; }

 private:
  [[nodiscard]] double& At(int row, int back) { return m_Matrix[Position(row, back)]; }
  [[nodiscard]] double At(int row, int back) const { return m_Matrix[Position(row, back)]; }
  [[nodiscard]] std::size_t Position(int row, int back) const {
    return static_cast<std::size_t>(row) * static_cast<std::size_t>(m_Rows + 1) +
           static_cast<std::size_t>(back);
  }
  void Conduct(int one, int other);
  void Exchange(int node, double film, double ambient);
  void Factor();
  void Solve(std::vector<double>& values) const;
  [[nodiscard]] std::vector<double> HeatFlow(std::vector<double> const& temperature) const;

  struct Link {
    int m_One, m_Other;
  };
  int m_Columns, m_Rows;
  std::vector<Link> m_Links;    // nodes that conduct heat to each other
  std::vector<double> m_Film;   // for each node [W/K]
  std::vector<double> m_Source; // for each node: film times ambient temperature [W]
  std::vector<double> m_Matrix; // for each row the diagonal, then the entries left of it; factored
};
