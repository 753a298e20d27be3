#pragma once

#include <cstddef>
#include <vector>

#include "drawing/SurfacePath.h"
#include "values/Geometry.h"

namespace velmora {

// A polyline clipped to the box, side by side (Sutherland–Hodgman): every
// stretch outside a side is replaced by that side between its crossings, so
// the winding of every point within the box is kept. A closed polyline is
// taken to return from its last point to its first.
std::vector<Point> clipPolyline(std::vector<Point> points, bool closed, const Box& visible);

// The points of an arc after its start, as chords: within the tolerance of
// the arc wherever a piece of it can meet `visible`, and single chords where
// the piece with its chord lies wholly outside (so that neither the winding
// of a point within the box nor a stroke within it changes).
//
// Keeps references to `visible` and `out`, which must outlive it.
class ArcFlattener {
 public:
  ArcFlattener(Point centre, double radius, const Box& visible, double tolerance, std::vector<Point>& out);

  // Appends the points of the arc from `start`, `sweep` radians (negative:
  // toward shrinking angles), to `out`.
  void flatten(double start, double sweep);

 private:
  void piece(double from, double to, int depth);
  void emit(Point p);

  Point centre_;
  double radius_;
  const Box& visible_;
  double tolerance_;
  std::vector<Point>& out_;
  std::size_t budget_;
};

}  // namespace velmora
