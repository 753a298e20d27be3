#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include "drawing/SurfacePath.h"
#include "values/Geometry.h"

typedef struct _cairo cairo_t;

namespace velmora {

// A dash pattern walked along a path, putting the painted lengths into
// cairo as subpaths: a length along a line as a line, along an arc as an
// arc. The pattern starts afresh with every subpath. A stretch that lies
// wholly outside the visible box is stepped over in one go, and a long arc
// is halved until the pieces that can show are short, so the walk costs
// what the dashes within the box cost.
//
// Keeps references to the dash and the box, which must outlive it, and
// draws into `cr`'s path, which must too.
class Dasher {
 public:
  // Walks `dash` (lengths adding up to more than nothing) into `cr`, within `visible`.
  Dasher(cairo_t* cr, const SurfacePath::Dash& dash, const Box& visible);

  // Starts the pattern afresh, for a new subpath.
  void beginSubpath();
  // The stretches of the subpath in turn: a line, and an arc from `start`,
  // `sweep` radians (`shrinking`: toward shrinking angles, as cairo draws it).
  void line(Point from, Point to);
  void arc(Point centre, double radius, double start, double sweep, bool shrinking);
  // The dash under way is complete.
  void endDash();

 private:
  bool painting() const { return index_ % 2 == 0; }
  template <typename Paint>
  void walk(double from, double to, Paint paint);
  template <typename Paint>
  void next(double at, Paint paint);
  void skip(double length);
  void arcPiece(Point centre, double radius, double from, double to, bool shrinking, int depth);
  void walkArc(Point centre, double radius, double from, double to, bool shrinking);

  cairo_t* cr_;
  const std::vector<double>& lengths_;
  const std::function<void()>& ended_;
  const std::function<void(const SurfacePath::Arc&)>& arcEnded_;
  const Box& visible_;
  std::optional<SurfacePath::Arc> dashArc_;  // the dash under way, given whole
  double period_ = 0, longestWalk_ = 0;
  std::size_t startIndex_ = 0, index_ = 0;
  double startLeft_ = 0, left_ = 0;  // what is left of the current length
  bool open_ = false;                // a painted length is under way in cairo
  bool pending_ = false;             // cairo's path holds a dash not yet reported ended
};

}  // namespace velmora
