#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <optional>

#include "graphics/Gauges.h"
#include "graphics/SleepMetricsGraphics.h"
#include "palette/Pallet.h"
#include "support/Pixels.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::near;
using testing::pixelAt;

// The point at `radius` from the centre of a 280-point dial, at `stars` of the seven-star scale.
Point atStars(double radius, double stars) {
  const double angle = gaugeAngle(stars / 7);
  return {140 + radius * std::cos(angle), 140 + radius * std::sin(angle)};
}

// At scale 1, where a point is a pixel: the needle at the stars of the value (0.8875 is 3.5 stars, straight up;
// 3 is as far as the scale goes; no readiness a hundredth in), and the scale's segments in the ready colours.
TEST(ReadiRingsTest, NeedleAndScale) {
  testing::TestEnvironment env;
  const Colour white = Colour::whiteColor(), dial = SleepMetricsGraphics::gaugeBkg();
  const struct {
    float value;
    double radius, stars;
    std::optional<float> readyScore;  // the scale's colour there, else white or the dial
    bool needle;
    int scale = 1;
  } cases[] = {
      {0.8875f, 90, 3.5, std::nullopt, true},
      {0.8875f, 90, 3.2, std::nullopt, false},
      {3.0f, 90, 7, std::nullopt, true},
      {-1.0f, 90, 0.02, std::nullopt, true},
      {0.8875f, 116, 0.5, 0.0f, false},
      {0.8875f, 116, 2.5, 0.75f, false},
      {0.8875f, 116, 5.5, 1.3f, false},
      {0.8875f, 116, 6.9, 1.6f, false},
      {0.8875f, 116, 1.99, std::nullopt, false, 3},  // the black gap between two segments
  };
  for (const auto& c : cases) {
    env.scale = c.scale;
    SleepMetricsGraphics graphics(env);
    const ImageRef image = graphics.drawReadiRingsWithSize(280, c.value);
    ASSERT_TRUE(image);
    const RGBA expected = c.readyScore     ? Pallet(env).colourForReadyScore(*c.readyScore).rgba()
                          : c.needle       ? white.rgba()
                          : c.radius > 100 ? Colour::blackColor().rgba()
                                           : dial.rgba();
    EXPECT_TRUE(near(pixelAt(*image, atStars(c.radius, c.stars)), expected, 0.02)) << c.value << " at " << c.stars;
  }
}

// The icon below the hub by legend: none for 0, the fuel icon in its 40-point square for 1, the readiness figure in
// the 46-point square for 2; the label above the hub only when there is one.
TEST(ReadiRingsTest, IconByLegendAndLabel) {
  const struct {
    int legend;
    std::optional<std::string> label;
    Rect square;  // where the icon may be
  } cases[] = {
      {0, "Optimal", {}},
      {1, std::nullopt, {122, 168, 40, 40}},
      {2, "Jet fuel", {117, 165, 46, 46}},
  };
  testing::TestEnvironment env;
  env.scale = 1;
  for (const auto& c : cases) {
    SleepMetricsGraphics graphics(env);
    const ImageRef image = graphics.drawReadiRingsWithSize(280, 0.8875f, c.label, c.legend);
    ASSERT_TRUE(image);
    const Rect icon = testing::lightBounds(*image, {100, 150, 80, 70});
    if (c.legend == 0) {
      EXPECT_EQ(icon.width * icon.height, 0) << "no icon";
    } else {
      EXPECT_TRUE(icon.x >= c.square.x && icon.x + icon.width <= c.square.x + c.square.width && icon.y >= c.square.y &&
                  icon.y + icon.height <= c.square.y + c.square.height && icon.width * icon.height > 300)
          << c.legend << ": " << icon.x << ", " << icon.y << ", " << icon.width << " x " << icon.height;
    }
    const Rect text = testing::tintBounds(*image, {40, 30, 200, 102}, Pallet(env).tintColour().rgba());
    EXPECT_EQ(text.width > 30, c.label.has_value()) << c.legend;
  }
}

}  // namespace
}  // namespace velmora
