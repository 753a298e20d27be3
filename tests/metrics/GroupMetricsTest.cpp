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
constexpr double kOut = -2;  // a night with no entry at all

using Nights = std::array<double, 7>;
Nights every(double seconds) { return {seconds, seconds, seconds, seconds, seconds, seconds, seconds}; }

class GroupMetricsTest : public ::testing::Test {
 protected:
  std::shared_ptr<UserDefaults> store() { return UserDefaults::suite(env, Environment::kSharedSuite); }
  void put(std::string_view key, Value value) { ASSERT_TRUE(store()->setObject(std::move(value), key)); }
  void putConfig(MetricDictionary config) { put("velmoraConfig", Value(std::move(config))); }
  // "bankDict" with the given seconds for the seven nights (kOut leaves a night out) and any extra keys.
  void putBank(const Nights& nights, MetricDictionary extra = {}) {
    for (std::size_t i = 0; i < 7; ++i)
      if (nights[i] >= -1) extra.setValue(kNightKeys[i], Value::real(nights[i]));
    put("bankDict", Value(extra));
  }
  // Nine hours a night at 80 % efficiency, waking at 07:00, at least six hours
  // in bed: the computed night's bedtime is 23:30 on the 7th.
  void putNineHourBank() {
    putBank(every(32400), {{"medianWake", Value::real(36000)}, {"averageEfficiency", Value::real(80)}});
    putConfig({{"minimumHours", Value::real(6)}});
  }

  TestEnvironment env{kAfternoon};
};

// --- Configuration and night boundaries -----------------------------------------

TEST_F(GroupMetricsTest, ConfigurationLookupsOnceTheStoreIsOpen) {
  GroupMetrics empty(env);
  empty.watchDictIsValid();  // opens the store
  EXPECT_EQ(empty.getVelmoraConfigValueForKey("requiredHours"), -1.0f) << "no configuration";
  EXPECT_FALSE(empty.getVelmoraSwitchValueForKey("WakeFixed3")) << "no configuration";

  putConfig({{"requiredHours", Value::real(7.5)}, {"WakeFixed3", Value::integer(0)}});
  GroupMetrics metrics(env);
  EXPECT_EQ(metrics.getVelmoraConfigValueForKey("requiredHours"), -1.0f) << "store not opened yet";
  metrics.watchDictIsValid();
  EXPECT_EQ(metrics.getVelmoraConfigValueForKey("requiredHours"), 7.5f);
  EXPECT_TRUE(metrics.getVelmoraSwitchValueForKey("WakeFixed3")) << "a stored 0 still switches on";
  EXPECT_EQ(metrics.getVelmoraConfigValueForKey("missing"), -1.0f);
}

TEST_F(GroupMetricsTest, StartOfNightAndPreviousDay) {
  const struct {
    const char *name, *now;
    double nightHour;   // stored "nightHour" of the configuration
    int effectiveHour;  // the hour that configuration stands for
    const char* nightStart;
    bool reportPreviousDay;
  } cases[] = {
      {"justBeforeTheNightHour", "2025-01-08T20:59:00+01:00", 21, 21, "2025-01-07T21:00:00+01:00", false},
      {"atTheNightHour", "2025-01-08T21:00:00+01:00", 21, 21, "2025-01-08T21:00:00+01:00", true},
      {"negativeMeansTheDefault", "2025-01-08T21:00:00+01:00", -3, 21, "2025-01-08T21:00:00+01:00", true},
      {"midnightIsNeverThePreviousDay", "2025-01-08T23:30:00+01:00", 0, 0, "2025-01-08T00:00:00+01:00", false},
      {"fractionTruncated", "2025-01-08T20:30:00+01:00", 20.9, 20, "2025-01-08T20:00:00+01:00", true},
      {"clockChangeDay", "2025-03-30T10:00:00+02:00", 21, 21, "2025-03-29T21:00:00+01:00", false},
      // Truncated as the phone converts a number to a whole one: NaN is 0.
      {"notANumberIsMidnight", "2025-01-08T23:30:00+01:00", std::nan(""), 0, "2025-01-08T00:00:00+01:00", false},
  };
  for (const auto& c : cases) {
    env.setNow(c.now);
    putConfig({{"nightHour", Value::real(c.nightHour)}});
    GroupMetrics metrics(env);
    metrics.watchDictIsValid();  // opens the store and the formatting tools
    EXPECT_EQ(metrics.shouldReportPreviousDay(), c.reportPreviousDay) << c.name;
    EXPECT_EQ(metrics.getFromDateForNightHour(c.effectiveHour), isoDate(c.nightStart)) << c.name;
  }
  EXPECT_FALSE(GroupMetrics(env).getFromDateForNightHour(-1));
}

TEST_F(GroupMetricsTest, WatchDataMustBeSynchronisedMoreThanAMinuteIntoTheNight) {
  const struct {
    const char* synched;
    bool valid;
  } cases[] = {{"2025-01-07T21:01:00+01:00", false},
               {"2025-01-07T21:01:00.001+01:00", true},
               {"2025-01-07T20:00:00+01:00", false}};
  for (const auto& c : cases) {
    put("watchTrackDict", Value(MetricDictionary{{"rawSynchTime", Value(isoDate(c.synched))}}));
    EXPECT_EQ(GroupMetrics(env).watchDictIsValid(), c.valid) << c.synched;
  }
  put("watchTrackDict", Value(MetricDictionary{{"rawSynchTime", Value("yesterday")}}));
  EXPECT_FALSE(GroupMetrics(env).watchDictIsValid());
}

// --- Sleep bank -------------------------------------------------------------------

TEST_F(GroupMetricsTest, WeightedBalanceAndForecast) {
  const struct {
    const char* name;
    Nights nights;
    float balance, forecast;  // seconds
  } cases[] = {
      {"allOnGoal", every(28800), 28800, 28800},
      // One night alone: twice the goal less the balance.
      {"onlyTheOldest", {21600, kOut, kOut, kOut, kOut, kOut, kOut}, 21600, 36000},
      {"firstAndLast", {21600, kOut, kOut, kOut, kOut, kOut, 21600}, 21600, 34971.43f},
      {"negativeIsMissing", {28800, 28800, 28800, -1, 28800, 28800, 28800}, 28800, 28800},
      {"zeroIsPresent", {28800, 28800, 28800, 0, 28800, 28800, 28800}, 28800 * 24 / 28.0f, 28800 + 3 * 28800 / 7.0f},
  };
  for (const auto& c : cases) {
    putBank(c.nights, {{"medianWake", Value::real(0)}});  // no wake moment: the bank figures alone
    const auto record = GroupMetrics(env).requestSleepBank();
    ASSERT_TRUE(record) << c.name;
    EXPECT_FLOAT_EQ(record->floatForKey("bankBalance"), c.balance) << c.name;
    EXPECT_FLOAT_EQ(record->floatForKey("bankForecast"), c.forecast) << c.name;
    EXPECT_FLOAT_EQ(record->floatForKey("bankPercent"), c.balance / 28800.0f) << c.name;
    EXPECT_EQ(record->size(), 3u) << c.name;
  }
  EXPECT_FALSE(store()->objectForKey("cachedSleepBank")) << "nothing cached without a wake moment";
  EXPECT_FALSE(store()->objectForKey("cachedSleepBankUpdate"));
}

TEST_F(GroupMetricsTest, NoRecordWithoutPresentNightsOrPositiveBalance) {
  EXPECT_FALSE(GroupMetrics(env).requestSleepBank()) << "no bankDict";
  putBank(every(kOut));
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

TEST_F(GroupMetricsTest, BedtimeBoundsEfficiencyAndPullUp) {
  const MetricDictionary fixedThursday{{"WakeFixed3", Value::integer(0)}, {"WakeTime3", Value::real(23400)}};
  const struct {
    const char* name;
    double night;            // seconds slept on each of the seven nights
    double wakeOffset;       // "medianWake"
    double efficiency;       // "averageEfficiency"
    const char *bed, *wake;  // day of January and Berlin time
    MetricDictionary config;
  } cases[] = {
      // Nine hours a night: 5 h needed, below the 6 h minimum: 6 h / 90 % = 24000 s in bed.
      {"minimumBound", 32400, 36000, 90, "8T00:20:00", "8T07:00:00", {{"minimumHours", Value::real(6)}}},
      // Without a configured minimum it is an hour under the goal: 7 h before the wake.
      {"minimumFromGoal", 32400, 36000, 100, "8T00:00:00", "8T07:00:00", {}},
      // Four hours a night: 20 h needed; no maximum, so goal + 2 = 10 h at 100 %.
      {"maximumFromGoal", 14400, 40000, 100, "7T22:06:40", "8T08:06:40", {{"minimumHours", Value::real(7)}}},
      // Within the bounds the need itself is spent in bed.
      {"forecastWithinBounds", 28800, 36000, 100, "7T23:00:00", "8T07:00:00", {}},
      // More time in bed than the night has: the bedtime is the night's start.
      {"pulledUpToNightStart", 14400, 36000, 90, "7T21:00:00", "8T07:00:00", {}},
      // Thursday's fixed wake (weekday index 3, switched on by a stored 0) on the reference day.
      {"fixedWake", 28800, 36000, 100, "7T22:30:00", "8T06:30:00", fixedThursday},
  };
  auto at = [](const char* dayAndTime) { return isoDate(std::string("2025-01-0") + dayAndTime + "+01:00"); };
  for (const auto& c : cases) {
    putBank(every(c.night),
            {{"medianWake", Value::real(c.wakeOffset)}, {"averageEfficiency", Value::real(c.efficiency)}});
    putConfig(c.config);
    const auto record = GroupMetrics(env).requestSleepBank();
    ASSERT_TRUE(record && record->dateForKey("bedTime")) << c.name;
    EXPECT_NEAR(record->dateForKey("bedTime")->seconds, at(c.bed).seconds, 0.01) << c.name;
    EXPECT_EQ(*record->dateForKey("wakeTime"), at(c.wake)) << c.name;
    // Computed in the afternoon: tonight's bedtime is a day after the computed night's.
    EXPECT_NEAR(record->dateForKey("adjustedBedTime")->seconds, at(c.bed).seconds + 86400, 0.01) << c.name;
  }
}

TEST_F(GroupMetricsTest, RecordTextsAndCacheThatMovesOnADayAfterTheNightHour) {
  putNineHourBank();
  const auto afternoon = GroupMetrics(env).requestSleepBank();
  ASSERT_TRUE(afternoon);
  EXPECT_FLOAT_EQ(afternoon->floatForKey("timeUntilBed"), 30600.0f);  // 15:00 until 23:30 tonight
  EXPECT_EQ(*afternoon->textForKey("latestBedTime"), "11:30\u202FPM");
  EXPECT_EQ(*afternoon->textForKey("latestBedLabel"), "Try to be in bed by 11:30\u202FPM");
  EXPECT_EQ(*afternoon->textForKey("wakeTimeLabel"), "7:00\u202FAM");
  EXPECT_EQ(*afternoon->textForKey("pasteItem"),
            "{\"Tonight'sBedtime\":\"11:30\u202FPM\", \"Waketime\":\"7:00\u202FAM\", \"TimeUntilBed\": \"8.50\", "
            "\"RequiredHours\":\"5.00\"}");
  const std::optional<Value> cached = store()->objectForKey("cachedSleepBank");
  ASSERT_TRUE(cached && cached->dictionary());
  EXPECT_EQ(cached->dictionary()->size(), afternoon->size());
  EXPECT_EQ(*cached->dictionary()->textForKey("pasteItem"), *afternoon->textForKey("pasteItem"));
  EXPECT_EQ(*cached->dictionary()->dateForKey("bedTime"), *afternoon->dateForKey("bedTime"));
  EXPECT_EQ(store()->objectForKey("cachedSleepBankUpdate"), Value(env.now));

  // The main app changes the data in the evening; the cached bedtime still holds.
  putBank(every(28800));
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

TEST_F(GroupMetricsTest, PasteItemFollowsTheLocaleAndLanguage) {
  env.locale = "de_DE";
  env.languages = {"de"};
  putNineHourBank();
  const auto record = GroupMetrics(env).requestSleepBank();
  ASSERT_TRUE(record);
  EXPECT_EQ(*record->textForKey("pasteItem"),
            R"({"HeutigeSchlafenszeit":"23:30", "Aufwachzeit":"07:00", "ZeitBisZumSchlafengehen": "8,50", )"
            R"("BenötigteStunden":"5,00"})");
}

TEST_F(GroupMetricsTest, AStaleCacheIsRecomputedForTonight) {
  put("cachedSleepBankUpdate", Value(isoDate("2025-01-07T20:00:00+01:00")));  // before the previous night began
  put("cachedSleepBank", Value(MetricDictionary{{"bankBalance", Value::real(1)}}));
  putBank(every(28800), {{"medianWake", Value::real(36000)}});
  env.setNow("2025-01-08T21:00:00+01:00");  // tonight's night has just begun
  const auto record = GroupMetrics(env).requestSleepBank();
  ASSERT_TRUE(record);
  EXPECT_EQ(record->floatForKey("bankBalance"), 28800.0f);
  // The night computed is tonight's, so no day is added.
  EXPECT_EQ(*record->dateForKey("adjustedBedTime"), *record->dateForKey("bedTime"));
}

}  // namespace
}  // namespace velmora
