#include <cairo.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <optional>
#include <string>

#include "drawing/Image.h"
#include "graphics/SleepMetricsGraphics.h"
#include "palette/Pallet.h"
#include "store/UserDefaults.h"
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

TEST(SleepMetricsGraphicsTest, TipShadowsFollowTheRingsEndRound) {
  const std::pair<float, std::pair<double, double>> cases[] = {
      {0.25f, {2, 2}}, {0.2501f, {-1, 1}}, {0.5f, {-1, 1}}, {0.51f, {-1, -1}}, {0.75f, {-1, -1}},
      {0.76f, {2, 0}}, {1.0f, {2, 0}},     {1.2f, {2, 2}},  {2.5f, {2, 0}},    {kNaNf, {2, 0}}};
  for (const auto& [percent, offset] : cases)
    EXPECT_EQ(SleepMetricsGraphics::getShadowForPercent(percent), offset) << "percent " << percent;
}

// --- Bed clock: 280 points, rim 128, numerals 104, ticks 114 to 118, wedge to 75 (widget 40), needle 85, hand 110 ---

enum Layer { kDial, kTrack, kRimLine, kTick, kWedge, kSleepArc, kNeedle, kHand, kNothing };
constexpr const char* kLayerNames[] = {"dial",      "track",  "rim line", "tick",   "wedge",
                                       "sleep arc", "needle", "hand",     "nothing"};

struct BedClockCase {
  const char *now, *bedtime, *waketime;
  double radius, hours;  // where to look
  Layer expect;
  bool widget = false;
};

// In order: the face, where no bedtime means no wedge and no sleep arc; the hand at now; the wedge, clockwise
// from now to bedtime, so a bedtime behind now is reached the long way round, and shorter in the widget; the
// sleep arc on the rim, clockwise from bedtime to wake through midnight, and both its edges; the needle, looked
// for past the wedge and short of its end, and none for bedtimes from 00:00 to 06:00; nothing of the night
// without a waketime.
TEST(BedClockTest, PaintsEachLayerWhereTheTimesPutIt) {
  const BedClockCase cases[] = {
      {"20:00", nullptr, "06:45", 90, 3, kDial},          {"20:00", nullptr, "06:45", 124, 12, kTrack},
      {"20:00", nullptr, "06:45", 139, 12, kRimLine},     {"20:00", nullptr, "06:45", 141, 3, kNothing},
      {"20:00", nullptr, "06:45", 116, 0, kTick},         {"20:00", nullptr, "06:45", 60, 21.25, kDial},
      {"20:00", nullptr, "06:45", 129, 2, kTrack},        {"08:00", "22:30", "06:45", 90, 8, kHand},
      {"20:00", "22:30", "06:45", 60, 21.25, kWedge},     {"20:00", "22:30", "06:45", 60, 12, kDial},
      {"23:00", "22:00", "06:45", 60, 12, kWedge},        {"23:00", "22:00", "06:45", 60, 22.5, kDial},
      {"16:00", "23:00", "06:45", 45, 19.5, kDial, true}, {"16:00", "23:00", "06:45", 30, 19.5, kWedge, true},
      {"20:00", "22:30", "06:45", 129, 23, kSleepArc},    {"20:00", "22:30", "06:45", 129, 6.5, kSleepArc},
      {"20:00", "22:30", "06:45", 124, 2.625, kSleepArc}, {"20:00", "22:30", "06:45", 134, 2.625, kSleepArc},
      {"20:00", "22:30", "06:45", 129, 21.5, kTrack},     {"20:00", "22:30", "06:45", 129, 8, kTrack},
      {"20:00", "23:00", "22:00", 129, 12, kSleepArc},    {"20:00", "23:00", "22:00", 129, 22.5, kTrack},
      {"20:00", "22:30", "06:45", 80, 22.5, kNeedle},     {"20:00", "06:15", "06:45", 80, 6.25, kNeedle},
      {"20:00", "06:00", "06:45", 80, 6, kDial},          {"20:00", "00:30", "06:45", 80, 0.5, kDial},
      {"20:00", "22:30", nullptr, 80, 22.5, kDial},       {"20:00", "22:30", nullptr, 60, 21.25, kDial},
      {"20:00", "22:30", nullptr, 129, 23, kTrack},
  };
  for (const BedClockCase& c : cases) {
    ClockEnvironment env(c.now);
    Graphics graphics(env);
    if (c.widget) graphics.enterWidgetMode();
    const ImageRef image = graphics.drawTheBedClockWithSize(280.0f, clockTime(c.bedtime), clockTime(c.waketime));
    ASSERT_TRUE(image);
    ASSERT_EQ(image->width(), 280.0);
    const Pallet& pallet = graphics.pallet();
    const auto opaque = [&](float rating) { return pallet.lightRatingColour(rating).colorWithAlphaComponent(1.0); };
    const Colour byLayer[] = {
        Colour::blackColor(),          Graphics::ringBkg(), Graphics::gaugeBkg(), Graphics::textColour(), opaque(80),
        pallet.lightRatingColour(110), opaque(40),          Colour::whiteColor(), Colour::clearColor()};
    // The hand's wide shadow darkens what lies near it; samples keep clear of it.
    EXPECT_TRUE(near(pixelAt(*image, onDial(280.0f, c.radius, c.hours / 24.0)), byLayer[c.expect].rgba(), 0.03))
        << kLayerNames[c.expect] << " expected at radius " << c.radius << ", " << c.hours << " h; now " << c.now
        << ", bed " << (c.bedtime ? c.bedtime : "none") << ", wake " << (c.waketime ? c.waketime : "none")
        << (c.widget ? ", widget" : "");
  }
}

// --- Recharge: ring width 25 above 100 points (else 5); outer radius half - w + 1, inner half - 2w - 1 ---

enum RechargeRing { kSleepRing, kBankRing, kRingTrack, kGoalHour, kWhiteRing };
constexpr const char* kRingNames[] = {"sleep", "bank", "track", "goal hour", "white"};

struct RechargeCase {
  float size, sleep, bank;
  bool outer;   // which ring to look at
  double turn;  // where on it
  RechargeRing expect;
  double fromMiddle = 0;  // how far out from the middle of the ring
};

// In order: each ring up to its value and its track beyond, a goal hour, both edges of both rings; past the goal
// a ring laps the whole circle; the accessory's white rings; an empty ring (or one that is no number) still
// shows a stub at its start, looked at with the other ring kept away so that its tip's shadow does not fall
// on the stub (size 100 has no marks to cover it).
TEST(RechargeTest, PaintsEachRingAsFarAsItsValue) {
  const RechargeCase cases[] = {
      {280, 0.5f, 0.3f, true, 0.3, kSleepRing},         {280, 0.5f, 0.3f, true, 0.7, kRingTrack},
      {280, 0.5f, 0.3f, true, 0.56, kGoalHour},         {280, 0.5f, 0.3f, false, 0.6, kRingTrack},
      {280, 0.5f, 0.3f, true, 0.3, kSleepRing, -11.5},  {280, 0.5f, 0.3f, true, 0.3, kSleepRing, 11.5},
      {280, 0.5f, 0.3f, false, 0.15, kBankRing, -11.5}, {280, 0.5f, 0.3f, false, 0.15, kBankRing, 11.5},
      {280, 1.2f, 1.5f, true, 0.6, kSleepRing},         {280, 1.2f, 1.5f, true, 0.95, kSleepRing},
      {280, 1.2f, 1.5f, false, 0.8, kBankRing},         {200, 0.93f, 0.9f, true, 0.5, kWhiteRing},
      {200, 0.93f, 0.9f, false, 0.5, kWhiteRing},       {100, 0.0f, 0.5f, true, 0.011, kSleepRing},
      {100, kNaNf, 0.5f, true, 0.011, kSleepRing},      {100, 0.0f, 0.5f, true, 0.3, kGoalHour},
      {100, 0.5f, 0.0f, false, 0.0125, kBankRing},      {100, 0.5f, -1.0f, false, 0.0125, kBankRing},
      {100, 0.5f, 0.0f, false, 0.2, kRingTrack},
  };
  for (const RechargeCase& c : cases) {
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
    EXPECT_TRUE(near(pixelAt(*image, onDial(c.size, radius + c.fromMiddle, c.turn)), byRing[c.expect].rgba(), 0.015))
        << kRingNames[c.expect] << " expected on the " << (c.outer ? "outer" : "inner") << " ring at " << c.turn << " ("
        << c.fromMiddle << " from its middle); size " << c.size << ", sleep " << c.sleep << ", bank " << c.bank;
  }
}

// The goal comes from the configuration only once the store is open; anything missing reads as 0, and below
// four hours the goal is eight.
TEST(RechargeTest, ShadesEveryOtherWholeGoalHour) {
  const auto hours = [](float h) { return Value(MetricDictionary{{"requiredHours", Value::number(h)}}); };
  const struct {
    const char* name;
    std::optional<Value> config;
    bool openStore;
    double goal;  // hours the track is divided into
    int wholeHours;
  } cases[] = {
      {"half an hour over", hours(4.5f), true, 4.5, 4}, {"four hours", hours(4.0f), true, 4, 4},
      {"below four", hours(3.0f), true, 8, 8},          {"store not opened", hours(4.0f), false, 8, 8},
      {"no configuration", std::nullopt, true, 8, 8},   {"not a dictionary", Value::number(4.0f), true, 8, 8},
  };
  for (const auto& c : cases) {
    ClockEnvironment env;
    if (c.config) testing::putShared(env, "velmoraConfig", *c.config);
    Graphics graphics(env);
    if (c.openStore) graphics.openStore();
    const ImageRef image = graphics.drawTheRechargeWithSize(100, 0.0f, 0.0f);
    ASSERT_TRUE(image);
    for (int slot = 0; slot < std::ceil(c.goal); ++slot) {
      const bool shaded = slot % 2 == 0 && slot < c.wholeHours;
      const double middle = (slot + std::min(slot + 1.0, c.goal)) / 2.0 / c.goal;
      EXPECT_TRUE(near(pixelAt(*image, onDial(100, 46, middle)),
                       graphics.pallet().innerShadeForType(shaded ? 0 : 2).rgba(), 0.015))
          << c.name << ": slot " << slot;
    }
  }
}

// --- any number: a stored goal or fraction may be NaN, infinite or 1e308 (a float's infinity) ---
// Under a CTest time limit: one shaded arc per goal hour once took seconds for a goal of 1e5 and never ended for 1e9.

TEST(RechargeBounded, AnyGoalShadesItsHoursOrWhatTheyAverageTo) {
  const struct {
    float goal;
    double shadedShare;  // of the track: goal hours finer than a pixel average to half
  } goals[] = {{1e5f, 0.5}, {1e6f, 0.5}, {1e9f, 0.5}, {3e38f, 0.5}, {static_cast<float>(1e308), 0},
               {kNaNf, 0},  {kInff, 0},  {-kInff, 1}};  // below four hours: eight
  const float fractions[] = {kNaNf, kInff, -kInff, static_cast<float>(1e308), 3e38f, 0.0f};
  for (const auto& g : goals) {
    ClockEnvironment env;
    testing::putShared(env, "velmoraConfig", Value(MetricDictionary{{"requiredHours", Value::number(g.goal)}}));
    Graphics graphics(env);
    graphics.openStore();
    for (float sleep : fractions) {
      for (float bank : fractions) {
        const ImageRef image = graphics.drawTheRechargeWithSize(100, sleep, bank);
        ASSERT_TRUE(image) << g.goal << " " << sleep << " " << bank;
        const Pallet& pallet = graphics.pallet();
        const RGBA track = pallet.innerShadeForType(2).rgba(), hour = pallet.innerShadeForType(0).rgba();
        RGBA shaded = hour;
        shaded.alpha *= g.shadedShare;
        // Past half a turn round the outer ring (in an eight-hour goal's fifth hour), unless a sleep ring
        // that laps the circle covers it.
        if (!(sleep > 1)) {
          EXPECT_TRUE(near(pixelAt(*image, onDial(100, 46, 0.53)), testing::composite(shaded, track), 0.02))
              << "goal " << g.goal << ", sleep " << sleep << ", bank " << bank;
        }
      }
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

TEST(RechargeTest, DrawsAtTheRunsScaleAndLeavesThePaletteDarkForGood) {
  ClockEnvironment env;
  env.scale = 1;
  UserDefaults::standard(env)->setBool(false, "darkTheme6");
  Graphics graphics(env);
  ASSERT_FALSE(graphics.pallet().isDarkTheme());
  const ImageRef image = graphics.drawTheRechargeWithSize(120, 0.5f, 0.5f);
  ASSERT_TRUE(image);
  EXPECT_EQ(cairo_image_surface_get_width(image->surface()), 120);
  EXPECT_EQ(graphics.drawTheBedClockWithSize(0.0f, std::nullopt, std::nullopt), nullptr);  // nothing to draw on
  EXPECT_TRUE(graphics.pallet().isDarkTheme());
}

}  // namespace
}  // namespace velmora
