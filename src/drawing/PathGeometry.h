#pragma once

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <numbers>

#include "drawing/SurfacePath.h"
#include "values/Geometry.h"

// The arithmetic of the surface's paths, kept finite however far out a path
// lies: shared by the path, its clipping and its dashing.
namespace velmora::path_geometry {

inline constexpr double kFullTurn = 2.0 * std::numbers::pi;
inline constexpr double kLargest = std::numeric_limits<double>::max();
// An arc is first cut into quarter turns, then halved where it can show
// until each piece is fine enough. Halving stops long before this depth for
// any radius a double can hold; the cap only guards against rounding.
inline constexpr int kDeepestHalving = 64;

// base + length × factor, for any finite numbers: worked in halves so that
// nothing overflows, and held within the doubles.
inline double along(double base, double length, double factor) {
  const double half = base * 0.5 + length * 0.5 * factor;
  return std::clamp(half * 2.0, -kLargest, kLargest);
}

// a + (b − a) × t for t in 0 … 1, also where b − a would overflow.
inline double between(double a, double b, double t) {
  const double half = a * 0.5 + (b * 0.5 - a * 0.5) * t;
  return std::clamp(half * 2.0, std::min(a, b), std::max(a, b));
}

inline Point onCircle(Point centre, double radius, double angle) {
  return {along(centre.x, radius, std::cos(angle)), along(centre.y, radius, std::sin(angle))};
}

inline Box boundsOf(std::initializer_list<Point> points) {
  Box b{kLargest, kLargest, -kLargest, -kLargest};
  for (Point p : points)
    b.left = std::min(b.left, p.x), b.top = std::min(b.top, p.y), b.right = std::max(b.right, p.x),
    b.bottom = std::max(b.bottom, p.y);
  return b;
}

}  // namespace velmora::path_geometry
