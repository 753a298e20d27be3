#include "drawing/PathClipping.h"

#include <algorithm>
#include <cmath>

#include "drawing/PathGeometry.h"

namespace velmora {

using path_geometry::between;
using path_geometry::boundsOf;
using path_geometry::kDeepestHalving;
using path_geometry::kFullTurn;
using path_geometry::onCircle;

namespace {

// The most points an arc is flattened into: far more than any arc that shows
// takes; it only guards against rounding.
constexpr std::size_t kMostArcPoints = 1 << 16;

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

}  // namespace

std::vector<Point> clipPolyline(std::vector<Point> points, bool closed, const Box& visible) {
  const HalfPlane sides[] = {{true, true, visible.left},
                             {true, false, visible.right},
                             {false, true, visible.top},
                             {false, false, visible.bottom}};
  for (const HalfPlane& side : sides) points = side.clip(points, closed);
  return points;
}

ArcFlattener::ArcFlattener(Point centre, double radius, const Box& visible, double tolerance, std::vector<Point>& out)
    : centre_(centre), radius_(radius), visible_(visible), tolerance_(tolerance), out_(out), budget_(kMostArcPoints) {}

void ArcFlattener::flatten(double start, double sweep) {
  const int quarters = std::max(1, static_cast<int>(std::ceil(std::abs(sweep) / (kFullTurn / 4))));
  for (int k = 0; k < quarters; ++k) piece(start + sweep * k / quarters, start + sweep * (k + 1) / quarters, 0);
}

void ArcFlattener::piece(double from, double to, int depth) {
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

void ArcFlattener::emit(Point p) {
  out_.push_back(p);
  if (budget_ > 0) --budget_;
}

}  // namespace velmora
