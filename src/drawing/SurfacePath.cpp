#include "drawing/SurfacePath.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <optional>

namespace velmora {

namespace {

constexpr double kFullTurn = 2.0 * std::numbers::pi;
constexpr double kLargest = std::numeric_limits<double>::max();
// An arc is first cut into quarter turns, then halved where it can show
// until each piece lies within the tolerance of its chord. Halving stops
// long before this depth for any radius a double can hold; the cap and the
// budget only guard against rounding.
constexpr int kDeepestHalving = 64;
constexpr std::size_t kMostArcPoints = 1 << 16;

// base + length × factor, for any finite numbers: worked in halves so that
// nothing overflows, and held within the doubles.
double along(double base, double length, double factor) {
  const double half = base * 0.5 + length * 0.5 * factor;
  return std::clamp(half * 2.0, -kLargest, kLargest);
}

// a + (b − a) × t for t in 0 … 1, also where b − a would overflow.
double between(double a, double b, double t) {
  const double half = a * 0.5 + (b * 0.5 - a * 0.5) * t;
  return std::clamp(half * 2.0, std::min(a, b), std::max(a, b));
}

Point onCircle(Point centre, double radius, double angle) {
  return {along(centre.x, radius, std::cos(angle)), along(centre.y, radius, std::sin(angle))};
}

Box boundsOf(std::initializer_list<Point> points) {
  Box b{kLargest, kLargest, -kLargest, -kLargest};
  for (Point p : points)
    b.left = std::min(b.left, p.x), b.top = std::min(b.top, p.y), b.right = std::max(b.right, p.x),
    b.bottom = std::max(b.bottom, p.y);
  return b;
}

// One side of the clipping box: the half-plane where x (of a vertical side)
// or y is at least (`atLeast`) or at most `bound`.
struct HalfPlane {
  bool vertical;  // bounds x (a vertical edge) rather than y
  bool atLeast;
  double bound;

  double of(Point p) const { return vertical ? p.x : p.y; }
  bool holds(Point p) const { return atLeast ? of(p) >= bound : of(p) <= bound; }

  // Where the edge from `in` (inside) to `out` (outside) crosses the side,
  // measured from the inside end so that a far outside end costs no precision.
  Point crossing(Point in, Point out) const {
    const double t = std::clamp((bound * 0.5 - of(in) * 0.5) / (of(out) * 0.5 - of(in) * 0.5), 0.0, 1.0);
    const double other = vertical ? between(in.y, out.y, t) : between(in.x, out.x, t);
    return vertical ? Point{bound, other} : Point{other, bound};
  }

  // Sutherland–Hodgman: the part of the polyline on this side, where every
  // stretch outside is replaced by the side between its crossings.
  std::vector<Point> clip(const std::vector<Point>& points, bool closed) const {
    std::vector<Point> kept;
    if (points.empty()) return kept;
    kept.reserve(points.size() + 4);
    auto edge = [&](Point from, Point to) {
      const bool fromIn = holds(from), toIn = holds(to);
      if (toIn) {
        if (!fromIn) kept.push_back(crossing(to, from));
        kept.push_back(to);
      } else if (fromIn) {
        kept.push_back(crossing(from, to));
      }
    };
    if (closed) {
      Point previous = points.back();
      for (Point p : points) edge(previous, p), previous = p;
    } else {
      if (holds(points.front())) kept.push_back(points.front());
      for (std::size_t i = 1; i < points.size(); ++i) edge(points[i - 1], points[i]);
    }
    return kept;
  }
};

// A polyline clipped to the box, side by side.
std::vector<Point> clip(std::vector<Point> points, bool closed, const Box& visible) {
  const HalfPlane sides[] = {{true, true, visible.left},
                             {true, false, visible.right},
                             {false, true, visible.top},
                             {false, false, visible.bottom}};
  for (const HalfPlane& side : sides) points = side.clip(points, closed);
  return points;
}

// The points of an arc after its start, as chords: within the tolerance of
// the arc wherever a piece of it can meet `visible`, and single chords where
// the piece with its chord lies wholly outside (so that neither the winding
// of a point within the box nor a stroke within it changes).
class ArcFlattener {
 public:
  ArcFlattener(Point centre, double radius, const Box& visible, double tolerance, std::vector<Point>& out)
      : centre_(centre),
        radius_(radius),
        visible_(visible),
        tolerance_(tolerance),
        out_(out),
        budget_(kMostArcPoints) {}

  void flatten(double start, double sweep) {
    const int quarters = std::max(1, static_cast<int>(std::ceil(std::abs(sweep) / (kFullTurn / 4))));
    for (int k = 0; k < quarters; ++k) piece(start + sweep * k / quarters, start + sweep * (k + 1) / quarters, 0);
  }

 private:
  void piece(double from, double to, int depth) {
    const double half = (to - from) / 2;
    const double sagitta = 2.0 * radius_ * std::pow(std::sin(half / 2), 2);
    const Point end = onCircle(centre_, radius_, to);
    if (depth >= kDeepestHalving || budget_ == 0 || !(sagitta > tolerance_)) return emit(end);
    // Piece and chord lie within the triangle of its ends and the meeting of
    // the tangents there.
    const Point apex = onCircle(centre_, radius_ / std::cos(half), from + half);
    if (!boundsOf({onCircle(centre_, radius_, from), end, apex}).meets(visible_)) return emit(end);
    piece(from, from + half, depth + 1);
    piece(from + half, to, depth + 1);
  }

  void emit(Point p) {
    out_.push_back(p);
    if (budget_ > 0) --budget_;
  }

  Point centre_;
  double radius_;
  const Box& visible_;
  double tolerance_;
  std::vector<Point>& out_;
  std::size_t budget_;
};

// A dash pattern walked along a path, putting the painted lengths into
// cairo as subpaths: a length along a line as a line, along an arc as an
// arc. The pattern starts afresh with every subpath. A stretch that lies
// wholly outside the visible box is stepped over in one go, and a long arc
// is halved until the pieces that can show are short, so the walk costs
// what the dashes within the box cost.
class Dasher {
 public:
  Dasher(cairo_t* cr, const SurfacePath::Dash& dash, const Box& visible)
      : cr_(cr), lengths_(dash.lengths), ended_(dash.ended), arcEnded_(dash.arcEnded), visible_(visible) {
    for (double length : lengths_) period_ += length;
    // Arcs longer than this are walked in pieces, those that cannot show stepped over.
    longestWalk_ = 4 * ((visible.right - visible.left) + (visible.bottom - visible.top));
    startIndex_ = 0;
    startLeft_ = lengths_[0];
    for (double offset = std::fmod(dash.offset, period_); offset > 0;) {
      if (offset < startLeft_) {
        startLeft_ -= offset;
        break;
      }
      offset -= startLeft_;
      startIndex_ = (startIndex_ + 1) % lengths_.size();
      startLeft_ = lengths_[startIndex_];
    }
  }

  void beginSubpath() {
    endDash();
    index_ = startIndex_;
    left_ = startLeft_;
    open_ = false;
  }

  void line(Point from, Point to) {
    const double length = std::hypot(to.x - from.x, to.y - from.y);
    if (!(length > 0)) return;
    // The part of the line within the box, as fractions of it (Liang–Barsky).
    double enter = 0, leave = 1;
    auto limit = [&](double towards, double room) {
      if (towards == 0) return room >= 0;
      const double t = room / towards;
      if (towards < 0)
        enter = std::max(enter, t);
      else
        leave = std::min(leave, t);
      return true;
    };
    const double dx = to.x - from.x, dy = to.y - from.y;
    if (!limit(-dx, from.x - visible_.left) || !limit(dx, visible_.right - from.x) ||
        !limit(-dy, from.y - visible_.top) || !limit(dy, visible_.bottom - from.y) || enter >= leave) {
      skip(length);
      return;
    }
    auto at = [&](double s) { return Point{from.x + dx * (s / length), from.y + dy * (s / length)}; };
    skip(enter * length);
    walk(enter * length, leave * length, [&](double s0, double s1) {
      if (!open_) cairo_move_to(cr_, at(s0).x, at(s0).y);
      cairo_line_to(cr_, at(s1).x, at(s1).y);
    });
    skip((1 - leave) * length);
  }

  // The dash under way is complete.
  void endDash() {
    open_ = false;
    if (!pending_) return;
    pending_ = false;
    if (arcEnded_ && dashArc_) arcEnded_(*dashArc_);
    dashArc_.reset();
    if (ended_) ended_();
  }

  void arc(Point centre, double radius, double start, double sweep, bool shrinking) {
    if (!(radius * std::abs(sweep) <= longestWalk_)) {
      const int quarters = std::max(1, static_cast<int>(std::ceil(std::abs(sweep) / (kFullTurn / 4))));
      for (int k = 0; k < quarters; ++k)
        arcPiece(centre, radius, start + sweep * k / quarters, start + sweep * (k + 1) / quarters, shrinking, 0);
      return;
    }
    walkArc(centre, radius, start, start + sweep, shrinking);
  }

 private:
  bool painting() const { return index_ % 2 == 0; }

  // Moves along [from, to] of the current stretch, handing each painted
  // part to `paint`, which adds it to the open dash (or begins one).
  // A painted length of nothing is a dot (round caps show it).
  template <typename Paint>
  void walk(double from, double to, Paint paint) {
    double s = from;
    if (left_ == 0) {  // a subpath that starts on a length of nothing
      if (painting()) paint(s, s), pending_ = true;
      next(s, paint);
    }
    while (s < to) {
      const double step = std::min(left_, to - s);
      if (painting()) {
        paint(s, s + step);
        open_ = pending_ = true;
      }
      s += step;
      left_ -= step;
      if (left_ <= 0) next(s, paint);
    }
  }

  // On to the next length of the pattern that is more than nothing.
  template <typename Paint>
  void next(double at, Paint paint) {
    do {
      endDash();
      index_ = (index_ + 1) % lengths_.size();
      left_ = lengths_[index_];
      if (left_ == 0 && painting()) paint(at, at), pending_ = true;
    } while (left_ == 0);
  }

  void skip(double length) {
    if (!(length > 0)) return;
    endDash();
    double rest = std::fmod(length, period_);  // whole rounds of the pattern change nothing
    while (rest >= left_) {
      rest -= left_;
      index_ = (index_ + 1) % lengths_.size();
      left_ = lengths_[index_];
    }
    left_ -= rest;
  }

  void arcPiece(Point centre, double radius, double from, double to, bool shrinking, int depth) {
    const double length = radius * std::abs(to - from);
    const double half = (to - from) / 2;
    const Point apex = onCircle(centre, radius / std::cos(half), from + half);
    if (!boundsOf({onCircle(centre, radius, from), onCircle(centre, radius, to), apex}).meets(visible_))
      return skip(length);
    if (length <= longestWalk_ || depth >= kDeepestHalving) return walkArc(centre, radius, from, to, shrinking);
    arcPiece(centre, radius, from, from + half, shrinking, depth + 1);
    arcPiece(centre, radius, from + half, to, shrinking, depth + 1);
  }

  void walkArc(Point centre, double radius, double from, double to, bool shrinking) {
    const double length = radius * std::abs(to - from);
    if (!(length > 0)) return;
    const double direction = to >= from ? 1.0 : -1.0;
    auto angle = [&](double s) { return from + direction * (s / radius); };
    walk(0, length, [&](double s0, double s1) {
      if (arcEnded_) {  // the dash's arc, grown piece by piece
        if (!open_ || !dashArc_) dashArc_ = SurfacePath::Arc{centre, radius, angle(s0), 0};
        dashArc_->sweep = angle(s1) - dashArc_->start;
        return;
      }
      if (s0 == s1) {
        const Point p = onCircle(centre, radius, angle(s0));
        cairo_move_to(cr_, p.x, p.y);
        cairo_line_to(cr_, p.x, p.y);
        return;
      }
      if (!open_) cairo_new_sub_path(cr_);
      (shrinking ? cairo_arc_negative : cairo_arc)(cr_, centre.x, centre.y, radius, angle(s0), angle(s1));
    });
  }

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

}  // namespace

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
    const std::vector<Point> kept = clip(std::move(points), closed, visible);
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
