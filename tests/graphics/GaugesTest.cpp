#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numbers>
#include <optional>
#include <string>

#include "drawing/Image.h"
#include "graphics/Gauges.h"
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
using testing::near;
using testing::pixelAt;

using Draw = ImageRef (SleepMetricsGraphics::*)(float, const MetricDictionary&);
constexpr Draw kSpO2 = &SleepMetricsGraphics::drawSpO2GaugeWithSize;
constexpr Draw kRespRate = &SleepMetricsGraphics::drawRespRateGaugeWithSize;
constexpr Draw kConsistency = &SleepMetricsGraphics::drawConsistencyGaugeWithSize;
constexpr Draw kWristTemp = &SleepMetricsGraphics::drawWristTempGaugeWithSize;

MetricDictionary numbers(std::initializer_list<std::pair<const char*, float>> entries) {
  MetricDictionary d;
  for (const auto& [key, value] : entries) d.setValue(key, Value::number(value));
  return d;
}

double degreesOf(double position) { return gaugeAngle(position) * 180.0 / std::numbers::pi; }
double spO2(double percent) { return degreesOf((percent - 80) / 20); }
double stars(double s) { return degreesOf(s / 7); }

// The drift of the average bedtime in minutes, band by band and at the edges between them.
TEST(GaugeTest, BedtimeDriftInStars) {
  const std::pair<float, float> drifts[] = {
      {-200, 0},  {-112.5f, 0.5f}, {-90, 1},      {-60, 1 + 30 / 45.0f}, {-45, 2}, {-30, 2.5f},    {-15, 3}, {0, 3.5f},
      {15, 4},    {30, 4.5f},      {45, 5},       {67.5f, 5.5f},         {90, 6},  {112.5f, 6.5f}, {135, 7}, {136, 7},
      {kInff, 7}, {-kInff, 0},     {kNaNf, 3.5f},
  };
  for (const auto& [minutes, s] : drifts) EXPECT_FLOAT_EQ(consistencyStarsForTrend(minutes), s) << minutes;
}

struct PixelCase {
  const char* name;
  Draw draw;
  MetricDictionary dict;
  double radius, degrees;
  std::function<RGBA(const Pallet&)> expect;
  bool widget = false;
  int scale = 1;  // a seven-segment gap is 1.7 points wide: looked at on finer pixels
};

// At scale 1, where a point is a pixel: the needle at its value's angle, the scale's segments and black gaps on
// its middle radius (116), last night's band reaching in from the scale between its two angles (radius 12.5 to
// 97.5, or 23 to 101 in widgets), the seven nights' half see-through band on the scale with a dark mark at their
// mean, drawn for breathing only for a plausible seven-night average.
TEST(GaugeTest, PaintsWhereTheValuesSay) {
  using Expect = std::function<RGBA(const Pallet&)>;
  const auto fixed = [](Colour c) -> Expect { return [c](const Pallet&) { return c.rgba(); }; };
  const auto rule = [](Colour (Pallet::*r)(float) const, float v) -> Expect {
    return [r, v](const Pallet& p) { return (p.*r)(v).rgba(); };
  };
  const Expect white = fixed(Colour::whiteColor()), black = fixed(Colour::blackColor());
  const Expect dial = fixed(SleepMetricsGraphics::gaugeBkg());
  const auto ready = [&](float r) { return rule(&Pallet::colourForReadyScore, r); };
  const auto reading = [&](float s) { return rule(&Pallet::colourForSpO2Reading, s); };
  const auto charge = [&](float c) { return rule(&Pallet::colourForBatteryChargePercent, c); };
  const auto wrist = [&](float s) { return rule(&Pallet::colourForWristTempScore, s); };
  const Colour bandColour = Colour::hsba(193 / 360.0, 0.92, 0.5);
  const Expect band = fixed(bandColour);
  const auto sevenNights = [&](Expect under) -> Expect {
    return
        [=](const Pallet& p) { return testing::composite(bandColour.colorWithAlphaComponent(0.5).rgba(), under(p)); };
  };
  // clang-format off
  const MetricDictionary night = numbers({{"averageSpO2", 82}, {"minSpO2", 91}, {"maxSpO2", 99},
                                          {"averageSpO27", 96}, {"minSpO27", 90}, {"maxSpO27", 98}});
  const auto breathing = [](float average7) {
    return numbers({{"averageRespRate", 2}, {"minRespRate", 14}, {"maxRespRate", 18},
                    {"averageRespRate7", average7}, {"minRespRate7", 14}, {"maxRespRate7", 18}});
  };  // clang-format on
  const MetricDictionary early = numbers({{"bedTrend", -7200}});
  const PixelCase cases[] = {
      {"needle at SpO2 95", kSpO2, numbers({{"averageSpO2", 95}}), 90, -18, white},
      {"beside it", kSpO2, numbers({{"averageSpO2", 95}}), 90, -8, dial},
      {"no SpO2 rests at the floor", kSpO2, {}, 90, degreesOf(0.01), white},
      {"drift 0 straight up", kConsistency, numbers({{"bedTrend", 0}}), 90, -90, white},
      {"half an hour later", kConsistency, numbers({{"bedTrend", 1800}}), 90, stars(4.5), white},
      {"wrist beyond the scale", kWristTemp, numbers({{"wristTempScore", 12}}), 90, 54, white},
      {"SpO2 gap at 85", kSpO2, night, 116, spO2(84.95), black},
      {"SpO2 85 to 90", kSpO2, night, 116, spO2(87.5), reading(85)},
      {"SpO2 gap at 95, under seven nights", kSpO2, night, 116, spO2(94.95), sevenNights(black)},
      {"SpO2 95 to 100", kSpO2, night, 116, spO2(99), reading(95)},
      {"breathing gap", kRespRate, breathing(0), 116, stars(1.99), black, false, 3},
      {"breathing middle", kRespRate, breathing(0), 116, stars(3.5), ready(1.1f)},
      {"consistency middle", kConsistency, early, 116, stars(3.5), charge(1.0f)},
      {"consistency gap", kConsistency, early, 116, stars(5.99), black, false, 3},
      {"wrist middle", kWristTemp, {}, 116, stars(3.5), wrist(3.5f)},
      {"SpO2 last night", kSpO2, night, 70, spO2(93), band},
      {"SpO2 below last night", kSpO2, night, 70, spO2(90), dial},
      {"band's outer edge", kSpO2, night, 96, spO2(95), band},
      {"beyond it", kSpO2, night, 99, spO2(95), dial},
      {"widget band's outer edge", kSpO2, night, 100, spO2(95), band, true},
      {"widget band's inner edge", kSpO2, night, 25, spO2(95), band, true},
      {"inside it", kSpO2, night, 17, spO2(95), dial, true},
      {"SpO2 seven nights", kSpO2, night, 116, spO2(92), sevenNights(reading(90))},
      {"SpO2 seven nights' mean", kSpO2, night, 116, spO2(96),
       [&](const Pallet& p) {
         return testing::composite(Colour::hsba(193 / 360.0, 0.92, 0.1, 0.8).rgba(), sevenNights(reading(95))(p));
       }},
      {"breathing last night", kRespRate, breathing(15), 70, -90, band},
      {"breathing seven nights", kRespRate, breathing(15), 116, stars(3.5), sevenNights(ready(1.1f))},
      {"no seven nights of 40", kRespRate, breathing(40), 116, stars(3.5), ready(1.1f)},
  };
  testing::TestEnvironment env;
  for (const PixelCase& c : cases) {
    env.scale = c.scale;
    Graphics graphics(env);
    if (c.widget) graphics.enterWidgetMode();
    const ImageRef image = (graphics.*c.draw)(280, c.dict);
    ASSERT_TRUE(image) << c.name;
    const double angle = c.degrees * std::numbers::pi / 180.0;
    const Point p{140 + c.radius * std::cos(angle), 140 + c.radius * std::sin(angle)};
    // Near the centre the needle's shadow falls faintly.
    EXPECT_TRUE(near(pixelAt(*image, p), c.expect(graphics.pallet()), c.radius < 30 ? 0.04 : 0.02)) << c.name;
  }
}

// The icon fills its square below the hub, for readiness and fuel by legend (none for 0, the fuel icon in its
// 40-point square for 1, the readiness figure in the 46-point square for 2); the text, where there is one, is centred
// above the hub, in both modes.
TEST(GaugeTest, IconBelowTheHubAndTextCentredAboveIt) {
  using DrawIn = std::function<ImageRef(Graphics&)>;
  const auto gauge = [](Draw draw, MetricDictionary dict) -> DrawIn {
    return [=](Graphics& g) { return (g.*draw)(280, dict); };
  };
  const auto readiness = [](std::optional<std::string> label, int legend) -> DrawIn {
    return [=](Graphics& g) { return g.drawReadiRingsWithSize(280, 0.8875f, label, legend); };
  };
  const Rect square{117, 165, 46, 46}, fuelSquare{122, 168, 40, 40}, none{}, readinessBelow{100, 150, 80, 70};
  const struct {
    const char* name;
    DrawIn draw;
    bool widget;
    Rect icon;  // where the icon may be; none for no icon
    bool text = true;
    Rect below{60, 150, 160, 80};  // where light pixels are the icon's (readiness's scale is lighter)
  } cases[] = {
      {"SpO2", gauge(kSpO2, numbers({{"averageSpO2", 95}})), false, square},
      {"breathing", gauge(kRespRate, numbers({{"averageRespRate", 16.25f}})), true, square},
      {"consistency", gauge(kConsistency, MetricDictionary{{"starsLabel", Value("12m")}}), false, square},
      {"wrist",
       gauge(kWristTemp,
             MetricDictionary{{"wristTempScore", Value::number(3.5f)}, {"wristTempDifLabel", Value("0.25\u00B0")}}),
       true, square},
      {"legend 0", readiness("Optimal", 0), false, none, true, readinessBelow},
      {"legend 1", readiness(std::nullopt, 1), false, fuelSquare, false, readinessBelow},
      {"legend 2", readiness("Jet fuel", 2), false, square, true, readinessBelow},
  };
  testing::TestEnvironment env;
  env.scale = 1;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Graphics graphics(env);
    if (c.widget) graphics.enterWidgetMode();
    const ImageRef image = c.draw(graphics);
    ASSERT_TRUE(image);
    const Rect icon = testing::lightBounds(*image, c.below);
    if (c.icon.width == 0) {
      EXPECT_EQ(icon.width * icon.height, 0) << "no icon";
    } else {
      EXPECT_TRUE(icon.x >= c.icon.x && icon.x + icon.width <= c.icon.x + c.icon.width && icon.y >= c.icon.y &&
                  icon.y + icon.height <= c.icon.y + c.icon.height && icon.width * icon.height > 300)
          << icon.x << ", " << icon.y << ", " << icon.width << " x " << icon.height;
    }
    // The text is the warm tint; the needle in its way is pure white.
    const Rect text = testing::tintBounds(*image, {40, 30, 200, 102}, graphics.pallet().tintColour().rgba());
    EXPECT_EQ(text.width > 30, c.text);
    if (c.text) {
      EXPECT_NEAR(text.x + text.width / 2, 140, 2.0);
      EXPECT_LE(text.y + text.height, 132) << "above the hub";
    }
  }
}

}  // namespace
}  // namespace velmora
