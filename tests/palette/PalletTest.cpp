#include <gtest/gtest.h>

#include <string>
#include <vector>

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

// --- Theme ---

TEST_F(PalletTest, FirstUseIsDarkAndWritesTheChoiceBack) {
  Pallet pallet(env);
  EXPECT_TRUE(pallet.isDarkTheme());
  EXPECT_FALSE(pallet.isTemporaryDark());
  auto stored = UserDefaults::standard(env)->objectForKey("darkTheme6");
  ASSERT_TRUE(stored.has_value());
  EXPECT_TRUE(stored->boolValue());
}

TEST_F(PalletTest, StoredLightThemeIsKept) {
  Pallet pallet = lightPallet();
  EXPECT_FALSE(pallet.isDarkTheme());
  EXPECT_FALSE(UserDefaults::standard(env)->boolForKey("darkTheme6"));
}

TEST_F(PalletTest, TemporaryDarkOnALightThemeIsUndoneByRestore) {
  Pallet pallet = lightPallet();
  pallet.setDarkTheme(true);
  EXPECT_TRUE(pallet.isDarkTheme());
  EXPECT_TRUE(pallet.isTemporaryDark());
  pallet.restoreTheme();
  EXPECT_FALSE(pallet.isDarkTheme());
  EXPECT_FALSE(pallet.isTemporaryDark());
}

TEST_F(PalletTest, SwitchingFromADarkThemeIsNotTemporary) {
  Pallet pallet(env);
  pallet.setDarkTheme(false);
  EXPECT_FALSE(pallet.isDarkTheme());
  EXPECT_FALSE(pallet.isTemporaryDark());
  // Now light, so going dark again counts as temporary.
  pallet.setDarkTheme(true);
  EXPECT_TRUE(pallet.isTemporaryDark());
}

TEST_F(PalletTest, RestoreReadsTheStoredThemeAgain) {
  Pallet pallet(env);
  standard->setBool(false, "darkTheme6");
  EXPECT_TRUE(pallet.isDarkTheme());  // read once, at creation
  pallet.restoreTheme();
  EXPECT_FALSE(pallet.isDarkTheme());
}

// --- Hues and preferences ---

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
  // The charge colour of a full battery takes the fourth hue; a surplus the fifth.
  shared->setObject(Value::real(90.5), "Hue4");
  pallet.loadCustomHues();
  EXPECT_DOUBLE_EQ(pallet.colourForBatteryChargePercent(1.0f).hue, 90.5 / 360.0);
}

TEST_F(PalletTest, HuesFromAnArrayNeedFiveEntries) {
  Pallet pallet(env);
  Array four{Value::number(1), Value::number(2), Value::number(3), Value::number(4)};
  pallet.loadCustomHuesFromArray(&four);
  pallet.loadCustomHuesFromArray(nullptr);
  EXPECT_EQ(pallet.hue1(), 357.0f);
  EXPECT_EQ(pallet.hue4(), 128.0f);

  Array six{Value::number(1), Value::integer(2), Value("3"), Value::number(4), Value::real(5), Value::number(6)};
  pallet.loadCustomHuesFromArray(&six);
  EXPECT_EQ(pallet.hue1(), 1.0f);
  EXPECT_EQ(pallet.hue3(), 3.0f);
  EXPECT_EQ(pallet.hue5(), 5.0f);

  pallet.loadCustomHues();  // back to the defaults
  EXPECT_EQ(pallet.hue5(), 207.0f);
}

TEST_F(PalletTest, HeartRatePreferencesAreZeroUntilLoaded) {
  standard->setObject(Value::number(75), "restingHigh");
  standard->setBool(true, "miles");
  Pallet pallet(env);
  EXPECT_EQ(pallet.maxHeartRate(), 0.0f);
  EXPECT_EQ(pallet.restingHigh(), 0.0f);
  pallet.loadPrefs();
  EXPECT_EQ(pallet.maxHeartRate(), 180.0f);
  EXPECT_EQ(pallet.restingElevated(), 100.0f);
  EXPECT_EQ(pallet.restingHigh(), 75.0f);
  EXPECT_EQ(pallet.restingNormal(), 50.0f);
  EXPECT_EQ(pallet.restingLow(), 40.0f);
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
  } cases[] = {
      {-0.75f, {kHue1, 0.69, 0.5}},  // below the lowest band the brightness keeps falling
      {0.0f, {kHue1, 0.69, 0.7}},       {0.7499f, {kHue1, 0.69, 0.89997333}}, {0.75f, {kHue2, 0.8, 0.75}},
      {0.8499f, {kHue2, 0.8, 0.89985}}, {0.85f, {kHue3, 0.94, 0.8}},          {0.9999f, {kHue3, 0.94, 0.9499}},
      {1.0f, {kHue4, 0.8, 0.6}},        {1.1f, {kHue4, 0.8, 0.66}},           {1.4999f, {kHue4, 0.8, 0.89994}},
      {1.5f, {kHue5, 0.8, 0.8}},        {1.75f, {kHue5, 0.8, 0.9}},           {2.0f, {kHue5, 0.8, 1.0}},
      {2.5f, {kHue5, 0.8, 1.0}},  // clamped
  };
  Pallet pallet(env);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.ratio);
    expectHsb(pallet.colourForBatteryChargePercent(c.ratio), c.want);
  }
  EXPECT_EQ(pallet.lightRatingColour(110), pallet.colourForBatteryChargePercent(1.1f));
}

TEST_F(PalletTest, RatingBandsUseStrictOrInclusiveEdgesAsNamed) {
  Pallet pallet(env);
  const struct {
    const char* rule;
    Colour (Pallet::*colour)(float) const;
    float input;
    float rating;
  } cases[] = {
      {"ready", &Pallet::colourForReadyScore, 1.5001f, 160},
      {"ready", &Pallet::colourForReadyScore, 1.5f, 140},
      {"ready", &Pallet::colourForReadyScore, 1.2f, 120},
      {"ready", &Pallet::colourForReadyScore, 0.95f, 110},
      {"ready", &Pallet::colourForReadyScore, 0.825f, 99},
      {"ready", &Pallet::colourForReadyScore, 0.7f, 75},
      {"ready", &Pallet::colourForReadyScore, 0.5f, 50},
      {"wrist", &Pallet::colourForWristTempScore, 6.0f, 70},
      {"wrist", &Pallet::colourForWristTempScore, 5.99f, 90},
      {"wrist", &Pallet::colourForWristTempScore, 5.0f, 90},
      {"wrist", &Pallet::colourForWristTempScore, 4.99f, 105},
      {"wrist", &Pallet::colourForWristTempScore, 4.0f, 105},
      {"wrist", &Pallet::colourForWristTempScore, 3.99f, 120},
      {"wrist", &Pallet::colourForWristTempScore, 3.0f, 120},
      {"wrist", &Pallet::colourForWristTempScore, 2.99f, 105},
      {"wrist", &Pallet::colourForWristTempScore, 2.0f, 105},
      {"wrist", &Pallet::colourForWristTempScore, 1.99f, 90},
      {"wrist", &Pallet::colourForWristTempScore, 1.0f, 90},
      {"wrist", &Pallet::colourForWristTempScore, 0.99f, 70},
      {"spO2", &Pallet::colourForSpO2Reading, 95.0f, 110},
      {"spO2", &Pallet::colourForSpO2Reading, 94.9f, 99},
      {"spO2", &Pallet::colourForSpO2Reading, 90.0f, 99},
      {"spO2", &Pallet::colourForSpO2Reading, 89.9f, 50},
      {"resp", &Pallet::colourForRespRateReading, 11.99f, 50},
      {"resp", &Pallet::colourForRespRateReading, 11.999f, 110},
      {"resp", &Pallet::colourForRespRateReading, 12.0f, 110},
      {"resp", &Pallet::colourForRespRateReading, 20.4f, 110},
      {"resp", &Pallet::colourForRespRateReading, 20.499f, 50},
      {"resp", &Pallet::colourForRespRateReading, 20.5f, 50},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.rule) + " " + std::to_string(c.input));
    EXPECT_EQ((pallet.*c.colour)(c.input), pallet.lightRatingColour(c.rating));
  }
  EXPECT_EQ(pallet.spO2TintGood(), pallet.respRateTintGood());
  EXPECT_EQ(pallet.spO2TintBad(), pallet.respRateTintBad());
  EXPECT_EQ(pallet.colourForRespRateGraphReading(12.0f), pallet.colourForRespRateLineGood());
  EXPECT_EQ(pallet.colourForRespRateGraphReading(20.5f), pallet.colourForRespRateLineBad());
}

TEST_F(PalletTest, WristTemperatureScore) {
  const struct {
    float value, baseline;
    bool fahrenheit;
    float score;
  } cases[] = {
      {36.5f, 36.5f, false, 3.5f},       {36.5f, 0.0f, false, 0.0f},
      {0.0f, 36.5f, false, 0.0f},        {-1.0f, -1.0f, false, 0.0f},
      {36.25f, 36.0f, false, 4.0f},      {36.5f, 36.0f, false, 4.3333333f},
      {37.0f, 36.0f, false, 5.0f},       {37.25f, 36.0f, false, 5.5f},
      {37.5f, 36.0f, false, 6.0f},       {37.75f, 36.0f, false, 6.5f},
      {38.0f, 36.0f, false, 7.0f},       {39.0f, 36.0f, false, 7.0f},
      {35.75f, 36.0f, false, 3.0f},      {35.5f, 36.0f, false, 2.6666667f},
      {35.0f, 36.0f, false, 2.0f},       {34.75f, 36.0f, false, 1.5f},
      {34.5f, 36.0f, false, 1.0f},       {34.25f, 36.0f, false, 0.5f},
      {34.0f, 36.0f, false, 0.0f},       {33.0f, 36.0f, false, 0.0f},
      {36.9f, 36.0f, false, 4.8666667f},  // the same 0.9 degrees read as Celsius
      {97.7f, 96.8f, true, 4.3333333f},   // 0.9 °F is 0.5 °C
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.value) + " against " + std::to_string(c.baseline));
    standard->setBool(c.fahrenheit, "tempF");
    Pallet pallet(env);
    EXPECT_NEAR(pallet.wristTempScoreForValue(c.value, c.baseline), c.score, 1e-4);
    EXPECT_EQ(pallet.wristTempColourForValue(c.value, c.baseline),
              pallet.colourForWristTempScore(pallet.wristTempScoreForValue(c.value, c.baseline)));
  }
}

TEST_F(PalletTest, HueBasedRules) {
  Pallet pallet(env);
  const struct {
    const char* rule;
    Colour colour;
    Hsb want;
  } cases[] = {
      {"efficiency 100", pallet.efficiencyRatingColour(100), {kHue4, 0.8, 0.9}},
      {"efficiency 90", pallet.efficiencyRatingColour(90), {kHue4, 0.8, 0.84}},
      {"efficiency 89.9", pallet.efficiencyRatingColour(89.9f), {kHue3, 0.94, 0.8894}},
      {"efficiency 85", pallet.efficiencyRatingColour(85), {kHue3, 0.94, 0.86}},
      {"efficiency 80", pallet.efficiencyRatingColour(80), {kHue2, 0.8, 0.87}},
      {"efficiency 79.9", pallet.efficiencyRatingColour(79.9f), {kHue1, 0.69, 0.8996}},
      {"heart -0.5", pallet.heartRatingColourForBPM(59.5f, 60), {kHue4, 0.8, 0.8}},
      {"heart 0", pallet.heartRatingColourForBPM(60, 60), {kHue4, 0.8, 0.7}},
      {"heart 1", pallet.heartRatingColourForBPM(61, 60), {kHue3, 0.94, 0.9}},
      {"heart 2", pallet.heartRatingColourForBPM(62, 60), {kHue3, 0.94, 0.8}},
      {"heart 3.5", pallet.heartRatingColourForBPM(63.5f, 60), {kHue2, 0.8, 0.8}},
      {"heart 4.5", pallet.heartRatingColourForBPM(64.5f, 60), {kHue1, 0.69, 0.7}},
      {"quality 0.2", pallet.colourForQualityWithPercent(0.2f), {256, 0.55, 0.7}},
      {"quality 0.75", pallet.colourForQualityWithPercent(0.75f), {256, 0.55, 0.85}},
      {"quality 1.2", pallet.colourForQualityWithPercent(1.2f), {256, 0.55, 1.0}},
      {"deep 2", pallet.colourForDeepSleepWithPercent(2.0f), {256, 0.75, 1.0}},
      {"restful", pallet.colourForRestfulSleep(), {256, 0.75, 0.82}},
      {"inner shade 1", pallet.innerShadeForType(1), {193, 0.92, 0.15}},
      {"inner shade 3", pallet.innerShadeForType(3), {193, 0.92, 0.1}},
      {"HR average 1", pallet.colourForHRAverage(1.0f), {340, 0.1, 0.4}},
      {"HR average 0.8", pallet.colourForHRAverage(0.8f), {340, 1.0, 1.0}},
      {"HR average 0.85", pallet.colourForHRAverage(0.85f), {340, 1.0, 0.95}},
      {"HR average 0.9", pallet.colourForHRAverage(0.9f), {340, 1.0, 0.7}},
      {"HR average 0.99", pallet.colourForHRAverage(0.99f), {340, 1.0, 0.7}},
      {"HR dip 2", pallet.colourForHRDipZone(2.0f), {340, 1.0, 0.675}},
      {"line good", pallet.colourForRespRateLineGood(), {kHue4, 1.0, 0.9}},
      {"line bad", pallet.colourForRespRateLineBad(), {kHue1, 1.0, 1.0}},
      {"line", pallet.colourForRespRateLine(), {65, 1.0, 0.9}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.rule);
    expectHsb(c.colour, c.want);
  }
}

TEST_F(PalletTest, HueBasedRulesInTheLightTheme) {
  Pallet pallet = lightPallet();
  expectHsb(pallet.colourForQualityWithPercent(0.5f), {256, 0.55, 0.5});
  expectHsb(pallet.colourForDeepSleepWithPercent(0.75f), {256, 0.75, 0.75});
  expectHsb(pallet.colourForRestfulSleep(), {256, 0.75, 0.7});
  expectHsb(pallet.innerShadeForType(1), {193, 0.0, 1.0});
  expectHsb(pallet.colourForHRAverage(0.85f), {340, 1.0, 0.75});
  expectHsb(pallet.colourForRespRateLineGood(), {kHue4, 1.0, 0.75});
  expectHsb(pallet.colourForRespRateLine(), {55, 1.0, 0.1});
}

TEST_F(PalletTest, ClockFaces) {
  Pallet pallet(env);
  const struct {
    int type;
    Hsb darker, lighter;
  } cases[] = {
      {1, {193, 0.92, 0.15}, {193, 0.1, 0.95}}, {2, {193, 0.92, 0.2}, {193, 0.2, 0.8}},
      {3, {255, 0.52, 0.15}, {255, 0.1, 0.15}}, {4, {207, 0.92, 0.15}, {207, 0.92, 0.25}},
      {5, {193, 0.92, 0.25}, {192, 0.92, 0.3}}, {0, {0, 0, 0}, {193, 0, 0.98}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.type);
    expectHsb(pallet.colourForClockFace(c.type, true), c.darker);
    expectHsb(pallet.colourForClockFace(c.type, false), c.lighter);
  }
  EXPECT_EQ(pallet.colourForClockFace(6, true), Colour::blackColor());
}

TEST_F(PalletTest, HeartRateZones) {
  standard->setObject(Value::number(100), "maxHeartRate");  // workout percent = bpm
  Pallet pallet(env);
  const Hsb elevated{357, 0.8, 1.0}, high{270, 0.4, 0.67}, upperNormal{207, 0.75, 0.92}, normal{207, 0.65, 0.94},
      low{354, 0.4, 0.75}, veryLow{354, 0.4, 0.5};
  const struct {
    float bpm;
    Hsb resting;
  } resting[] = {{100, elevated}, {99.9f, high}, {80, high}, {79.9f, upperNormal}, {55, upperNormal}, {54.9f, normal},
                 {50, normal},    {49.9f, low},  {40, low},  {39.9f, veryLow}};
  for (const auto& c : resting) {
    SCOPED_TRACE(c.bpm);
    expectHsb(pallet.colourForRestingBPM(c.bpm), c.resting);
  }
  const struct {
    float bpm;
    int zone;
  } workout[] = {{95, 0}, {90, 0}, {89.9f, 1}, {80, 1}, {79.9f, 2}, {70, 2}, {69.9f, 3}, {60, 3}, {59.9f, 4}, {50, 4}};
  for (const auto& c : workout) {
    SCOPED_TRACE(c.bpm);
    EXPECT_EQ(pallet.colourForWorkoutBPM(c.bpm), pallet.colourForWorkoutZone(c.zone));
  }
  // Below every workout zone the resting rule decides.
  EXPECT_EQ(pallet.colourForWorkoutBPM(49.9f), pallet.colourForRestingBPM(49.9f));
  expectHsb(pallet.colourForWorkoutBPM(49.9f), low);
}

TEST_F(PalletTest, WorkoutZonesWithDefaultThresholds) {
  Pallet pallet(env);
  EXPECT_EQ(pallet.colourForWorkoutBPM(171), pallet.colourForWorkoutZone(0));  // 95 % of 180
  expectHsb(pallet.colourForWorkoutBPM(80), {270, 0.4, 0.67});                 // 44 %: resting rule
}

TEST_F(PalletTest, FitnessBands) {
  Pallet pallet(env);
  const struct {
    const char* rule;
    Colour colour;
    Hsb want;
  } cases[] = {
      {"resting zone 0", pallet.colourForRestingZone(0), {357, 0.8, 1.0}},
      {"resting zone 3", pallet.colourForRestingZone(3), {354, 0.4, 0.75}},
      {"resting zone 4", pallet.colourForRestingZone(4), {354, 0.4, 0.5}},
      {"workout zone 2", pallet.colourForWorkoutZone(2), {44, 0.94, 0.91}},
      {"workout zone 3", pallet.colourForWorkoutZone(3), {139, 0.82, 0.65}},
      {"workout zone -1", pallet.colourForWorkoutZone(-1), {171, 0.82, 0.55}},
      {"feeling 0.28", pallet.colourForFeelingPercent(0.28f), {356, 0.79, 0.84}},
      {"feeling 0.29", pallet.colourForFeelingPercent(0.29f), {200, 0.6, 0.8}},
      {"feeling 0.69", pallet.colourForFeelingPercent(0.69f), {134, 0.85, 0.6}},
      {"soreness 0.29", pallet.colourForSorenessPercent(0.29f), {134, 0.85, 0.6}},
      {"soreness 0.3", pallet.colourForSorenessPercent(0.3f), {42, 0.96, 0.89}},
      {"soreness 0.49", pallet.colourForSorenessPercent(0.49f), {42, 0.96, 0.89}},
      {"soreness 0.79", pallet.colourForSorenessPercent(0.79f), {356, 0.79, 0.84}},
      {"soreness 0.8", pallet.colourForSorenessPercent(0.8f), {354, 0.92, 0.98}},
      {"week 0.86", pallet.colourForWeekBatteryChargePercent(0.86f), {128, 0.8, 0.5}},
      {"week 0.85", pallet.colourForWeekBatteryChargePercent(0.85f), {44, 0.94, 0.8}},
      {"week 0.65", pallet.colourForWeekBatteryChargePercent(0.65f), {357, 0.69, 0.7}},
      {"speed zone 3", pallet.colourForSpeedZone(3), {30, 0.75, 0.89}},
      {"speed zone 6", pallet.colourForSpeedZone(6), {139, 0.82, 0.55}},
      {"speed zone 7", pallet.colourForSpeedZone(7), {139, 0.82, 0.35}},
      {"energy -0.5", pallet.colourForEnergy(-0.5f), {133, 0.85, 0.2}},
      {"energy 5", pallet.colourForEnergy(5), {133, 0.85, 0.2}},
      {"energy 25", pallet.colourForEnergy(25), {133, 0.85, 0.25}},
      {"energy 1000", pallet.colourForEnergy(1000), {133, 0.85, 0.3}},
      {"energy 1000.5", pallet.colourForEnergy(1000.5f), {133, 0.85, 0.61}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.rule);
    expectHsb(c.colour, c.want);
  }
  EXPECT_EQ(pallet.colourForEnergy(-1), Colour::blackColor());
}

TEST_F(PalletTest, Labels) {
  Pallet pallet(env);
  EXPECT_EQ(pallet.emojiForFeeling(2.9f), "💩");
  EXPECT_EQ(pallet.emojiForFeeling(3), "😐");
  EXPECT_EQ(pallet.emojiForFeeling(6.9f), "😐");
  EXPECT_EQ(pallet.emojiForFeeling(7), "😄");
  const std::vector<std::string> zones{"Bolting", "Running", "Jogging",     "Brisk",  "Walking",
                                       "Mobile",  "Active",  "Semi-Active", "Minimal"};
  for (int zone = 0; zone < 9; ++zone) EXPECT_EQ(pallet.textForSpeedZone(zone), zones[zone]);
  EXPECT_EQ(pallet.textForSpeedZone(9), "Nothing");
  EXPECT_EQ(pallet.textForSpeedZone(-1), "Nothing");

  testing::TestEnvironment german;
  german.languages = {"de"};
  Pallet translated(german);
  EXPECT_EQ(translated.textForSpeedZone(4), "Gehen");
  EXPECT_EQ(translated.textForSpeedZone(-1), "Nichts");
}

TEST_F(PalletTest, StarValues) {
  Pallet pallet(env);
  const struct {
    float input, stars;
  } ready[] = {{2.5f, 6.99f}, {2.0f, 6.99f}, {1.99f, 6.98f}, {1.75f, 6.5f}, {1.5f, 6.0f},   {1.35f, 5.5f},
               {1.2f, 5.0f},  {1.0f, 4.2f},  {0.95f, 4.0f},  {0.9f, 3.6f},  {0.825f, 3.0f}, {0.75f, 2.4f},
               {0.7f, 2.0f},  {0.6f, 1.5f},  {0.5f, 1.0f},   {0.25f, 0.5f}},
    resp[] = {{6, 1.0f},        {11.98f, 1.9966667f}, {11.99f, 2.0f},  // the clamp, not b / 6
              {14, 2.7058824f}, {16.25f, 3.5f},       {18, 4.1176471f}, {20.48f, 4.99f}, {20.49f, 4.9978947f},
              {25, 5.9473684f}, {29, 6.7894737f},     {30, 6.99f}};
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
    const char* name;
    Colour (Pallet::*colour)() const;
    const char* dark;
    const char* light;
  } cases[] = {
      {"backgroundColour", &Pallet::backgroundColour, "#021014FF", "#FAFAFAFF"},
      {"intenseBackgroundColour", &Pallet::intenseBackgroundColour, "#000000FF", "#FFFFFFFF"},
      {"seperatorColour", &Pallet::seperatorColour, "#000405FF", "#FFFFFFFF"},
      {"sectionLineColour", &Pallet::sectionLineColour, "#1C1E1FFF", "#F2F2F2FF"},
      {"cellColour", &Pallet::cellColour, "#031D24FF", "#EBEBEBFF"},
      {"subtleBackgroundColour", &Pallet::subtleBackgroundColour, "#031D24FF", "#EBEBEBFF"},
      {"sleepingColour", &Pallet::sleepingColour, "#05313DFF", "#EBEBEBFF"},
      {"featureBackgroundColour", &Pallet::featureBackgroundColour, "#010A0DFF", "#010A0DFF"},
      {"clockRingColour", &Pallet::clockRingColour, "#131414FF", "#CED6D9FF"},
      {"clockOutlineColour", &Pallet::clockOutlineColour, "#000000FF", "#F2F2F2FF"},
      {"clockSleepSessionColour", &Pallet::clockSleepSessionColour, "#CED6D9FF", "#CED6D9FF"},
      {"clockSleepSessionColourSpecial", &Pallet::clockSleepSessionColourSpecial, "#CED6D9FF", "#CED6D9FF"},
      {"colourForSubtleSleepRing", &Pallet::colourForSubtleSleepRing, "#525A61FF", "#8597A6FF"},
      {"colourForAdjustBackground", &Pallet::colourForAdjustBackground, "#525A61FF", "#F2F2F2FF"},
      {"gradientFadeColour", &Pallet::gradientFadeColour, "#000000FF", "#F0F0F0FF"},
      {"pickerBackgroundColour", &Pallet::pickerBackgroundColour, "#B3AB59FF", "#B3AB59FF"},
      {"colourForSectionHeaderLine", &Pallet::colourForSectionHeaderLine, "#000000FF", "#F2F2F2FF"},
      {"headingColour", &Pallet::headingColour, "#FFFDE6FF", "#1A1A1AFF"},
      {"subtleHeadingColour", &Pallet::subtleHeadingColour, "#E6E6CFFF", "#262626FF"},
      {"tintColour", &Pallet::tintColour, "#FFFBCCFF", "#1A1A1AFF"},
      {"highTintColour", &Pallet::highTintColour, "#FFFFA8FF", "#1A1A1AFF"},
      {"textColour", &Pallet::textColour, "#D9D8CEFF", "#262626FF"},
      {"subtleTextColour", &Pallet::subtleTextColour, "#ABAAA2FF", "#4D4D4DFF"},
      {"verySubtleTextColour", &Pallet::verySubtleTextColour, "#8C8C85FF", "#737373FF"},
      {"textEntryColour", &Pallet::textEntryColour, "#D9D8CEFF", "#262626FF"},
      {"textEntryBackground", &Pallet::textEntryBackground, "#22607DFF", "#CCCCCCFF"},
      {"minorTextColour", &Pallet::minorTextColour, "#D9D8CEFF", "#333333FF"},
      {"footerTextColour", &Pallet::footerTextColour, "#BFBEB6FF", "#333333FF"},
      {"colourForSleepSectionHeading", &Pallet::colourForSleepSectionHeading, "#D9D7C3FF", "#1A1A1AFF"},
      {"colourForWellnessSectionHeading", &Pallet::colourForWellnessSectionHeading, "#D9D7C3FF", "#1A1A1AFF"},
      {"colourForHour", &Pallet::colourForHour, "#CCCCCCFF", "#FFFFFFFF"},
      {"colourForMajorHour", &Pallet::colourForMajorHour, "#FFFFFFFF", "#FFFFFFFF"},
      {"colourForNightHour", &Pallet::colourForNightHour, "#FFFAC4FF", "#FFFAC4FF"},
      {"switchOnColour", &Pallet::switchOnColour, "#22607DFF", "#22607DFF"},
      {"colourForPurpleEye", &Pallet::colourForPurpleEye, "#B24DFFFF", "#B24DFFFF"},
      {"darkModeSelectedTint", &Pallet::darkModeSelectedTint, "#5B646BFF", "#5B646BFF"},
      {"darkModeBkgTint", &Pallet::darkModeBkgTint, "#1F2A30FF", "#1F2A30FF"},
      {"trackBkgColour", &Pallet::trackBkgColour, "#873B32FF", "#873B32FF"},
      {"trackColour", &Pallet::trackColour, "#BA5145FF", "#BA5145FF"},
      {"trackWorkoutBkgColour", &Pallet::trackWorkoutBkgColour, "#326187FF", "#326187FF"},
      {"trackWorkoutColour", &Pallet::trackWorkoutColour, "#4585BAFF", "#4585BAFF"},
      {"colourForREMSleep", &Pallet::colourForREMSleep, "#C533FFFF", "#C533FFFF"},
      {"colourForDeepSleep", &Pallet::colourForDeepSleep, "#8F66FFFF", "#8F66FFFF"},
      {"colourForLightsOff", &Pallet::colourForLightsOff, "#FFBF1FFF", "#FFBF1FFF"},
      {"mutedColourForLightsOff", &Pallet::mutedColourForLightsOff, "#CC9918FF", "#CC9918FF"},
      {"mutedColourWhenRestless", &Pallet::mutedColourWhenRestless, "#2B83A6FF", "#2B83A6FF"},
      {"mutedColourWhenAwake", &Pallet::mutedColourWhenAwake, "#179933FF", "#179933FF"},
      {"noiseLabelTint", &Pallet::noiseLabelTint, "#BF8900FF", "#BF8900FF"},
      {"colourWhenRestless", &Pallet::colourWhenRestless, "#35A1CCFF", "#216580FF"},
      {"colourWhenAwake", &Pallet::colourWhenAwake, "#1BB53DFF", "#179933FF"},
      {"noiseTint", &Pallet::noiseTint, "#4D3B0FFF", "#E6D8B8FF"},
      {"noiseTintHigh", &Pallet::noiseTintHigh, "#B38000FF", "#CC9200FF"},
      {"noiseTintLoud", &Pallet::noiseTintLoud, "#D99B00FF", "#E6A400FF"},
      {"spO2LabelTint", &Pallet::spO2LabelTint, "#FAFAFAFF", "#050505FF"},
  };
  Pallet dark(env);
  Pallet light = lightPallet();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ((dark.*c.colour)().hexRGBA(), c.dark);
    EXPECT_EQ((light.*c.colour)().hexRGBA(), c.light);
  }
}

TEST_F(PalletTest, LightGreysKeepTheirHue) {
  Pallet dark(env);
  Pallet light = lightPallet();
  expectHsb(light.backgroundColour(), {193, 0, 0.98});
  expectHsb(dark.backgroundColour(), {193, 0.92, 0.08});
  // The heading tints change hue between the themes, not only brightness.
  expectHsb(dark.highTintColour(), {60, 0.34, 1.0});
  expectHsb(light.highTintColour(), {55, 0, 0.1});
  expectHsb(dark.subtleHeadingColour(), {60, 0.1, 0.9});
  expectHsb(light.subtleHeadingColour(), {55, 0, 0.15});
  EXPECT_EQ(dark.clockOutlineColour(), Colour::blackColor());
  EXPECT_EQ(dark.colourForSectionHeaderLine(), Colour::blackColor());
}

}  // namespace
}  // namespace velmora
