#pragma once

#include "examples/heat/mesh/heat_MeshData.h"

#include <stdexcept>
#include <string>
#include <vector>

// All input of a heat conduction analysis except the mesh, in SI units. Temperatures are all in K or all in
// degrees Celsius, since only their differences matter. Indexes are zero-based indexes of the mesh's nodes
// and triangles. Names are for users and messages.

// The material and thickness of a part of the mesh.
struct heat_Material {
  std::string name;
  double conductivity = 0; // [W/(m K)], positive
  double thickness = 0;    // [m], positive
  double heatSource = 0;   // heat generated inside [W/m^3], negative for a sink
  double density = 0;      // [kg/m^3]; transient runs need this and the next
  double specificHeat = 0; // [J/(kg K)]
};

// Nodes held at a fixed temperature.
struct heat_FixedTemperature {
  std::string name;
  std::vector<int> nodes;
  double temperature = 0; // [K] or [deg C]
};

// Convection across boundary edges, whose area is their length times the thickness.
struct heat_EdgeConvection {
  std::string name;
  std::vector<heat_Edge> edges;
  double film = 0;    // [W/(m^2 K)], not negative
  double ambient = 0; // [K] or [deg C]
};

// Convection across one side of triangles. For both sides of a plate, use two of these, or one with the sum
// of the film coefficients.
struct heat_FaceConvection {
  std::string name;
  std::vector<int> triangles;
  double film = 0;    // [W/(m^2 K)], not negative
  double ambient = 0; // [K] or [deg C]
};

// A given heat flow through boundary edges.
struct heat_EdgeFlux {
  std::string name;
  std::vector<heat_Edge> edges;
  double flux = 0; // [W/m^2], positive into the body
};

struct heat_Problem {
  std::vector<heat_Material> materials;
  std::vector<int> materialOf; // for each triangle, an index into materials; empty: all 0
  std::vector<heat_FixedTemperature> fixedTemperatures;
  std::vector<heat_EdgeConvection> edgeConvections;
  std::vector<heat_FaceConvection> faceConvections;
  std::vector<heat_EdgeFlux> edgeFluxes;
};

// A problem that has no solution, or invalid data; what() is one line for the user.
class heat_ProblemError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Throws heat_ProblemError unless mesh and problem fit together and the problem has exactly one solution:
// indexes are in range; edges are boundary edges, each named once per condition; every number is finite and
// physically possible (no temperature below absolute zero in degrees Celsius); no node is held at two
// temperatures; every node belongs to a triangle; and every connected part of the mesh has a fixed
// temperature or a convection with a film coefficient above zero.
void heat_CheckProblem(heat_MeshData const& mesh, heat_Problem const& problem);
