#include <gtest/gtest.h>

#include <cmath>
#include <utility>
#include <vector>

#include "SurfaceDrawings.h"
#include "drawing/DrawingSurface.h"

namespace velmora {
namespace {

using testing::alphaAt;
using testing::arc;
using testing::BoundedSurfaceTest;
using testing::circle;
using testing::differingPixels;
using testing::Draw;
using testing::kCentre;
using testing::kInf;
using testing::kSide;
using testing::line;
using testing::onCircle;
using testing::SurfaceTest;
using testing::triangle;
using testing::width;

class PathPainterTest : public SurfaceTest {};

// --- arcs ------------------------------------------------------------------

struct ArcCase {
  const char* name;
  double start, end;
  int clockwise;
  std::vector<double> painted, clear;  // dial angles in degrees
};

class ArcTest : public PathPainterTest, public ::testing::WithParamInterface<ArcCase> {};

// In half-transparent paint: no part of the ring is painted twice, however far the sweep goes.
TEST_P(ArcTest, PaintsExactlyItsSweepOnce) {
  const ArcCase& c = GetParam();
  DrawingSurface s = begin();
  s.setLineWidth(6);
  s.setStrokeColor(Colour::whiteColor().colorWithAlphaComponent(0.5));
  arc({kCentre, kCentre}, 40, c.start, c.end, c.clockwise)(s);
  const ImageRef image = s.getImage();
  for (double a : c.painted) EXPECT_NEAR(alphaAt(image, onCircle(40, a)), 0.5, 0.01) << c.name << " at " << a << "°";
  for (double a : c.clear) EXPECT_EQ(alphaAt(image, onCircle(40, a)), 0.0) << c.name << " at " << a << "°";
  EXPECT_EQ(alphaAt(image, onCircle(30, 45)), 0.0) << "inside the ring";
  EXPECT_EQ(alphaAt(image, onCircle(50, 45)), 0.0) << "outside the ring";
}

INSTANTIATE_TEST_SUITE_P(
    Sweeps, ArcTest,
    ::testing::Values(
        ArcCase{"full circle from 12 o'clock", -M_PI / 2, 2 * M_PI, 0, {-90, 0, 45, 90, 135, 180, 225, 269}, {}},
        ArcCase{"growing quarter", 0, M_PI / 2, 0, {10, 45, 80}, {135, 225, 315}},
        ArcCase{"growing, end before start, wraps past 0", M_PI / 2, 0, 0, {135, 225, 315}, {45}},
        ArcCase{"shrinking quarter", M_PI / 2, 0, 1, {10, 45, 80}, {135, 225, 315}},
        ArcCase{"shrinking, end after start, wraps past 0", 0, M_PI / 2, 1, {135, 225, 315}, {45}},
        ArcCase{"shrinking full turn", 0, -2 * M_PI, 1, {0, 90, 180, 270}, {}},
        ArcCase{"exactly a turn", 0, 2 * M_PI, 0, {0, 90, 180, 270}, {}},
        ArcCase{"more than a turn: one circle, not two", 0, 3 * M_PI, 0, {45, 200}, {}},
        ArcCase{"growing to an endless angle: a turn", 0, kInf, 0, {0, 90, 180, 270}, {}},
        ArcCase{"shrinking to an endless angle: a turn", 0, -kInf, 1, {0, 90, 180, 270}, {}},
        ArcCase{
            "end three quarters below the start: a quarter, modulo a turn", 3 * M_PI / 2, 0, 0, {-45}, {45, 135, 225}}),
    [](const ::testing::TestParamInfo<ArcCase>& param) { return "Case" + std::to_string(param.index); });

// --- strokes, caps and fills ---------------------------------------------

TEST_F(PathPainterTest, FillUsesTheNonZeroWindingRule) {
  auto square = [](DrawingSurface& s, double from, double to, bool reversed) {
    s.moveToPoint(from, from);
    if (reversed) {
      s.addLineToPoint(from, to), s.addLineToPoint(to, to), s.addLineToPoint(to, from);
    } else {
      s.addLineToPoint(to, from), s.addLineToPoint(to, to), s.addLineToPoint(from, to);
    }
    s.closePath();
  };
  for (bool reversedInner : {false, true}) {
    DrawingSurface s = begin();
    square(s, 10, 90, false);
    square(s, 40, 60, reversedInner);
    s.fillPath();
    const ImageRef image = s.getImage();
    EXPECT_EQ(alphaAt(image, {20, 20}), 1.0);
    EXPECT_EQ(alphaAt(image, {50, 50}), reversedInner ? 0.0 : 1.0) << "inner square reversed: " << reversedInner;
  }
}

class PathPainterBounded : public BoundedSurfaceTest {};

// Absurd but finite numbers draw what can be seen of them.
TEST_F(PathPainterBounded, HugeGeometryDrawsWhatShowsOnTheBitmap) {
  auto wide = [](LineCap cap) -> Draw {
    return [=](DrawingSurface& s) { width(1e20, cap)(s), line({49, 50}, {51, 50})(s); };
  };
  const struct {
    const char* name;
    Draw draw;
    std::vector<Point> painted, clear;
  } cases[] = {
      {"circle of radius 1e30 about the centre, filled", circle(1e30, true), {{1, 1}, {99, 99}, {50, 50}}, {}},
      {"circle of radius 1e300 about the centre, filled", circle(1e300, true), {{1, 1}, {99, 99}}, {}},
      {"a circle of radius 1e6 through the middle, stroked",
       circle(1e6, false, {kCentre, kCentre + 1e6}),
       {{1, 50}, {50, 50}, {99, 50}},
       {{50, 46}, {50, 54}, {1, 46}, {99, 46}}},
      {"a line from the centre to 1e30 down-right",
       line({kCentre, kCentre}, {1e30, 1e30}),
       {{60, 60}, {98, 98}},
       {{20, 20}, {80, 60}}},
      {"a line from the centre to 1e308 right, 1e306 down",
       line({kCentre, kCentre}, {1e308, 1e306}),
       {{70, 50.2}, {98, 50.5}},
       {{30, 50}, {98, 55}}},
      {"a triangle of 1e30 about the bitmap, filled",
       triangle({-1e30, -1e30}, {1e30, 0}, {0, 1e30}),
       {{1, 1}, {99, 1}, {1, 99}, {50, 50}},
       {}},
      {"the same triangle with the bitmap outside it",
       triangle({200, 200}, {1e30, 200}, {200, 1e30}),
       {},
       {{1, 1}, {99, 99}}},
      {"a short line 1e20 wide", wide(LineCap::kButt), {{50, 1}, {50, 99}}, {{30, 50}, {70, 1}}},
      {"a short line 1e20 wide with round caps", wide(LineCap::kRound), {{1, 1}, {99, 1}, {1, 99}, {99, 99}}, {}},
      {"a full turn from angle 1e300",
       arc({kCentre, kCentre}, 40, 1e300, 1e300 + 1e290),
       {{90, 50}, {50, 90}, {10, 50}, {50, 10}},
       {{50, 50}}},
      // 1e15 is a whole number of half turns away from no angle at all… almost
      {"a quarter from angle 1e15 + π",
       arc({kCentre, kCentre}, 40, 1e15 + M_PI, 1e15 + M_PI + M_PI / 2),
       {},
       {{50, 50}}},
  };
  for (const auto& c : cases) {
    const ImageRef image = drawn(c.draw, false);
    for (Point p : c.painted) EXPECT_GT(alphaAt(image, p), 0.5) << c.name << " at " << p.x << ", " << p.y;
    for (Point p : c.clear) EXPECT_EQ(alphaAt(image, p), 0.0) << c.name << " at " << p.x << ", " << p.y;
  }
}

// --- dashes --------------------------------------------------------------

TEST_F(PathPainterTest, ADashPaintsItsLengthsInTurnFromItsPhase) {
  struct {
    double phase;
    std::vector<double> lengths;
    std::vector<double> painted, clear;  // x along a line from 0 to 100 at y 50
  } cases[] = {
      {0, {10, 10}, {5, 25, 45}, {15, 35, 55}},
      {5, {10, 10}, {2, 17, 37}, {7, 27}},
      {-5, {10, 10}, {7, 27}, {2, 17}},
      {1e300, {10, 10}, {}, {}},  // no number of turns of the pattern hangs it
      {0, {10}, {5, 25}, {15, 35}},
      // An odd count swaps roles every round: 10 on, 5 off, 20 on, 10 off, 5 on, 20 off.
      {0, {10, 5, 20}, {5, 25, 47, 75}, {12, 40, 60}},
  };
  for (const auto& c : cases) {
    DrawingSurface s = begin(kSide, 2);
    s.setStrokeColor(Colour::whiteColor());
    s.setLineWidth(4);
    s.setLineDash(c.phase, c.lengths);
    s.saveGState();
    s.setLineDash(0, {});
    s.restoreGState();  // the dash is part of the saved state
    line({0, 50}, {100, 50})(s);
    const ImageRef image = s.getImage();
    for (double x : c.painted) EXPECT_GT(alphaAt(image, {x, 50}), 0.99) << "phase " << c.phase << " at " << x;
    for (double x : c.clear) EXPECT_EQ(alphaAt(image, {x, 50}), 0.0) << "phase " << c.phase << " at " << x;
  }
}

// A pattern finer than a device pixel paints what it averages to, at the cost of one stroke.
TEST_F(PathPainterTest, ADashFinerThanAPixelPaintsItsShareOfTheLine) {
  struct {
    std::vector<double> lengths;
    LineCap cap;
    double alpha;
  } cases[] = {
      {{1e-6, 1e-6}, LineCap::kButt, 0.5},   {{1e-30, 3e-30}, LineCap::kButt, 0.25},
      {{0.1, 0.2}, LineCap::kButt, 1.0 / 3}, {{1e-6, 1e-6}, LineCap::kRound, 1.0},  // the caps close every gap
      {{0.0, 1e-9}, LineCap::kButt, 0.0},
  };
  for (const auto& c : cases) {
    DrawingSurface s = begin(kSide, 2);
    s.setStrokeColor(Colour::whiteColor());
    s.setLineWidth(6);
    s.setLineCap(c.cap);
    s.setLineDash(0, c.lengths);
    circle(40, false)(s);
    const ImageRef image = s.getImage();
    for (double a : {0.0, 90.0, 200.0}) EXPECT_NEAR(alphaAt(image, onCircle(40, a)), c.alpha, 0.01) << c.lengths[0];
  }
}

// Alternate lengths of a ring, each stroked on its own with its shadow, or
// all at once as one dashed arc: the same pixels while their shadows (and
// round ends) keep apart.
TEST_F(PathPainterTest, ADashedArcPaintsWhatItsDashesPaintOneByOne) {
  for (const auto& [parts, cap] : {std::pair{7.5, LineCap::kButt}, {12.0, LineCap::kButt}, {7.5, LineCap::kRound}}) {
    const double radius = 40, length = 2 * M_PI / parts;
    const int shaded = static_cast<int>(std::ceil(std::floor(parts) / 2));
    auto start = [&](DrawingSurface& s) {
      s.setShadow({0, 0}, 2);
      s.setLineWidth(8);
      s.setLineCap(cap);
      s.setStrokeColor(Colour::hsba(0.6, 0.5, 0.8));
    };
    DrawingSurface apart = begin(kSide, 3);
    start(apart);
    for (int i = 0; i < shaded; ++i) {
      arc({kCentre, kCentre}, radius, -M_PI / 2 + 2 * i * length, -M_PI / 2 + (2 * i + 1) * length)(apart);
    }
    DrawingSurface together = begin(kSide, 3);
    start(together);
    together.setLineDash(0, {radius * length, radius * length});
    arc({kCentre, kCentre}, radius, -M_PI / 2, -M_PI / 2 + (2 * shaded - 1) * length)(together);

    EXPECT_EQ(differingPixels(*apart.getImage(), *together.getImage(), 0), 0)
        << parts << " parts, " << (cap == LineCap::kRound ? "round" : "butt");
  }
}

// Shapes rasterised without a shadow take the run's coverage frame only as far as they reach on the bitmap: near
// its far corner, as in its middle, they paint the same pixels whether the frame is that small or already spans the
// bitmap for a shadow drawn before.
TEST_F(PathPainterTest, ShapesWithoutShadowsPaintTheSameInASmallFrame) {
  auto shapes = [](DrawingSurface& s) {
    s.setLineWidth(5);
    s.setLineCap(LineCap::kRound);
    s.setStrokeColor(Colour::hsba(0.3, 0.7, 0.9));
    circle(4, false, {kSide - 6, 12})(s);  // far right, near the top: the frame's first reach
    line({12, kSide - 4}, {30, kSide - 7})(s);
    arc({kSide - 10, kSide - 10}, 6, 0, M_PI)(s);
    arc({kCentre, kCentre}, 20, -M_PI / 2, 1)(s);
  };
  DrawingSurface small = begin(kSide, 3);
  shapes(small);
  DrawingSurface shadowed = begin(kSide, 3);
  shadowed.setShadow({0, 0}, 6);
  circle(30, true)(shadowed);
  DrawingSurface spanned = begin(kSide, 3);
  shapes(spanned);
  const ImageRef image = small.getImage();
  for (const Point p : {Point{kSide - 10, kSide - 4}, Point{kSide - 2, 12}, Point{20, kSide - 5.5}})
    EXPECT_GT(alphaAt(image, p), 0.5) << p.x << ", " << p.y;
  EXPECT_EQ(differingPixels(*image, *spanned.getImage(), 0), 0);
}

}  // namespace
}  // namespace velmora
