#pragma once

#include "examples/heat/mesh/heat_MeshData.h"
#include "examples/heat/physics/heat_Problem.h"

// The numbers of the default case; temperatures in degrees Celsius, the rest in SI units.
struct heat_CaseOptions {
  double conductivity = 50;      // of structural steel [W/(m K)]
  double density = 7850;         // [kg/m^3]
  double specificHeat = 490;     // [J/(kg K)]
  double thickness = 0;          // [m]; 0: a twenty-fifth of the mesh's largest extent
  double baseTemperature = 120;  // [deg C]
  double airTemperature = 20;    // [deg C]; a transient run starts with it
  double airFilm = 10;           // still air, radiation included [W/(m^2 K)]
  double coolantTemperature = 5; // [deg C], on top of a body
  double coolantFilm = 50;       // [W/(m^2 K)]
};

// A case that makes sense for any mesh: a part that stands on a hot base, in air.
//
// Up is z, or y if the mesh lies flat in a plane of constant z. The nodes at the lowest level are held at the
// base's temperature. In a sheet (a mesh with boundary edges) air cools both faces and all other boundary
// edges. On a closed surface air cools the outside of the walls, and the topmost level, if it is a face, has
// a coolant running over it instead; the inside is insulated.
//
// The base is all nodes within a millionth of the mesh's size of the lowest one. Where these span no edge of
// the mesh (a part that stands on a point), it is all nodes within the lowest fiftieth of the height.
heat_Problem heat_BuildCase(heat_MeshData const& mesh, heat_CaseOptions const& options = {});
