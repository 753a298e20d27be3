#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "drawing/CoverageBuffer.h"
#include "drawing/ShadowBlur.h"

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

}  // namespace
}  // namespace velmora
