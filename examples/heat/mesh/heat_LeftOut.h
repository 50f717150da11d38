#pragma once

#include <cstddef>
#include <map>
#include <string>

// What a mesh file contains but the computed mesh does not.
struct heat_LeftOut {
  std::map<int, std::size_t> elements; // how many of each element type of MSH
  std::size_t insides = 0;             // tetrahedra of which only faces on the surface are used
  std::size_t nodes = 0;               // nodes that no triangle uses

  bool IsNothing() const { return elements.empty() && insides == 0 && nodes == 0; }

  // As text: "25 points, 159 lines, 5 nodes that no triangle uses"; empty if nothing is left out.
  std::string Text() const;
};
