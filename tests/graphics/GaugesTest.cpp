#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <string>

#include "graphics/Gauges.h"
#include "graphics/SleepMetricsGraphics.h"
#include "palette/Pallet.h"
#include "platform/Image.h"
#include "support/Pixels.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::inkBounds;
using testing::near;
using testing::pixelAt;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr RGBA kWhite{1, 1, 1, 1};

class Graphics : public SleepMetricsGraphics {
 public:
  using SleepMetricsGraphics::pallet;
  using SleepMetricsGraphics::SleepMetricsGraphics;
  void enterWidgetMode() { setWidgetFlags(true, false); }
};

// Drawing at scale 1, so a point is a pixel. One environment serves a test's cases, so its fonts load once.
class GaugeTest : public ::testing::Test {
 protected:
  GaugeTest() { env.scale = 1; }
  testing::TestEnvironment env;
};

using Draw = ImageRef (SleepMetricsGraphics::*)(float, const MetricDictionary&);
constexpr Draw kSpO2 = &SleepMetricsGraphics::drawSpO2GaugeWithSize;
constexpr Draw kRespRate = &SleepMetricsGraphics::drawRespRateGaugeWithSize;
constexpr Draw kConsistency = &SleepMetricsGraphics::drawConsistencyGaugeWithSize;
constexpr Draw kWristTemp = &SleepMetricsGraphics::drawWristTempGaugeWithSize;

MetricDictionary numbers(std::initializer_list<std::pair<const char*, double>> entries) {
  MetricDictionary d;
  for (const auto& [key, value] : entries) d.setValue(key, Value::number(static_cast<float>(value)));
  return d;
}

// The point at `radius` from the centre of a `size` image, at `degrees` (0 at 3 o'clock, clockwise).
Point at(double size, double radius, double degrees) {
  const double angle = degrees * std::numbers::pi / 180.0;
  return {size / 2 + radius * std::cos(angle), size / 2 + radius * std::sin(angle)};
}

double degreesOf(double position) { return gaugeAngle(position) * 180.0 / std::numbers::pi; }
double spO2Degrees(double percent) { return degreesOf((percent - 80) / 20); }
double starsDegrees(double stars) { return degreesOf(stars / 7); }

// Paints `over` at its alpha on an opaque `under`.
RGBA over(const Colour& top, const RGBA& u) {
  const RGBA t = top.rgba();
  const auto mix = [&](double a, double b) { return a * t.alpha + b * (1 - t.alpha); };
  return {mix(t.red, u.red), mix(t.green, u.green), mix(t.blue, u.blue), 1};
}

TEST_F(GaugeTest, PositionsAnglesAndStars) {
  const std::pair<double, double> angles[] = {{0, -234}, {0.5, -90}, {1, 54}, {(95 - 80) / 20.0, -18}};
  for (const auto& [position, degrees] : angles) EXPECT_NEAR(degreesOf(position), degrees, 1e-9) << position;
  const std::pair<float, double> positions[] = {{0, 0}, {3.5f, 0.5}, {7, 1}, {-1, 0}, {9, 1}};
  for (const auto& [stars, position] : positions) EXPECT_DOUBLE_EQ(starsPosition(stars), position) << stars;

  // The drift of the bedtime in minutes, band by band and at the edges between them.
  const std::pair<float, float> drifts[] = {
      {-200, 0},    {-135, 0}, {-112.5f, 0.5f}, {-90, 1},     {-60, 1 + 30 / 45.0f}, {-45, 2}, {-30, 2.5f},    {-15, 3},
      {0, 3.5f},    {15, 4},   {30, 4.5f},      {45, 5},      {67.5f, 5.5f},         {90, 6},  {112.5f, 6.5f}, {135, 7},
      {135.01f, 7}, {kInf, 7}, {-kInf, 0},      {kNaN, 3.5f},
  };
  for (const auto& [minutes, stars] : drifts)
    EXPECT_FLOAT_EQ(consistencyStarsForTrend(minutes), stars) << minutes << " minutes";
}

struct NeedleCase {
  const char* name;
  Draw draw;
  MetricDictionary dict;
  double degrees;
};

// The needle is white along its middle at its angle, and the dial beside it is not.
TEST_F(GaugeTest, NeedlePointsWhereTheValueSays) {
  const NeedleCase cases[] = {
      {"SpO2 95", kSpO2, numbers({{"averageSpO2", 95}}), -18},
      {"SpO2 100", kSpO2, numbers({{"averageSpO2", 100}}), 54},
      {"SpO2 missing rests at the floor", kSpO2, {}, degreesOf(0.01)},
      {"consistency keeping time points straight up", kConsistency, numbers({{"bedTrend", 0}}), -90},
      {"consistency half an hour later", kConsistency, numbers({{"bedTrend", 1800}}), starsDegrees(4.5)},
      {"breathing 16.25 points straight up", kRespRate, numbers({{"averageRespRate", 16.25}}), -90},
      {"breathing 6 is one star", kRespRate, numbers({{"averageRespRate", 6}}), starsDegrees(1)},
      {"wrist score 7 at the end", kWristTemp, numbers({{"wristTempScore", 7}}), 54},
      {"wrist score beyond the scale stays at its end", kWristTemp, numbers({{"wristTempScore", 12}}), 54},
  };
  for (const NeedleCase& c : cases) {
    Graphics graphics(env);
    const ImageRef image = (graphics.*c.draw)(280, c.dict);
    ASSERT_TRUE(image) << c.name;
    EXPECT_TRUE(near(pixelAt(*image, at(280, 90, c.degrees)), kWhite, 0.02)) << c.name;
    for (const double aside : {-10.0, 10.0})
      EXPECT_FALSE(near(pixelAt(*image, at(280, 90, c.degrees + aside)), kWhite, 0.2)) << c.name << ", " << aside;
  }
}

struct ScaleCase {
  const char* name;
  Draw draw;
  MetricDictionary dict;
  double degrees;
  std::function<Colour(const Pallet&)> colour;
  int scale = 1;  // a seven-segment gap is 1.7 points wide: looked at on finer pixels
};

// On the scale's middle radius: the zones, the segments and the black gaps between them (0.1 % of blood oxygen,
// 0.02 of a star).
TEST_F(GaugeTest, ScaleSegmentsAndGaps) {
  const auto black = [](const Pallet&) { return Colour::blackColor(); };
  const auto ready = [](float r) { return [r](const Pallet& p) { return p.colourForReadyScore(r); }; };
  const auto spO2 = [](float s) { return [s](const Pallet& p) { return p.colourForSpO2Reading(s); }; };
  const auto charge = [](float c) { return [c](const Pallet& p) { return p.colourForBatteryChargePercent(c); }; };
  const auto wrist = [](float s) { return [s](const Pallet& p) { return p.colourForWristTempScore(s); }; };
  const MetricDictionary lowSpO2 = numbers({{"averageSpO2", 81}});
  const MetricDictionary slowBreathing = numbers({{"averageRespRate", 2}});
  const MetricDictionary earlyBed = numbers({{"bedTrend", -7200}});
  const ScaleCase cases[] = {
      {"SpO2 start zone", kSpO2, lowSpO2, spO2Degrees(83), ready(0)},
      {"SpO2 gap at 85", kSpO2, lowSpO2, spO2Degrees(84.95), black},
      {"SpO2 85 to 90", kSpO2, lowSpO2, spO2Degrees(87.5), spO2(85)},
      {"SpO2 gap at 90", kSpO2, lowSpO2, spO2Degrees(89.95), black},
      {"SpO2 90 to 95", kSpO2, lowSpO2, spO2Degrees(92.5), spO2(90)},
      {"SpO2 gap at 95", kSpO2, lowSpO2, spO2Degrees(94.95), black},
      {"SpO2 95 to 100", kSpO2, lowSpO2, spO2Degrees(97.5), spO2(95)},
      {"breathing first segment", kRespRate, slowBreathing, starsDegrees(0.7), ready(0)},
      {"breathing gap", kRespRate, slowBreathing, starsDegrees(1.99), black, 3},
      {"breathing middle", kRespRate, slowBreathing, starsDegrees(3.5), ready(1.1f)},
      {"breathing fifth", kRespRate, slowBreathing, starsDegrees(4.5), ready(1.0f)},
      {"consistency third", kConsistency, earlyBed, starsDegrees(2.5), charge(0.9f)},
      {"consistency middle", kConsistency, earlyBed, starsDegrees(3.5), charge(1.0f)},
      {"consistency gap", kConsistency, earlyBed, starsDegrees(5.99), black, 3},
      {"consistency last", kConsistency, earlyBed, starsDegrees(6.5), ready(0)},
      {"wrist second", kWristTemp, {}, starsDegrees(1.5), wrist(1.5f)},
      {"wrist middle", kWristTemp, {}, starsDegrees(3.5), wrist(3.5f)},
      {"wrist last", kWristTemp, {}, starsDegrees(6.5), wrist(6.5f)},
  };
  for (const ScaleCase& c : cases) {
    env.scale = c.scale;
    Graphics graphics(env);
    const ImageRef image = (graphics.*c.draw)(280, c.dict);
    ASSERT_TRUE(image) << c.name;
    EXPECT_TRUE(near(pixelAt(*image, at(280, 116, c.degrees)), c.colour(graphics.pallet()).rgba(), 0.02)) << c.name;
  }
}

struct BandCase {
  const char* name;
  Draw draw;
  MetricDictionary dict;
  double radius, degrees;
  bool banded;  // else the scale (or the dial) shows as drawn without bands
};

// Last night's band reaches in from the scale between its two angles; the seven nights' lies on the scale,
// half see-through, with a dark mark at their mean. The breathing rate's seven nights need a plausible average.
TEST_F(GaugeTest, BandsLieBetweenTheirAngles) {
  const MetricDictionary spO2 = numbers({{"averageSpO2", 82},
                                         {"minSpO2", 91},
                                         {"maxSpO2", 99},
                                         {"averageSpO27", 96},
                                         {"minSpO27", 90},
                                         {"maxSpO27", 98}});
  const auto breathing = [](double average7) {
    return numbers({{"averageRespRate", 2},
                    {"minRespRate", 14},
                    {"maxRespRate", 18},
                    {"averageRespRate7", average7},
                    {"minRespRate7", 14},
                    {"maxRespRate7", 18}});
  };
  const BandCase cases[] = {
      {"SpO2 inside last night's range", kSpO2, spO2, 70, spO2Degrees(93), true},
      {"SpO2 below last night's range", kSpO2, spO2, 70, spO2Degrees(90), false},
      {"SpO2 above last night's range", kSpO2, spO2, 70, spO2Degrees(99.5), false},
      {"SpO2 seven nights", kSpO2, spO2, 116, spO2Degrees(92), true},
      {"SpO2 seven nights' mean", kSpO2, spO2, 116, spO2Degrees(96), true},
      {"SpO2 above seven nights", kSpO2, spO2, 116, spO2Degrees(99), false},
      {"breathing inside last night's range", kRespRate, breathing(15), 70, -90, true},
      {"breathing seven nights", kRespRate, breathing(15), 116, starsDegrees(3.5), true},
      {"breathing seven nights of no rate", kRespRate, breathing(1), 116, starsDegrees(3.5), false},
      {"breathing seven nights too fast", kRespRate, breathing(40), 116, starsDegrees(3.5), false},
      {"consistency has no bands", kConsistency, numbers({{"bedTrend", -7200}}), 70, -90, false},
  };
  for (const BandCase& c : cases) {
    Graphics graphics(env);
    const ImageRef image = (graphics.*c.draw)(280, c.dict);
    ASSERT_TRUE(image) << c.name;
    const Pallet& pallet = graphics.pallet();
    // What lies under the bands there.
    Colour under = SleepMetricsGraphics::gaugeBkg();
    if (c.radius == 116 && c.draw == kSpO2) under = pallet.colourForSpO2Reading(c.degrees > spO2Degrees(95) ? 95 : 90);
    if (c.radius == 116 && c.draw == kRespRate) under = pallet.colourForReadyScore(1.1f);
    RGBA expected = under.rgba();
    if (c.banded && c.radius == 116) expected = over(Colour::hsba(193 / 360.0, 0.92, 0.5, 0.5), expected);
    if (c.banded && c.radius != 116) expected = Colour::hsba(193 / 360.0, 0.92, 0.5).rgba();
    // The mark lies on the seven nights' band.
    if (c.name == std::string("SpO2 seven nights' mean"))
      expected = over(Colour::hsba(193 / 360.0, 0.92, 0.1, 0.8), expected);
    EXPECT_TRUE(near(pixelAt(*image, at(280, c.radius, c.degrees)), expected, 0.02)) << c.name;
  }
}

// Last night's band is 85 points wide at 280 points (scaled with the gauge), 78 in widgets: it reaches from the
// scale's inner edge in to 12.5 points from the centre, or to 23 in a widget.
TEST_F(GaugeTest, WidgetModeNarrowsLastNightsBand) {
  const MetricDictionary spO2 = numbers({{"averageSpO2", 82}, {"minSpO2", 91}, {"maxSpO2", 99}});
  const Colour band = Colour::hsba(193 / 360.0, 0.92, 0.5);
  const struct {
    bool widget;
    double size, radius;
    bool banded;
  } cases[] = {
      {false, 280, 96, true},    {false, 280, 99, false}, {true, 280, 100, true},
      {true, 280, 102.3, false}, {false, 280, 17, true},  {true, 280, 17, false},
      {true, 280, 25, true},     {false, 560, 193, true}, {false, 560, 197.5, false},
  };
  for (const auto& c : cases) {
    Graphics graphics(env);
    if (c.widget) graphics.enterWidgetMode();
    const ImageRef image = graphics.drawSpO2GaugeWithSize(static_cast<float>(c.size), spO2);
    ASSERT_TRUE(image);
    const RGBA expected = (c.banded ? band : SleepMetricsGraphics::gaugeBkg()).rgba();
    // Near the centre the needle's shadow falls faintly.
    EXPECT_TRUE(near(pixelAt(*image, at(c.size, c.radius, spO2Degrees(95))), expected, c.radius < 30 ? 0.04 : 0.02))
        << (c.widget ? "widget" : "not widget") << " at radius " << c.radius << " of " << c.size;
  }
}

// The icon fills its square below the hub; the text is centred above the hub.
TEST_F(GaugeTest, IconBelowTheHubAndTextCentredAboveIt) {
  const struct {
    const char* name;
    Draw draw;
    MetricDictionary dict;
    bool widget;
  } cases[] = {
      {"SpO2", kSpO2, numbers({{"averageSpO2", 95}}), false},
      {"breathing in a widget", kRespRate, numbers({{"averageRespRate", 16.25}}), true},
      {"consistency", kConsistency, MetricDictionary{{"starsLabel", Value("12m")}}, false},
      {"wrist temperature", kWristTemp,
       MetricDictionary{{"wristTempScore", Value::number(3.5f)}, {"wristTempDifLabel", Value("0.25\u00B0\u2197")}},
       false},
  };
  for (const auto& c : cases) {
    Graphics graphics(env);
    if (c.widget) graphics.enterWidgetMode();
    const ImageRef image = (graphics.*c.draw)(280, c.dict);
    ASSERT_TRUE(image) << c.name;
    // Light marks in the lower half of the dial are the icon's.
    const Rect icon =
        inkBounds(*image, {60, 150, 160, 80}, [](const RGBA& p) { return p.red + p.green + p.blue > 1.5; });
    EXPECT_GE(icon.x, 117) << c.name;
    EXPECT_LE(icon.x + icon.width, 163) << c.name;
    EXPECT_GE(icon.y, 165) << c.name;
    EXPECT_LE(icon.y + icon.height, 211) << c.name;
    EXPECT_GT(icon.width * icon.height, 20 * 20) << c.name;

    // The text is the warm tint; the needle, in its way, is pure white.
    const Colour tint = graphics.pallet().tintColour();
    const Rect text = inkBounds(*image, {40, 40, 200, 92}, [&](const RGBA& p) {
      return std::abs(p.red - tint.rgba().red) + std::abs(p.green - tint.rgba().green) +
                 std::abs(p.blue - tint.rgba().blue) <
             0.1;
    });
    EXPECT_NEAR(text.x + text.width / 2, 140, 2.0) << c.name;
    EXPECT_LT(text.y + text.height, 140 - 8) << c.name << ": above the hub";
    EXPECT_GT(text.width, 30) << c.name;
  }
}

// Numbers a store may hold draw what the rules make of them, and never stall the drawing: what cannot be placed
// is left out, the rest of the gauge still drawn.
TEST_F(GaugeTest, AbsurdNumbersStillDrawTheGauge) {
  const char* const keys[] = {"averageSpO2",  "minSpO2",         "maxSpO2",     "averageSpO27",  "minSpO27",
                              "maxSpO27",     "averageRespRate", "minRespRate", "maxRespRate",   "averageRespRate7",
                              "minRespRate7", "maxRespRate7",    "bedTrend",    "wristTempScore"};
  for (const double absurd : {kNaN, kInf, -kInf, 1e308, -1e308, 3e38, 1e30}) {
    MetricDictionary dict;
    for (const char* key : keys) dict.setValue(key, Value::real(absurd));
    for (const Draw draw : {kSpO2, kRespRate, kConsistency, kWristTemp}) {
      Graphics graphics(env);
      const ImageRef image = (graphics.*draw)(280, dict);
      ASSERT_TRUE(image) << absurd;
      EXPECT_EQ(image->width(), 280.0);
      // Between the scale and last night's band the dial shows, unless the needle lies there: it cannot lie
      // on both sides.
      const RGBA dial = SleepMetricsGraphics::gaugeBkg().rgba();
      EXPECT_TRUE(near(pixelAt(*image, {40, 140}), dial, 0.02) || near(pixelAt(*image, {240, 140}), dial, 0.02))
          << absurd;
    }
  }
}

}  // namespace
}  // namespace velmora
