#pragma once

#include <array>
#include <cstdint>
#include <vector>

// A point of a plane.
using heat_PlanePoint = std::array<double, 2>;

// A course in a plane through points.
using heat_Course = std::vector<heat_PlanePoint>;

// Iso-lines of a field that is linear in each triangle of a plane mesh: exact but for rounding, without gaps
// between neighbours.
class heat_Contours {
 public:
  // The triangles' indexes must be valid; their sense of rotation does not matter.
  heat_Contours(std::vector<heat_PlanePoint> points, std::vector<double> values,
                std::vector<std::array<int, 3>> triangles);

  // The outlines of the region in which the field is not below the level, each closed without repeating its
  // first point, with the region to the left. Holes are outlines too. Minus infinity gives the whole mesh.
  std::vector<heat_Course> Outlines(double level) const;

  // The lines on which the field has the level. A closed line repeats its first point.
  std::vector<heat_Course> Lines(double level) const;

 private:
  using Key = std::uint64_t; // a node, or the cut of an edge: both ends' indexes

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

// The part of a triangle in which a linear field lies between two levels, low included: a convex polygon,
// empty if there is none. values are those of the corners.
heat_Course heat_BandOfTriangle(std::array<heat_PlanePoint, 3> const& corners,
                                std::array<double, 3> const& values, double low, double high);
