#include "drawing/ShapeCoverage.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>

namespace velmora {

namespace {

// A share of 0 … 1 as a level of 0 … 255, rounded half away from zero:
// lround's result without the call (from a half up, adding a half is exact
// to the integer part).
std::uint8_t coverageLevel(double share) {
  const double level = share * 255.0;
  return level < 0.5 ? 0 : static_cast<std::uint8_t>(level + 0.5);
}

// Pixel columns whose centres lie within [from, to], within 0 … width.
// (The bound is taken first, so that a far bound costs nothing and casts
// safely; floor and ceiling by a cast, which the processor does inline.)
int firstColumnFrom(double from, int width) {
  const double v = std::clamp(from, -1.0, width + 1.0) - 0.5;
  const int i = static_cast<int>(v);
  return std::clamp(i + (i < v), 0, width);
}
int endColumnTo(double to, int width) {
  const double v = std::clamp(to, -1.0, width + 1.0) - 0.5;
  const int i = static_cast<int>(v);
  return std::clamp(i - (i > v) + 1, 0, width);
}

// The covered share of a pixel whose centre lies `d` from a ring's centre:
// how far it lies inside both edges, from none half a pixel outside to whole
// half a pixel inside (an `inner` not above zero: a disc).
double ringShare(double d, double outer, double inner) {
  const double c = std::clamp(outer - d + 0.5, 0.0, 1.0);
  return inner > 0 ? std::max(0.0, c + std::clamp(d - inner + 0.5, 0.0, 1.0) - 1.0) : c;
}

// The stretches of a ring's row of pixels, left to right, as column ranges:
// those whose every pixel is wholly covered, and those an edge crosses
// (their pixels are worked out one by one; some may stay clear).
struct RowSpan {
  int first, end;
  bool whole;
};
struct RingRow {
  RowSpan spans[6];
  int count = 0;
};

// The spans of the row whose centres lie `dy` from the ring's centre.
RingRow ringRow(double centreX, double dy, double outer, double inner, int width) {
  RingRow row;
  const bool hole = inner > 0;
  // The half-width of the ring's chord on the row at radius r: none when
  // the row passes the circle by.
  auto chord = [dy](double r) { return r > std::abs(dy) ? std::sqrt((r - dy) * (r + dy)) : -1.0; };
  const double reach = chord(outer + 0.5);  // beyond it no coverage
  if (reach < 0) return row;
  const double whole = chord(outer - 0.5);                   // within it the outer edge is passed
  const double clear = hole ? chord(inner - 0.5) : -1.0;     // within it, the hole
  const double holeEdge = hole ? chord(inner + 0.5) : -1.0;  // beyond it the inner edge is passed
  // Left to right: outer edge, whole band, inner edge, hole, inner edge, whole
  // band, outer edge, as the columns whose centres lie from one boundary
  // (`first`) and before the next, or after one (`past`) up to the next.
  auto first = [&](double x) { return firstColumnFrom(centreX + x, width); };
  auto past = [&](double x) { return endColumnTo(centreX + x, width); };
  auto span = [&](int a, int b, bool full) {
    if (a < b) row.spans[row.count++] = {a, b, full};
  };
  if (whole < 0) {  // the row only grazes the outer edge
    span(first(-reach), past(reach), false);
  } else if (holeEdge < 0) {  // the row passes outside the hole's edge
    span(first(-reach), first(-whole), false);
    span(first(-whole), past(whole), true);
    span(past(whole), past(reach), false);
  } else {
    span(first(-reach), first(-whole), false);
    span(first(-whole), first(-holeEdge), true);
    span(first(-holeEdge), clear < 0 ? past(holeEdge) : first(-clear), false);
    if (clear >= 0) span(past(clear), past(holeEdge), false);
    span(past(holeEdge), past(whole), true);
    span(past(whole), past(reach), false);
  }
  return row;
}

}  // namespace

void ringCoverage(std::uint8_t* data, std::ptrdiff_t stride, int width, int height, double centreX, double centreY,
                  double outer, double inner) {
  if (!(outer > 0) || width <= 0 || height <= 0) return;
  const int top = std::clamp(static_cast<int>(std::floor(centreY - outer - 1)), 0, height);
  const int bottom = std::clamp(static_cast<int>(std::ceil(centreY + outer + 1)), 0, height);
  for (int y = top; y < bottom; ++y) {
    const double dy = y + 0.5 - centreY;
    const RingRow spans = ringRow(centreX, dy, outer, inner, width);
    std::uint8_t* row = data + y * stride;
    for (int i = 0; i < spans.count; ++i) {
      const RowSpan& s = spans.spans[i];
      if (s.whole) {
        std::memset(row + s.first, 255, static_cast<std::size_t>(s.end - s.first));
        continue;
      }
      for (int x = s.first; x < s.end; ++x) {
        const double dx = x + 0.5 - centreX;
        row[x] = coverageLevel(ringShare(std::sqrt(dx * dx + dy * dy), outer, inner));
      }
    }
  }
}

void capsuleCoverage(std::uint8_t* data, std::ptrdiff_t stride, int width, int height, Point from, Point to,
                     double radius) {
  if (!(radius > 0) || width <= 0 || height <= 0) return;
  const double length = std::hypot(to.x - from.x, to.y - from.y);
  // The segment's direction (none for a dot: then only the end discs count).
  const double ux = length > 0 ? (to.x - from.x) / length : 0.0, uy = length > 0 ? (to.y - from.y) / length : 0.0;
  auto coverage = [&](int column, double py) {
    const double px = column + 0.5 - from.x, along = std::clamp(px * ux + py * uy, 0.0, length);
    const double ax = px - along * ux, ay = py - along * uy;
    return coverageLevel(std::clamp(radius - std::sqrt(ax * ax + ay * ay) + 0.5, 0.0, 1.0));
  };
  // The stretch of a row (at py from `from`) within r of the segment: the
  // shape is convex, so it is the hull of what the two end discs and the
  // band along the segment hold of the row; empty when lo > hi.
  struct Stretch {
    double lo = INFINITY, hi = -INFINITY;
    void take(double a, double b) { lo = std::min(lo, a), hi = std::max(hi, b); }
  };
  auto stretch = [&](double r, double py) {
    Stretch s;
    for (const Point end : {Point{0, 0}, Point{to.x - from.x, to.y - from.y}})
      if (r > std::abs(py - end.y)) {
        const double half = std::sqrt((r - (py - end.y)) * (r + (py - end.y)));
        s.take(end.x - half, end.x + half);
      }
    if (length > 0) {
      // Within r across the segment and between its ends along it: each a
      // linear condition on x, an interval (or all or nothing) of the row.
      double lo = -INFINITY, hi = INFINITY;
      auto within = [&](double slope, double offset, double low, double high) {  // low ≤ slope·x + offset ≤ high
        if (slope == 0) {
          if (offset < low || offset > high) lo = INFINITY, hi = -INFINITY;
          return;
        }
        const double a = (low - offset) / slope, b = (high - offset) / slope;
        lo = std::max(lo, std::min(a, b)), hi = std::min(hi, std::max(a, b));
      };
      within(-uy, ux * py, -r, r);
      within(ux, uy * py, 0.0, length);
      if (lo <= hi) s.take(lo, hi);
    }
    return s;
  };
  const double top = std::min(from.y, to.y) - radius - 1, bottom = std::max(from.y, to.y) + radius + 1;
  const int firstRow = std::clamp(static_cast<int>(std::floor(top)), 0, height);
  const int endRow = std::clamp(static_cast<int>(std::ceil(bottom)), 0, height);
  for (int y = firstRow; y < endRow; ++y) {
    const double py = y + 0.5 - from.y;
    const Stretch reach = stretch(radius + 0.5, py);  // beyond it no coverage
    if (reach.lo > reach.hi) continue;
    const Stretch whole = stretch(radius - 0.5, py);  // within it, whole coverage
    std::uint8_t* row = data + y * stride;
    const int a = firstColumnFrom(from.x + reach.lo, width), b = endColumnTo(from.x + reach.hi, width);
    int wa = b, wb = b;
    if (whole.lo <= whole.hi) {
      wa = std::clamp(firstColumnFrom(from.x + whole.lo, width), a, b);
      wb = std::clamp(endColumnTo(from.x + whole.hi, width), wa, b);
      std::memset(row + wa, 255, static_cast<std::size_t>(wb - wa));
    }
    for (int x = a; x < wa; ++x) row[x] = coverage(x, py);
    for (int x = wb; x < b; ++x) row[x] = coverage(x, py);
  }
}

void arcCoverage(std::uint8_t* data, std::ptrdiff_t stride, int width, int height, const ArcStroke& arc) {
  const double r = arc.radius, half = arc.halfWidth;
  if (!(half > 0) || !(r >= 0) || width <= 0 || height <= 0) return;
  const bool round = arc.roundCaps;
  // Worked as a sweep toward growing angles.
  const double start = arc.sweep < 0 ? arc.start + arc.sweep : arc.start, sweep = std::abs(arc.sweep);
  if (!round && !(sweep > 0)) return;  // butt ends of no length meet: nothing
  const double cx = arc.centre.x, cy = arc.centre.y, outer = r + half, inner = r - half;
  const Point us{std::cos(start), std::sin(start)}, ue{std::cos(start + sweep), std::sin(start + sweep)};
  const Point ps{cx + r * us.x, cy + r * us.y}, pe{cx + r * ue.x, cy + r * ue.y};  // the ends of the centre line
  // Signed distances from the lines of the two ends' radii, positive toward the sweep.
  auto fromStart = [&](double x, double y) { return us.x * y - us.y * x; };
  auto fromEnd = [&](double x, double y) { return x * ue.y - y * ue.x; };
  // Whether the direction (x, y) from the centre lies within the sweep: within
  // both radii's half-planes, or (past half a turn) either; a sweep of nothing
  // holds no direction (its round ends are two dots on one point).
  const bool wide = sweep > std::numbers::pi;
  auto within = [&](double x, double y) {
    const double a = fromStart(x, y), b = fromEnd(x, y);
    if (wide) return a >= 0 || b >= 0;
    // Facing at least one end rules out the far side when the two radii are (nearly) one line.
    return sweep > 0 && a >= 0 && b >= 0 && (us.x * x + us.y * y >= 0 || ue.x * x + ue.y * y >= 0);
  };
  // A pixel's share: within the sweep the ring's, past it a round end's (the
  // distance to the nearer end of the centre line); with butt ends the
  // ring's, cut by how far the centre lies inside the wedge between the two
  // radii, both its sides taken like the ring's two edges.
  auto share = [&](int column, double dy) {
    const double dx = column + 0.5 - cx, d = std::sqrt(dx * dx + dy * dy);
    if (round) {
      if (within(dx, dy)) return ringShare(d, outer, inner);
      const double x = column + 0.5, y = dy + cy;
      const double nearer = std::min((x - ps.x) * (x - ps.x) + (y - ps.y) * (y - ps.y),
                                     (x - pe.x) * (x - pe.x) + (y - pe.y) * (y - pe.y));
      return std::clamp(half - std::sqrt(nearer) + 0.5, 0.0, 1.0);
    }
    const double a = std::clamp(fromStart(dx, dy) + 0.5, 0.0, 1.0), b = std::clamp(fromEnd(dx, dy) + 0.5, 0.0, 1.0);
    const double wedge = wide ? std::min(1.0, a + b) : std::max(0.0, a + b - 1.0);
    return ringShare(d, outer, inner) * wedge;
  };

  // The rows the stroke reaches: its ends, and the top and bottom of the circle where the sweep passes them.
  double top = std::min(ps.y, pe.y), bottom = std::max(ps.y, pe.y);
  if (within(0, -1)) top = cy - r;
  if (within(0, 1)) bottom = cy + r;
  const int firstRow = std::clamp(static_cast<int>(std::floor(top - half - 1)), 0, height);
  const int endRow = std::clamp(static_cast<int>(std::ceil(bottom + half + 1)), 0, height);
  // Within the sweep a row is the ring's, and the sweep begins or ends only
  // on the ends' radii, which cross the ring within half the width and half
  // a pixel of each end of the centre line. Outside a zone a little wider
  // than that, each of the ring's stretches of a row lies wholly within the
  // sweep or wholly outside it; within it the pixels are worked out one by
  // one: along a pixel either side of the radius for butt ends, across the
  // rim of a round end (inside it the coverage is whole).
  constexpr double kNear = 1.0;
  const double zone = half + 0.5 + (round ? 0.25 : kNear);
  auto ringPixels = [&](std::uint8_t* row, int a, int b, double dy) {
    for (int x = a; x < b; ++x) {
      const double dx = x + 0.5 - cx;
      row[x] = std::max(row[x], coverageLevel(ringShare(std::sqrt(dx * dx + dy * dy), outer, inner)));
    }
  };
  for (int y = firstRow; y < endRow; ++y) {
    const double dy = y + 0.5 - cy;
    const RingRow ring = ringRow(cx, dy, outer, inner, width);
    if (ring.count == 0) continue;
    std::uint8_t* row = data + y * stride;
    struct Stretch {
      int first, end;
      bool whole;  // wholly covered; otherwise pixel by pixel
    } near[4];
    int nearCount = 0;
    auto take = [&](double from, double to, bool whole) {
      const int a = firstColumnFrom(from, width), b = endColumnTo(to, width);
      if (a < b) near[nearCount++] = {a, b, whole};
    };
    for (int end = 0; end < 2; ++end) {
      const Point p = end ? pe : ps, u = end ? ue : us;
      const double py = y + 0.5 - p.y;
      if (zone <= std::abs(py)) continue;
      const double across = std::sqrt((zone - py) * (zone + py));
      if (round) {
        take(p.x - across, p.x + across, false);
        const double inside = half - 0.5;
        if (inside > std::abs(py)) {
          const double chord = std::sqrt((inside - py) * (inside + py));
          take(p.x - chord, p.x + chord, true);
        }
      } else if (std::abs(u.y) * across > kNear) {  // where |u × (x, dy)| ≤ kNear, within the zone
        const double from = (u.x * dy - kNear) / u.y, to = (u.x * dy + kNear) / u.y;
        take(std::max(p.x - across, cx + std::min(from, to)), std::min(p.x + across, cx + std::max(from, to)), false);
      } else {
        take(p.x - across, p.x + across, false);
      }
    }
    if (nearCount == 0) {
      for (int i = 0; i < ring.count; ++i) {
        const RowSpan& span = ring.spans[i];
        if (!within(span.first + 0.5 - cx, dy)) continue;
        if (span.whole)
          std::memset(row + span.first, 255, static_cast<std::size_t>(span.end - span.first));
        else
          ringPixels(row, span.first, span.end, dy);
      }
      continue;
    }
    std::array<int, 2 * (6 + 4)> cuts{};
    int cutCount = 0;
    for (int i = 0; i < ring.count; ++i) cuts[cutCount++] = ring.spans[i].first, cuts[cutCount++] = ring.spans[i].end;
    for (int i = 0; i < nearCount; ++i) cuts[cutCount++] = near[i].first, cuts[cutCount++] = near[i].end;
    std::sort(cuts.begin(), cuts.begin() + cutCount);
    int span = 0;
    for (int i = 0; i + 1 < cutCount; ++i) {
      const int a = cuts[i], b = cuts[i + 1];
      if (a == b) continue;
      while (span < ring.count && ring.spans[span].end <= a) ++span;
      if (span == ring.count) break;
      if (ring.spans[span].first > a) continue;  // between the ring's stretches: clear
      bool whole = false, perPixel = false;
      for (int k = 0; k < nearCount; ++k)
        if (near[k].first <= a && a < near[k].end) (near[k].whole ? whole : perPixel) = true;
      if (whole) {
        std::memset(row + a, 255, static_cast<std::size_t>(b - a));
      } else if (perPixel) {
        for (int x = a; x < b; ++x) row[x] = std::max(row[x], coverageLevel(share(x, dy)));
      } else if (!within(a + 0.5 - cx, dy)) {
        continue;
      } else if (ring.spans[span].whole) {
        std::memset(row + a, 255, static_cast<std::size_t>(b - a));
      } else {
        ringPixels(row, a, b, dy);
      }
    }
  }
}

}  // namespace velmora
