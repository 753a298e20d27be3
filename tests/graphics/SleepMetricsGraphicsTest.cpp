#include <cairo.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <numbers>
#include <optional>
#include <string>

#include "graphics/SleepMetricsGraphics.h"
#include "palette/Pallet.h"
#include "platform/Image.h"
#include "platform/UserDefaults.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr RGBA kBlack{0, 0, 0, 1}, kWhite{1, 1, 1, 1};

// Opens up what the presentation operations do around the drawing.
class Graphics : public SleepMetricsGraphics {
 public:
  using SleepMetricsGraphics::openStore;
  using SleepMetricsGraphics::pallet;
  using SleepMetricsGraphics::SleepMetricsGraphics;
  void enterWidgetMode() { setWidgetFlags(true, false); }
};

// 2025-01-06 at hh:mm in Berlin (UTC+1 in January), drawing at scale 2.
struct ClockEnvironment : testing::TestEnvironment {
  explicit ClockEnvironment(const std::string& hhmm = "20:00")
      : TestEnvironment("2025-01-06T" + hhmm + ":00+01:00", "Europe/Berlin") {
    scale = 2;
  }
};

// A time of day that evening, or the morning after for times before noon.
std::optional<Date> clockTime(const char* hhmm) {
  if (!hhmm) return std::nullopt;
  const std::string t(hhmm);
  return testing::isoDate((t < "12:00" ? "2025-01-07T" : "2025-01-06T") + t + ":00+01:00");
}

// The point at `radius` from the centre of a `size` image, `turn` of the way round from 12 o'clock.
Point onDial(float size, double radius, double turn) {
  const double angle = (turn - 0.25) * 2.0 * kPi;
  return {size / 2.0 + radius * std::cos(angle), size / 2.0 + radius * std::sin(angle)};
}

// The straight (not premultiplied) colour of the pixel under a point.
RGBA pixelAt(const Image& image, Point p) {
  cairo_surface_t* surface = image.surface();
  cairo_surface_flush(surface);
  const int x = static_cast<int>(std::floor(p.x * image.scale())),
            y = static_cast<int>(std::floor(p.y * image.scale()));
  EXPECT_TRUE(x >= 0 && y >= 0 && x < cairo_image_surface_get_width(surface) &&
              y < cairo_image_surface_get_height(surface));
  std::uint32_t argb = 0;
  std::memcpy(&argb, cairo_image_surface_get_data(surface) + y * cairo_image_surface_get_stride(surface) + x * 4, 4);
  const double a = (argb >> 24) / 255.0;
  if (a == 0.0) return {};
  auto channel = [&](int shift) { return ((argb >> shift) & 0xff) / 255.0 / a; };
  return {channel(16), channel(8), channel(0), a};
}

::testing::AssertionResult near(const RGBA& actual, const RGBA& expected, double tolerance) {
  const double worst = std::max({std::abs(actual.red - expected.red), std::abs(actual.green - expected.green),
                                 std::abs(actual.blue - expected.blue), std::abs(actual.alpha - expected.alpha)});
  if (worst <= tolerance) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "pixel (" << actual.red << ", " << actual.green << ", " << actual.blue << ", "
                                       << actual.alpha << ") is not (" << expected.red << ", " << expected.green << ", "
                                       << expected.blue << ", " << expected.alpha << ")";
}

TEST(SleepMetricsGraphicsTest, RadiansAndTipShadows) {
  EXPECT_DOUBLE_EQ(SleepMetricsGraphics::radians(180.0), kPi);
  EXPECT_DOUBLE_EQ(SleepMetricsGraphics::radians(-90.0), -kPi / 2.0);
  const std::pair<float, std::pair<double, double>> cases[] = {
      {-0.5f, {2, 2}},   {0.25f, {2, 2}}, {0.2501f, {-1, 1}}, {0.5f, {-1, 1}}, {0.51f, {-1, -1}},
      {0.75f, {-1, -1}}, {0.76f, {2, 0}}, {1.0f, {2, 0}},     {1.2f, {2, 2}},  {1.3f, {-1, 1}},
      {1.6f, {-1, -1}},  {2.5f, {2, 0}},  {kNaN, {2, 0}}};
  for (const auto& [percent, offset] : cases)
    EXPECT_EQ(SleepMetricsGraphics::getShadowForPercent(percent), offset) << "percent " << percent;
}

TEST(SleepMetricsGraphicsTest, ConfigurationLookupReadsZeroForAnythingMissing) {
  const struct {
    bool openStore;
    std::optional<Value> config;
    float expected;
  } cases[] = {
      {false, Value(MetricDictionary{{"requiredHours", Value::number(7.5f)}}), 0.0f},  // never opens the store itself
      {true, std::nullopt, 0.0f},
      {true, Value::number(3.0f), 0.0f},
      {true, Value(MetricDictionary{{"nightHour", Value::integer(21)}}), 0.0f},
      {true, Value(MetricDictionary{{"requiredHours", Value::number(7.5f)}}), 7.5f},
      {true, Value(MetricDictionary{{"requiredHours", Value("6.5 hours")}}), 6.5f},
  };
  for (const auto& c : cases) {
    ClockEnvironment env;
    if (c.config) UserDefaults::suite(env, Environment::kSharedSuite)->setObject(*c.config, "velmoraConfig");
    Graphics graphics(env);
    if (c.openStore) graphics.openStore();
    EXPECT_EQ(graphics.getVelmoraConfigValueForKey("requiredHours"), c.expected);
  }
}

// --- Bed clock: 280 points, rim 128, numerals 104, ticks 114 to 118, needle 85, hand 110 ---

enum class Layer { kDial, kTrack, kRimLine, kTick, kWedge, kSleepArc, kNeedle, kHand, kNothing };

struct BedClockCase {
  const char* now;
  const char *bedtime, *waketime;
  double radius, hours;  // where to look
  Layer expect;
  bool widget = false;
};

class BedClockTest : public ::testing::TestWithParam<BedClockCase> {};

TEST_P(BedClockTest, PaintsTheExpectedLayerAtThePoint) {
  const BedClockCase& c = GetParam();
  ClockEnvironment env(c.now);
  Graphics graphics(env);
  if (c.widget) graphics.enterWidgetMode();
  const ImageRef image = graphics.drawTheBedClockWithSize(280.0f, clockTime(c.bedtime), clockTime(c.waketime));
  ASSERT_TRUE(image);
  ASSERT_EQ(image->width(), 280.0);
  const Pallet& pallet = graphics.pallet();
  const RGBA expected = [&]() -> RGBA {
    switch (c.expect) {
      case Layer::kDial:
        return kBlack;
      case Layer::kTrack:
        return SleepMetricsGraphics::ringBkg().rgba();
      case Layer::kRimLine:
        return SleepMetricsGraphics::gaugeBkg().rgba();
      case Layer::kTick:
        return SleepMetricsGraphics::textColour().rgba();
      case Layer::kWedge:
        return pallet.lightRatingColour(80).colorWithAlphaComponent(1.0).rgba();
      case Layer::kSleepArc:
        return pallet.lightRatingColour(110).rgba();
      case Layer::kNeedle:
        return pallet.lightRatingColour(40).colorWithAlphaComponent(1.0).rgba();
      case Layer::kHand:
        return kWhite;
      case Layer::kNothing:
        return {};
    }
    return {};
  }();
  // The hand's wide shadow darkens what lies near it; samples keep clear of it.
  EXPECT_TRUE(near(pixelAt(*image, onDial(280.0f, c.radius, c.hours / 24.0)), expected, 0.03));
}

const BedClockCase kFaceCases[] = {
    {"20:00", nullptr, nullptr, 90, 3.0, Layer::kDial},      {"20:00", nullptr, nullptr, 124, 12.0, Layer::kTrack},
    {"20:00", nullptr, nullptr, 139, 12.0, Layer::kRimLine}, {"20:00", nullptr, nullptr, 141, 3.0, Layer::kNothing},
    {"20:00", nullptr, nullptr, 116, 0.0, Layer::kTick},     {"20:00", nullptr, nullptr, 116, 6.0, Layer::kTick},
    {"08:00", "22:30", "06:45", 90, 8.0, Layer::kHand},      {"08:00", "22:30", "06:45", 90, 20.0, Layer::kDial},
};
INSTANTIATE_TEST_SUITE_P(Face, BedClockTest, ::testing::ValuesIn(kFaceCases));

const BedClockCase kWedgeCases[] = {
    // From now clockwise to bedtime; a bedtime already behind now is reached the long way round.
    {"20:00", "22:30", "06:45", 60, 21.25, Layer::kWedge},
    {"16:00", "23:00", "06:45", 30, 19.5, Layer::kWedge},
    {"20:00", "22:30", "06:45", 60, 12.0, Layer::kDial},
    {"20:00", "22:30", "06:45", 60, 3.0, Layer::kDial},
    {"23:00", "22:00", "06:45", 60, 12.0, Layer::kWedge},
    {"23:00", "22:00", "06:45", 60, 3.0, Layer::kWedge},
    {"23:00", "22:00", "06:45", 60, 22.5, Layer::kDial},
    // The widget's wedge reaches 40 from the centre instead of 75.
    {"16:00", "23:00", "06:45", 45, 19.5, Layer::kDial, true},
    {"16:00", "23:00", "06:45", 30, 19.5, Layer::kWedge, true},
    {"20:00", nullptr, "06:45", 60, 21.25, Layer::kDial},
    {"20:00", "22:30", nullptr, 60, 21.25, Layer::kDial},
};
INSTANTIATE_TEST_SUITE_P(Wedge, BedClockTest, ::testing::ValuesIn(kWedgeCases));

const BedClockCase kSleepArcCases[] = {
    // Bedtime to wake on the rim, through midnight; waking earlier on the dial wraps the long way.
    {"20:00", "22:30", "06:45", 129, 2.625, Layer::kSleepArc},
    {"20:00", "22:30", "06:45", 129, 23.0, Layer::kSleepArc},
    {"20:00", "22:30", "06:45", 129, 6.5, Layer::kSleepArc},
    {"20:00", "22:30", "06:45", 129, 12.0, Layer::kTrack},
    {"20:00", "22:30", "06:45", 129, 8.0, Layer::kTrack},
    {"20:00", "22:30", "06:45", 129, 21.5, Layer::kTrack},
    {"20:00", "23:00", "22:00", 129, 12.0, Layer::kSleepArc},
    {"20:00", "23:00", "22:00", 129, 22.5, Layer::kTrack},
    {"20:00", nullptr, "06:45", 129, 2.0, Layer::kTrack},
    {"20:00", "22:30", "06:45", 124, 2.625, Layer::kSleepArc},  // its inner and outer edges
    {"20:00", "22:30", "06:45", 134, 2.625, Layer::kSleepArc},
};
INSTANTIATE_TEST_SUITE_P(SleepArc, BedClockTest, ::testing::ValuesIn(kSleepArcCases));

const BedClockCase kNeedleCases[] = {
    // Looked for past the wedge (75) and short of the needle's end (85); none for bedtimes from 00:00 to 06:00.
    {"20:00", "22:30", "06:45", 80, 22.5, Layer::kNeedle}, {"20:00", "06:15", "06:45", 80, 6.25, Layer::kNeedle},
    {"20:00", "13:00", "06:45", 80, 13.0, Layer::kNeedle}, {"20:00", "00:30", "06:45", 80, 0.5, Layer::kDial},
    {"20:00", "04:00", "06:45", 80, 4.0, Layer::kDial},    {"20:00", "06:00", "06:45", 80, 6.0, Layer::kDial},
    {"20:00", "22:30", nullptr, 80, 22.5, Layer::kDial},
};
INSTANTIATE_TEST_SUITE_P(BedtimeNeedle, BedClockTest, ::testing::ValuesIn(kNeedleCases));

// --- Recharge: ring width 25 above 100 points (else 5); outer radius half - w + 1, inner half - 2w - 1 ---

enum class Ring { kSleep, kBank, kTrack, kGoalHour, kWhiteRing };  // the order of `byRing` below

struct RechargeCase {
  float size, sleep, bank;
  bool outer;   // which ring to look at
  double turn;  // where on it
  Ring expect;
  double fromMiddle = 0;  // how far out from the middle of the ring
};

class RechargeTest : public ::testing::TestWithParam<RechargeCase> {};

TEST_P(RechargeTest, PaintsTheExpectedRingAtThePoint) {
  const RechargeCase& c = GetParam();
  ClockEnvironment env;
  Graphics graphics(env);
  const ImageRef image = graphics.drawTheRechargeWithSize(c.size, c.sleep, c.bank);
  ASSERT_TRUE(image);
  const float width = c.size > 100 ? 25.0f : 5.0f;
  const float radius = c.outer ? c.size / 2 - width + 1 : c.size / 2 - 2 * width - 1;
  const float value = c.outer ? c.sleep : c.bank, floor = c.outer ? 0.012f : 0.015f;
  const Pallet& pallet = graphics.pallet();
  const Colour charge = pallet.colourForBatteryChargePercent(value > floor ? value : floor);
  const Colour byRing[] = {charge, charge.colorWithAlphaComponent(1.0), pallet.innerShadeForType(2),
                           pallet.innerShadeForType(0), Colour::whiteColor()};
  const RGBA expected = byRing[static_cast<int>(c.expect)].rgba();
  EXPECT_TRUE(near(pixelAt(*image, onDial(c.size, radius + c.fromMiddle, c.turn)), expected, 0.015));
}

const RechargeCase kRingCases[] = {
    {280, 0.5f, 0.9f, true, 0.3, Ring::kSleep},
    {280, 0.5f, 0.9f, true, 0.7, Ring::kTrack},
    {280, 0.5f, 0.9f, true, 0.56, Ring::kGoalHour},
    {280, 1.2f, 0.9f, true, 0.6, Ring::kSleep},  // laps the goal
    {280, 1.2f, 0.9f, true, 0.95, Ring::kSleep},
    {280, 0.5f, 0.3f, false, 0.15, Ring::kBank},
    {280, 0.5f, 0.3f, false, 0.6, Ring::kTrack},
    {280, 0.5f, 1.5f, false, 0.8, Ring::kBank},
    {100, 0.5f, 0.9f, true, 0.3, Ring::kSleep},
    {100, 0.5f, 0.9f, false, 0.7, Ring::kBank},
    {200, 0.93f, 0.9f, true, 0.5, Ring::kWhiteRing},
    {200, 0.93f, 0.9f, false, 0.5, Ring::kWhiteRing},
    // Both edges of both rings, a point inside.
    {280, 0.5f, 0.3f, false, 0.15, Ring::kBank, -11.5},
    {280, 0.5f, 0.3f, false, 0.15, Ring::kBank, 11.5},
    {280, 0.5f, 0.3f, true, 0.3, Ring::kSleep, -11.5},
    {280, 0.5f, 0.3f, true, 0.3, Ring::kSleep, 11.5},
};
INSTANTIATE_TEST_SUITE_P(Rings, RechargeTest, ::testing::ValuesIn(kRingCases));

// An empty ring still shows a stub at its start (size 100 has no marks to cover it).
const RechargeCase kStubCases[] = {
    {100, 0.0f, 0.0f, true, 0.011, Ring::kSleep},  {100, -1.0f, 0.0f, true, 0.011, Ring::kSleep},
    {100, kNaN, 0.0f, true, 0.011, Ring::kSleep},  {100, 0.0f, 0.0f, true, 0.3, Ring::kGoalHour},
    {100, 0.5f, 0.0f, false, 0.0125, Ring::kBank}, {100, 0.5f, 0.0f, false, 0.2, Ring::kTrack},
};
INSTANTIATE_TEST_SUITE_P(FloorStubs, RechargeTest, ::testing::ValuesIn(kStubCases));

TEST(RechargeGoalTest, EveryOtherGoalHourIsShaded) {
  const struct {
    std::optional<float> requiredHours;
    double goal;  // hours the track is divided into
    int wholeHours;
  } cases[] = {{9.0f, 9, 9}, {7.5f, 7.5, 7}, {std::nullopt, 8, 8}, {3.0f, 8, 8}, {4.0f, 4, 4}};
  for (const auto& c : cases) {
    ClockEnvironment env;
    if (c.requiredHours)
      UserDefaults::suite(env, Environment::kSharedSuite)
          ->setObject(MetricDictionary{{"requiredHours", Value::number(*c.requiredHours)}}, "velmoraConfig");
    Graphics graphics(env);
    graphics.openStore();
    const ImageRef image = graphics.drawTheRechargeWithSize(100, 0.0f, 0.0f);
    ASSERT_TRUE(image);
    for (int slot = 0; slot < std::ceil(c.goal); ++slot) {
      const bool shaded = slot % 2 == 0 && slot < c.wholeHours;
      const double middle = (slot + std::min(slot + 1.0, c.goal)) / 2.0 / c.goal;
      EXPECT_TRUE(near(pixelAt(*image, onDial(100, 46, middle)),
                       graphics.pallet().innerShadeForType(shaded ? 0 : 2).rgba(), 0.015))
          << "goal " << c.goal << ", slot " << slot;
    }
  }
}

TEST(RechargeTest, MoonSitsInTheCentreOnlyAtTwoHundred) {
  const auto whitePixelsNearCentre = [](float size) {
    ClockEnvironment env;
    const ImageRef image = Graphics(env).drawTheRechargeWithSize(size, 0.93f, 0.9f);
    int count = 0;
    for (double dy = -15; dy <= 15; dy += 0.5)
      for (double dx = -15; dx <= 15; dx += 0.5)
        if (near(pixelAt(*image, {size / 2 + dx, size / 2 + dy}), kWhite, 0.05)) ++count;
    return count;
  };
  EXPECT_GT(whitePixelsNearCentre(200), 100);
  EXPECT_EQ(whitePixelsNearCentre(201), 0);
}

TEST(RechargeTest, LeavesThePaletteDarkForGood) {
  ClockEnvironment env;
  UserDefaults::standard(env)->setBool(false, "darkTheme6");
  Graphics graphics(env);
  ASSERT_FALSE(graphics.pallet().isDarkTheme());
  ASSERT_TRUE(graphics.drawTheRechargeWithSize(100, 0.5f, 0.5f));
  graphics.drawTheBedClockWithSize(280, std::nullopt, std::nullopt);
  EXPECT_TRUE(graphics.pallet().isDarkTheme());
}

TEST(SleepMetricsGraphicsTest, DrawsAtTheRunsScaleOrNotAtAll) {
  ClockEnvironment env;
  env.scale = 1;
  const ImageRef image = Graphics(env).drawTheRechargeWithSize(120, 0.5f, 0.5f);
  ASSERT_TRUE(image);
  EXPECT_EQ(cairo_image_surface_get_width(image->surface()), 120);
  EXPECT_EQ(Graphics(env).drawTheBedClockWithSize(0.0f, std::nullopt, std::nullopt), nullptr);
}

}  // namespace
}  // namespace velmora
