#pragma once

#include "examples/heat/mesh/heat_MeshData.h"
#include "examples/heat/physics/heat_Problem.h"

#include <Eigen/SparseCore>

#include <cstddef>
#include <map>
#include <utility>
#include <vector>

// The discrete equations of the steady and the transient solver: K T = f, or C dT/dt + K T = f. Assembled in
// a fixed order, so that the same input gives the same bits. Only the solvers' sources include this header:
// that keeps the linear algebra library out of everything else.

using heat_Matrix = Eigen::SparseMatrix<double>;
using heat_Column = Eigen::VectorXd;

// The material of a triangle.
heat_Material const& heat_MaterialAt(heat_Problem const& problem, std::size_t triangle);

// The area of a triangle [m^2].
double heat_AreaOf(heat_MeshData const& mesh, std::array<int, 3> const& triangle);

// The edge vectors of a triangle: edge i is opposite to node i.
std::array<heat_Vector, 3> heat_OppositeEdges(heat_MeshData const& mesh, std::array<int, 3> const& triangle);

// Areas of boundary edges: length times thickness [m^2]. Keeps references.
class heat_EdgeAreas {
 public:
  heat_EdgeAreas(heat_MeshData const& mesh, heat_Problem const& problem);
  double operator()(heat_Edge const& edge) const;

 private:
  heat_MeshData const& m_Mesh;
  heat_Problem const& m_Problem;
  std::map<std::pair<int, int>, std::size_t> m_Triangles;
};

// Which nodes are free, and the values of the fixed ones.
struct heat_Fixing {
  std::vector<int> row;   // row of a free node in the reduced matrix; -1 for a fixed one
  std::vector<int> owner; // index of the condition that fixes a node; -1 for a free one
  heat_Column value;      // of fixed nodes; 0 for free ones
  int freeCount = 0;

  // The rows and columns of the free nodes in a matrix of all nodes.
  heat_Matrix Reduced(heat_Matrix const& full) const;
  // The values of the free nodes.
  heat_Column FreeOf(heat_Column const& all) const;
  // Adds values of the free nodes to a column of all nodes.
  void AddFree(heat_Column const& values, heat_Column& all) const;
};

// The equations of a problem that heat_CheckProblem has accepted.
struct heat_Equations {
  heat_Equations(heat_MeshData const& mesh, heat_Problem const& problem);

  heat_EdgeAreas areas;
  heat_Matrix stiffness;  // K of all nodes
  heat_Column load;       // f of all nodes, without the contribution of fixed temperatures
  double appliedHeat = 0; // from sources and given flows [W]
  heat_Fixing fixing;
};

// The lumped heat capacity: each triangle gives a third of its own to each of its nodes [J/K].
heat_Column heat_LumpedCapacity(heat_MeshData const& mesh, heat_Problem const& problem);
