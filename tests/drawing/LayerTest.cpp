#include <cairo.h>
#include <gtest/gtest.h>

#include <string>

#include "drawing/DrawingSurface.h"
#include "drawing/Image.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

// A layer at 280 points and scale 3 (840 × 840 pixels, 2.8 MB): a disc of its own colour.
struct Layers : ::testing::Test {
  Layers() { env.scale = 3; }
  // Draws an image of `kind` and says whether its layer was drawn (rather than copied).
  bool draw(const std::string& kind, double hue) {
    DrawingSurface s = DrawingSurface::beginImageContext(env, 280);
    bool drawn = false;
    s.drawLayer(kind, [&](DrawingSurface& layer) {
      drawn = true;
      layer.setFillColor(Colour::hsba(hue, 1, 1));
      layer.addArc(140, 140, 100, 0, 7, 0);
      layer.fillPath();
      layer.setShadow({1, 1}, 3);  // gone again after the layer
    });
    const ImageRef image = s.getImage();
    EXPECT_FALSE(s.state().shadow) << kind;
    return drawn;
  }
  bool kept(const std::string& kind) { return keptLayer(env, "280@3x " + kind) != nullptr; }

  testing::TestEnvironment env;
};

TEST_F(Layers, KeptOnceAKindComesAgainAndUsedFromThen) {
  EXPECT_TRUE(draw("a", 0.1));
  EXPECT_FALSE(kept("a")) << "a run that draws one image keeps nothing";
  EXPECT_TRUE(draw("a", 0.1));
  EXPECT_TRUE(kept("a"));
  EXPECT_FALSE(draw("a", 0.1)) << "the third image starts from the kept pixels";
  EXPECT_FALSE(draw("a", 0.1));
}

TEST_F(Layers, AtMostTheBudgetTheLeastRecentlyUsedGoingFirst) {
  const std::size_t layerBytes = 840u * 840u * 4u;
  const std::size_t fit = kLayerBytes / layerBytes;
  ASSERT_GE(fit, 2u);
  for (std::size_t i = 0; i <= fit; ++i)
    for (int round = 0; round < 2; ++round) draw("kind " + std::to_string(i), 0.1 * static_cast<double>(i));
  EXPECT_FALSE(kept("kind 0")) << "the oldest went to make room";
  for (std::size_t i = 1; i <= fit; ++i) EXPECT_TRUE(kept("kind " + std::to_string(i))) << i;
  // Using a layer makes it the most recent: the next one to go is another.
  EXPECT_FALSE(draw("kind 1", 0.1));
  for (int round = 0; round < 2; ++round) draw("kind new", 0.9);
  EXPECT_TRUE(kept("kind 1"));
  EXPECT_FALSE(kept("kind 2"));
}

}  // namespace
}  // namespace velmora
