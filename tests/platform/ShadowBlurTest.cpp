#include <cairo.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "platform/ShadowBlur.h"

namespace velmora {
namespace {

using Plane = std::vector<double>;

// The blur as defined, in double precision: three box blurs across, then
// three down; an even width shifts the first box left, the second right and
// widens the third.
Plane referenceBlur(const Plane& in, int width, int height, int d) {
  struct Box {
    int before, after;
  };
  std::vector<Box> boxes;
  if (d % 2)
    boxes = {{d / 2, d / 2}, {d / 2, d / 2}, {d / 2, d / 2}};
  else
    boxes = {{d / 2, d / 2 - 1}, {d / 2 - 1, d / 2}, {d / 2, d / 2}};
  Plane a = in, b(in.size());
  for (int direction = 0; direction < 2; ++direction) {
    const int length = direction ? height : width, lines = direction ? width : height;
    auto at = [&](int line, int i) {
      return static_cast<std::size_t>(direction ? i * width + line : line * width + i);
    };
    for (const Box& box : boxes) {
      for (int line = 0; line < lines; ++line)
        for (int i = 0; i < length; ++i) {
          double sum = 0;
          for (int j = std::max(0, i - box.before); j <= std::min(length - 1, i + box.after); ++j)
            sum += a[at(line, j)];
          b[at(line, i)] = sum / (box.before + box.after + 1);
        }
      std::swap(a, b);
    }
  }
  return a;
}

class ShadowBlurTest : public ::testing::Test {
 protected:
  void SetUp() override {
    source.resize(kSize, kSize);
    target.resize(kSize, kSize);
  }
  void paint(int x0, int y0, int x1, int y1, std::uint8_t value) {
    for (int y = y0; y < y1; ++y)
      for (int x = x0; x < x1; ++x) source.data()[y * source.stride() + x] = value;
    source.findUsed({x0, y0, x1 - x0, y1 - y0});
  }
  std::uint8_t out(int x, int y) const { return target.data()[y * target.stride() + x]; }

  static constexpr int kSize = 160;
  CoverageBuffer source, target;
  ShadowBlur blur;
};

TEST_F(ShadowBlurTest, BoxWidthAndReachFollowSigma) {
  struct {
    double sigma;
    int width, reach;
  } cases[] = {{0, 0, 0}, {0.25, 0, 0}, {1, 2, 2}, {3, 6, 8}, {7.5, 14, 20}, {22.5, 42, 62}, {1000, 250, 374}};
  for (auto c : cases) {
    EXPECT_EQ(ShadowBlur::boxWidth(c.sigma), c.width) << c.sigma;
    EXPECT_EQ(ShadowBlur::reach(c.sigma), c.reach) << c.sigma;
  }
}

TEST_F(ShadowBlurTest, MatchesThreeBoxBlursOfRandomCoverage) {
  std::mt19937 random(7);
  for (double sigma : {1.5, 3.0, 7.5}) {
    Plane plane(kSize * kSize, 0.0);
    for (int blob = 0; blob < 6; ++blob) {
      const int x = 40 + static_cast<int>(random() % 70), y = 40 + static_cast<int>(random() % 70);
      const int w = 2 + static_cast<int>(random() % 20), h = 2 + static_cast<int>(random() % 20);
      const auto value = static_cast<std::uint8_t>(random() % 256);
      paint(x, y, x + w, y + h, value);
      for (int yy = y; yy < y + h; ++yy)
        for (int xx = x; xx < x + w; ++xx) plane[static_cast<std::size_t>(yy * kSize + xx)] = value;
    }
    blur.blur(source, target, sigma);
    const Plane expected = referenceBlur(plane, kSize, kSize, ShadowBlur::boxWidth(sigma));
    double worst = 0, total = 0, totalExpected = 0;
    for (int y = 0; y < kSize; ++y)
      for (int x = 0; x < kSize; ++x) {
        const double want = expected[static_cast<std::size_t>(y * kSize + x)];
        worst = std::max(worst, std::abs(out(x, y) - want));
        total += out(x, y);
        totalExpected += want;
      }
    EXPECT_LE(worst, 2.5) << "σ " << sigma << ": each of six passes rounds to whole levels";
    EXPECT_NEAR(total, totalExpected, totalExpected * 0.01) << "σ " << sigma << ": the blur keeps the coverage";
    target.clear();
    source.clear();
  }
}

// Each vector kernel this processor runs against the plain one, byte for
// byte: odd and even box widths and one wider than the buffer, coverage up to
// the buffer's edges and in one tile of a pair, a buffer of no whole pairs.
class ShadowBlurKernels : public ::testing::TestWithParam<ShadowBlur::Kernels> {};
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ShadowBlurKernels);

TEST_P(ShadowBlurKernels, GiveThePlainKernelsBytes) {
  constexpr int kSide = 150;
  std::mt19937 random(11);
  for (double sigma : {1.2, 3.0, 4.1, 7.5, 200.0}) {
    CoverageBuffer source, plain, vector;
    for (CoverageBuffer* buffer : {&source, &plain, &vector}) buffer->resize(kSide, kSide);
    for (int blob = 0; blob < 8; ++blob) {
      const int x = static_cast<int>(random() % kSide), y = static_cast<int>(random() % kSide);
      const PixelRect rect =
          PixelRect{x, y, 1 + static_cast<int>(random() % 40), 1 + static_cast<int>(random() % 40)}.intersection(
              {0, 0, kSide, kSide});
      for (int yy = rect.y; yy < rect.y + rect.height; ++yy)
        for (int xx = rect.x; xx < rect.x + rect.width; ++xx)
          source.data()[yy * source.stride() + xx] = static_cast<std::uint8_t>(1 + random() % 255);
      source.findUsed(rect);
    }
    ShadowBlur(ShadowBlur::kernels().back()).blur(source, plain, sigma);
    ShadowBlur(GetParam()).blur(source, vector, sigma);
    const auto bytes = static_cast<std::size_t>(plain.stride() * plain.height());
    const auto mismatch = std::mismatch(plain.data(), plain.data() + bytes, vector.data());
    EXPECT_EQ(mismatch.first, plain.data() + bytes)
        << "σ " << sigma << ": first differs at byte " << (mismatch.first - plain.data());
  }
}

INSTANTIATE_TEST_SUITE_P(ThisProcessor, ShadowBlurKernels, ::testing::ValuesIn([] {
                           auto kernels = ShadowBlur::kernels();
                           kernels.pop_back();  // the plain one itself
                           return kernels;
                         }()),
                         [](const auto& kernel) { return std::string(kernel.param.name); });

TEST_F(ShadowBlurTest, SpreadsExactlyAsFarAsItsReach) {
  const double sigma = 7.5;
  const int reach = ShadowBlur::reach(sigma);
  paint(60, 60, 110, 110, 255);
  blur.blur(source, target, sigma);
  EXPECT_EQ(out(85, 85), 255) << "further than the reach from every edge, the block stays whole";
  EXPECT_GT(out(60 - reach / 2, 85), 0);
  EXPECT_EQ(out(60 - reach - 1, 85), 0);
  EXPECT_EQ(out(85, 109 + reach + 1), 0);
  for (int d = 1; d < reach; ++d) EXPECT_LE(out(60 - d, 85), out(60 - d + 1, 85)) << "fading at " << d;
}

TEST_F(ShadowBlurTest, LeavesFarTilesAloneAndClearsWhatItWrote) {
  paint(2, 2, 6, 6, 255);
  paint(150, 150, 156, 156, 255);
  blur.blur(source, target, 3.0);
  EXPECT_GT(out(4, 4), 0);
  EXPECT_GT(out(152, 152), 0);
  EXPECT_FALSE(target.used(5, 5)) << "no work between the two spots";
  target.clear();
  source.clear();
  for (int i = 0; i < kSize * kSize; ++i) {
    ASSERT_EQ(target.data()[i], 0) << "at " << i;
    ASSERT_EQ(source.data()[i], 0) << "at " << i;
  }
}

TEST_F(ShadowBlurTest, NoBlurCopiesTheCoverage) {
  paint(10, 10, 20, 20, 200);
  blur.blur(source, target, 0.2);
  EXPECT_EQ(out(10, 10), 200);
  EXPECT_EQ(out(9, 10), 0);
}

TEST_F(ShadowBlurTest, CellsSplitIntoPartlyCoveredFullAndGrown) {
  static_assert(CoverageBuffer::kCell == 8, "the rectangles below are in cells of 8");
  paint(16, 16, 48, 48, 255);  // whole cells
  paint(60, 16, 63, 20, 90);   // part of one cell
  std::vector<PixelRect> runs;
  source.cellRuns(CoverageBuffer::Cells::kFull, 0, runs);
  EXPECT_EQ(runs.size(), 4u);
  EXPECT_EQ(runs.front(), (PixelRect{16, 16, 32, 8}));
  source.cellRuns(CoverageBuffer::Cells::kPartlyCovered, 0, runs);
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs.front(), (PixelRect{56, 16, 8, 8}));
  source.cellRuns(CoverageBuffer::Cells::kUsed, 1, runs);
  ASSERT_FALSE(runs.empty());
  EXPECT_EQ(runs.front(), (PixelRect{8, 8, 64, 8})) << "grown one cell each way, joined across the gap";
}

// A band around what was drawn changes nothing found, only what is read:
// rings whose corners, hole and far side lie outside it, off centre.
TEST_F(ShadowBlurTest, ABandAroundTheCoverageFindsTheSameCells) {
  const struct {
    double x, y, outer, inner;
  } rings[] = {{80, 80, 70, 40}, {60.5, 90.2, 50.3, 47.1}, {100, 70, 30, 0}, {20, 20, 60, 35}};
  for (const auto& r : rings) {
    ringCoverage(source.data(), source.stride(), source.width(), source.height(), r.x, r.y, r.outer, r.inner);
    std::vector<PixelRect> without[3], with[3];
    const CoverageBuffer::Cells kinds[3] = {CoverageBuffer::Cells::kUsed, CoverageBuffer::Cells::kPartlyCovered,
                                            CoverageBuffer::Cells::kFull};
    source.findUsed({0, 0, kSize, kSize});
    for (int k = 0; k < 3; ++k) source.cellRuns(kinds[k], 0, without[k]);
    source.forget();
    const CoverageBuffer::Band band{r.x, r.y, r.inner - 2, r.outer + 2};
    source.findUsed({0, 0, kSize, kSize}, &band);
    for (int k = 0; k < 3; ++k) {
      source.cellRuns(kinds[k], 0, with[k]);
      EXPECT_EQ(with[k], without[k]) << "ring at " << r.x << ", " << r.y << ", kind " << k;
    }
    source.clear();
  }
}

}  // namespace
}  // namespace velmora

namespace velmora {
namespace {

// A shape's coverage as painted here against cairo's exact area coverage of
// the same shape: the same area, and no pixel off by more than an edge's
// rounding (`worst`, out of 255).
constexpr int kSide = 100;
template <typename Cairo, typename Ours>
void expectCoversWhatCairoCovers(const char* name, int worst, Cairo cairoDraws, Ours oursDraws) {
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_A8, kSide, kSide);
  cairo_t* cr = cairo_create(surface);
  cairoDraws(cr);
  cairo_surface_flush(surface);
  std::vector<std::uint8_t> ours(kSide * kSide, 0);
  oursDraws(ours.data());
  double theirArea = 0, ourArea = 0;
  int largest = 0;
  for (int y = 0; y < kSide; ++y)
    for (int x = 0; x < kSide; ++x) {
      const int theirs = cairo_image_surface_get_data(surface)[y * cairo_image_surface_get_stride(surface) + x];
      const int mine = ours[static_cast<std::size_t>(y * kSide + x)];
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
        [&](std::uint8_t* data) { ringCoverage(data, kSide, kSide, kSide, c.x, c.y, c.outer, c.inner); });
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
        [&](std::uint8_t* data) { capsuleCoverage(data, kSide, kSide, kSide, c.from, c.to, c.radius); });
}

}  // namespace
}  // namespace velmora

namespace velmora {
namespace {

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
        [&](std::uint8_t* data) { arcCoverage(data, kSide, kSide, kSide, c.arc); });
}

}  // namespace
}  // namespace velmora
