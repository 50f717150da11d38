#pragma once

#include <cstddef>
#include <map>
#include <string>

// What a mesh file has and the mesh that is computed with has not.
struct heat_LeftOut {
  std::map<int, std::size_t> elements; // how many of each element type of the format MSH
  std::size_t insides = 0;             // tetrahedra of which only faces on the surface are computed with
  std::size_t nodes = 0;               // that no triangle of the mesh uses

  bool IsNothing() const { return elements.empty() && insides == 0 && nodes == 0; }

  // In plain words: "25 points, 159 lines, 5 nodes that no triangle uses"; empty for nothing.
  std::string Text() const;
};
