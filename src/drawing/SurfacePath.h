#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "values/Geometry.h"

typedef struct _cairo cairo_t;

namespace velmora {

// An axis-aligned box in points.
struct Box {
  double left = 0, top = 0, right = 0, bottom = 0;

  // The box grown by `by` on every side.
  Box outset(double by) const { return {left - by, top - by, right + by, bottom + by}; }
  bool contains(Point p) const { return p.x >= left && p.x <= right && p.y >= top && p.y <= bottom; }
  bool contains(const Box& b) const { return b.left >= left && b.right <= right && b.top >= top && b.bottom <= bottom; }
  bool meets(const Box& b) const { return b.left <= right && b.right >= left && b.top <= bottom && b.bottom >= top; }
};

// The current path of a drawing surface: lines and arcs in points, exactly
// as they were added, handed to cairo only when the path is painted.
//
// Cairo keeps coordinates as fixed-point numbers of limited range, and
// flattens an arc into a number of pieces that grows with its radius, so a
// path is put into cairo bounded: a subpath within the safe box goes as it
// was given (cairo draws it exactly and at a cost bounded by the box), and a
// subpath that reaches beyond it is clipped to the box of what can show, its
// arcs flattened into lines as fine as cairo's tolerance where they can show
// and coarse where they cannot. Clipping follows the box's edges where the
// path leaves it, so the winding of every point within the box is kept.
//
// A path given a number that is no number cannot be drawn: it is marked, and
// painting it paints nothing.
class SurfacePath {
 public:
  // `CGContextMoveToPoint`, `CGContextAddLineToPoint` (ignored with no current point).
  void moveTo(Point p);
  void lineTo(Point p);
  // `CGContextAddArc`: clockwise 0 sweeps toward growing angles (clockwise on
  // the image), 1 toward shrinking ones. A current point is joined to the
  // arc's start by a line. A sweep of a full turn or more in that direction
  // is one circle; any other runs from start to end modulo a full turn.
  void arc(Point centre, double radius, double startAngle, double endAngle, int clockwise);
  // `CGContextClosePath` (ignored with no current point).
  void close();

  void clear();
  bool empty() const { return elements_.empty(); }
  // False once a number that is no number was given.
  bool drawable() const { return drawable_; }
  bool hasCurrentPoint() const { return current_.has_value(); }

  // A path of one whole circle and nothing else, stroked `width` wide,
  // covers the ring between its radius less and more half the width (a disc
  // once half the width reaches the centre), whatever its cap. Replaces such
  // a path with the outline of that ring (to be filled under non-zero
  // winding) and says so; any other path is left as it is. (A partial arc is
  // left to the stroker, so that it paints what each dash of a dashed arc
  // paints.)
  bool replaceWithStrokeOutline(double width);
  // The same ring as numbers: centre and outer and inner radius (an inner
  // radius not above zero: a disc), for a path of one whole circle stroked
  // `width` wide; nothing for any other path.
  struct Ring {
    Point centre;
    double outer, inner;
  };
  std::optional<Ring> strokedRing(double width) const;
  // The ring holding a path of one arc (whole or not) and nothing else,
  // stroked `width` wide with round or butt caps; nothing for any other path.
  std::optional<Ring> strokedArcBand(double width) const;
  // An arc: from `start`, `sweep` radians (negative: toward shrinking angles).
  struct Arc {
    Point centre;
    double radius, start, sweep;
  };
  // The arc of a path of one arc and nothing else; nothing for any other path.
  std::optional<Arc> singleArc() const;
  // A path of one straight segment and nothing else: its two ends (one
  // point twice for a segment of no length).
  struct Segment {
    Point from, to;
  };
  std::optional<Segment> segment() const;

  // A dash pattern: painted and unpainted lengths in turn (an even count,
  // adding up to more than nothing), and how far into it every subpath
  // starts. `ended`, if set, is called whenever a dash is complete in the
  // path (to stroke each on its own). `arcEnded`, if set, takes every dash
  // along an arc whole instead of cairo's path (a dot as an arc of no sweep).
  struct Dash {
    std::vector<double> lengths;
    double offset = 0;
    std::function<void()> ended;
    std::function<void(const Arc&)> arcEnded;
  };

  // Appends the path to the current path of `cr` (in its user space, points).
  // Subpaths within `safe` go as they are; others are clipped to `visible`,
  // with arcs flattened to within `tolerance` points there. A fill treats
  // every subpath as closed. With a dash, what goes in is the painted
  // lengths, each a subpath of its own: a dash along an arc as an arc, so
  // that a dashed arc paints what its dashes paint one by one. Stretches
  // that lie wholly outside `visible` are stepped over whole, so the work
  // follows what can show, however long the path or fine the pattern.
  void appendTo(cairo_t* cr, const Box& safe, const Box& visible, double tolerance, bool fill,
                const Dash* dash = nullptr) const;

 private:
  enum class Kind : std::uint8_t { kMove, kLine, kArc, kClose };
  struct Element {
    Kind kind;
    Point point;                              // the arc's centre
    double radius = 0, start = 0, sweep = 0;  // an arc's start angle and signed sweep
    bool shrinking = false;                   // an arc toward shrinking angles
  };
  struct Subpath;

  std::vector<Element> elements_;
  std::optional<Point> current_;
  Point subpathStart_;
  bool drawable_ = true;
};

}  // namespace velmora
