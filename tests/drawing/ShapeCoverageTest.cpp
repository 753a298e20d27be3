#include <cairo.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "drawing/ShapeCoverage.h"

namespace velmora {
namespace {

// A shape's coverage as painted here against cairo's exact area coverage of
// the same shape: the same area, and no pixel off by more than an edge's
// rounding (`worst`, out of 255).
constexpr int kSidePixels = 100;
template <typename Cairo, typename Ours>
void expectCoversWhatCairoCovers(const char* name, int worst, Cairo cairoDraws, Ours oursDraws) {
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_A8, kSidePixels, kSidePixels);
  cairo_t* cr = cairo_create(surface);
  cairoDraws(cr);
  cairo_surface_flush(surface);
  std::vector<std::uint8_t> ours(kSidePixels * kSidePixels, 0);
  oursDraws(ours.data());
  double theirArea = 0, ourArea = 0;
  int largest = 0;
  for (int y = 0; y < kSidePixels; ++y)
    for (int x = 0; x < kSidePixels; ++x) {
      const int theirs = cairo_image_surface_get_data(surface)[y * cairo_image_surface_get_stride(surface) + x];
      const int mine = ours[static_cast<std::size_t>(y * kSidePixels + x)];
      theirArea += theirs / 255.0, ourArea += mine / 255.0;
      largest = std::max(largest, std::abs(theirs - mine));
    }
  EXPECT_NEAR(ourArea, theirArea, 0.01 * theirArea + 0.5) << name;
  EXPECT_LE(largest, worst) << name;
  cairo_destroy(cr);
  cairo_surface_destroy(surface);
}

TEST(RingCoverage, CoversWhatCairoCoversOfTheSameRing) {
  const struct {
    const char* name;
    double x, y, outer, inner;
    int worst;
  } cases[] = {
      {"disc", 50.2, 49.7, 30.3, 0, 32},         {"ring", 50, 50, 40, 30, 32},
      {"thin ring", 50.5, 49.5, 20.4, 19.6, 32}, {"ring past the corner", 5, 90, 35, 20, 32},
      {"dot", 60.3, 40.8, 0.4, 0, 64},  // a pixel's centre inside: more than its share
      {"beyond the buffer", 300, 300, 40, 0, 0},
  };
  for (const auto& c : cases)
    expectCoversWhatCairoCovers(
        c.name, c.worst,
        [&](cairo_t* cr) {
          cairo_arc(cr, c.x, c.y, c.outer, 0, 2 * M_PI);
          cairo_close_path(cr);
          if (c.inner > 0) {
            cairo_new_sub_path(cr);
            cairo_arc_negative(cr, c.x, c.y, c.inner, 0, -2 * M_PI);
            cairo_close_path(cr);
          }
          cairo_fill(cr);
        },
        [&](std::uint8_t* data) {
          ringCoverage(data, kSidePixels, kSidePixels, kSidePixels, c.x, c.y, c.outer, c.inner);
        });
}

// A segment against cairo stroking it with round caps, at every slope.
TEST(CapsuleCoverage, CoversWhatCairoStrokesOfTheSameSegment) {
  const struct {
    const char* name;
    Point from, to;
    double radius;
    int worst;
  } cases[] = {
      {"slanted", {20.3, 30.6}, {70.8, 60.2}, 6.2, 32},
      {"across", {10.5, 50.25}, {90.5, 50.25}, 3, 32},
      {"down", {40.7, 5}, {40.7, 95}, 9.5, 32},
      {"steep and thin", {30, 20}, {36, 80}, 0.8, 48},
      {"no length: a dot", {50.4, 50.6}, {50.4, 50.6}, 7, 32},
      {"out past the corner", {80, 80}, {130, 140}, 12, 32},
      {"beyond the buffer", {200, 200}, {300, 260}, 10, 0},
  };
  for (const auto& c : cases)
    expectCoversWhatCairoCovers(
        c.name, c.worst,
        [&](cairo_t* cr) {
          cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
          cairo_set_line_width(cr, 2 * c.radius);
          cairo_move_to(cr, c.from.x, c.from.y);
          cairo_line_to(cr, c.to.x, c.to.y);
          cairo_stroke(cr);
        },
        [&](std::uint8_t* data) {
          capsuleCoverage(data, kSidePixels, kSidePixels, kSidePixels, c.from, c.to, c.radius);
        });
}

// An arc against cairo stroking it, both caps, every kind of sweep.
TEST(ArcCoverage, CoversWhatCairoStrokesOfTheSameArc) {
  const struct {
    const char* name;
    ArcStroke arc;
    int worst;
  } cases[] = {
      {"three quarters, round", {{50.3, 49.6}, 30.2, 6.1, -M_PI / 2, 1.5 * M_PI, true}, 32},
      {"three quarters, butt", {{50.3, 49.6}, 30.2, 6.1, -M_PI / 2, 1.5 * M_PI, false}, 32},
      {"a sixth, butt, shrinking", {{48, 52}, 35, 9, 2.0, -M_PI / 3, false}, 32},
      {"a sixth, round, shrinking", {{48, 52}, 35, 9, 2.0, -M_PI / 3, true}, 32},
      {"half a turn exactly, butt", {{50, 50}, 25, 5, 0, M_PI, false}, 32},
      {"nearly a turn, round ends meeting", {{50, 50}, 25, 10, 1.0, 2 * M_PI - 0.2, true}, 32},
      {"a whole turn, butt", {{50.5, 50.5}, 25, 5, 0.3, 2 * M_PI, false}, 32},
      {"a short tip, round", {{50, 50}, 35, 9, 0.7, 0.02, true}, 32},
      {"no sweep, round: a dot", {{50, 50}, 35, 7, 2.5, 0, true}, 32},
      {"no sweep, butt: nothing", {{50, 50}, 35, 7, 2.5, 0, false}, 0},
      {"thin", {{50.2, 50.7}, 38, 0.7, 0.4, 2.0, false}, 64},
      {"wider than the circle, round", {{50, 50}, 6, 10, 0.5, 4.0, true}, 48},
      {"out past the corner", {{90, 90}, 30, 6, M_PI, 1.2, true}, 32},
      {"beyond the buffer", {{300, 300}, 40, 6, 0, 3.0, true}, 0},
  };
  for (const auto& c : cases)
    expectCoversWhatCairoCovers(
        c.name, c.worst,
        [&](cairo_t* cr) {
          const ArcStroke& a = c.arc;
          cairo_set_line_cap(cr, a.roundCaps ? CAIRO_LINE_CAP_ROUND : CAIRO_LINE_CAP_BUTT);
          cairo_set_line_width(cr, 2 * a.halfWidth);
          if (a.sweep == 0) {
            const double x = a.centre.x + a.radius * std::cos(a.start), y = a.centre.y + a.radius * std::sin(a.start);
            cairo_move_to(cr, x, y);
            cairo_line_to(cr, x, y);
          } else {
            (a.sweep > 0 ? cairo_arc : cairo_arc_negative)(cr, a.centre.x, a.centre.y, a.radius, a.start,
                                                           a.start + a.sweep);
          }
          cairo_stroke(cr);
        },
        [&](std::uint8_t* data) { arcCoverage(data, kSidePixels, kSidePixels, kSidePixels, c.arc); });
}

}  // namespace
}  // namespace velmora
