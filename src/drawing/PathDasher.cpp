#include "drawing/PathDasher.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>

#include "drawing/PathGeometry.h"

namespace velmora {

using path_geometry::boundsOf;
using path_geometry::kDeepestHalving;
using path_geometry::kFullTurn;
using path_geometry::onCircle;

Dasher::Dasher(cairo_t* cr, const SurfacePath::Dash& dash, const Box& visible)
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

void Dasher::beginSubpath() {
  endDash();
  index_ = startIndex_;
  left_ = startLeft_;
  open_ = false;
}

void Dasher::line(Point from, Point to) {
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

void Dasher::endDash() {
  open_ = false;
  if (!pending_) return;
  pending_ = false;
  if (arcEnded_ && dashArc_) arcEnded_(*dashArc_);
  dashArc_.reset();
  if (ended_) ended_();
}

void Dasher::arc(Point centre, double radius, double start, double sweep, bool shrinking) {
  if (!(radius * std::abs(sweep) <= longestWalk_)) {
    const int quarters = std::max(1, static_cast<int>(std::ceil(std::abs(sweep) / (kFullTurn / 4))));
    for (int k = 0; k < quarters; ++k)
      arcPiece(centre, radius, start + sweep * k / quarters, start + sweep * (k + 1) / quarters, shrinking, 0);
    return;
  }
  walkArc(centre, radius, start, start + sweep, shrinking);
}

// Moves along [from, to] of the current stretch, handing each painted
// part to `paint`, which adds it to the open dash (or begins one).
// A painted length of nothing is a dot (round caps show it).
template <typename Paint>
void Dasher::walk(double from, double to, Paint paint) {
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
void Dasher::next(double at, Paint paint) {
  do {
    endDash();
    index_ = (index_ + 1) % lengths_.size();
    left_ = lengths_[index_];
    if (left_ == 0 && painting()) paint(at, at), pending_ = true;
  } while (left_ == 0);
}

void Dasher::skip(double length) {
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

void Dasher::arcPiece(Point centre, double radius, double from, double to, bool shrinking, int depth) {
  const double length = radius * std::abs(to - from);
  const double half = (to - from) / 2;
  const Point apex = onCircle(centre, radius / std::cos(half), from + half);
  if (!boundsOf({onCircle(centre, radius, from), onCircle(centre, radius, to), apex}).meets(visible_))
    return skip(length);
  if (length <= longestWalk_ || depth >= kDeepestHalving) return walkArc(centre, radius, from, to, shrinking);
  arcPiece(centre, radius, from, from + half, shrinking, depth + 1);
  arcPiece(centre, radius, from + half, to, shrinking, depth + 1);
}

void Dasher::walkArc(Point centre, double radius, double from, double to, bool shrinking) {
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

}  // namespace velmora
