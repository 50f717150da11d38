#pragma once

#include "examples/heat/mesh/heat_MshScanner.h"
#include "examples/heat/mesh/heat_Vector.h"

#include <array>
#include <cstddef>
#include <map>
#include <unordered_map>
#include <utility>
#include <vector>

// Finds the index of a node by its tag. Dense tags, the usual case, cost one array access.
class heat_TagTable {
 public:
  // Prepares for `count` tags, the highest being `highest`.
  void Reserve(std::size_t count, int highest);

  // False if the tag already exists.
  bool Insert(int tag, int index);

  // The index, or -1.
  int Find(int tag) const;

 private:
  std::vector<int> m_Dense; // by tag; -1 if there is no such node
  std::unordered_map<int, int> m_Sparse;
};

// An element of a mesh file: its nodes as indexes, the tag of its region, and its line.
template <std::size_t Corners> struct heat_MshCell {
  std::array<int, Corners> nodes;
  int region;
  int line;
};

// The first element of a kind that cannot be analysed; line 0 if there is none.
struct heat_MshStranger {
  int type = 0;
  int line = 0;
};

// The contents of a mesh file in the format MSH 4.1, reduced to what is needed here.
struct heat_MshFile {
  std::vector<heat_Vector> points;
  std::vector<int> tags; // of the points
  heat_TagTable index;
  std::map<std::pair<int, int>, int> physical; // (dimension, entity) -> first physical tag
  std::vector<heat_MshCell<3>> triangles;
  std::vector<heat_MshCell<4>> tetrahedra;
  heat_MshStranger strangeSurface;   // two-dimensional, but not a three-node triangle
  heat_MshStranger strangeVolume;    // three-dimensional, but not a four-node tetrahedron
  std::map<int, std::size_t> others; // how many elements of each other type
  int nodesLine = 0;                 // line of $Nodes; 0 until it is read
  int elementsLine = 0;              // line of $Elements; 0 until it is read
};

// Reads all sections from the scanner. Throws heat_InputError for anything that violates the format.
heat_MshFile heat_ReadSections(heat_MshScanner& scanner);
