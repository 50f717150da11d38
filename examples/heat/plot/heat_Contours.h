#pragma once

#include <array>
#include <cstdint>
#include <vector>

// A point of a plane.
using heat_PlanePoint = std::array<double, 2>;

// A polyline in a plane.
using heat_Course = std::vector<heat_PlanePoint>;

// Iso-lines of a field that is linear in each triangle of a plane mesh: exact except for rounding, without
// gaps between neighbours.
class heat_Contours {
 public:
  // The triangles' indexes must be valid; their orientation does not matter.
  heat_Contours(std::vector<heat_PlanePoint> points, std::vector<double> values,
                std::vector<std::array<int, 3>> triangles);

  // The outlines of the region where the field is at or above the level. Each is closed without repeating its
  // first point and has the region on its left. Holes are outlines too. Minus infinity gives the whole mesh.
  std::vector<heat_Course> Outlines(double level) const;

  // The lines where the field equals the level. A closed line repeats its first point.
  std::vector<heat_Course> Lines(double level) const;

 private:
  using Key = std::uint64_t; // a node, or the cut of an edge, as the indexes of both its ends

  struct Segment {
    Key from;
    Key to;
  };

  bool IsInside(int node, double level) const { return m_Values[static_cast<std::size_t>(node)] >= level; }
  static Key KeyOf(int a, int b);
  heat_PlanePoint PointOf(Key key, double level) const;
  void AddCut(std::array<int, 3> const& triangle, double level, std::vector<Segment>& segments) const;
  void AddSide(int from, int to, double level, std::vector<Segment>& segments) const;
  std::vector<heat_Course> Chained(std::vector<Segment> segments, double level) const;

  std::vector<heat_PlanePoint> m_Points;
  std::vector<double> m_Values;
  std::vector<std::array<int, 3>> m_Triangles; // all counter-clockwise
  std::vector<std::array<int, 2>> m_Boundary;
};

// The part of a triangle where a linear field lies between two levels, including the low one: a convex
// polygon, possibly empty. `values` are those of the corners.
heat_Course heat_BandOfTriangle(std::array<heat_PlanePoint, 3> const& corners,
                                std::array<double, 3> const& values, double low, double high);
