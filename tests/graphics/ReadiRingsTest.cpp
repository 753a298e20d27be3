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

}  // namespace
}  // namespace velmora
