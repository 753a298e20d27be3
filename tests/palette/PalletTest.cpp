#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <functional>
#include <span>
#include <string>

#include "palette/Pallet.h"
#include "store/UserDefaults.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

// Default hues, in degrees.
constexpr double kHue1 = 357, kHue2 = 34, kHue3 = 44, kHue4 = 128, kHue5 = 207;

using Hues = std::array<float, 5>;
Hues huesOf(const Pallet& p) { return {p.hue1(), p.hue2(), p.hue3(), p.hue4(), p.hue5()}; }

// A rule's expected colour at one input: hue in degrees, saturation and brightness, opaque.
struct Band {
  float input;
  double degrees, saturation, brightness;
};

void expectBands(const std::string& rule, const std::function<Colour(float)>& colour, std::span<const Band> bands) {
  for (const Band& b : bands) {
    const Colour c = colour(b.input);
    const std::string at = rule + " at " + std::to_string(b.input);
    EXPECT_DOUBLE_EQ(c.hue, b.degrees / 360.0) << at;
    EXPECT_DOUBLE_EQ(c.saturation, b.saturation) << at;
    EXPECT_NEAR(c.brightness, b.brightness, 1e-6) << at;
    EXPECT_EQ(c.alpha, 1.0) << at;
  }
}
void expectBands(const std::string& rule, const std::function<Colour(float)>& colour,
                 std::initializer_list<Band> bands) {
  expectBands(rule, colour, std::span(bands.begin(), bands.size()));
}
// A fixed colour, as a band of no input.
void expectHsb(const std::string& name, const Colour& colour, double degrees, double saturation, double brightness) {
  expectBands(name, [&](float) { return colour; }, {{0, degrees, saturation, brightness}});
}

class PalletTest : public ::testing::Test {
 protected:
  testing::TestEnvironment env;
  std::shared_ptr<UserDefaults> standard = UserDefaults::standard(env);
  std::shared_ptr<UserDefaults> shared = UserDefaults::suite(env, Environment::kSharedSuite);

  Pallet lightPallet() {
    standard->setBool(false, "darkTheme6");
    return Pallet(env);
  }
};

TEST_F(PalletTest, FirstUseIsDarkAndATemporaryDarkIsRestored) {
  Pallet first(env);
  EXPECT_TRUE(first.isDarkTheme());
  EXPECT_EQ(standard->objectForKey("darkTheme6"), Value::boolean(true)) << "the first choice is written back";

  Pallet light = lightPallet();
  EXPECT_FALSE(light.isDarkTheme());
  light.setDarkTheme(true);
  EXPECT_TRUE(light.isDarkTheme() && light.isTemporaryDark());
  light.restoreTheme();
  EXPECT_FALSE(light.isDarkTheme() || light.isTemporaryDark());

  standard->setBool(true, "darkTheme6");
  Pallet dark(env);
  dark.setDarkTheme(false);  // leaving a dark theme is not temporary...
  EXPECT_FALSE(dark.isTemporaryDark());
  dark.setDarkTheme(true);  // ...but going dark from there is
  EXPECT_TRUE(dark.isTemporaryDark());
  standard->setBool(false, "darkTheme6");
  dark.restoreTheme();  // reads the store again
  EXPECT_FALSE(dark.isDarkTheme());
}

TEST_F(PalletTest, HuesComeFromOwnDefaultsThenTheSharedStoreOrFromAnArrayOfFive) {
  standard->setObject(Value::number(100), "Hue1");
  shared->setObject(Value::number(200), "Hue1");
  shared->setObject(Value::integer(300), "Hue3");
  standard->setObject(Value("not a number"), "Hue5");  // present, so the shared store is not asked
  shared->setObject(Value::number(250), "Hue5");
  shared->setObject(Value::real(90.5), "Hue4");
  Pallet pallet(env);
  EXPECT_EQ(huesOf(pallet), (Hues{100, 34, 300, 90.5, 0}));

  const Array four{Value::number(1), Value::number(2), Value::number(3), Value::number(4)};
  pallet.loadCustomHuesFromArray(&four);
  pallet.loadCustomHuesFromArray(nullptr);
  EXPECT_EQ(huesOf(pallet), (Hues{100, 34, 300, 90.5, 0})) << "fewer than five, or none, change nothing";
  const Array six{Value::number(1), Value::integer(2), Value("3"), Value::number(4), Value::real(5), Value::number(6)};
  pallet.loadCustomHuesFromArray(&six);
  EXPECT_EQ(huesOf(pallet), (Hues{1, 2, 3, 4, 5}));
}

TEST_F(PalletTest, SharedStoreIsOpenedOnlyForMissingHuesAndOncePerLoad) {
  std::filesystem::create_directories(env.prefsDir);
  std::ofstream(env.preferencesFile(Environment::kSharedSuite)) << "not a property list";
  for (int i = 1; i <= 5; ++i)
    standard->setObject(Value::number(10.0f * static_cast<float>(i)), "Hue" + std::to_string(i));
  Pallet pallet(env);
  EXPECT_EQ(huesOf(pallet), (Hues{10, 20, 30, 40, 50}));
  EXPECT_TRUE(env.warnings.empty());

  standard->removeObjectForKey("Hue2");
  standard->removeObjectForKey("Hue4");
  pallet.loadCustomHues();  // the unreadable shared store reads as empty, and is reported once
  EXPECT_EQ(huesOf(pallet), (Hues{10, 34, 30, 128, 50}));
  EXPECT_EQ(env.warnings.size(), 1u);
}

// Each band at its lower edge and just below it; below the lowest band the brightness keeps falling, above the
// top one it stops at full.
TEST_F(PalletTest, HueBasedRules) {
  Pallet pallet(env);
  const Band charge[] = {{-0.75f, kHue1, 0.69, 0.5}, {0.7499f, kHue1, 0.69, 0.89997333},
                         {0.75f, kHue2, 0.8, 0.75},  {0.8499f, kHue2, 0.8, 0.89985},
                         {0.85f, kHue3, 0.94, 0.8},  {0.9999f, kHue3, 0.94, 0.9499},
                         {1.0f, kHue4, 0.8, 0.6},    {1.4999f, kHue4, 0.8, 0.89994},
                         {1.5f, kHue5, 0.8, 0.8},    {1.75f, kHue5, 0.8, 0.9},
                         {2.5f, kHue5, 0.8, 1.0}};
  expectBands("charge", std::bind_front(&Pallet::colourForBatteryChargePercent, &pallet), charge);
  expectBands("rating", std::bind_front(&Pallet::lightRatingColour, &pallet), {{110, kHue4, 0.8, 0.66}});
  const Band efficiency[] = {{90, kHue4, 0.8, 0.84},      {89.9f, kHue3, 0.94, 0.8894}, {85, kHue3, 0.94, 0.86},
                             {84.9f, kHue2, 0.8, 0.8994}, {80, kHue2, 0.8, 0.87},       {79.9f, kHue1, 0.69, 0.8996}};
  expectBands("efficiency", std::bind_front(&Pallet::efficiencyRatingColour, &pallet), efficiency);
  const Band heartOver[] = {{59.5f, kHue4, 0.8, 0.8}, {60, kHue4, 0.8, 0.7},    {61, kHue3, 0.94, 0.9},
                            {62, kHue3, 0.94, 0.8},   {63.5f, kHue2, 0.8, 0.8}, {64.5f, kHue1, 0.69, 0.7}};
  expectBands(
      "heart over 60", [&](float bpm) { return pallet.heartRatingColourForBPM(bpm, 60); }, heartOver);
  expectHsb("line bad", pallet.colourForRespRateLineBad(), kHue1, 1.0, 1.0);
}

TEST_F(PalletTest, ShadesDependOnTheTheme) {
  Pallet dark(env);
  expectBands("dark quality", std::bind_front(&Pallet::colourForQualityWithPercent, &dark),
              {{0.2f, 256, 0.55, 0.7}, {0.75f, 256, 0.55, 0.85}, {1.2f, 256, 0.55, 1.0}});
  const Band darkHrAverage[] = {
      {1.0f, 340, 0.1, 0.4}, {0.8f, 340, 1.0, 1.0}, {0.85f, 340, 1.0, 0.95}, {0.99f, 340, 1.0, 0.7}};
  expectBands("dark HR average", std::bind_front(&Pallet::colourForHRAverage, &dark), darkHrAverage);
  expectBands("dark inner shade", std::bind_front(&Pallet::innerShadeForType, &dark), {{3, 193, 0.92, 0.1}});
  expectBands("dark HR dip", std::bind_front(&Pallet::colourForHRDipZone, &dark), {{2, 340, 1.0, 0.675}});
  expectHsb("dark restful", dark.colourForRestfulSleep(), 256, 0.75, 0.82);
  expectHsb("dark line good", dark.colourForRespRateLineGood(), kHue4, 1.0, 0.9);
  expectHsb("dark line", dark.colourForRespRateLine(), 65, 1.0, 0.9);

  Pallet light = lightPallet();
  expectBands("light quality", std::bind_front(&Pallet::colourForQualityWithPercent, &light), {{0.5f, 256, 0.55, 0.5}});
  expectBands("light deep", std::bind_front(&Pallet::colourForDeepSleepWithPercent, &light),
              {{0.75f, 256, 0.75, 0.75}});
  expectBands("light HR average", std::bind_front(&Pallet::colourForHRAverage, &light), {{0.85f, 340, 1.0, 0.75}});
  expectBands("light inner shade", std::bind_front(&Pallet::innerShadeForType, &light), {{1, 193, 0.0, 1.0}});
  expectHsb("light line good", light.colourForRespRateLineGood(), kHue4, 1.0, 0.75);
  expectHsb("light line", light.colourForRespRateLine(), 55, 1.0, 0.1);
}

// Each input and the rating whose charge colour it takes, on both sides of the band edges.
TEST_F(PalletTest, RatingBandsUseStrictOrInclusiveEdgesAsNamed) {
  Pallet pallet(env);
  const struct {
    Colour (Pallet::*colour)(float) const;
    std::initializer_list<std::pair<float, float>> ratings;
  } rules[] = {
      {&Pallet::colourForReadyScore,
       {{1.5001f, 160}, {1.5f, 140}, {1.2f, 120}, {0.95f, 110}, {0.825f, 99}, {0.7f, 75}, {0.5f, 50}}},
      // clang-format off
      {&Pallet::colourForWristTempScore,
       {{6.0f, 70}, {5.0f, 90}, {4.99f, 105}, {4.0f, 105}, {3.0f, 120}, {2.99f, 105}, {2.0f, 105}, {1.0f, 90},
        {0.99f, 70}}},
      // clang-format on
      {&Pallet::colourForSpO2Reading, {{95.0f, 110}, {94.9f, 99}, {90.0f, 99}, {89.9f, 50}}},
      {&Pallet::colourForRespRateReading, {{11.99f, 50}, {11.999f, 110}, {20.4f, 110}, {20.499f, 50}}},
  };
  for (const auto& rule : rules)
    for (auto [input, rating] : rule.ratings)
      EXPECT_EQ((pallet.*rule.colour)(input), pallet.lightRatingColour(rating)) << input << " rates " << rating;
  EXPECT_EQ(pallet.colourForRespRateGraphReading(12.0f), pallet.colourForRespRateLineGood());
  EXPECT_EQ(pallet.colourForRespRateGraphReading(20.5f), pallet.colourForRespRateLineBad());
}

TEST_F(PalletTest, WristTemperatureScore) {
  const struct {
    float value, baseline;
    bool fahrenheit;
    float score;
  } cases[] = {{36.5f, 36.5f, false, 3.5f},    {36.5f, 0.0f, false, 0.0f},      {0.0f, 36.5f, false, 0.0f},
               {36.25f, 36, false, 4.0f},      {36.9f, 36, false, 4.8666667f},  {37.25f, 36, false, 5.5f},
               {37.75f, 36, false, 6.5f},      {39.0f, 36, false, 7.0f},        {35.75f, 36, false, 3.0f},
               {35.5f, 36, false, 2.6666667f}, {34.75f, 36, false, 1.5f},       {34.25f, 36, false, 0.5f},
               {33.0f, 36, false, 0.0f},       {97.7f, 96.8f, true, 4.3333333f}};  // 0.9 °F is 0.5 °C
  for (const auto& c : cases) {
    standard->setBool(c.fahrenheit, "tempF");
    Pallet pallet(env);
    EXPECT_NEAR(pallet.wristTempScoreForValue(c.value, c.baseline), c.score, 1e-4) << c.value << " on " << c.baseline;
    EXPECT_EQ(pallet.wristTempColourForValue(c.value, c.baseline), pallet.colourForWristTempScore(c.score));
  }
}

// The thresholds are read on demand: zero until a heart-rate rule (or loadPrefs) reads them.
TEST_F(PalletTest, HeartRateZonesReadThePreferencesOnDemand) {
  standard->setObject(Value::number(100), "maxHeartRate");  // workout percent = bpm
  standard->setBool(true, "miles");
  Pallet pallet(env);
  EXPECT_EQ(pallet.maxHeartRate(), 0.0f);
  EXPECT_FALSE(pallet.miles());
  const Band resting[] = {{100, 357, 0.8, 1.0},     {99.9f, 270, 0.4, 0.67}, {80, 270, 0.4, 0.67},
                          {79.9f, 207, 0.75, 0.92}, {55, 207, 0.75, 0.92},   {54.9f, 207, 0.65, 0.94},
                          {50, 207, 0.65, 0.94},    {49.9f, 354, 0.4, 0.75}, {40, 354, 0.4, 0.75},
                          {39.9f, 354, 0.4, 0.5}};
  expectBands(
      "resting", [&](float bpm) { return pallet.colourForRestingBPM(bpm); }, resting);
  EXPECT_EQ(pallet.maxHeartRate(), 100.0f);
  EXPECT_TRUE(pallet.miles());
  const std::pair<float, int> workout[] = {{90, 0},    {89.9f, 1}, {80, 1},    {79.9f, 2}, {70, 2},
                                           {69.9f, 3}, {60, 3},    {59.9f, 4}, {50, 4}};
  for (auto [bpm, zone] : workout)
    EXPECT_EQ(pallet.colourForWorkoutBPM(bpm), pallet.colourForWorkoutZone(zone)) << bpm << " bpm";
  EXPECT_EQ(pallet.colourForWorkoutBPM(49.9f), pallet.colourForRestingBPM(49.9f)) << "below every zone";

  standard->removeObjectForKey("maxHeartRate");
  EXPECT_EQ(pallet.colourForWorkoutBPM(163), pallet.colourForWorkoutZone(0)) << "over 90 % of 180";
}

// Fixed tables: clock faces (the first, the one whose lighter hue differs, the fallback) and zones.
TEST_F(PalletTest, FixedTablesAndFitnessBands) {
  Pallet pallet(env);
  expectBands("darker face", [&](float face) { return pallet.colourForClockFace(static_cast<int>(face), true); },
              {{1, 193, 0.92, 0.15}, {5, 193, 0.92, 0.25}, {0, 0, 0, 0}});
  expectBands("lighter face", [&](float face) { return pallet.colourForClockFace(static_cast<int>(face), false); },
              {{1, 193, 0.1, 0.95}, {5, 192, 0.92, 0.3}, {0, 193, 0, 0.98}});
  expectBands("resting zone", [&](float zone) { return pallet.colourForRestingZone(static_cast<int>(zone)); },
              {{3, 354, 0.4, 0.75}, {4, 354, 0.4, 0.5}, {5, 354, 0.4, 0.5}});
  expectBands("workout zone", [&](float zone) { return pallet.colourForWorkoutZone(static_cast<int>(zone)); },
              {{3, 139, 0.82, 0.65}, {-1, 171, 0.82, 0.55}});
  expectBands("speed zone", [&](float zone) { return pallet.colourForSpeedZone(static_cast<int>(zone)); },
              {{6, 139, 0.82, 0.55}, {7, 139, 0.82, 0.35}, {8, 139, 0.82, 0.35}, {-1, 139, 0.82, 0.35}});
  expectBands("feeling", std::bind_front(&Pallet::colourForFeelingPercent, &pallet),
              {{0.28f, 356, 0.79, 0.84}, {0.29f, 200, 0.6, 0.8}, {0.69f, 134, 0.85, 0.6}});
  const Band soreness[] = {
      {0.29f, 134, 0.85, 0.6}, {0.49f, 42, 0.96, 0.89}, {0.79f, 356, 0.79, 0.84}, {0.8f, 354, 0.92, 0.98}};
  expectBands("soreness", std::bind_front(&Pallet::colourForSorenessPercent, &pallet), soreness);
  expectBands("week", std::bind_front(&Pallet::colourForWeekBatteryChargePercent, &pallet),
              {{0.86f, 128, 0.8, 0.5}, {0.85f, 44, 0.94, 0.8}, {0.65f, 357, 0.69, 0.7}});
  const Band energy[] = {
      {5, 133, 0.85, 0.2}, {25, 133, 0.85, 0.25}, {1000, 133, 0.85, 0.3}, {1000.5f, 133, 0.85, 0.61}};
  expectBands("energy", std::bind_front(&Pallet::colourForEnergy, &pallet), energy);
  EXPECT_EQ(pallet.colourForEnergy(-1), Colour::blackColor());
}

TEST_F(PalletTest, LabelsAndStars) {
  Pallet pallet(env);
  EXPECT_EQ(pallet.emojiForFeeling(2.9f) + pallet.emojiForFeeling(3) + pallet.emojiForFeeling(7), "💩😐😄");
  for (auto [zone, text] : {std::pair{0, "Bolting"}, {8, "Minimal"}, {9, "Nothing"}, {-1, "Nothing"}})
    EXPECT_EQ(pallet.textForSpeedZone(zone), text);
  testing::TestEnvironment german;
  german.languages = {"de"};
  EXPECT_EQ(Pallet(german).textForSpeedZone(4), "Gehen");

  // Input and stars; from 11.99 breaths a minute the clamp at 2 stars, not b / 6.
  const std::pair<float, float> ready[] = {{2.0f, 6.99f}, {1.99f, 6.98f}, {1.5f, 6.0f}, {1.35f, 5.5f},  {1.2f, 5.0f},
                                           {1.0f, 4.2f},  {0.95f, 4.0f},  {0.9f, 3.6f}, {0.825f, 3.0f}, {0.75f, 2.4f},
                                           {0.7f, 2.0f},  {0.6f, 1.5f},   {0.5f, 1.0f}, {0.25f, 0.5f}},
                                breathing[] = {{11.98f, 1.9966667f}, {11.99f, 2.0f},   {14, 2.7058824f},
                                               {16.25f, 3.5f},       {18, 4.1176471f}, {20.48f, 4.99f},
                                               {20.49f, 4.9978947f}, {25, 5.9473684f}, {30, 6.99f}};
  for (auto [r, stars] : ready) EXPECT_NEAR(pallet.starsValueForReadyPercent(r), stars, 1e-5) << "readiness " << r;
  for (auto [b, stars] : breathing) EXPECT_NEAR(pallet.starsValueForRespRate(b), stars, 1e-5) << "breathing " << b;
}

// One of each kind: themed, black in the dark, borrowed from another colour; the light theme's greys keep the
// hue, the heading tints change hue between themes.
TEST_F(PalletTest, NamedColoursInBothThemes) {
  const struct {
    Colour (Pallet::*colour)() const;
    const char *dark, *light;
  } cases[] = {
      {&Pallet::backgroundColour, "#021014FF", "#FAFAFAFF"},
      {&Pallet::subtleHeadingColour, "#E6E6CFFF", "#262626FF"},
      {&Pallet::colourWhenAwake, "#1BB53DFF", "#179933FF"},
      {&Pallet::colourForSectionHeaderLine, "#000000FF", "#F2F2F2FF"},
  };
  Pallet dark(env);
  Pallet light = lightPallet();
  for (const auto& c : cases) {
    EXPECT_EQ((dark.*c.colour)().hexRGBA(), c.dark) << c.dark;
    EXPECT_EQ((light.*c.colour)().hexRGBA(), c.light) << c.light;
  }
  expectHsb("light background", light.backgroundColour(), 193, 0, 0.98);
  expectHsb("dark high tint", dark.highTintColour(), 60, 0.34, 1.0);
  expectHsb("light high tint", light.highTintColour(), 55, 0, 0.1);
  EXPECT_EQ(dark.clockOutlineColour(), Colour::blackColor());
}

}  // namespace
}  // namespace velmora
