#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>
#include <optional>

#include "graphics/SleepMetricsGraphics.h"
#include "palette/Pallet.h"
#include "support/GraphicsAccess.h"
#include "support/Numbers.h"
#include "support/Pixels.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::Graphics;
using testing::kInff;
using testing::kNaNf;
using testing::kWhite;
using testing::near;
using testing::onDial;
using testing::pixelAt;

constexpr RGBA kClear{0, 0, 0, 0};

// At 280 points the rings' middles lie at 121, 99, 77 and 55 points from the centre, outside in.
enum Ring { kSleep, kQuality, kDeep, kHeartRate };
constexpr std::array<double, 4> kRadius280{121, 99, 77, 55};
constexpr std::array<double, 4> kFloors{0.012, 0.015, 0.02, 0.025};

struct Rings {
  std::array<float, 4> fractions{0.5f, 0.5f, 0.5f, 0.5f};
  float rating = 0.0f;
  bool forStages = false;
  float size = 280.0f;
};

class SleepRingsTest : public ::testing::Test {
 protected:
  SleepRingsTest() { env.scale = 1; }
  ImageRef draw(const Rings& r) {
    const ImageRef image =
        graphics.drawSleepRingsWithSize(r.size, r.fractions[kSleep], r.fractions[kQuality], r.fractions[kDeep],
                                        r.fractions[kHeartRate], r.rating, r.forStages);
    EXPECT_TRUE(image);
    if (image) {
      EXPECT_EQ(image->width(), r.size);
    }
    return image;
  }
  RGBA charge(float fraction) { return graphics.pallet().colourForBatteryChargePercent(fraction).rgba(); }
  RGBA track() const { return SleepMetricsGraphics::ringBkg().rgba(); }
  // A point on a ring `points` along it (clockwise) from where `turn` puts it.
  static Point along(Ring ring, double turn, double points) {
    return onDial(280, kRadius280[ring], turn + points / (2 * std::numbers::pi * kRadius280[ring]));
  }

  testing::TestEnvironment env;
  Graphics graphics{env};
};

// The pixels within `radius` points of the centre whose point `matches`: their bounding box, in points.
struct Box {
  double left = 1e9, top = 1e9, right = -1e9, bottom = -1e9;
  int count = 0;
  double width() const { return right - left; }
};
template <typename Match>
Box boxOf(const Image& image, double radius, Match matches) {
  Box box;
  const double c = image.width() / 2;
  for (double y = std::max(0.0, c - radius); y < std::min(image.height(), c + radius); y += 1)
    for (double x = std::max(0.0, c - radius); x < std::min(image.width(), c + radius); x += 1)
      if (std::hypot(x + 0.5 - c, y + 0.5 - c) <= radius && matches(Point{x, y})) {
        box.left = std::min(box.left, x), box.right = std::max(box.right, x + 1);
        box.top = std::min(box.top, y), box.bottom = std::max(box.bottom, y + 1);
        ++box.count;
      }
  return box;
}
template <typename Match>
Box boxOfColour(const Image& image, double radius, Match matches) {
  return boxOf(image, radius, [&](Point p) { return matches(pixelAt(image, p)); });
}
Box differences(const Image& a, const Image& b) {
  return boxOf(a, a.width(), [&](Point p) { return !(pixelAt(a, p) == pixelAt(b, p)); });
}

// Each ring coloured for its own, uncapped fraction up to its end and the track beyond; a ring past its
// target laps the whole way round.
TEST_F(SleepRingsTest, EachRingIsColouredForItsFractionAsFarAsItGoes) {
  const Rings r{{0.45f, 0.8f, 1.5f, 1.2f}};
  const ImageRef image = draw(r);
  ASSERT_TRUE(image);
  for (const Ring ring : {kSleep, kQuality, kDeep, kHeartRate}) {
    const float v = r.fractions[ring];
    for (const double turn : {0.1, 0.3, 0.6, 0.95}) {
      const bool painted = turn < v;
      EXPECT_TRUE(near(pixelAt(*image, onDial(280, kRadius280[ring], turn)), painted ? charge(v) : track(), 0.02))
          << "ring " << ring << " at " << turn << " turn: " << (painted ? "ring" : "track") << " expected";
    }
  }
}

// However small or meaningless its fraction, a ring is drawn as its floor: a stub at 12 o'clock with
// its round ends (and glyph), never the near-full circle a fraction short of the start would sweep.
TEST_F(SleepRingsTest, FloorsLeaveEveryRingAStub) {
  for (const float value : {0.0f, 0.005f, -1.0f, kNaNf, -kInff}) {
    const Rings r{{value, value, value, value}};
    const ImageRef image = draw(r);
    ASSERT_TRUE(image);
    for (const Ring ring : {kSleep, kQuality, kDeep, kHeartRate}) {
      const RGBA stub = charge(static_cast<float>(kFloors[ring]));
      EXPECT_TRUE(near(pixelAt(*image, along(ring, 0.01, -6)), stub, 0.02))
          << "start of ring " << ring << ", " << value;
      EXPECT_TRUE(near(pixelAt(*image, along(ring, kFloors[ring], 8)), stub, 0.02))
          << "end of ring " << ring << ", " << value;
      EXPECT_TRUE(near(pixelAt(*image, onDial(280, kRadius280[ring], 0.5)), track(), 0.02))
          << "ring " << ring << " half way round, " << value;
    }
  }
}

// The tip lifts off the dial: its black shadow falls just past the ring's end, darker than the body's
// soft shadow would leave the track.
TEST_F(SleepRingsTest, TipsCastTheirShadowPastTheEnd) {
  const ImageRef image = draw({{0.2f, 0.35f, 0.6f, 0.85f}});
  ASSERT_TRUE(image);
  const std::array<float, 4> ends{0.2f, 0.35f, 0.6f, 0.85f};
  for (const Ring ring : {kSleep, kQuality, kDeep, kHeartRate}) {
    const RGBA past = pixelAt(*image, along(ring, ends[ring], 11.5));
    EXPECT_LT(past.blue, track().blue * 0.75) << "ring " << ring;
    EXPECT_TRUE(near(pixelAt(*image, along(ring, ends[ring], 40)), track(), 0.02)) << "ring " << ring;
  }
}

// The stages glyph replaces the star at the quality ring's tip and nowhere else.
TEST_F(SleepRingsTest, StagesChangeOnlyTheQualityGlyph) {
  const float quality = 0.62f;
  const ImageRef star = draw({{0.3f, quality, 0.8f, 0.9f}, 0.7f, false});
  const ImageRef rem = draw({{0.3f, quality, 0.8f, 0.9f}, 0.7f, true});
  ASSERT_TRUE(star && rem);
  const Box changed = differences(*star, *rem);
  ASSERT_GT(changed.count, 20);
  const Point tip = onDial(280, kRadius280[kQuality], quality);
  EXPECT_LE(std::max(std::abs(changed.left - tip.x), std::abs(changed.right - tip.x)), 12);
  EXPECT_LE(std::max(std::abs(changed.top - tip.y), std::abs(changed.bottom - tip.y)), 12);
}

// The disc, the rating's arc and its number come only with a positive rating. The number is rounded below
// a whole turn and "100" from there on, and sits in the middle of the disc.
TEST_F(SleepRingsTest, TheRatingBringsTheDiscArcAndNumber) {
  const Point belowNumber{140, 140 + 30};
  const auto tinted = [this](const RGBA& p) { return near(p, graphics.pallet().highTintColour().rgba(), 0.1); };
  for (const float rating : {0.0f, -0.5f, kNaNf}) {
    const ImageRef image = draw({{0.5f, 0.5f, 0.5f, 0.5f}, rating});
    ASSERT_TRUE(image);
    EXPECT_TRUE(near(pixelAt(*image, belowNumber), kClear, 0.01)) << rating;
    EXPECT_EQ(boxOfColour(*image, 40, tinted).count, 0) << rating;
  }

  const ImageRef half = draw({{0.5f, 0.5f, 0.5f, 0.5f}, 0.5f});
  ASSERT_TRUE(half);
  EXPECT_TRUE(near(pixelAt(*half, belowNumber), graphics.pallet().colourForClockFace(5, true).rgba(), 0.02));
  EXPECT_TRUE(tinted(pixelAt(*half, onDial(280, 38, 0.25)))) << "the arc, half way round";
  EXPECT_FALSE(tinted(pixelAt(*half, onDial(280, 38, 0.75)))) << "no arc beyond the rating";
  const Box number = boxOfColour(*half, 33, tinted);
  EXPECT_NEAR((number.left + number.right) / 2, 140, 1.0);
  EXPECT_NEAR((number.top + number.bottom) / 2, 140, 1.0);

  const auto numberWidth = [&](float rating) { return boxOfColour(*draw({{}, rating}), 33, tinted).width(); };
  const double hundred = numberWidth(1.0f);
  EXPECT_EQ(numberWidth(0.999f), hundred) << "0.999 rounds to 100";
  EXPECT_EQ(numberWidth(1.2f), hundred);
  EXPECT_LT(numberWidth(0.994f), hundred) << "99";
  const ImageRef over = draw({{}, 1.2f});
  for (const double turn : {0.1, 0.5, 0.9}) EXPECT_TRUE(tinted(pixelAt(*over, onDial(280, 38, turn)))) << turn;
}

// The accessory widget's 260 points: white rings, arc and number, tracks as ever, and no disc.
TEST_F(SleepRingsTest, AccessorySizeIsWhiteWithoutADisc) {
  const ImageRef image = draw({{0.6f, 0.6f, 0.6f, 0.6f}, 0.5f, false, 260.0f});
  ASSERT_TRUE(image);
  for (const Ring ring : {kSleep, kQuality, kDeep, kHeartRate}) {
    const double radius = kRadius280[ring] - 10;
    EXPECT_TRUE(near(pixelAt(*image, onDial(260, radius, 0.3)), kWhite, 0.01)) << ring;
    EXPECT_TRUE(near(pixelAt(*image, onDial(260, radius, 0.8)), track(), 0.02)) << ring;
  }
  EXPECT_TRUE(near(pixelAt(*image, onDial(260, 28, 0.25)), kWhite, 0.05)) << "the rating's arc";
  EXPECT_TRUE(near(pixelAt(*image, {130, 130 + 22}), kClear, 0.01)) << "no disc";
  EXPECT_GT(boxOfColour(*image, 20, [](const RGBA& p) { return near(p, kWhite, 0.05); }).count, 100) << "the number";
}

// A ring beyond any target sweeps more than a whole turn, which draws one whole circle; so does the rating's arc.
// The rings drawn after it are drawn as ever.
class WholeCircles : public SleepRingsTest, public ::testing::WithParamInterface<float> {};

TEST_P(WholeCircles, RingsBeyondAnyTarget) {
  const float value = GetParam();
  const ImageRef image = draw({{0.5f, value, kNaNf, 0.5f}, value});
  ASSERT_TRUE(image);
  for (const double turn : {0.25, 0.5, 0.75})
    EXPECT_TRUE(near(pixelAt(*image, onDial(280, kRadius280[kQuality], turn)), charge(value), 0.02)) << turn;
  EXPECT_TRUE(near(pixelAt(*image, onDial(280, kRadius280[kSleep], 0.3)), charge(0.5f), 0.02)) << "drawn after it";
  EXPECT_TRUE(near(pixelAt(*image, onDial(280, 38, 0.5)), graphics.pallet().highTintColour().rgba(), 0.1))
      << "the rating's arc";
}

INSTANTIATE_TEST_SUITE_P(Huge, WholeCircles, ::testing::Values(1e38f, std::numeric_limits<float>::max(), kInff));

}  // namespace
}  // namespace velmora
