#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "drawing/CoverageBuffer.h"
#include "drawing/ShadowBlur.h"

namespace velmora {
namespace {

using Plane = std::vector<double>;

// The blur as defined: three box blurs across, then three down; an even width
// shifts the first box left, the second right and widens the third. In
// double precision, or `exact`ly as the kernels round: each pass's mean of a
// width w box is (sum + ⌊w/2⌋) · ⌈2¹⁶/w⌉ / 2¹⁶, rounded down, at most 255.
Plane referenceBlur(const Plane& in, int width, int height, int d, bool exact = false) {
  d = std::max(d, 1);  // no blur: a box of one pixel
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
      const int w = box.before + box.after + 1;
      for (int line = 0; line < lines; ++line)
        for (int i = 0; i < length; ++i) {
          double sum = 0;
          for (int j = std::max(0, i - box.before); j <= std::min(length - 1, i + box.after); ++j)
            sum += a[at(line, j)];
          b[at(line, i)] =
              !exact ? sum / w : std::min(255.0, std::floor((sum + w / 2) * std::ceil(65536.0 / w) / 65536));
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

// Every kernel, byte for byte against the blur as defined, on coverage that
// ends inside a vector or on the buffer's edges, with no blur, the narrowest
// boxes and a box wider than the buffer; all-zero coverage (every tile
// flagged) must stay zero, and all-opaque coverage under a box whose rounded
// mean overshoots to 256 must saturate at 255.
struct KernelCase {
  const char* name;
  int width, height;  // of the buffer; it rounds up to whole pairs of tiles
  double sigma;
  enum Fill { kZero, kOpaque, kNoise, kEdges } fill;
  PixelRect area;  // filled
};
const KernelCase kKernelCases[] = {
    {"ZeroEveryTileFlagged", 64, 64, 3.0, KernelCase::kZero, {}},
    {"OpaqueBox151Saturates", 160, 160, 80.3, KernelCase::kOpaque, {0, 0, 160, 160}},
    {"NoiseBox75WiderThanRows", 32, 160, 40.0, KernelCase::kNoise, {0, 0, 32, 160}},
    {"OpaqueInsetBox42", 100, 60, 22.5, KernelCase::kOpaque, {5, 3, 89, 51}},
    {"NoiseRadius0", 50, 40, 0.0, KernelCase::kNoise, {0, 0, 50, 40}},
    {"NoiseRadius1", 50, 40, 0.5, KernelCase::kNoise, {0, 0, 50, 40}},
    {"NoiseBox2At17x33", 70, 70, 1.0, KernelCase::kNoise, {0, 0, 17, 33}},
    {"NoiseBox3Far", 96, 96, 1.5, KernelCase::kNoise, {61, 59, 35, 37}},
    {"NoiseBox6Mid", 150, 90, 3.0, KernelCase::kNoise, {31, 17, 45, 3}},
    {"EdgesBox8", 150, 150, 4.1, KernelCase::kEdges, {}},
    {"EdgesBox14", 150, 150, 7.5, KernelCase::kEdges, {}},
};

struct NamedKernel {
  ShadowBlur::Kernel kernel;
  const char* name;
};
void PrintTo(const NamedKernel& k, std::ostream* out) { *out << k.name; }
void PrintTo(const KernelCase& c, std::ostream* out) { *out << c.name; }
class ShadowBlurKernels : public ::testing::TestWithParam<std::tuple<NamedKernel, KernelCase>> {};

TEST_P(ShadowBlurKernels, BlurAsDefined) {
  const ShadowBlur::Kernel kernel = std::get<0>(GetParam()).kernel;
  const KernelCase& c = std::get<1>(GetParam());
  if (!ShadowBlur::runs(kernel)) GTEST_SKIP() << "this processor has no such kernel";
  CoverageBuffer source, target;
  source.resize(c.width, c.height);
  target.resize(c.width, c.height);
  const int width = source.width(), height = source.height();
  std::mt19937 random(13);
  auto fill = [&](PixelRect rect, bool noise) {
    rect = rect.intersection({0, 0, width, height});
    for (int y = rect.y; y < rect.y + rect.height; ++y)
      for (int x = rect.x; x < rect.x + rect.width; ++x)
        source.data()[y * source.stride() + x] = noise ? static_cast<std::uint8_t>(random() % 256) : 255;
    source.findUsed(rect);
  };
  if (c.fill == KernelCase::kZero)
    for (int ty = 0; ty < source.tilesDown(); ++ty)
      for (int tx = 0; tx < source.tilesAcross(); ++tx) source.markUsed(tx, ty);
  else if (c.fill == KernelCase::kEdges)  // a strip along each edge and a pixel in each corner
    for (PixelRect rect : {PixelRect{0, 20, 3, 40},
                           {width - 2, 70, 2, 30},
                           {40, 0, 50, 1},
                           {60, height - 5, 33, 5},
                           {0, 0, 1, 1},
                           {width - 1, 0, 1, 1},
                           {0, height - 1, 1, 1},
                           {width - 1, height - 1, 1, 1}})
      fill(rect, true);
  else
    fill(c.area, c.fill == KernelCase::kNoise);
  const Plane expected = referenceBlur(Plane(source.data(), source.data() + width * height), width, height,
                                       ShadowBlur::boxWidth(c.sigma), true);
  ShadowBlur(kernel).blur(source, target, c.sigma);
  for (int i = 0; i < width * height; ++i)
    ASSERT_EQ(target.data()[i], expected[static_cast<std::size_t>(i)]) << "at x " << i % width << ", y " << i / width;
}

INSTANTIATE_TEST_SUITE_P(EveryKernel, ShadowBlurKernels,
                         ::testing::Combine(::testing::Values(NamedKernel{ShadowBlur::Kernel::kPlain, "Plain"},
                                                              NamedKernel{ShadowBlur::Kernel::kSse2, "Sse2"},
                                                              NamedKernel{ShadowBlur::Kernel::kAvx2, "Avx2"}),
                                            ::testing::ValuesIn(kKernelCases)),
                         [](const auto& test) {
                           return std::get<0>(test.param).name + std::string("_") + std::get<1>(test.param).name;
                         });

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
