#include "drawing/PathPainter.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "drawing/CoverageBuffer.h"
#include "drawing/ShadowCaster.h"
#include "drawing/ShapeCoverage.h"

namespace velmora {

namespace {

// Cairo keeps coordinates as fixed-point numbers that reach about 8 million
// device pixels either way; what the surface hands it stays well within.
constexpr double kSafeReach = 1 << 20;  // device pixels from the origin
// A stroke this wide (device pixels) covers all there is of any bitmap near
// its path; wider ones are drawn this wide, so that their outlines stay
// within cairo's reach too.
constexpr double kWidestStroke = 1 << 18;
// Longer than any path the surface strokes (points): a longer dash or gap
// looks the same.
constexpr double kLongestDash = 1e12;

// Whether a stroke of the path can have joins (whose miters reach beyond half
// the line width): a subpath that turns a corner between segments, or closes.
// Arcs come as chains of curves that meet smoothly.
bool hasCorners(const cairo_path_t* path) {
  double lastX = 0, lastY = 0;        // the current point
  double tangentX = 0, tangentY = 0;  // direction of the previous segment's end; zero at a subpath's start
  for (int i = 0; i < path->num_data; i += path->data[i].header.length) {
    const cairo_path_data_t* d = &path->data[i];
    double startX, startY, endX, endY;  // the new segment's tangents at its ends
    double x, y;
    switch (d->header.type) {
      case CAIRO_PATH_MOVE_TO:
        lastX = d[1].point.x, lastY = d[1].point.y;
        tangentX = tangentY = 0;
        continue;
      case CAIRO_PATH_CLOSE_PATH:
        return true;
      case CAIRO_PATH_LINE_TO:
        x = d[1].point.x, y = d[1].point.y;
        startX = endX = x - lastX, startY = endY = y - lastY;
        break;
      case CAIRO_PATH_CURVE_TO:
        x = d[3].point.x, y = d[3].point.y;
        startX = d[1].point.x - lastX, startY = d[1].point.y - lastY;
        endX = x - d[2].point.x, endY = y - d[2].point.y;
        break;
      default:
        return true;
    }
    if (tangentX != 0 || tangentY != 0) {
      const double cross = tangentX * startY - tangentY * startX;
      const double dot = tangentX * startX + tangentY * startY;
      const double lengths = std::hypot(tangentX, tangentY) * std::hypot(startX, startY);
      if (dot <= 0 || std::abs(cross) > 1e-3 * lengths) return true;
    }
    if (endX != 0 || endY != 0) tangentX = endX, tangentY = endY;
    lastX = x, lastY = y;
  }
  return false;
}

// The box holding an arc: its ends, and the circle's extremes that its sweep passes.
Box arcBounds(const SurfacePath::Arc& arc) {
  const double start = arc.sweep < 0 ? arc.start + arc.sweep : arc.start, sweep = std::abs(arc.sweep);
  auto at = [&](double angle) {
    return Point{arc.centre.x + arc.radius * std::cos(angle), arc.centre.y + arc.radius * std::sin(angle)};
  };
  const Point from = at(start), to = at(start + sweep);
  Box box{std::min(from.x, to.x), std::min(from.y, to.y), std::max(from.x, to.x), std::max(from.y, to.y)};
  const double quarter = M_PI / 2;
  for (int k = 0; k < 4; ++k) {
    const double past = std::fmod(std::fmod(k * quarter - start, 4 * quarter) + 4 * quarter, 4 * quarter);
    if (past > sweep) continue;
    const Point p = at(k * quarter);
    box = {std::min(box.left, p.x), std::min(box.top, p.y), std::max(box.right, p.x), std::max(box.bottom, p.y)};
  }
  return box;
}

// How a stroke is dashed: the pattern to walk (none: solid), and the share
// of the line a pattern finer than a pixel paints.
struct DashPlan {
  bool drawable = true;
  SurfacePath::Dash dash;
  double opacity = 1;

  DashPlan(const GraphicsState& g, double width, int scale) {
    if (g.dashLengths.empty()) return;
    double period = 0;
    for (double length : g.dashLengths) {
      if (!(length >= 0) || std::isinf(length)) {
        drawable = false;
        return;
      }
      dash.lengths.push_back(std::min(length, kLongestDash));
      period += dash.lengths.back();
    }
    if (period == 0 || !std::isfinite(g.dashPhase)) {  // no pattern to draw
      drawable = false;
      return;
    }
    std::vector<double>& lengths = dash.lengths;
    if (lengths.size() % 2) {  // an odd count takes two rounds to come back to a painted length
      lengths.insert(lengths.end(), lengths.begin(), lengths.end());
      period *= 2;
    }
    dash.offset = std::fmod(g.dashPhase, period);
    if (dash.offset < 0) dash.offset += period;
    if (period * scale < 1.0) {
      // Round caps reach half the width into the gap on either side.
      const double capped = g.lineCap == LineCap::kRound ? width : 0.0;
      double unpainted = 0;
      for (std::size_t i = 1; i < lengths.size(); i += 2) unpainted += std::max(0.0, lengths[i] - capped);
      opacity = 1.0 - unpainted / period;
      lengths.clear();
    }
  }
};

}  // namespace

PathPainter::PathPainter(SurfacePath& path, const GraphicsState& g, bool stroke, int scale)
    : path_(&path), scale_(scale), cap_(g.lineCap), stroke_(stroke) {
  DashPlan plan = stroke ? DashPlan(g, g.lineWidth, scale) : DashPlan({}, 0, 1);
  const bool widthDrawable = !stroke || (g.lineWidth >= 0 && std::isfinite(g.lineWidth));
  drawable_ = !path.empty() && path.drawable() && widthDrawable && plan.drawable;
  if (!drawable_) return;
  dash_ = std::move(plan.dash);
  width_ = std::min(g.lineWidth, kWidestStroke / scale);
  colour_ = stroke ? g.strokeColour : g.fillColour;
  if (plan.opacity < 1.0) colour_ = colour_.colorWithAlphaComponent(colour_.rgba().alpha * plan.opacity);
  // Shapes rasterised here must lie where their pixel coordinates stay exact.
  const double safe = safe_ = kSafeReach / scale;
  auto near = [safe](Point p) { return std::abs(p.x) < safe && std::abs(p.y) < safe; };
  const double width = width_;
  // A whole circle stroked covers a ring or a disc, whatever its cap: one on
  // the bitmap is rasterised here, its coverage worked out row by row; one
  // far beyond it is filled as that outline by cairo.
  if (const auto stroked = stroke && dash_.lengths.empty() ? path.strokedRing(width) : std::nullopt) {
    stroke_ = false;
    ring_ = *stroked;
    rasteriseRing_ = ring_.outer < safe && near(ring_.centre);
    if (!rasteriseRing_) path.replaceWithStrokeOutline(width);
  }
  // So does a single segment stroked with round caps: the points within half
  // the width of it.
  if (stroke_ && dash_.lengths.empty() && cap_ == LineCap::kRound && width > 0) {
    segment_ = path.segment();
    if (segment_ && !(width < safe && near(segment_->from) && near(segment_->to))) segment_.reset();
  }
  // The ring a ring or an arc stroked stays within, so that the coverage's
  // bookkeeping looks no further.
  const std::optional<SurfacePath::Ring> arc = stroke_ ? path.strokedArcBand(width) : std::nullopt;
  band_ = rasteriseRing_ ? ring_ : arc.value_or(SurfacePath::Ring{});
  banded_ = (rasteriseRing_ || arc) && band_.outer < safe && near(band_.centre);
  // A single arc stroked (or each dash of one) is rasterised too, from the
  // distance to its centre line: round ends as the points within half the
  // width of the ends, butt ends cut along the ends' radii (drawn by cairo
  // when the ring's hole closes, where the radii meet within the stroke).
  if (arc && banded_ && width > 0 && (cap_ == LineCap::kRound || arc->inner * scale >= 2.0))
    arcStroke_ = path.singleArc();
}

double PathPainter::outlineReach(cairo_t* cr) const { return stroke_ ? width_ / 2 * cairo_get_miter_limit(cr) : 0.0; }

bool PathPainter::needsCoverage(bool shadowed) const {
  return shadowed || !dash_.lengths.empty() || rasteriseRing_ || segment_ || arcStroke_;
}

// A shape rasterised here with neither shadow nor dash needs the frame only as
// far as it reaches on the bitmap: a small one on a large bitmap (the icon on
// the notification's card) takes a small frame, the pixels being the same.
int PathPainter::frameReach(cairo_t* cr, int pixelSide, bool shadowed) const {
  if (shadowed || !dash_.lengths.empty() || !(rasteriseRing_ || segment_ || arcStroke_)) return pixelSide;
  double right = 0, bottom = 0;
  auto reachTo = [&](double x, double y) {
    cairo_user_to_device(cr, &x, &y);
    right = std::max(right, x), bottom = std::max(bottom, y);
  };
  if (segment_) {
    for (const Point p : {segment_->from, segment_->to})
      for (const double dx : {-width_ / 2, width_ / 2})
        for (const double dy : {-width_ / 2, width_ / 2}) reachTo(p.x + dx, p.y + dy);
  } else {
    for (const double dx : {-band_.outer, band_.outer})
      for (const double dy : {-band_.outer, band_.outer}) reachTo(band_.centre.x + dx, band_.centre.y + dy);
  }
  return static_cast<int>(std::min(std::ceil(std::max(right, bottom)) + 2.0, static_cast<double>(pixelSide)));
}

void PathPainter::setUp(cairo_t* cr) const {
  cairo_set_line_width(cr, width_);
  cairo_set_line_cap(cr, cap_ == LineCap::kRound ? CAIRO_LINE_CAP_ROUND : CAIRO_LINE_CAP_BUTT);
}

void PathPainter::appendPath(cairo_t* cr, const Box& visible, double tolerance, const SurfacePath::Dash* dash) {
  path_->appendTo(cr, {-safe_, -safe_, safe_, safe_}, visible, tolerance, !stroke_, dash);
  path_->clear();
}

void PathPainter::paintWithCairo(cairo_t* cr, const Box& visible, double tolerance) {
  if (rasteriseRing_) {  // no memory for the coverage: cairo fills the outline
    path_->replaceWithStrokeOutline(width_);
    rasteriseRing_ = false;
  }
  segment_.reset(), arcStroke_.reset();
  setUp(cr);
  appendPath(cr, visible, tolerance, dash_.lengths.empty() ? nullptr : &dash_);
  const RGBA c = colour_.rgba();
  cairo_set_source_rgba(cr, c.red, c.green, c.blue, c.alpha);
  stroke_ ? cairo_stroke(cr) : cairo_fill(cr);
}

void PathPainter::paintThrough(ShadowCaster& caster, const Shadow* shadow, const Box& visible, double tolerance) {
  const double width = width_;
  const bool dashed = !dash_.lengths.empty();
  // The path's coverage, opaque: the shadow and the paint both come from it.
  cairo_t* cov = caster.coverageContext();
  CoverageBuffer& buffer = caster.coverage();
  setUp(cov);
  cairo_set_source_rgba(cov, 0, 0, 0, 1);
  double x1, y1, x2, y2;
  if (rasteriseRing_) {
    x1 = ring_.centre.x - ring_.outer, y1 = ring_.centre.y - ring_.outer;
    x2 = ring_.centre.x + ring_.outer, y2 = ring_.centre.y + ring_.outer;
    double cx = ring_.centre.x, cy = ring_.centre.y;
    cairo_user_to_device(cov, &cx, &cy);
    ringCoverage(buffer.data(), buffer.stride(), buffer.width(), buffer.height(), cx, cy, ring_.outer * scale_,
                 ring_.inner * scale_);
    path_->clear();
  } else if (segment_) {
    Point from = segment_->from, to = segment_->to;
    x1 = std::min(from.x, to.x) - width / 2, y1 = std::min(from.y, to.y) - width / 2;
    x2 = std::max(from.x, to.x) + width / 2, y2 = std::max(from.y, to.y) + width / 2;
    cairo_user_to_device(cov, &from.x, &from.y);
    cairo_user_to_device(cov, &to.x, &to.y);
    capsuleCoverage(buffer.data(), buffer.stride(), buffer.width(), buffer.height(), from, to, width / 2 * scale_);
    path_->clear();
  } else if (arcStroke_) {
    x1 = y1 = std::numeric_limits<double>::max(), x2 = y2 = std::numeric_limits<double>::lowest();
    auto paintArc = [&](const SurfacePath::Arc& a) {
      const Box b = arcBounds(a).outset(width / 2);
      x1 = std::min(x1, b.left), y1 = std::min(y1, b.top), x2 = std::max(x2, b.right), y2 = std::max(y2, b.bottom);
      Point centre = a.centre;
      cairo_user_to_device(cov, &centre.x, &centre.y);
      arcCoverage(buffer.data(), buffer.stride(), buffer.width(), buffer.height(),
                  {centre, a.radius * scale_, width / 2 * scale_, a.start, a.sweep, cap_ == LineCap::kRound});
    };
    if (dashed) {
      SurfacePath::Dash dash = dash_;
      dash.arcEnded = paintArc;
      appendPath(cov, visible, tolerance, &dash);
      cairo_new_path(cov);
    } else {
      paintArc(*arcStroke_);
      path_->clear();
    }
  } else if (dashed) {
    // Dash by dash, each stroked on its own: the pixels of the dashes drawn
    // one by one (cairo rasterises many subpaths in one stroke a little
    // differently), painted once through their coverage.
    x1 = y1 = std::numeric_limits<double>::max(), x2 = y2 = std::numeric_limits<double>::lowest();
    SurfacePath::Dash dash = dash_;
    dash.ended = [&] {
      double left, top, right, bottom;
      cairo_path_extents(cov, &left, &top, &right, &bottom);
      x1 = std::min(x1, left), y1 = std::min(y1, top), x2 = std::max(x2, right), y2 = std::max(y2, bottom);
      cairo_stroke(cov);
    };
    appendPath(cov, visible, tolerance, &dash);
    const double reach = width / 2 * cairo_get_miter_limit(cov);
    x1 -= reach, y1 -= reach, x2 += reach, y2 += reach;
  } else {
    appendPath(cov, visible, tolerance, nullptr);
    cairo_path_extents(cov, &x1, &y1, &x2, &y2);
    if (stroke_) {
      cairo_path_t* path = cairo_copy_path(cov);
      const double reach = width / 2 * (hasCorners(path) ? cairo_get_miter_limit(cov) : 1.0);
      cairo_path_destroy(path);
      x1 -= reach, y1 -= reach, x2 += reach, y2 += reach;
    }
    stroke_ ? cairo_stroke(cov) : cairo_fill(cov);
  }
  if (banded_) {
    // Antialiasing reaches a pixel beyond the ring's edges; two to spare.
    double cx = band_.centre.x, cy = band_.centre.y;
    cairo_user_to_device(cov, &cx, &cy);
    const CoverageBuffer::Band pixels{cx, cy, band_.inner * scale_ - 2.0, band_.outer * scale_ + 2.0};
    if (x1 <= x2) buffer.findUsed(caster.framePixels(x1, y1, x2, y2), &pixels);
  } else if (x1 <= x2) {
    buffer.findUsed(caster.framePixels(x1, y1, x2, y2));
  }
  const double opacity = colour_.rgba().alpha;
  if (shadow) caster.castShadow(*shadow, opacity, opacity >= 1.0);
  // The colour through the coverage; where the coverage is whole, a plain fill.
  caster.paintThrough(colour_);
}

}  // namespace velmora
