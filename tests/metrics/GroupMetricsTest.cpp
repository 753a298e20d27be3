#include <gtest/gtest.h>

#include <cmath>

#include "metrics/GroupMetrics.h"
#include "platform/UserDefaults.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::isoDate;
using testing::TestEnvironment;

// Wednesday 8 January 2025, 15:00 in Berlin: the current night began on the
// 7th at 21:00 and ends on the morning of the 8th, the last of the seven nights.
constexpr const char* kAfternoon = "2025-01-08T15:00:00+01:00";
const char* const kNightKeys[7] = {"20250102", "20250103", "20250104", "20250105", "20250106", "20250107", "20250108"};

class GroupMetricsTest : public ::testing::Test {
 protected:
  explicit GroupMetricsTest(const char* now = kAfternoon) : env(now) {}

  std::shared_ptr<UserDefaults> store() { return UserDefaults::suite(env, Environment::kSharedSuite); }
  void put(std::string_view key, Value value) { ASSERT_TRUE(store()->setObject(std::move(value), key)); }

  // "bankDict" with the given seconds for the seven nights (a negative entry
  // below -1 leaves the night out) and any extra keys.
  void putBank(const std::array<double, 7>& nights, MetricDictionary extra = {}) {
    MetricDictionary bank;
    for (std::size_t i = 0; i < 7; ++i)
      if (nights[i] >= -1) bank.setValue(kNightKeys[i], Value::real(nights[i]));
    for (const auto& [key, value] : extra) bank.setValue(key, value);
    put("bankDict", Value(bank));
  }
  void putConfig(MetricDictionary config) { put("velmoraConfig", Value(std::move(config))); }

  TestEnvironment env;
};

constexpr double kOut = -2;  // a night with no entry at all

// --- Configuration and night boundaries -----------------------------------------

TEST_F(GroupMetricsTest, LookupsWithoutConfigurationGiveTheirDefaults) {
  GroupMetrics metrics(env);
  EXPECT_FALSE(metrics.shouldReportPreviousDay());
  metrics.watchDictIsValid();  // opens the store
  EXPECT_EQ(metrics.getVelmoraConfigValueForKey("requiredHours"), -1.0f);
  EXPECT_FALSE(metrics.getVelmoraSwitchValueForKey("WakeFixed3"));
}

TEST_F(GroupMetricsTest, LookupsSeeNoStoreBeforeARequestOpensIt) {
  putConfig({{"requiredHours", Value::real(7.5)}, {"WakeFixed3", Value::integer(0)}});
  GroupMetrics metrics(env);
  EXPECT_EQ(metrics.getVelmoraConfigValueForKey("requiredHours"), -1.0f);
  metrics.watchDictIsValid();
  EXPECT_EQ(metrics.getVelmoraConfigValueForKey("requiredHours"), 7.5f);
  EXPECT_TRUE(metrics.getVelmoraSwitchValueForKey("WakeFixed3")) << "a stored 0 still switches on";
  EXPECT_EQ(metrics.getVelmoraConfigValueForKey("missing"), -1.0f);
}

struct NightCase {
  const char* now;
  Value nightHour;  // stored "nightHour" of the configuration
  const char* nightStart;
  bool reportPreviousDay;
};

class NightBoundaries : public GroupMetricsTest, public ::testing::WithParamInterface<NightCase> {};

TEST_P(NightBoundaries, StartOfNightAndPreviousDay) {
  const NightCase& c = GetParam();
  env.setNow(c.now);
  putConfig({{"nightHour", c.nightHour}});
  GroupMetrics metrics(env);
  metrics.watchDictIsValid();  // opens the store and the formatting tools
  EXPECT_EQ(metrics.shouldReportPreviousDay(), c.reportPreviousDay);
  const float stored = c.nightHour.floatValue();
  const std::int64_t hour = stored < 0 ? 21 : static_cast<std::int64_t>(stored);
  EXPECT_EQ(metrics.getFromDateForNightHour(hour), isoDate(c.nightStart));
}

INSTANTIATE_TEST_SUITE_P(
    Hours, NightBoundaries,
    ::testing::Values(NightCase{"2025-01-08T20:59:00+01:00", Value::real(21), "2025-01-07T21:00:00+01:00", false},
                      NightCase{"2025-01-08T21:00:00+01:00", Value::real(21), "2025-01-08T21:00:00+01:00", true},
                      NightCase{"2025-01-08T20:59:00+01:00", Value::real(-3), "2025-01-07T21:00:00+01:00", false},
                      NightCase{"2025-01-08T23:30:00+01:00", Value::real(0), "2025-01-08T00:00:00+01:00", false},
                      NightCase{"2025-01-08T00:10:00+01:00", Value::real(0), "2025-01-08T00:00:00+01:00", false},
                      NightCase{"2025-01-08T20:30:00+01:00", Value::real(20.9), "2025-01-08T20:00:00+01:00", true},
                      NightCase{"2025-03-30T10:00:00+02:00", Value::real(21), "2025-03-29T21:00:00+01:00", false}));

TEST_F(GroupMetricsTest, WatchDataMustBeSynchronisedMoreThanAMinuteIntoTheNight) {
  struct Case {
    const char* synched;
    bool valid;
  };
  for (const Case& c : {Case{"2025-01-07T21:01:00+01:00", false}, Case{"2025-01-07T21:01:00.001+01:00", true},
                        Case{"2025-01-07T20:00:00+01:00", false}, Case{"2025-01-08T07:00:00+01:00", true}}) {
    put("watchTrackDict", Value(MetricDictionary{{"rawSynchTime", Value(isoDate(c.synched))}}));
    GroupMetrics metrics(env);
    EXPECT_EQ(metrics.watchDictIsValid(), c.valid) << c.synched;
  }
  put("watchTrackDict", Value(MetricDictionary{{"rawSynchTime", Value("yesterday")}}));
  EXPECT_FALSE(GroupMetrics(env).watchDictIsValid());
}

// --- Sleep bank -------------------------------------------------------------------

struct BankCase {
  const char* name;
  std::array<double, 7> nights;
  float balance;
  float forecast;
};

class SleepBankBalance : public GroupMetricsTest, public ::testing::WithParamInterface<BankCase> {};

TEST_P(SleepBankBalance, WeightedBalanceAndForecast) {
  const BankCase& c = GetParam();
  putBank(c.nights);
  const auto record = GroupMetrics(env).requestSleepBank();
  ASSERT_TRUE(record);
  EXPECT_FLOAT_EQ(record->floatForKey("bankBalance"), c.balance);
  EXPECT_FLOAT_EQ(record->floatForKey("bankForecast"), c.forecast);
  EXPECT_FLOAT_EQ(record->floatForKey("bankPercent"), c.balance / 28800.0f);
}

INSTANTIATE_TEST_SUITE_P(
    Nights, SleepBankBalance,
    ::testing::Values(BankCase{"allOnGoal", {28800, 28800, 28800, 28800, 28800, 28800, 28800}, 28800, 28800},
                      BankCase{"onlyTheOldest", {21600, kOut, kOut, kOut, kOut, kOut, kOut}, 21600, 36000},
                      BankCase{"onlyTheMiddle", {kOut, kOut, kOut, 21600, kOut, kOut, kOut}, 21600, 36000},
                      BankCase{"firstAndLast", {21600, kOut, kOut, kOut, kOut, kOut, 21600}, 21600, 34971.43f},
                      BankCase{"negativeIsMissing", {28800, 28800, 28800, -1, 28800, 28800, 28800}, 28800, 28800},
                      BankCase{"zeroIsPresent",
                               {28800, 28800, 28800, 0, 28800, 28800, 28800},
                               28800 * 24 / 28.0f,
                               28800 + 3 * 28800 / 7.0f}),
    [](const auto& param) { return std::string(param.param.name); });

TEST_F(GroupMetricsTest, NoRecordWithoutPresentNightsOrPositiveBalance) {
  EXPECT_FALSE(GroupMetrics(env).requestSleepBank()) << "no bankDict";
  putBank({kOut, kOut, kOut, kOut, kOut, kOut, kOut});
  EXPECT_FALSE(GroupMetrics(env).requestSleepBank()) << "no night present";
  putBank({0, 0, kOut, kOut, kOut, kOut, kOut});
  EXPECT_FALSE(GroupMetrics(env).requestSleepBank()) << "balance zero";
}

TEST_F(GroupMetricsTest, ValidWatchDataStandsInForLastNight) {
  putBank({28800, 28800, 28800, 28800, 28800, 28800, kOut});
  put("watchTrackDict", Value(MetricDictionary{{"rawSynchTime", Value(isoDate("2025-01-08T07:30:00+01:00"))},
                                               {"rawSleepTime", Value::real(25200)}}));
  const auto record = GroupMetrics(env).requestSleepBank();
  ASSERT_TRUE(record);
  EXPECT_FLOAT_EQ(record->floatForKey("bankBalance"), (21 * 28800.0f + 7 * 25200.0f) / 28);
}

TEST_F(GroupMetricsTest, WithoutAWakeMomentOnlyTheBankIsReportedAndNothingCached) {
  putBank({28800, 28800, 28800, 28800, 28800, 28800, 28800}, {{"medianWake", Value::real(0)}});
  const auto record = GroupMetrics(env).requestSleepBank();
  ASSERT_TRUE(record);
  EXPECT_EQ(record->size(), 3u);
  EXPECT_FALSE(store()->objectForKey("cachedSleepBank"));
  EXPECT_FALSE(store()->objectForKey("cachedSleepBankUpdate"));
}

struct BedCase {
  const char* name;
  double night;       // seconds slept on each of the seven nights
  double wakeOffset;  // "medianWake"
  double efficiency;  // "averageEfficiency"
  MetricDictionary config;
  const char* bed;
  const char* wake;
};

class Bedtime : public GroupMetricsTest, public ::testing::WithParamInterface<BedCase> {};

TEST_P(Bedtime, BoundsEfficiencyAndPullUp) {
  const BedCase& c = GetParam();
  putBank({c.night, c.night, c.night, c.night, c.night, c.night, c.night},
          {{"medianWake", Value::real(c.wakeOffset)}, {"averageEfficiency", Value::real(c.efficiency)}});
  putConfig(c.config);
  const auto record = GroupMetrics(env).requestSleepBank();
  ASSERT_TRUE(record);
  ASSERT_TRUE(record->dateForKey("bedTime"));
  EXPECT_NEAR(record->dateForKey("bedTime")->seconds, isoDate(c.bed).seconds, 0.01);
  EXPECT_EQ(*record->dateForKey("wakeTime"), isoDate(c.wake));
  // Computed in the afternoon: tonight's bedtime is a day after the computed night's.
  EXPECT_NEAR(record->dateForKey("adjustedBedTime")->seconds, isoDate(c.bed).seconds + 86400, 0.01);
}

INSTANTIATE_TEST_SUITE_P(
    Nights, Bedtime,
    ::testing::Values(
        // Nine hours a night: 5 h needed, below the 6 h minimum: 6 h / 90 % = 24000 s in bed.
        BedCase{"minimumBound",
                32400,
                36000,
                90,
                {{"minimumHours", Value::real(6)}},
                "2025-01-08T00:20:00+01:00",
                "2025-01-08T07:00:00+01:00"},
        // Four hours a night: 20 h needed; no maximum, so goal + 2 = 10 h at 100 %.
        BedCase{"maximumFromGoal",
                14400,
                40000,
                100,
                {{"minimumHours", Value::real(7)}},
                "2025-01-07T22:06:40+01:00",
                "2025-01-08T08:06:40+01:00"},
        // Within the bounds the need itself is spent in bed.
        BedCase{
            "forecastWithinBounds", 28800, 36000, 100, {}, "2025-01-07T23:00:00+01:00", "2025-01-08T07:00:00+01:00"},
        // More time in bed than the night has: the bedtime is the night's start.
        BedCase{"pulledUpToNightStart", 14400, 36000, 90, {}, "2025-01-07T21:00:00+01:00", "2025-01-08T07:00:00+01:00"},
        // Thursday's fixed wake (weekday index 3, switched on by a stored 0) on the reference day.
        BedCase{"fixedWake",
                28800,
                36000,
                100,
                {{"WakeFixed3", Value::integer(0)}, {"WakeTime3", Value::real(23400)}},
                "2025-01-07T22:30:00+01:00",
                "2025-01-08T06:30:00+01:00"}),
    [](const auto& param) { return std::string(param.param.name); });

TEST_F(GroupMetricsTest, RecordTextsAndCache) {
  putBank({32400, 32400, 32400, 32400, 32400, 32400, 32400},
          {{"medianWake", Value::real(36000)}, {"averageEfficiency", Value::real(80)}});
  putConfig({{"minimumHours", Value::real(6)}});
  const auto record = GroupMetrics(env).requestSleepBank();
  ASSERT_TRUE(record);
  EXPECT_FLOAT_EQ(record->floatForKey("timeUntilBed"), 30600.0f);  // 15:00 until 23:30 tonight
  EXPECT_EQ(*record->textForKey("latestBedTime"), "11:30\u202FPM");
  EXPECT_EQ(*record->textForKey("latestBedLabel"), "Try to be in bed by 11:30\u202FPM");
  EXPECT_EQ(*record->textForKey("wakeTimeLabel"), "7:00\u202FAM");
  EXPECT_EQ(*record->textForKey("pasteItem"),
            "{\"Tonight'sBedtime\":\"11:30\u202FPM\", \"Waketime\":\"7:00\u202FAM\", \"TimeUntilBed\": \"8.50\", "
            "\"RequiredHours\":\"5.00\"}");

  const std::optional<Value> cached = store()->objectForKey("cachedSleepBank");
  ASSERT_TRUE(cached && cached->dictionary());
  EXPECT_EQ(cached->dictionary()->size(), record->size());
  EXPECT_EQ(*cached->dictionary()->textForKey("pasteItem"), *record->textForKey("pasteItem"));
  EXPECT_EQ(*cached->dictionary()->dateForKey("bedTime"), *record->dateForKey("bedTime"));
  EXPECT_EQ(store()->objectForKey("cachedSleepBankUpdate"), Value(env.now));
}

TEST_F(GroupMetricsTest, PasteItemFollowsTheLocaleAndLanguage) {
  env.locale = "de_DE";
  env.languages = {"de"};
  putBank({32400, 32400, 32400, 32400, 32400, 32400, 32400},
          {{"medianWake", Value::real(36000)}, {"averageEfficiency", Value::real(80)}});
  putConfig({{"minimumHours", Value::real(6)}});
  const auto record = GroupMetrics(env).requestSleepBank();
  ASSERT_TRUE(record);
  EXPECT_EQ(*record->textForKey("pasteItem"),
            R"({"HeutigeSchlafenszeit":"23:30", "Aufwachzeit":"07:00", "ZeitBisZumSchlafengehen": "8,50", )"
            R"("BenötigteStunden":"5,00"})");
}

TEST_F(GroupMetricsTest, AfterTheNightHourTheCachedRecordMovesOnADay) {
  putBank({32400, 32400, 32400, 32400, 32400, 32400, 32400},
          {{"medianWake", Value::real(36000)}, {"averageEfficiency", Value::real(80)}});
  putConfig({{"minimumHours", Value::real(6)}});
  const auto afternoon = GroupMetrics(env).requestSleepBank();
  ASSERT_TRUE(afternoon);

  // The main app changes the data in the evening; the cached bedtime still holds.
  putBank({28800, 28800, 28800, 28800, 28800, 28800, 28800});
  env.setNow("2025-01-08T22:00:00+01:00");
  const auto evening = GroupMetrics(env).requestSleepBank();
  ASSERT_TRUE(evening);
  EXPECT_EQ(evening->floatForKey("bankBalance"), afternoon->floatForKey("bankBalance"));
  EXPECT_EQ(*evening->dateForKey("bedTime"), *afternoon->dateForKey("bedTime"));
  EXPECT_EQ(evening->dateForKey("adjustedBedTime")->seconds, afternoon->dateForKey("bedTime")->seconds + 86400);
  EXPECT_FLOAT_EQ(evening->floatForKey("timeUntilBed"), 5400.0f);  // 22:00 until 23:30
  EXPECT_EQ(*evening->textForKey("latestBedLabel"), "Try to be in bed by 11:30\u202FPM");
  EXPECT_EQ(*store()->objectForKey("cachedSleepBankUpdate")->date(), isoDate(kAfternoon)) << "no write on this path";
}

TEST_F(GroupMetricsTest, AStaleCacheIsRecomputedForTonight) {
  put("cachedSleepBankUpdate", Value(isoDate("2025-01-07T20:00:00+01:00")));  // before the previous night began
  put("cachedSleepBank", Value(MetricDictionary{{"bankBalance", Value::real(1)}}));
  putBank({28800, 28800, 28800, 28800, 28800, 28800, 28800}, {{"medianWake", Value::real(36000)}});
  env.setNow("2025-01-08T22:00:00+01:00");
  const auto record = GroupMetrics(env).requestSleepBank();
  ASSERT_TRUE(record);
  EXPECT_EQ(record->floatForKey("bankBalance"), 28800.0f);
  // The night computed is tonight's, so no day is added.
  EXPECT_EQ(*record->dateForKey("adjustedBedTime"), *record->dateForKey("bedTime"));
}

}  // namespace
}  // namespace velmora
