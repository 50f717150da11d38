#pragma once

#include "examples/heat/mesh/heat_MeshData.h"
#include "examples/heat/physics/heat_Problem.h"

// The parameters of the default case; temperatures in degrees Celsius, everything else in SI units.
struct heat_CaseOptions {
  double conductivity = 50;      // of structural steel [W/(m K)]
  double density = 7850;         // [kg/m^3]
  double specificHeat = 490;     // [J/(kg K)]
  double thickness = 0;          // [m]; 0: a twenty-fifth of the mesh's largest extent
  double baseTemperature = 120;  // [deg C]
  double airTemperature = 20;    // [deg C]; also the initial temperature of a transient run
  double airFilm = 10;           // still air, radiation included [W/(m^2 K)]
  double coolantTemperature = 5; // [deg C], on top of a body
  double coolantFilm = 50;       // [W/(m^2 K)]
};

// A case that makes sense for any mesh: a part on a hot base, in air.
//
// Up is z, or y if the mesh lies in a plane of constant z. The nodes at the lowest level have the base's
// temperature. Air cools both faces of a sheet (a mesh with boundary edges) and all its other boundary edges.
// Of a closed surface, air cools the outside of the walls; a coolant runs over the topmost level, if that is
// a face; the inside is insulated.
//
// The base is all nodes within a millionth of the mesh's size above the lowest one. If these span no edge of
// the mesh (a part that rests on a point), it is all nodes within the lowest fiftieth of the height.
heat_Problem heat_BuildCase(heat_MeshData const& mesh, heat_CaseOptions const& options = {});
