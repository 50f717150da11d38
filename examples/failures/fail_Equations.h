#pragma once

#include <cstddef>
#include <vector>

// Linear equations with a full matrix: for small trusses only.
class fail_Equations {
 public:
  // The memory that the matrix of `count` equations takes.
  static std::size_t BytesFor(std::size_t count) { return count * count * sizeof(double); }

  // A matrix of zeros. Throws nex_OutOfMemoryException: NEX_OUTOFMEMORY_LIMIT, before allocating anything, if
  // it exceeds the limit; NEX_OUTOFMEMORY_SYSTEM if the system has no more memory.
  fail_Equations(std::size_t count, std::size_t memoryLimitBytes);

  std::size_t Count() const { return m_Count; }
  void Clear();
  void Add(std::size_t row, std::size_t column, double value) { At(row, column) += value; }

  // Solves for a right-hand side by elimination with row exchanges, which overwrites the matrix. Throws
  // nex_TextException if the matrix is singular: the truss is a mechanism.
  std::vector<double> Solve(std::vector<double> rightHandSide);

 private:
  double& At(std::size_t row, std::size_t column) { return m_Matrix[row * m_Count + column]; }
  double LargestEntry() const;
  void BringPivot(std::size_t column, double smallest, std::vector<double>& rightHandSide);

  std::size_t m_Count;
  std::vector<double> m_Matrix;
};
