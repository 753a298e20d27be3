#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "drawing/CoverageBuffer.h"
#include "drawing/ShapeCoverage.h"

namespace velmora {
namespace {

class CoverageBufferTest : public ::testing::Test {
 protected:
  void SetUp() override { source.resize(kSize, kSize); }
  void paint(int x0, int y0, int x1, int y1, std::uint8_t value) {
    for (int y = y0; y < y1; ++y)
      for (int x = x0; x < x1; ++x) source.data()[y * source.stride() + x] = value;
    source.findUsed({x0, y0, x1 - x0, y1 - y0});
  }

  static constexpr int kSize = 160;
  CoverageBuffer source;
};

TEST_F(CoverageBufferTest, CellsSplitIntoPartlyCoveredFullAndGrown) {
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
TEST_F(CoverageBufferTest, ABandAroundTheCoverageFindsTheSameCells) {
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
