#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <functional>
#include <span>
#include <string>

#include "palette/Pallet.h"
#include "platform/UserDefaults.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

// Default hues, in degrees.
constexpr double kHue1 = 357, kHue2 = 34, kHue3 = 44, kHue4 = 128, kHue5 = 207;

using Hues = std::array<float, 5>;
Hues huesOf(const Pallet& p) { return {p.hue1(), p.hue2(), p.hue3(), p.hue4(), p.hue5()}; }

struct Hsb {
  double degrees, saturation, brightness;
};

void expectHsb(const Colour& colour, const Hsb& want, const std::string& name) {
  EXPECT_DOUBLE_EQ(colour.hue, want.degrees / 360.0) << name;
  EXPECT_DOUBLE_EQ(colour.saturation, want.saturation) << name;
  EXPECT_NEAR(colour.brightness, want.brightness, 1e-6) << name;
  EXPECT_EQ(colour.alpha, 1.0) << name;
}

// A rule's expected colour at one input.
struct Band {
  float input;
  double degrees, saturation, brightness;
};

void expectBands(const char* rule, const std::function<Colour(float)>& colour, std::span<const Band> bands) {
  for (const Band& b : bands)
    expectHsb(colour(b.input), {b.degrees, b.saturation, b.brightness}, rule + (" at " + std::to_string(b.input)));
}
void expectBands(const char* rule, const std::function<Colour(float)>& colour, std::initializer_list<Band> bands) {
  expectBands(rule, colour, std::span(bands.begin(), bands.size()));
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

// --- Theme, hues and preferences ---

TEST_F(PalletTest, FirstUseIsDarkAndATemporaryDarkIsRestored) {
  Pallet first(env);
  EXPECT_TRUE(first.isDarkTheme());
  EXPECT_FALSE(first.isTemporaryDark());
  EXPECT_EQ(standard->objectForKey("darkTheme6"), Value::boolean(true)) << "the first choice is written back";

  Pallet light = lightPallet();
  EXPECT_FALSE(light.isDarkTheme());
  light.setDarkTheme(true);
  EXPECT_TRUE(light.isDarkTheme());
  EXPECT_TRUE(light.isTemporaryDark());
  light.restoreTheme();
  EXPECT_FALSE(light.isDarkTheme());
  EXPECT_FALSE(light.isTemporaryDark());

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
  Pallet pallet(env);
  EXPECT_EQ(huesOf(pallet), (Hues{100, 34, 300, 128, 0}));
  // A full battery takes the fourth hue, as passed.
  shared->setObject(Value::real(90.5), "Hue4");
  pallet.loadCustomHues();
  EXPECT_DOUBLE_EQ(pallet.colourForBatteryChargePercent(1.0f).hue, 90.5 / 360.0);

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

// --- Value-to-colour rules ---

TEST_F(PalletTest, HueBasedRules) {
  Pallet pallet(env);
  // Each band at its lower edge and just below it; below the lowest band the
  // brightness keeps falling, above the top one it stops at full.
  const Band charge[] = {{-0.75f, kHue1, 0.69, 0.5}, {0.7499f, kHue1, 0.69, 0.89997333},
                         {0.75f, kHue2, 0.8, 0.75},  {0.8499f, kHue2, 0.8, 0.89985},
                         {0.85f, kHue3, 0.94, 0.8},  {0.9999f, kHue3, 0.94, 0.9499},
                         {1.0f, kHue4, 0.8, 0.6},    {1.4999f, kHue4, 0.8, 0.89994},
                         {1.5f, kHue5, 0.8, 0.8},    {1.75f, kHue5, 0.8, 0.9},
                         {2.5f, kHue5, 0.8, 1.0}};
  expectBands("charge", std::bind_front(&Pallet::colourForBatteryChargePercent, &pallet), charge);
  expectHsb(pallet.lightRatingColour(110), {kHue4, 0.8, 0.66}, "rating 110");
  const Band efficiency[] = {{90, kHue4, 0.8, 0.84},      {89.9f, kHue3, 0.94, 0.8894}, {85, kHue3, 0.94, 0.86},
                             {84.9f, kHue2, 0.8, 0.8994}, {80, kHue2, 0.8, 0.87},       {79.9f, kHue1, 0.69, 0.8996}};
  expectBands("efficiency", std::bind_front(&Pallet::efficiencyRatingColour, &pallet), efficiency);
  const Band heart[] = {{59.5f, kHue4, 0.8, 0.8}, {60, kHue4, 0.8, 0.7},    {61, kHue3, 0.94, 0.9},
                        {62, kHue3, 0.94, 0.8},   {63.5f, kHue2, 0.8, 0.8}, {64.5f, kHue1, 0.69, 0.7}};
  expectBands(
      "heart over 60", [&](float bpm) { return pallet.heartRatingColourForBPM(bpm, 60); }, heart);
  expectHsb(pallet.colourForRespRateLineBad(), {kHue1, 1.0, 1.0}, "line bad");
}

TEST_F(PalletTest, ShadesDependOnTheTheme) {
  Pallet dark(env);
  expectBands("dark quality", std::bind_front(&Pallet::colourForQualityWithPercent, &dark),
              {{0.2f, 256, 0.55, 0.7}, {0.75f, 256, 0.55, 0.85}, {1.2f, 256, 0.55, 1.0}});
  expectBands("dark HR average", std::bind_front(&Pallet::colourForHRAverage, &dark),
              {{1.0f, 340, 0.1, 0.4}, {0.8f, 340, 1.0, 1.0}, {0.85f, 340, 1.0, 0.95}, {0.99f, 340, 1.0, 0.7}});
  expectHsb(dark.colourForRestfulSleep(), {256, 0.75, 0.82}, "dark restful");
  expectHsb(dark.innerShadeForType(3), {193, 0.92, 0.1}, "dark inner shade 3");
  expectHsb(dark.colourForHRDipZone(2.0f), {340, 1.0, 0.675}, "dark HR dip 2");
  expectHsb(dark.colourForRespRateLineGood(), {kHue4, 1.0, 0.9}, "dark line good");
  expectHsb(dark.colourForRespRateLine(), {65, 1.0, 0.9}, "dark line");

  Pallet light = lightPallet();
  expectHsb(light.colourForQualityWithPercent(0.5f), {256, 0.55, 0.5}, "light quality 0.5");
  expectHsb(light.colourForDeepSleepWithPercent(0.75f), {256, 0.75, 0.75}, "light deep 0.75");
  expectHsb(light.colourForHRAverage(0.85f), {340, 1.0, 0.75}, "light HR average 0.85");
  expectHsb(light.innerShadeForType(1), {193, 0.0, 1.0}, "light inner shade 1");
  expectHsb(light.colourForRespRateLineGood(), {kHue4, 1.0, 0.75}, "light line good");
  expectHsb(light.colourForRespRateLine(), {55, 1.0, 0.1}, "light line");
}

TEST_F(PalletTest, RatingBandsUseStrictOrInclusiveEdgesAsNamed) {
  Pallet pallet(env);
  // Input and the rating whose charge colour it takes.
  using Rated = std::pair<float, float>;
  const Rated ready[] = {{1.5001f, 160}, {1.5f, 140}, {1.2f, 120}, {0.95f, 110}, {0.825f, 99}, {0.7f, 75}, {0.5f, 50}};
  const Rated wrist[] = {{6.0f, 70},   {5.0f, 90},  {4.99f, 105}, {4.0f, 105}, {3.0f, 120},
                         {2.99f, 105}, {2.0f, 105}, {1.0f, 90},   {0.99f, 70}};
  const Rated oxygen[] = {{95.0f, 110}, {94.9f, 99}, {90.0f, 99}, {89.9f, 50}};
  const Rated breathing[] = {{11.99f, 50}, {11.999f, 110}, {20.4f, 110}, {20.499f, 50}};
  auto expectRatings = [&](const char* rule, Colour (Pallet::*colour)(float) const, std::span<const Rated> cases) {
    for (auto [input, rating] : cases)
      EXPECT_EQ((pallet.*colour)(input), pallet.lightRatingColour(rating))
          << rule << " " << input << " rates " << rating;
  };
  expectRatings("ready", &Pallet::colourForReadyScore, ready);
  expectRatings("wrist temperature", &Pallet::colourForWristTempScore, wrist);
  expectRatings("oxygen", &Pallet::colourForSpO2Reading, oxygen);
  expectRatings("breathing", &Pallet::colourForRespRateReading, breathing);
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
    const std::string name = std::to_string(c.value) + " against " + std::to_string(c.baseline);
    standard->setBool(c.fahrenheit, "tempF");
    Pallet pallet(env);
    EXPECT_NEAR(pallet.wristTempScoreForValue(c.value, c.baseline), c.score, 1e-4) << name;
    EXPECT_EQ(pallet.wristTempColourForValue(c.value, c.baseline), pallet.colourForWristTempScore(c.score)) << name;
  }
}

// The faces are a fixed table; these rows pin its first entry, the one whose
// lighter hue differs from its darker one, and the fallback.
TEST_F(PalletTest, ClockFaces) {
  Pallet pallet(env);
  expectHsb(pallet.colourForClockFace(1, true), {193, 0.92, 0.15}, "face 1 darker");
  expectHsb(pallet.colourForClockFace(1, false), {193, 0.1, 0.95}, "face 1 lighter");
  expectHsb(pallet.colourForClockFace(5, true), {193, 0.92, 0.25}, "face 5 darker");
  expectHsb(pallet.colourForClockFace(5, false), {192, 0.92, 0.3}, "face 5 lighter");
  expectHsb(pallet.colourForClockFace(0, true), {0, 0, 0}, "no face darker");
  expectHsb(pallet.colourForClockFace(0, false), {193, 0, 0.98}, "no face lighter");
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
  expectHsb(pallet.colourForWorkoutBPM(49.9f), {354, 0.4, 0.75}, "below every zone the resting rule decides");

  standard->removeObjectForKey("maxHeartRate");
  EXPECT_EQ(pallet.colourForWorkoutBPM(171), pallet.colourForWorkoutZone(0));  // 95 % of 180
  expectHsb(pallet.colourForWorkoutBPM(80), {270, 0.4, 0.67}, "44 % of 180: the resting rule");
}

TEST_F(PalletTest, FitnessBands) {
  Pallet pallet(env);
  expectHsb(pallet.colourForRestingZone(3), {354, 0.4, 0.75}, "resting zone 3");
  expectHsb(pallet.colourForRestingZone(4), {354, 0.4, 0.5}, "resting zone 4");
  expectHsb(pallet.colourForWorkoutZone(3), {139, 0.82, 0.65}, "workout zone 3");
  expectHsb(pallet.colourForWorkoutZone(-1), {171, 0.82, 0.55}, "workout zone -1");
  expectHsb(pallet.colourForSpeedZone(6), {139, 0.82, 0.55}, "speed zone 6");
  expectHsb(pallet.colourForSpeedZone(7), {139, 0.82, 0.35}, "speed zone 7");
  expectBands("feeling", std::bind_front(&Pallet::colourForFeelingPercent, &pallet),
              {{0.28f, 356, 0.79, 0.84}, {0.29f, 200, 0.6, 0.8}, {0.69f, 134, 0.85, 0.6}});
  expectBands("soreness", std::bind_front(&Pallet::colourForSorenessPercent, &pallet),
              {{0.29f, 134, 0.85, 0.6}, {0.49f, 42, 0.96, 0.89}, {0.79f, 356, 0.79, 0.84}, {0.8f, 354, 0.92, 0.98}});
  expectBands("week", std::bind_front(&Pallet::colourForWeekBatteryChargePercent, &pallet),
              {{0.86f, 128, 0.8, 0.5}, {0.85f, 44, 0.94, 0.8}, {0.65f, 357, 0.69, 0.7}});
  expectBands("energy", std::bind_front(&Pallet::colourForEnergy, &pallet),
              {{5, 133, 0.85, 0.2}, {25, 133, 0.85, 0.25}, {1000, 133, 0.85, 0.3}, {1000.5f, 133, 0.85, 0.61}});
  EXPECT_EQ(pallet.colourForEnergy(-1), Colour::blackColor());
}

TEST_F(PalletTest, Labels) {
  Pallet pallet(env);
  EXPECT_EQ(pallet.emojiForFeeling(2.9f), "💩");
  EXPECT_EQ(pallet.emojiForFeeling(3), "😐");
  EXPECT_EQ(pallet.emojiForFeeling(7), "😄");
  EXPECT_EQ(pallet.textForSpeedZone(0), "Bolting");
  EXPECT_EQ(pallet.textForSpeedZone(8), "Minimal");
  EXPECT_EQ(pallet.textForSpeedZone(9), "Nothing");
  EXPECT_EQ(pallet.textForSpeedZone(-1), "Nothing");

  testing::TestEnvironment german;
  german.languages = {"de"};
  EXPECT_EQ(Pallet(german).textForSpeedZone(4), "Gehen");
}

TEST_F(PalletTest, StarValues) {
  Pallet pallet(env);
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

// --- Named colours ---

// One of each kind: themed, black in the dark, borrowed from another colour, and the same in both themes.
TEST_F(PalletTest, NamedColoursInBothThemes) {
  const struct {
    Colour (Pallet::*colour)() const;
    const char *dark, *light;
  } cases[] = {
      {&Pallet::backgroundColour, "#021014FF", "#FAFAFAFF"},
      {&Pallet::subtleHeadingColour, "#E6E6CFFF", "#262626FF"},
      {&Pallet::colourWhenAwake, "#1BB53DFF", "#179933FF"},
      {&Pallet::clockOutlineColour, "#000000FF", "#F2F2F2FF"},
      {&Pallet::colourForSectionHeaderLine, "#000000FF", "#F2F2F2FF"},
      {&Pallet::darkModeSelectedTint, "#5B646BFF", "#5B646BFF"},
  };
  Pallet dark(env);
  Pallet light = lightPallet();
  for (const auto& c : cases) {
    EXPECT_EQ((dark.*c.colour)().hexRGBA(), c.dark) << c.dark;
    EXPECT_EQ((light.*c.colour)().hexRGBA(), c.light) << c.light;
  }
  // The light theme's greys keep the hue; the heading tints change hue between themes.
  expectHsb(light.backgroundColour(), {193, 0, 0.98}, "light background");
  expectHsb(dark.highTintColour(), {60, 0.34, 1.0}, "dark high tint");
  expectHsb(light.highTintColour(), {55, 0, 0.1}, "light high tint");
  EXPECT_EQ(dark.clockOutlineColour(), Colour::blackColor());
}

}  // namespace
}  // namespace velmora
