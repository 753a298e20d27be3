#include <cairo.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <numbers>
#include <optional>
#include <string>
#include <vector>

#include "graphics/DialDrawing.h"
#include "graphics/SleepMetricsGraphics.h"
#include "palette/Pallet.h"
#include "platform/Image.h"
#include "platform/UserDefaults.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::isoDate;
using testing::TestEnvironment;

constexpr double kPi = std::numbers::pi;

// Opens up what the presentation operations would do before drawing.
class Graphics : public SleepMetricsGraphics {
 public:
  using SleepMetricsGraphics::openStore;
  using SleepMetricsGraphics::pallet;
  using SleepMetricsGraphics::SleepMetricsGraphics;
  void enterWidgetMode() { setWidgetFlags(true, false); }
};

// An environment at 2025-01-06 hh:mm in Berlin (UTC+1 in January), drawing at scale 2.
struct ClockEnvironment : TestEnvironment {
  explicit ClockEnvironment(const std::string& hhmm = "20:00")
      : TestEnvironment("2025-01-06T" + hhmm + ":00+01:00", "Europe/Berlin") {
    scale = 2;
  }
};

// Times of day on the evening of the 6th, or the morning after for times before noon.
Date clockTime(const std::string& hhmm) {
  const bool morning = hhmm < "12:00";
  return isoDate((morning ? "2025-01-07T" : "2025-01-06T") + hhmm + ":00+01:00");
}

// The point at `radius` from the centre of a `size` image, `turn` of the way
// round clockwise from 12 o'clock.
Point onDial(float size, double radius, double turn) {
  const double angle = (turn - 0.25) * 2.0 * kPi;
  return {size / 2.0 + radius * std::cos(angle), size / 2.0 + radius * std::sin(angle)};
}
double turnOfDay(double hours) { return hours / 24.0; }

// The straight (not premultiplied) colour of the pixel under a point.
RGBA pixelAt(const Image& image, Point p) {
  cairo_surface_t* surface = image.surface();
  cairo_surface_flush(surface);
  const int x = static_cast<int>(std::floor(p.x * image.scale()));
  const int y = static_cast<int>(std::floor(p.y * image.scale()));
  EXPECT_TRUE(x >= 0 && y >= 0 && x < cairo_image_surface_get_width(surface) &&
              y < cairo_image_surface_get_height(surface))
      << "outside the image: " << p.x << ", " << p.y;
  std::uint32_t argb = 0;
  std::memcpy(&argb, cairo_image_surface_get_data(surface) + y * cairo_image_surface_get_stride(surface) + x * 4,
              sizeof argb);
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
                                       << expected.blue << ", " << expected.alpha << ") within " << tolerance;
}

constexpr RGBA kBlack{0, 0, 0, 1};
constexpr RGBA kWhite{1, 1, 1, 1};
constexpr RGBA kTransparent{};

// --- Shared functions ---------------------------------------------------------------

TEST(SleepMetricsGraphicsTest, RadiansAreDegreesOverAHalfTurn) {
  EXPECT_DOUBLE_EQ(SleepMetricsGraphics::radians(180.0), kPi);
  EXPECT_DOUBLE_EQ(SleepMetricsGraphics::radians(-90.0), -kPi / 2.0);
  EXPECT_DOUBLE_EQ(SleepMetricsGraphics::radians(7.5), kPi / 24.0);
}

TEST(SleepMetricsGraphicsTest, TipShadowFollowsTheQuarterOfTheRingsEnd) {
  struct Case {
    float percent;
    std::pair<double, double> offset;
  };
  const Case cases[] = {
      {-0.5f, {2, 2}},   {0.0f, {2, 2}},
      {0.25f, {2, 2}},   {0.2501f, {-1, 1}},
      {0.5f, {-1, 1}},   {0.51f, {-1, -1}},
      {0.75f, {-1, -1}}, {0.76f, {2, 0}},
      {1.0f, {2, 0}},    {1.2f, {2, 2}},
      {1.3f, {-1, 1}},   {1.6f, {-1, -1}},
      {2.5f, {2, 0}},    {std::numeric_limits<float>::quiet_NaN(), {2, 0}},
  };
  for (const Case& c : cases)
    EXPECT_EQ(SleepMetricsGraphics::getShadowForPercent(c.percent), c.offset) << "percent " << c.percent;
}

TEST(SleepMetricsGraphicsTest, DialColoursIgnoreTheTheme) {
  struct Case {
    Colour colour;
    RGBA rgb;
  };
  const Case cases[] = {
      {SleepMetricsGraphics::gaugeBkg(), {0.008, 0.080, 0.100, 1}},
      {SleepMetricsGraphics::ringBkg(), {0.012, 0.120, 0.150, 1}},
      {SleepMetricsGraphics::needleBkg(), {0.6, 0.6, 0.6, 1}},
      {SleepMetricsGraphics::textColour(), {0.850, 0.847, 0.808, 1}},
      {SleepMetricsGraphics::subtleTextColour(), {0.670, 0.667, 0.637, 1}},
      {SleepMetricsGraphics::verySubtleTextColour(), {0.550, 0.548, 0.523, 1}},
  };
  for (const Case& c : cases) EXPECT_TRUE(near(c.colour.rgba(), c.rgb, 0.0015));
}

TEST(SleepMetricsGraphicsTest, TimesOfDayLieOnATwentyFourHourDial) {
  struct Case {
    int hour, minute;
    double angle;
  };
  const Case cases[] = {
      {0, 0, -kPi / 2}, {6, 0, 0.0}, {12, 0, kPi / 2}, {18, 0, kPi}, {22, 30, 1.375 * kPi}, {0, 30, -kPi * 11 / 24},
  };
  for (const Case& c : cases)
    EXPECT_NEAR(dialAngleForTime(c.hour, c.minute), c.angle, 1e-6) << c.hour << ":" << c.minute;
}

TEST(SleepMetricsGraphicsTest, ConfigurationLookupReadsZeroForAnythingMissing) {
  struct Case {
    const char* name;
    bool openStore;
    std::optional<Value> config;
    float expected;
  };
  const Case cases[] = {
      {"store not opened yet", false, Value(MetricDictionary{{"requiredHours", Value::number(7.5f)}}), 0.0f},
      {"no configuration", true, std::nullopt, 0.0f},
      {"configuration that is no dictionary", true, Value::number(3.0f), 0.0f},
      {"key absent", true, Value(MetricDictionary{{"nightHour", Value::integer(21)}}), 0.0f},
      {"number", true, Value(MetricDictionary{{"requiredHours", Value::number(7.5f)}}), 7.5f},
      {"integer", true, Value(MetricDictionary{{"requiredHours", Value::integer(9)}}), 9.0f},
      {"text with a leading number", true, Value(MetricDictionary{{"requiredHours", Value("6.5 hours")}}), 6.5f},
  };
  for (const Case& c : cases) {
    ClockEnvironment env;
    if (c.config) UserDefaults::suite(env, Environment::kSharedSuite)->setObject(*c.config, "velmoraConfig");
    Graphics graphics(env);
    if (c.openStore) graphics.openStore();
    EXPECT_EQ(graphics.getVelmoraConfigValueForKey("requiredHours"), c.expected) << c.name;
  }
}

// --- Bed clock ------------------------------------------------------------------------

constexpr float kClockSize = 280.0f;

struct BedClockCase {
  const char* now;
  std::optional<std::string> bedtime, waketime;
  double radius;
  double hours;  // where on the dial to look
  enum Expect { kDial, kTrack, kWedge, kSleepArc, kNeedle } expect;
  bool widget = false;
};

RGBA expectedColour(BedClockCase::Expect expect, Pallet& pallet) {
  switch (expect) {
    case BedClockCase::kDial:
      return kBlack;
    case BedClockCase::kTrack:
      return SleepMetricsGraphics::ringBkg().rgba();
    case BedClockCase::kWedge:
      return pallet.lightRatingColour(80).colorWithAlphaComponent(1.0).rgba();
    case BedClockCase::kSleepArc:
      return pallet.lightRatingColour(110).rgba();
    case BedClockCase::kNeedle:
      return pallet.lightRatingColour(40).colorWithAlphaComponent(1.0).rgba();
  }
  return {};
}

class BedClockTest : public ::testing::TestWithParam<BedClockCase> {};

TEST_P(BedClockTest, PaintsTheExpectedLayerAtThePoint) {
  const BedClockCase& c = GetParam();
  ClockEnvironment env(c.now);
  Graphics graphics(env);
  if (c.widget) graphics.enterWidgetMode();
  const auto date = [](const std::optional<std::string>& t) { return t ? std::optional(clockTime(*t)) : std::nullopt; };
  const ImageRef image = graphics.drawTheBedClockWithSize(kClockSize, date(c.bedtime), date(c.waketime));
  ASSERT_TRUE(image);
  EXPECT_EQ(image->width(), kClockSize);
  EXPECT_EQ(image->scale(), 2);
  // Shadows of the needles reach a little way over the wedge; the rest is painted flat.
  EXPECT_TRUE(near(pixelAt(*image, onDial(kClockSize, c.radius, turnOfDay(c.hours))),
                   expectedColour(c.expect, graphics.pallet()), 0.03));
}

INSTANTIATE_TEST_SUITE_P(Wedge, BedClockTest,
                         ::testing::Values(
                             // From now to bedtime, clockwise.
                             BedClockCase{"20:00", "22:30", "06:45", 60, 21.25, BedClockCase::kWedge},
                             BedClockCase{"16:00", "23:00", "06:45", 30, 19.5, BedClockCase::kWedge},
                             BedClockCase{"20:00", "22:30", "06:45", 60, 12.0, BedClockCase::kDial},
                             BedClockCase{"20:00", "22:30", "06:45", 60, 3.0, BedClockCase::kDial},
                             // A bedtime already behind now is reached the long way round.
                             BedClockCase{"23:00", "22:00", "06:45", 60, 12.0, BedClockCase::kWedge},
                             BedClockCase{"23:00", "22:00", "06:45", 60, 3.0, BedClockCase::kWedge},
                             BedClockCase{"23:00", "22:00", "06:45", 60, 22.5, BedClockCase::kDial},
                             // The widget's wedge is narrower: radius 20, width 40.
                             BedClockCase{"16:00", "23:00", "06:45", 60, 19.5, BedClockCase::kDial, true},
                             BedClockCase{"16:00", "23:00", "06:45", 45, 19.5, BedClockCase::kDial, true},
                             BedClockCase{"16:00", "23:00", "06:45", 30, 19.5, BedClockCase::kWedge, true},
                             // No wedge without both dates.
                             BedClockCase{"20:00", std::nullopt, "06:45", 60, 21.25, BedClockCase::kDial},
                             BedClockCase{"20:00", "22:30", std::nullopt, 60, 21.25, BedClockCase::kDial}));

INSTANTIATE_TEST_SUITE_P(SleepArc, BedClockTest,
                         ::testing::Values(
                             // Bedtime to wake on the rim, through midnight; the track shows elsewhere.
                             BedClockCase{"20:00", "22:30", "06:45", 129, 2.625, BedClockCase::kSleepArc},
                             BedClockCase{"20:00", "22:30", "06:45", 129, 23.0, BedClockCase::kSleepArc},
                             BedClockCase{"20:00", "22:30", "06:45", 129, 6.5, BedClockCase::kSleepArc},
                             BedClockCase{"20:00", "22:30", "06:45", 129, 12.0, BedClockCase::kTrack},
                             BedClockCase{"20:00", "22:30", "06:45", 129, 8.0, BedClockCase::kTrack},
                             BedClockCase{"20:00", "22:30", "06:45", 129, 21.5, BedClockCase::kTrack},
                             // Waking earlier on the dial than bedtime wraps the long way.
                             BedClockCase{"20:00", "23:00", "22:00", 129, 12.0, BedClockCase::kSleepArc},
                             BedClockCase{"20:00", "23:00", "22:00", 129, 22.5, BedClockCase::kTrack},
                             BedClockCase{"20:00", std::nullopt, "06:45", 129, 2.0, BedClockCase::kTrack}));

INSTANTIATE_TEST_SUITE_P(BedtimeNeedle, BedClockTest,
                         ::testing::Values(
                             // Past the wedge's reach (75) and inside the needle's (85).
                             BedClockCase{"20:00", "22:30", "06:45", 80, 22.5, BedClockCase::kNeedle},
                             BedClockCase{"20:00", "06:15", "06:45", 80, 6.25, BedClockCase::kNeedle},
                             BedClockCase{"20:00", "13:00", "06:45", 80, 13.0, BedClockCase::kNeedle},
                             // Bedtimes from midnight to 06:00 get no needle.
                             BedClockCase{"20:00", "00:30", "06:45", 80, 0.5, BedClockCase::kDial},
                             BedClockCase{"20:00", "04:00", "06:45", 80, 4.0, BedClockCase::kDial},
                             BedClockCase{"20:00", "06:00", "06:45", 80, 6.0, BedClockCase::kDial},
                             BedClockCase{"20:00", "22:30", std::nullopt, 80, 22.5, BedClockCase::kDial}));

TEST(BedClockFaceTest, DialTrackRimAndTicks) {
  ClockEnvironment env;
  Graphics graphics(env);
  const ImageRef image = graphics.drawTheBedClockWithSize(kClockSize, std::nullopt, std::nullopt);
  ASSERT_TRUE(image);
  struct Case {
    double radius, hours;
    RGBA expected;
  };
  const Case cases[] = {
      {90, 3.0, kBlack},
      {124, 12.0, SleepMetricsGraphics::ringBkg().rgba()},
      {139, 12.0, SleepMetricsGraphics::gaugeBkg().rgba()},
      {141, 3.0, kTransparent},
      {116, 0.0, SleepMetricsGraphics::textColour().rgba()},
      {116, 6.0, SleepMetricsGraphics::textColour().rgba()},
      {116, 1.0, SleepMetricsGraphics::subtleTextColour().rgba()},
      {116, 23.0, SleepMetricsGraphics::subtleTextColour().rgba()},
  };
  for (const Case& c : cases)
    EXPECT_TRUE(near(pixelAt(*image, onDial(kClockSize, c.radius, turnOfDay(c.hours))), c.expected, 0.01))
        << "radius " << c.radius << " at " << c.hours << " h";
}

TEST(BedClockFaceTest, PresentTimeHandIsWhite) {
  ClockEnvironment env("08:00");
  Graphics graphics(env);
  const ImageRef image = graphics.drawTheBedClockWithSize(kClockSize, clockTime("22:30"), clockTime("06:45"));
  ASSERT_TRUE(image);
  EXPECT_TRUE(near(pixelAt(*image, onDial(kClockSize, 90, turnOfDay(8.0))), kWhite, 0.01));
  EXPECT_TRUE(near(pixelAt(*image, onDial(kClockSize, 90, turnOfDay(20.0))), kBlack, 0.01));
}

// --- Recharge -------------------------------------------------------------------------

struct RechargeCase {
  const char* name;
  float size;
  float sleep, bank;
  bool outer;   // which ring to look at
  double turn;  // where on the ring
  enum Expect { kSleepRing, kBankRing, kTrack, kGoalSegment, kWhiteRing } expect;
  double fromMiddle = 0;  // how far out from the middle of the ring
};

class RechargeTest : public ::testing::TestWithParam<RechargeCase> {};

TEST_P(RechargeTest, PaintsTheExpectedRingAtThePoint) {
  const RechargeCase& c = GetParam();
  ClockEnvironment env;
  Graphics graphics(env);
  const ImageRef image = graphics.drawTheRechargeWithSize(c.size, c.sleep, c.bank);
  ASSERT_TRUE(image);
  EXPECT_EQ(image->width(), c.size);

  const float width = c.size > 100 ? 25.0f : 5.0f;
  const float radius = c.outer ? c.size / 2 - width + 1 : c.size / 2 - 2 * width - 1;
  const Pallet& pallet = graphics.pallet();
  const float floor = c.outer ? 0.012f : 0.015f;
  const float value = c.outer ? c.sleep : c.bank;
  const float drawn = value > floor ? value : floor;
  RGBA expected;
  switch (c.expect) {
    case RechargeCase::kSleepRing:
      expected = pallet.colourForBatteryChargePercent(drawn).rgba();
      break;
    case RechargeCase::kBankRing:
      expected = pallet.colourForBatteryChargePercent(drawn).colorWithAlphaComponent(1.0).rgba();
      break;
    case RechargeCase::kTrack:
      expected = pallet.innerShadeForType(2).rgba();
      break;
    case RechargeCase::kGoalSegment:
      expected = pallet.innerShadeForType(0).rgba();
      break;
    case RechargeCase::kWhiteRing:
      expected = kWhite;
      break;
  }
  EXPECT_TRUE(near(pixelAt(*image, onDial(c.size, radius + c.fromMiddle, c.turn)), expected, 0.015)) << c.name;
}

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

INSTANTIATE_TEST_SUITE_P(
    Rings, RechargeTest,
    ::testing::Values(
        RechargeCase{"sleep ring to its end", 280, 0.5f, 0.9f, true, 0.3, RechargeCase::kSleepRing},
        RechargeCase{"track past the sleep", 280, 0.5f, 0.9f, true, 0.7, RechargeCase::kTrack},
        RechargeCase{"goal hour past the sleep", 280, 0.5f, 0.9f, true, 0.56, RechargeCase::kGoalSegment},
        RechargeCase{"sleep over the goal laps", 280, 1.2f, 0.9f, true, 0.6, RechargeCase::kSleepRing},
        RechargeCase{"and covers the last hour", 280, 1.2f, 0.9f, true, 0.95, RechargeCase::kSleepRing},
        RechargeCase{"bank ring", 280, 0.5f, 0.3f, false, 0.15, RechargeCase::kBankRing},
        RechargeCase{"bank ring's inner edge", 280, 0.5f, 0.3f, false, 0.15, RechargeCase::kBankRing, -11.5},
        RechargeCase{"sleep ring's outer edge", 280, 0.5f, 0.3f, true, 0.3, RechargeCase::kSleepRing, 11.5},
        RechargeCase{"bank ring's outer edge", 280, 0.5f, 0.3f, false, 0.15, RechargeCase::kBankRing, 11.5},
        RechargeCase{"sleep ring's inner edge", 280, 0.5f, 0.3f, true, 0.3, RechargeCase::kSleepRing, -11.5},
        RechargeCase{"inner track past the bank", 280, 0.5f, 0.3f, false, 0.6, RechargeCase::kTrack},
        RechargeCase{"bank over the goal laps", 280, 0.5f, 1.5f, false, 0.8, RechargeCase::kBankRing},
        RechargeCase{"small gauge", 100, 0.5f, 0.9f, true, 0.3, RechargeCase::kSleepRing},
        RechargeCase{"small gauge's bank", 100, 0.5f, 0.9f, false, 0.7, RechargeCase::kBankRing},
        RechargeCase{"accessory sleep ring is white", 200, 0.93f, 0.9f, true, 0.5, RechargeCase::kWhiteRing},
        RechargeCase{"accessory bank ring is white", 200, 0.93f, 0.9f, false, 0.5, RechargeCase::kWhiteRing}));

// Empty rings still show a stub at their start (no texts at size 100 to cover it).
INSTANTIATE_TEST_SUITE_P(
    FloorStubs, RechargeTest,
    ::testing::Values(RechargeCase{"no sleep", 100, 0.0f, 0.0f, true, 0.011, RechargeCase::kSleepRing},
                      RechargeCase{"negative sleep", 100, -1.0f, 0.0f, true, 0.011, RechargeCase::kSleepRing},
                      RechargeCase{"sleep not a number", 100, kNaN, 0.0f, true, 0.011, RechargeCase::kSleepRing},
                      RechargeCase{"beyond the sleep stub", 100, 0.0f, 0.0f, true, 0.3, RechargeCase::kGoalSegment},
                      RechargeCase{"no bank", 100, 0.5f, 0.0f, false, 0.0125, RechargeCase::kBankRing},
                      RechargeCase{"beyond the bank stub", 100, 0.5f, 0.0f, false, 0.2, RechargeCase::kTrack}));

TEST(RechargeGoalTest, EveryOtherGoalHourIsShaded) {
  struct Case {
    std::optional<float> requiredHours;
    double goal;   // hours the track is divided into
    int slots;     // slots to look at (a half hour counts as one)
    int segments;  // whole hours
  };
  const Case cases[] = {
      {9.0f, 9.0, 9, 9}, {7.5f, 7.5, 8, 7}, {std::nullopt, 8.0, 8, 8}, {3.0f, 8.0, 8, 8}, {4.0f, 4.0, 4, 4},
  };
  for (const Case& c : cases) {
    ClockEnvironment env;
    if (c.requiredHours)
      UserDefaults::suite(env, Environment::kSharedSuite)
          ->setObject(MetricDictionary{{"requiredHours", Value::number(*c.requiredHours)}}, "velmoraConfig");
    Graphics graphics(env);
    graphics.openStore();
    const ImageRef image = graphics.drawTheRechargeWithSize(100, 0.0f, 0.0f);
    ASSERT_TRUE(image);
    const Pallet& pallet = graphics.pallet();
    for (int slot = 0; slot < c.slots; ++slot) {
      const double turn = (slot + std::min(slot + 1.0, c.goal)) / 2.0 / c.goal;  // the middle of the slot
      const bool shaded = slot % 2 == 0 && slot < c.segments;
      EXPECT_TRUE(near(pixelAt(*image, onDial(100, 46, turn)), pallet.innerShadeForType(shaded ? 0 : 2).rgba(), 0.015))
          << "goal " << c.goal << ", slot " << slot;
    }
  }
}

TEST(RechargeAccessoryTest, MoonSitsInTheCentreOnlyAtTwoHundred) {
  const auto whitePixelsNearCentre = [](float size) {
    ClockEnvironment env;
    Graphics graphics(env);
    const ImageRef image = graphics.drawTheRechargeWithSize(size, 0.93f, 0.9f);
    int count = 0;
    for (double dy = -15; dy <= 15; dy += 0.5)
      for (double dx = -15; dx <= 15; dx += 0.5)
        if (near(pixelAt(*image, {size / 2 + dx, size / 2 + dy}), kWhite, 0.05)) ++count;
    return count;
  };
  EXPECT_GT(whitePixelsNearCentre(200), 100);
  EXPECT_EQ(whitePixelsNearCentre(201), 0);
}

TEST(RechargeThemeTest, LeavesThePaletteDarkForGood) {
  ClockEnvironment env;
  UserDefaults::standard(env)->setBool(false, "darkTheme6");
  Graphics graphics(env);
  ASSERT_FALSE(graphics.pallet().isDarkTheme());
  const RGBA lightTrack = graphics.pallet().innerShadeForType(2).rgba();

  ASSERT_TRUE(graphics.drawTheRechargeWithSize(100, 0.5f, 0.5f));
  EXPECT_TRUE(graphics.pallet().isDarkTheme());
  graphics.drawTheBedClockWithSize(kClockSize, std::nullopt, std::nullopt);
  EXPECT_TRUE(graphics.pallet().isDarkTheme());
  EXPECT_FALSE(near(graphics.pallet().innerShadeForType(2).rgba(), lightTrack, 0.1));
}

TEST(DrawingLifecycleTest, DrawsAtTheRunsScaleOrNotAtAll) {
  ClockEnvironment env;
  env.scale = 1;
  Graphics graphics(env);
  const ImageRef image = graphics.drawTheRechargeWithSize(120, 0.5f, 0.5f);
  ASSERT_TRUE(image);
  EXPECT_EQ(image->scale(), 1);
  EXPECT_EQ(cairo_image_surface_get_width(image->surface()), 120);
  // A surface that cannot be made yields no image, and nothing is drawn.
  EXPECT_EQ(graphics.drawTheBedClockWithSize(0.0f, std::nullopt, std::nullopt), nullptr);
}

}  // namespace
}  // namespace velmora
