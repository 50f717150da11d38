#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "store/inspect/sto_InspectedList.h"

/// The statistics of an array of numbers, and the curves that plot it: a point has the smallest and the largest value of the
/// rows that it is made of, so no peak is lost. Complex numbers count by their magnitudes.
class kvs_ArraySummary {
 public:
  static constexpr std::int64_t MostCurves = 3; ///< an array of wider rows has one, over all of a row

  /// `read`: how many elements may be read; the statistics are of the first ones if there are more.
  kvs_ArraySummary(sto_InspectedList& list, std::int64_t maxPoints, std::int64_t read);

  /// Reads the elements, block by block. Damaged; the summary is then of what came before.
  void Read();

  struct Curve {
    std::vector<double> m_Low; ///< NaN where no element is a number
    std::vector<double> m_High;
    std::vector<double> m_Mean;
  };

  [[nodiscard]] std::int64_t Columns() const noexcept { return m_Columns; }
  [[nodiscard]] std::int64_t RowsInPoint() const noexcept { return m_RowsInPoint; }
  [[nodiscard]] std::int64_t ReadCount() const noexcept { return m_Read; }
  [[nodiscard]] std::int64_t Numbers() const noexcept { return m_Numbers; } ///< finite ones
  [[nodiscard]] std::int64_t NaNs() const noexcept { return m_NaNs; }
  [[nodiscard]] std::int64_t Infinities() const noexcept { return m_Infinities; }
  [[nodiscard]] double Min() const noexcept { return m_Min; }
  [[nodiscard]] double Max() const noexcept { return m_Max; }
  [[nodiscard]] std::int64_t MinAt() const noexcept { return m_MinAt; } ///< index of the first such element
  [[nodiscard]] std::int64_t MaxAt() const noexcept { return m_MaxAt; }
  [[nodiscard]] double Mean() const noexcept;
  /// Columns() curves, or one.
  [[nodiscard]] std::vector<Curve> const& Curves() const noexcept { return m_Curves; }

 private:
  void MakeCurves(std::int64_t maxPoints);
  template <class T> void Take(std::vector<T> const& elements);
  void Take(double value);
  void TakeExtremes(double value, std::int64_t at) noexcept;

  sto_InspectedList& m_List;
  std::int64_t m_Count; // that may be read
  std::int64_t m_Columns = 1;
  std::int64_t m_RowsInPoint = 1;
  std::int64_t m_Read = 0;
  std::int64_t m_Numbers = 0;
  std::int64_t m_NaNs = 0;
  std::int64_t m_Infinities = 0;
  double m_Min = 0;
  double m_Max = 0;
  std::int64_t m_MinAt = 0;
  std::int64_t m_MaxAt = 0;
  long double m_Sum = 0;
  std::vector<Curve> m_Curves;
  std::vector<std::int64_t> m_InPoint; // numbers in each point of one curve over all of a row
};
