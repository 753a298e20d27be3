#include <gtest/gtest.h>

#include "drawing/DrawingSurface.h"
#include "host/ContactSheet.h"
#include "support/Pixels.h"
#include "support/TestEnvironment.h"

namespace velmora::host {
namespace {

using testing::near;
using testing::pixelAt;

ImageRef filled(RunCaches& caches, double size, const Colour& colour) {
  DrawingSurface s = DrawingSurface::beginImageContext(caches, size);
  s.setFillColor(colour);
  s.addArc(size / 2, size / 2, size / 2, 0, 7, 0);
  s.fillPath();
  return s.getImage();
}

// Three pictures of two sizes, two to a row: each at its own size, standing on its cell's common line, named
// below; the square's spare width left evenly on either side of the grid.
TEST(ContactSheetTest, PicturesSideBySideAtTheirOwnSizes) {
  testing::TestEnvironment env;
  env.scale = 1;
  const Colour colours[] = {Colour::hsba(0, 1, 1), Colour::hsba(0.33, 1, 1), Colour::hsba(0.66, 1, 1)};
  const ImageRef sheet = drawContactSheet(env, {{"red", filled(env, 100, colours[0])},
                                                {"green", filled(env, 60, colours[1])},
                                                {"blue", filled(env, 100, colours[2])}});
  ASSERT_TRUE(sheet);
  // Cells of 100 + 2 × 16 points by 100 + 6 + 21 + 2 × 16: the square is as tall as two rows.
  ASSERT_EQ(sheet->width(), 318.0);
  const double left = (318.0 - 2 * 132.0) / 2;
  const Point centres[] = {{left + 66, 16 + 50}, {left + 198, 16 + 70}, {left + 66, 159 + 16 + 50}};
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(near(pixelAt(*sheet, centres[i]), colours[i].rgba(), 0.02)) << i;
  EXPECT_TRUE(near(pixelAt(*sheet, {left + 198, 16 + 30}), Colour::white(0.16).rgba(), 0.02)) << "above the small one";
  EXPECT_FALSE(drawContactSheet(env, {}));
}

}  // namespace
}  // namespace velmora::host
