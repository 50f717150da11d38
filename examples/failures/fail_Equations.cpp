#include "examples/failures/fail_Equations.h"

#include "errors/nex_OutOfMemoryException.h"
#include "errors/nex_TextException.h"
#include "examples/failures/fail_Message.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

namespace {

// A pivot below this fraction of the largest entry is only rounding error.
constexpr double SmallestPivot = 1e-13;

} // namespace

// An out-of-memory exception appends its message to the two process-wide messages of the error module; its
// own text is the detailed one. So users read, and the store keeps, the general advice followed by this line.
fail_Equations::fail_Equations(std::size_t count, std::size_t memoryLimitBytes) : m_Count(count) {
  if (BytesFor(count) > memoryLimitBytes)
    nex_OutOfMemoryException(
        fail_Message("The stiffness matrix of %s equations takes %s bytes; the limit of the run is %s.",
                     {fail_Text(count), fail_Text(BytesFor(count)), fail_Text(memoryLimitBytes)}),
        NEX_OUTOFMEMORY_LIMIT)
        .Throw("fail_Equations", __LINE__);
  try {
    m_Matrix.resize(count * count);
  } catch (std::bad_alloc const&) {
    nex_OutOfMemoryException(NEX_OUTOFMEMORY_SYSTEM).Throw("fail_Equations", __LINE__);
  }
}

void fail_Equations::Clear() {
  std::fill(m_Matrix.begin(), m_Matrix.end(), 0.0);
}

double fail_Equations::LargestEntry() const {
  double largest = 0;
  for (double const entry : m_Matrix) largest = std::max(largest, std::abs(entry));
  return largest;
}

void fail_Equations::BringPivot(std::size_t column, double smallest, std::vector<double>& rightHandSide) {
  std::size_t pivot = column;
  for (std::size_t row = column + 1; row < m_Count; ++row)
    if (std::abs(At(row, column)) > std::abs(At(pivot, column))) pivot = row;
  if (!(std::abs(At(pivot, column)) > smallest))
    nex_TextException(fail_Message("The stiffness matrix is singular: the truss is a mechanism.", {}))
        .Throw("fail_Equations", __LINE__);
  if (pivot == column) return;
  for (std::size_t k = 0; k < m_Count; ++k) std::swap(At(pivot, k), At(column, k));
  std::swap(rightHandSide[pivot], rightHandSide[column]);
}

std::vector<double> fail_Equations::Solve(std::vector<double> rightHandSide) {
  double const smallest = SmallestPivot * LargestEntry();
  for (std::size_t column = 0; column < m_Count; ++column) {
    BringPivot(column, smallest, rightHandSide);
    for (std::size_t row = column + 1; row < m_Count; ++row) {
      double const factor = At(row, column) / At(column, column);
      if (factor == 0) continue;
      for (std::size_t k = column; k < m_Count; ++k) At(row, k) -= factor * At(column, k);
      rightHandSide[row] -= factor * rightHandSide[column];
    }
  }
  for (std::size_t row = m_Count; row-- > 0;) {
    for (std::size_t k = row + 1; k < m_Count; ++k) rightHandSide[row] -= At(row, k) * rightHandSide[k];
    rightHandSide[row] /= At(row, row);
  }
  return rightHandSide;
}
