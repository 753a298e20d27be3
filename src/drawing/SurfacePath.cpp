#include "drawing/SurfacePath.h"

#include <cairo.h>

#include <cmath>
#include <optional>

#include "drawing/PathClipping.h"
#include "drawing/PathDasher.h"
#include "drawing/PathGeometry.h"

namespace velmora {

using path_geometry::boundsOf;
using path_geometry::kFullTurn;
using path_geometry::onCircle;

// A run of elements that cairo takes as one subpath: from a move (or the
// path's first arc), or from the start of a subpath just closed, up to the
// next move or close.
struct SurfacePath::Subpath {
  std::size_t begin, end;
  Point start;
  bool continuesClosed;  // begins at the start of the subpath closed before it, with no move of its own
};

// --- building ----------------------------------------------------------------

void SurfacePath::moveTo(Point p) {
  if (!std::isfinite(p.x) || !std::isfinite(p.y)) {
    drawable_ = false;
    return;
  }
  elements_.push_back({Kind::kMove, p});
  current_ = subpathStart_ = p;
}

void SurfacePath::lineTo(Point p) {
  if (!current_) return;
  if (!std::isfinite(p.x) || !std::isfinite(p.y)) {
    drawable_ = false;
    return;
  }
  elements_.push_back({Kind::kLine, p});
  current_ = p;
}

void SurfacePath::arc(Point centre, double radius, double startAngle, double endAngle, int clockwise) {
  // An end infinitely far round in the arc's own direction is still a sweep
  // of a whole turn or more: one circle, as for any end a turn or more away.
  // Every other non-finite angle names no arc.
  const double sweepToEnd = clockwise == 0 ? endAngle - startAngle : startAngle - endAngle;
  const bool endlessSweep = std::isinf(endAngle) && sweepToEnd > 0;
  if (!std::isfinite(centre.x) || !std::isfinite(centre.y) || !std::isfinite(radius) || radius < 0 ||
      !std::isfinite(startAngle) || !(std::isfinite(endAngle) || endlessSweep)) {
    drawable_ = false;
    return;
  }
  double sweep = sweepToEnd;
  if (!std::isfinite(sweep) &&
      !endlessSweep)  // the angles lie too far apart for their difference: take it within a turn
    sweep = clockwise == 0 ? std::fmod(endAngle, kFullTurn) - std::fmod(startAngle, kFullTurn)
                           : std::fmod(startAngle, kFullTurn) - std::fmod(endAngle, kFullTurn);
  double turned;  // how far the arc turns in its direction, 0 … one full turn
  if (sweep >= kFullTurn) {
    turned = kFullTurn;
  } else {
    turned = std::fmod(sweep, kFullTurn);
    if (turned < 0) turned += kFullTurn;
  }
  // Within a turn, the start keeps the precision of start + sweep.
  if (std::abs(startAngle) > kFullTurn) startAngle = std::fmod(startAngle, kFullTurn);
  const double signedSweep = clockwise == 0 ? turned : -turned;
  elements_.push_back({Kind::kArc, centre, radius, startAngle, signedSweep, clockwise != 0});
  if (!current_) subpathStart_ = onCircle(centre, radius, startAngle);
  current_ = onCircle(centre, radius, startAngle + signedSweep);
}

void SurfacePath::close() {
  if (!current_) return;
  elements_.push_back({Kind::kClose, {}});
  current_ = subpathStart_;
}

std::optional<SurfacePath::Arc> SurfacePath::singleArc() const {
  if (elements_.size() != 1 || elements_[0].kind != Kind::kArc) return std::nullopt;
  const Element& e = elements_[0];
  return Arc{e.point, e.radius, e.start, e.sweep};
}

std::optional<SurfacePath::Ring> SurfacePath::strokedArcBand(double width) const {
  const std::optional<Arc> arc = singleArc();
  if (!arc || !(width >= 0)) return std::nullopt;
  return Ring{arc->centre, arc->radius + width / 2, arc->radius - width / 2};
}

std::optional<SurfacePath::Ring> SurfacePath::strokedRing(double width) const {
  if (elements_.size() != 1 || std::abs(elements_[0].sweep) != kFullTurn) return std::nullopt;
  return strokedArcBand(width);
}

std::optional<SurfacePath::Segment> SurfacePath::segment() const {
  if (elements_.size() != 2 || elements_[0].kind != Kind::kMove || elements_[1].kind != Kind::kLine)
    return std::nullopt;
  return Segment{elements_[0].point, elements_[1].point};
}

bool SurfacePath::replaceWithStrokeOutline(double width) {
  const std::optional<Ring> ring = strokedRing(width);
  if (!ring) return false;
  const Point centre = ring->centre;
  const double outer = ring->outer, inner = ring->inner;
  // The ring, its inner circle turning the other way (a hole under non-zero
  // winding); a disc once half the width reaches the centre.
  clear();
  arc(centre, outer, 0.0, kFullTurn, 0);
  close();
  if (inner > 0) {
    moveTo(onCircle(centre, inner, 0.0));
    arc(centre, inner, 0.0, -kFullTurn, 1);
    close();
  }
  return true;
}

void SurfacePath::clear() {
  elements_.clear();
  current_.reset();
  drawable_ = true;
}

// --- putting into cairo ------------------------------------------------------

void SurfacePath::appendTo(cairo_t* cr, const Box& safe, const Box& visible, double tolerance, bool fill,
                           const Dash* dash) const {
  std::optional<Dasher> dasher;
  if (dash) dasher.emplace(cr, *dash, visible);
  bool lastWentAsGiven = true;
  std::optional<Point> lastStart;  // of the last subpath begun with a move or an arc
  for (std::size_t begin = 0; begin < elements_.size();) {
    // A subpath runs to the next move, or through a close.
    const Element& first = elements_[begin];
    const bool continuing = first.kind != Kind::kMove && lastStart.has_value();
    const Point start = first.kind == Kind::kMove ? first.point
                        : continuing              ? *lastStart
                                                  : onCircle(first.point, first.radius, first.start);  // the first arc
    if (!continuing) lastStart = start;
    Subpath s{begin, begin + 1, start, continuing};
    while (s.end < elements_.size() && elements_[s.end - 1].kind != Kind::kClose &&
           elements_[s.end].kind != Kind::kMove)
      ++s.end;
    begin = s.end;

    bool withinSafe = safe.contains(s.start);
    for (std::size_t i = s.begin; i < s.end && withinSafe; ++i) {
      const Element& e = elements_[i];
      withinSafe = e.kind == Kind::kClose ||
                   (e.kind == Kind::kArc ? safe.contains(boundsOf({{e.point.x - e.radius, e.point.y - e.radius},
                                                                   {e.point.x + e.radius, e.point.y + e.radius}}))
                                         : safe.contains(e.point));
    }
    if (withinSafe && dasher) {
      dasher->beginSubpath();
      Point current = s.start;
      for (std::size_t i = s.begin; i < s.end; ++i) {
        const Element& e = elements_[i];
        if (e.kind == Kind::kArc) {
          const Point from = onCircle(e.point, e.radius, e.start);
          dasher->line(current, from);
          dasher->arc(e.point, e.radius, e.start, e.sweep, e.shrinking);
          current = onCircle(e.point, e.radius, e.start + e.sweep);
        } else if (e.kind != Kind::kMove) {
          const Point to = e.kind == Kind::kClose ? s.start : e.point;
          dasher->line(current, to);
          current = to;
        }
      }
      continue;
    }
    if (withinSafe) {
      // The start of a closed subpath is where cairo continues from, unless
      // that subpath went in clipped.
      if (s.continuesClosed && !lastWentAsGiven) cairo_move_to(cr, s.start.x, s.start.y);
      for (std::size_t i = s.begin; i < s.end; ++i) {
        const Element& e = elements_[i];
        switch (e.kind) {
          case Kind::kMove:
            cairo_move_to(cr, e.point.x, e.point.y);
            break;
          case Kind::kLine:
            cairo_line_to(cr, e.point.x, e.point.y);
            break;
          case Kind::kArc:
            (e.shrinking ? cairo_arc_negative : cairo_arc)(cr, e.point.x, e.point.y, e.radius, e.start,
                                                           e.start + e.sweep);
            break;
          case Kind::kClose:
            cairo_close_path(cr);
            break;
        }
      }
      lastWentAsGiven = true;
      continue;
    }

    std::vector<Point> points{s.start};
    bool closed = fill;
    for (std::size_t i = s.begin; i < s.end; ++i) {
      const Element& e = elements_[i];
      if (e.kind == Kind::kLine) {
        points.push_back(e.point);
      } else if (e.kind == Kind::kArc) {
        points.push_back(onCircle(e.point, e.radius, e.start));
        ArcFlattener(e.point, e.radius, visible, tolerance, points).flatten(e.start, e.sweep);
      } else if (e.kind == Kind::kClose) {
        closed = true;
      }
    }
    const std::vector<Point> kept = clipPolyline(std::move(points), closed, visible);
    if (dasher && !kept.empty()) {
      dasher->beginSubpath();
      for (std::size_t i = 1; i < kept.size(); ++i) dasher->line(kept[i - 1], kept[i]);
      if (closed) dasher->line(kept.back(), kept.front());
    } else if (!kept.empty()) {
      cairo_move_to(cr, kept.front().x, kept.front().y);
      for (std::size_t i = 1; i < kept.size(); ++i) cairo_line_to(cr, kept[i].x, kept[i].y);
      if (closed) cairo_close_path(cr);
    }
    lastWentAsGiven = false;
  }
  if (dasher) dasher->endDash();
}

}  // namespace velmora
