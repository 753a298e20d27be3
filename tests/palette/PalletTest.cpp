#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "palette/Pallet.h"
#include "platform/UserDefaults.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

// Default hues, in degrees.
constexpr double kHue1 = 357, kHue2 = 34, kHue3 = 44, kHue4 = 128, kHue5 = 207;

struct Hsb {
  double degrees, saturation, brightness;
};

void expectHsb(const Colour& colour, const Hsb& want) {
  EXPECT_DOUBLE_EQ(colour.hue, want.degrees / 360.0);
  EXPECT_DOUBLE_EQ(colour.saturation, want.saturation);
  EXPECT_NEAR(colour.brightness, want.brightness, 1e-6);
  EXPECT_EQ(colour.alpha, 1.0);
}

struct NamedCase {
  const char* name;
  Colour colour;
  Hsb want;
};

void expectAll(std::initializer_list<NamedCase> cases) {
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    expectHsb(c.colour, c.want);
  }
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

TEST_F(PalletTest, FirstUseIsDarkAndWritesTheChoiceBack) {
  Pallet pallet(env);
  EXPECT_TRUE(pallet.isDarkTheme());
  EXPECT_FALSE(pallet.isTemporaryDark());
  auto stored = UserDefaults::standard(env)->objectForKey("darkTheme6");
  ASSERT_TRUE(stored.has_value());
  EXPECT_TRUE(stored->boolValue());
  EXPECT_FALSE(lightPallet().isDarkTheme());
}

TEST_F(PalletTest, TemporaryDarkAndRestore) {
  Pallet light = lightPallet();
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

TEST_F(PalletTest, HuesComeFromOwnDefaultsThenTheSharedStore) {
  standard->setObject(Value::number(100), "Hue1");
  shared->setObject(Value::number(200), "Hue1");
  shared->setObject(Value::integer(300), "Hue3");
  standard->setObject(Value("not a number"), "Hue5");  // present, so the shared store is not asked
  shared->setObject(Value::number(250), "Hue5");
  Pallet pallet(env);
  EXPECT_EQ(pallet.hue1(), 100.0f);
  EXPECT_EQ(pallet.hue2(), 34.0f);
  EXPECT_EQ(pallet.hue3(), 300.0f);
  EXPECT_EQ(pallet.hue4(), 128.0f);
  EXPECT_EQ(pallet.hue5(), 0.0f);
  // A full battery takes the fourth hue, as passed.
  shared->setObject(Value::real(90.5), "Hue4");
  pallet.loadCustomHues();
  EXPECT_DOUBLE_EQ(pallet.colourForBatteryChargePercent(1.0f).hue, 90.5 / 360.0);
}

TEST_F(PalletTest, SharedStoreIsOpenedOnlyForMissingHuesAndOncePerLoad) {
  std::filesystem::create_directories(env.prefsDir);
  std::ofstream(env.preferencesFile(Environment::kSharedSuite)) << "not a property list";
  for (int i = 1; i <= 5; ++i)
    standard->setObject(Value::number(10.0f * static_cast<float>(i)), "Hue" + std::to_string(i));
  Pallet pallet(env);
  EXPECT_EQ(pallet.hue5(), 50.0f);
  EXPECT_TRUE(env.warnings.empty());

  standard->removeObjectForKey("Hue2");
  standard->removeObjectForKey("Hue4");
  pallet.loadCustomHues();  // the unreadable shared store reads as empty, and is reported once
  EXPECT_EQ(pallet.hue2(), 34.0f);
  EXPECT_EQ(pallet.hue4(), 128.0f);
  EXPECT_EQ(env.warnings.size(), 1u);
}

TEST_F(PalletTest, HuesFromAnArrayNeedFiveEntries) {
  Pallet pallet(env);
  Array four{Value::number(1), Value::number(2), Value::number(3), Value::number(4)};
  pallet.loadCustomHuesFromArray(&four);
  pallet.loadCustomHuesFromArray(nullptr);
  EXPECT_EQ(pallet.hue1(), 357.0f);

  Array six{Value::number(1), Value::integer(2), Value("3"), Value::number(4), Value::real(5), Value::number(6)};
  pallet.loadCustomHuesFromArray(&six);
  EXPECT_EQ(pallet.hue1(), 1.0f);
  EXPECT_EQ(pallet.hue3(), 3.0f);
  EXPECT_EQ(pallet.hue5(), 5.0f);
}

TEST_F(PalletTest, HeartRatePreferencesAreZeroUntilLoaded) {
  standard->setObject(Value::number(75), "restingHigh");
  standard->setBool(true, "miles");
  Pallet pallet(env);
  EXPECT_EQ(pallet.maxHeartRate(), 0.0f);
  EXPECT_FALSE(pallet.miles());
  pallet.loadPrefs();
  EXPECT_EQ(pallet.maxHeartRate(), 180.0f);
  EXPECT_EQ(pallet.restingElevated(), 100.0f);
  EXPECT_EQ(pallet.restingHigh(), 75.0f);
  EXPECT_EQ(pallet.restingVeryLow(), 40.0f);
  EXPECT_EQ(pallet.workoutPercent1(), 90.0f);
  EXPECT_EQ(pallet.workoutPercent5(), 50.0f);
  EXPECT_TRUE(pallet.miles());
}

// --- Value-to-colour rules ---

TEST_F(PalletTest, BatteryChargeBands) {
  const struct {
    float ratio;
    Hsb want;
  } cases[] = {{-0.75f, {kHue1, 0.69, 0.5}},  // below the lowest band the brightness keeps falling
               {0.7499f, {kHue1, 0.69, 0.89997333}}, {0.75f, {kHue2, 0.8, 0.75}},
               {0.8499f, {kHue2, 0.8, 0.89985}},     {0.85f, {kHue3, 0.94, 0.8}},
               {0.9999f, {kHue3, 0.94, 0.9499}},     {1.0f, {kHue4, 0.8, 0.6}},
               {1.4999f, {kHue4, 0.8, 0.89994}},     {1.5f, {kHue5, 0.8, 0.8}},
               {1.75f, {kHue5, 0.8, 0.9}},           {2.5f, {kHue5, 0.8, 1.0}}};  // clamped
  Pallet pallet(env);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.ratio);
    expectHsb(pallet.colourForBatteryChargePercent(c.ratio), c.want);
  }
  expectHsb(pallet.lightRatingColour(110), {kHue4, 0.8, 0.66});
}

TEST_F(PalletTest, RatingBandsUseStrictOrInclusiveEdgesAsNamed) {
  Pallet pallet(env);
  const struct {
    Colour (Pallet::*colour)(float) const;
    float input;
    float rating;
  } cases[] = {
      {&Pallet::colourForReadyScore, 1.5001f, 160},    {&Pallet::colourForReadyScore, 1.5f, 140},
      {&Pallet::colourForReadyScore, 1.2f, 120},       {&Pallet::colourForReadyScore, 0.95f, 110},
      {&Pallet::colourForReadyScore, 0.825f, 99},      {&Pallet::colourForReadyScore, 0.7f, 75},
      {&Pallet::colourForReadyScore, 0.5f, 50},        {&Pallet::colourForWristTempScore, 6.0f, 70},
      {&Pallet::colourForWristTempScore, 5.0f, 90},    {&Pallet::colourForWristTempScore, 4.99f, 105},
      {&Pallet::colourForWristTempScore, 4.0f, 105},   {&Pallet::colourForWristTempScore, 3.0f, 120},
      {&Pallet::colourForWristTempScore, 2.99f, 105},  {&Pallet::colourForWristTempScore, 2.0f, 105},
      {&Pallet::colourForWristTempScore, 1.0f, 90},    {&Pallet::colourForWristTempScore, 0.99f, 70},
      {&Pallet::colourForSpO2Reading, 95.0f, 110},     {&Pallet::colourForSpO2Reading, 94.9f, 99},
      {&Pallet::colourForSpO2Reading, 90.0f, 99},      {&Pallet::colourForSpO2Reading, 89.9f, 50},
      {&Pallet::colourForRespRateReading, 11.99f, 50}, {&Pallet::colourForRespRateReading, 11.999f, 110},
      {&Pallet::colourForRespRateReading, 20.4f, 110}, {&Pallet::colourForRespRateReading, 20.499f, 50},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.input);
    EXPECT_EQ((pallet.*c.colour)(c.input), pallet.lightRatingColour(c.rating));
  }
  EXPECT_EQ(pallet.spO2TintGood(), pallet.respRateTintGood());
  EXPECT_EQ(pallet.colourForRespRateGraphReading(12.0f), pallet.colourForRespRateLineGood());
  EXPECT_EQ(pallet.colourForRespRateGraphReading(20.5f), pallet.colourForRespRateLineBad());
}

TEST_F(PalletTest, WristTemperatureScore) {
  const struct {
    float value, baseline;
    bool fahrenheit;
    float score;
  } cases[] = {{36.5f, 36.5f, false, 3.5f},     {36.5f, 0.0f, false, 0.0f},     {0.0f, 36.5f, false, 0.0f},
               {36.25f, 36, false, 4.0f},       {36.9f, 36, false, 4.8666667f}, {37.25f, 36, false, 5.5f},
               {37.75f, 36, false, 6.5f},       {38.0f, 36, false, 7.0f},       {39.0f, 36, false, 7.0f},
               {35.75f, 36, false, 3.0f},       {35.5f, 36, false, 2.6666667f}, {34.75f, 36, false, 1.5f},
               {34.25f, 36, false, 0.5f},       {34.0f, 36, false, 0.0f},       {33.0f, 36, false, 0.0f},
               {97.7f, 96.8f, true, 4.3333333f}};  // 0.9 °F is 0.5 °C
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.value) + " against " + std::to_string(c.baseline));
    standard->setBool(c.fahrenheit, "tempF");
    Pallet pallet(env);
    EXPECT_NEAR(pallet.wristTempScoreForValue(c.value, c.baseline), c.score, 1e-4);
    EXPECT_EQ(pallet.wristTempColourForValue(c.value, c.baseline), pallet.colourForWristTempScore(c.score));
  }
}

TEST_F(PalletTest, HueBasedRules) {
  Pallet dark(env);
  expectAll({
      {"efficiency 90", dark.efficiencyRatingColour(90), {kHue4, 0.8, 0.84}},
      {"efficiency 89.9", dark.efficiencyRatingColour(89.9f), {kHue3, 0.94, 0.8894}},
      {"efficiency 85", dark.efficiencyRatingColour(85), {kHue3, 0.94, 0.86}},
      {"efficiency 80", dark.efficiencyRatingColour(80), {kHue2, 0.8, 0.87}},
      {"efficiency 79.9", dark.efficiencyRatingColour(79.9f), {kHue1, 0.69, 0.8996}},
      {"heart -0.5", dark.heartRatingColourForBPM(59.5f, 60), {kHue4, 0.8, 0.8}},
      {"heart 0", dark.heartRatingColourForBPM(60, 60), {kHue4, 0.8, 0.7}},
      {"heart 1", dark.heartRatingColourForBPM(61, 60), {kHue3, 0.94, 0.9}},
      {"heart 2", dark.heartRatingColourForBPM(62, 60), {kHue3, 0.94, 0.8}},
      {"heart 3.5", dark.heartRatingColourForBPM(63.5f, 60), {kHue2, 0.8, 0.8}},
      {"heart 4.5", dark.heartRatingColourForBPM(64.5f, 60), {kHue1, 0.69, 0.7}},
      {"quality 0.2", dark.colourForQualityWithPercent(0.2f), {256, 0.55, 0.7}},
      {"quality 0.75", dark.colourForQualityWithPercent(0.75f), {256, 0.55, 0.85}},
      {"quality 1.2", dark.colourForQualityWithPercent(1.2f), {256, 0.55, 1.0}},
      {"restful", dark.colourForRestfulSleep(), {256, 0.75, 0.82}},
      {"inner shade 3", dark.innerShadeForType(3), {193, 0.92, 0.1}},
      {"HR average 1", dark.colourForHRAverage(1.0f), {340, 0.1, 0.4}},
      {"HR average 0.8", dark.colourForHRAverage(0.8f), {340, 1.0, 1.0}},
      {"HR average 0.85", dark.colourForHRAverage(0.85f), {340, 1.0, 0.95}},
      {"HR average 0.99", dark.colourForHRAverage(0.99f), {340, 1.0, 0.7}},
      {"HR dip 2", dark.colourForHRDipZone(2.0f), {340, 1.0, 0.675}},
      {"line good", dark.colourForRespRateLineGood(), {kHue4, 1.0, 0.9}},
      {"line bad", dark.colourForRespRateLineBad(), {kHue1, 1.0, 1.0}},
      {"line", dark.colourForRespRateLine(), {65, 1.0, 0.9}},
  });
  Pallet light = lightPallet();
  expectAll({
      {"quality 0.5", light.colourForQualityWithPercent(0.5f), {256, 0.55, 0.5}},
      {"deep 0.75", light.colourForDeepSleepWithPercent(0.75f), {256, 0.75, 0.75}},
      {"inner shade 1", light.innerShadeForType(1), {193, 0.0, 1.0}},
      {"HR average 0.85", light.colourForHRAverage(0.85f), {340, 1.0, 0.75}},
      {"line good", light.colourForRespRateLineGood(), {kHue4, 1.0, 0.75}},
      {"line", light.colourForRespRateLine(), {55, 1.0, 0.1}},
  });
}

TEST_F(PalletTest, ClockFaces) {
  Pallet pallet(env);
  const struct {
    int type;
    Hsb darker, lighter;
  } cases[] = {{1, {193, 0.92, 0.15}, {193, 0.1, 0.95}}, {2, {193, 0.92, 0.2}, {193, 0.2, 0.8}},
               {3, {255, 0.52, 0.15}, {255, 0.1, 0.15}}, {4, {207, 0.92, 0.15}, {207, 0.92, 0.25}},
               {5, {193, 0.92, 0.25}, {192, 0.92, 0.3}}, {0, {0, 0, 0}, {193, 0, 0.98}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.type);
    expectHsb(pallet.colourForClockFace(c.type, true), c.darker);
    expectHsb(pallet.colourForClockFace(c.type, false), c.lighter);
  }
}

TEST_F(PalletTest, HeartRateZones) {
  standard->setObject(Value::number(100), "maxHeartRate");  // workout percent = bpm
  Pallet pallet(env);
  const Hsb high{270, 0.4, 0.67}, upperNormal{207, 0.75, 0.92}, normal{207, 0.65, 0.94}, low{354, 0.4, 0.75};
  const struct {
    float bpm;
    Hsb resting;
  } resting[] = {
      {100, {357, 0.8, 1.0}}, {99.9f, high}, {80, high}, {79.9f, upperNormal},    {55, upperNormal}, {54.9f, normal},
      {50, normal},           {49.9f, low},  {40, low},  {39.9f, {354, 0.4, 0.5}}};
  for (const auto& c : resting) {
    SCOPED_TRACE(c.bpm);
    expectHsb(pallet.colourForRestingBPM(c.bpm), c.resting);
  }
  const struct {
    float bpm;
    int zone;
  } workout[] = {{90, 0}, {89.9f, 1}, {80, 1}, {79.9f, 2}, {70, 2}, {69.9f, 3}, {60, 3}, {59.9f, 4}, {50, 4}};
  for (const auto& c : workout) {
    SCOPED_TRACE(c.bpm);
    EXPECT_EQ(pallet.colourForWorkoutBPM(c.bpm), pallet.colourForWorkoutZone(c.zone));
  }
  expectHsb(pallet.colourForWorkoutBPM(49.9f), low);  // below every zone the resting rule decides

  standard->removeObjectForKey("maxHeartRate");
  EXPECT_EQ(pallet.colourForWorkoutBPM(171), pallet.colourForWorkoutZone(0));  // 95 % of 180
  expectHsb(pallet.colourForWorkoutBPM(80), high);                             // 44 %: resting rule
}

TEST_F(PalletTest, FitnessBands) {
  Pallet pallet(env);
  expectAll({
      {"resting zone 3", pallet.colourForRestingZone(3), {354, 0.4, 0.75}},
      {"resting zone 4", pallet.colourForRestingZone(4), {354, 0.4, 0.5}},
      {"workout zone 3", pallet.colourForWorkoutZone(3), {139, 0.82, 0.65}},
      {"workout zone -1", pallet.colourForWorkoutZone(-1), {171, 0.82, 0.55}},
      {"feeling 0.28", pallet.colourForFeelingPercent(0.28f), {356, 0.79, 0.84}},
      {"feeling 0.29", pallet.colourForFeelingPercent(0.29f), {200, 0.6, 0.8}},
      {"feeling 0.69", pallet.colourForFeelingPercent(0.69f), {134, 0.85, 0.6}},
      {"soreness 0.29", pallet.colourForSorenessPercent(0.29f), {134, 0.85, 0.6}},
      {"soreness 0.49", pallet.colourForSorenessPercent(0.49f), {42, 0.96, 0.89}},
      {"soreness 0.79", pallet.colourForSorenessPercent(0.79f), {356, 0.79, 0.84}},
      {"soreness 0.8", pallet.colourForSorenessPercent(0.8f), {354, 0.92, 0.98}},
      {"week 0.86", pallet.colourForWeekBatteryChargePercent(0.86f), {128, 0.8, 0.5}},
      {"week 0.85", pallet.colourForWeekBatteryChargePercent(0.85f), {44, 0.94, 0.8}},
      {"week 0.65", pallet.colourForWeekBatteryChargePercent(0.65f), {357, 0.69, 0.7}},
      {"speed zone 6", pallet.colourForSpeedZone(6), {139, 0.82, 0.55}},
      {"speed zone 7", pallet.colourForSpeedZone(7), {139, 0.82, 0.35}},
      {"energy 5", pallet.colourForEnergy(5), {133, 0.85, 0.2}},
      {"energy 25", pallet.colourForEnergy(25), {133, 0.85, 0.25}},
      {"energy 1000", pallet.colourForEnergy(1000), {133, 0.85, 0.3}},
      {"energy 1000.5", pallet.colourForEnergy(1000.5f), {133, 0.85, 0.61}},
  });
  EXPECT_EQ(pallet.colourForEnergy(-1), Colour::blackColor());
}

TEST_F(PalletTest, Labels) {
  Pallet pallet(env);
  EXPECT_EQ(pallet.emojiForFeeling(2.9f), "💩");
  EXPECT_EQ(pallet.emojiForFeeling(3), "😐");
  EXPECT_EQ(pallet.emojiForFeeling(7), "😄");
  EXPECT_EQ(pallet.textForSpeedZone(0), "Bolting");
  EXPECT_EQ(pallet.textForSpeedZone(7), "Semi-Active");
  EXPECT_EQ(pallet.textForSpeedZone(8), "Minimal");
  EXPECT_EQ(pallet.textForSpeedZone(9), "Nothing");
  EXPECT_EQ(pallet.textForSpeedZone(-1), "Nothing");

  testing::TestEnvironment german;
  german.languages = {"de"};
  EXPECT_EQ(Pallet(german).textForSpeedZone(4), "Gehen");
}

TEST_F(PalletTest, StarValues) {
  Pallet pallet(env);
  const struct {
    float input, stars;
  } ready[] = {{2.5f, 6.99f}, {2.0f, 6.99f}, {1.99f, 6.98f}, {1.5f, 6.0f}, {1.35f, 5.5f},
               {1.2f, 5.0f},  {1.0f, 4.2f},  {0.95f, 4.0f},  {0.9f, 3.6f}, {0.825f, 3.0f},
               {0.75f, 2.4f}, {0.7f, 2.0f},  {0.6f, 1.5f},   {0.5f, 1.0f}, {0.25f, 0.5f}},
    resp[] = {{6, 1.0f},        {11.98f, 1.9966667f}, {11.99f, 2.0f} /* the clamp, not b / 6 */,
              {14, 2.7058824f}, {16.25f, 3.5f},       {18, 4.1176471f},
              {20.48f, 4.99f},  {20.49f, 4.9978947f}, {25, 5.9473684f},
              {30, 6.99f}};
  for (const auto& c : ready) {
    SCOPED_TRACE(c.input);
    EXPECT_NEAR(pallet.starsValueForReadyPercent(c.input), c.stars, 1e-5);
  }
  for (const auto& c : resp) {
    SCOPED_TRACE(c.input);
    EXPECT_NEAR(pallet.starsValueForRespRate(c.input), c.stars, 1e-5);
  }
}

// --- Named colours ---

TEST_F(PalletTest, NamedColoursInBothThemes) {
  const struct {
    Colour (Pallet::*colour)() const;
    const char *dark, *light;
  } cases[] = {
      {&Pallet::backgroundColour, "#021014FF", "#FAFAFAFF"},
      {&Pallet::seperatorColour, "#000405FF", "#FFFFFFFF"},
      {&Pallet::sectionLineColour, "#1C1E1FFF", "#F2F2F2FF"},
      {&Pallet::clockRingColour, "#131414FF", "#CED6D9FF"},
      {&Pallet::clockOutlineColour, "#000000FF", "#F2F2F2FF"},
      {&Pallet::colourForSubtleSleepRing, "#525A61FF", "#8597A6FF"},
      {&Pallet::gradientFadeColour, "#000000FF", "#F0F0F0FF"},
      {&Pallet::colourForSectionHeaderLine, "#000000FF", "#F2F2F2FF"},
      {&Pallet::subtleHeadingColour, "#E6E6CFFF", "#262626FF"},
      {&Pallet::tintColour, "#FFFBCCFF", "#1A1A1AFF"},
      {&Pallet::textEntryBackground, "#22607DFF", "#CCCCCCFF"},
      {&Pallet::colourForWellnessSectionHeading, "#D9D7C3FF", "#1A1A1AFF"},
      {&Pallet::colourForHour, "#CCCCCCFF", "#FFFFFFFF"},
      {&Pallet::darkModeSelectedTint, "#5B646BFF", "#5B646BFF"},
      {&Pallet::colourWhenAwake, "#1BB53DFF", "#179933FF"},
      {&Pallet::noiseTint, "#4D3B0FFF", "#E6D8B8FF"},
      {&Pallet::spO2LabelTint, "#FAFAFAFF", "#050505FF"},
  };
  Pallet dark(env);
  Pallet light = lightPallet();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.dark);
    EXPECT_EQ((dark.*c.colour)().hexRGBA(), c.dark);
    EXPECT_EQ((light.*c.colour)().hexRGBA(), c.light);
  }
  // The light theme's greys keep the hue; the heading tints change hue between themes.
  expectHsb(light.backgroundColour(), {193, 0, 0.98});
  expectHsb(dark.highTintColour(), {60, 0.34, 1.0});
  expectHsb(light.highTintColour(), {55, 0, 0.1});
  EXPECT_EQ(dark.clockOutlineColour(), Colour::blackColor());
}

}  // namespace
}  // namespace velmora
