#pragma once

#include <array>
#include <cmath>

// A point or vector in space, in [m] unless stated otherwise.
using heat_Vector = std::array<double, 3>;

inline heat_Vector heat_Minus(heat_Vector const& a, heat_Vector const& b) {
  return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}

inline heat_Vector heat_Scaled(heat_Vector const& a, double factor) {
  return {a[0] * factor, a[1] * factor, a[2] * factor};
}

inline double heat_Dot(heat_Vector const& a, heat_Vector const& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

inline heat_Vector heat_Cross(heat_Vector const& a, heat_Vector const& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

inline double heat_Length(heat_Vector const& a) {
  return std::sqrt(heat_Dot(a, a));
}
