#include <gtest/gtest.h>

#include <cmath>

#include "metrics/GroupMetrics.h"
#include "support/StoreRecords.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::isoDate;
using testing::kAfternoon;
using testing::putBankNights;
using testing::putShared;
using testing::sharedStore;
using testing::textOf;

// At kAfternoon the current night ends on the morning of the 8th, the last of the seven nights.
constexpr double kOut = -2;  // a night with no entry at all

using Nights = std::array<double, 7>;
Nights every(double seconds) { return {seconds, seconds, seconds, seconds, seconds, seconds, seconds}; }

void putConfig(const Environment& env, MetricDictionary config) {
  putShared(env, "velmoraConfig", Value(std::move(config)));
}
// Nine hours a night at 80 % efficiency, waking at 07:00, at least six hours
// in bed: the computed night's bedtime is 23:30 on the 7th.
void putNineHourBank(const Environment& env) {
  putBankNights(env, every(32400), {{"medianWake", Value::real(36000)}, {"averageEfficiency", Value::real(80)}});
  putConfig(env, {{"minimumHours", Value::real(6)}});
}

class GroupMetricsTest : public ::testing::Test {
 protected:
  testing::TestEnvironment env{kAfternoon};
};

TEST_F(GroupMetricsTest, StartOfNightAndPreviousDay) {
  // The stored "nightHour" of the configuration and the hour it stands for.
  const struct {
    const char *now, *nightStart;
    double nightHour;
    int effectiveHour;
    bool reportPreviousDay;
  } cases[] = {
      {"2025-01-08T20:59:00+01:00", "2025-01-07T21:00:00+01:00", 21, 21, false},
      {"2025-01-08T21:00:00+01:00", "2025-01-08T21:00:00+01:00", 21, 21, true},
      {"2025-01-08T21:00:00+01:00", "2025-01-08T21:00:00+01:00", -3, 21, true},    // negative: the default
      {"2025-01-08T23:30:00+01:00", "2025-01-08T00:00:00+01:00", 0, 0, false},     // midnight never reports
      {"2025-01-08T20:30:00+01:00", "2025-01-08T20:00:00+01:00", 20.9, 20, true},  // truncated
      {"2025-03-30T10:00:00+02:00", "2025-03-29T21:00:00+01:00", 21, 21, false},   // the clock changes
      {"2025-01-08T23:30:00+01:00", "2025-01-08T00:00:00+01:00", NAN, 0, false},   // no number reads as 0
  };
  for (const auto& c : cases) {
    env.setNow(c.now);
    putConfig(env, {{"nightHour", Value::real(c.nightHour)}});
    GroupMetrics metrics(env);
    metrics.watchDictIsValid();  // opens the store and the formatting tools
    EXPECT_EQ(metrics.shouldReportPreviousDay(), c.reportPreviousDay) << c.now << " " << c.nightHour;
    EXPECT_EQ(metrics.getFromDateForNightHour(c.effectiveHour), isoDate(c.nightStart)) << c.now << " " << c.nightHour;
  }
  EXPECT_FALSE(GroupMetrics(env).getFromDateForNightHour(-1));
  EXPECT_EQ(GroupMetrics(env).getVelmoraConfigValueForKey("nightHour"), -1.0f) << "store not opened yet";
}

// Synchronised more than a minute into the night (the 7th, 21:00), the watch's sleep stands in for last night when
// the bank has none.
TEST_F(GroupMetricsTest, WatchDataCountsFromAMinuteIntoTheNight) {
  putBankNights(env, {28800, 28800, 28800, 28800, 28800, 28800, kOut});
  const std::pair<Value, bool> cases[] = {{Value(isoDate("2025-01-07T21:01:00+01:00")), false},
                                          {Value(isoDate("2025-01-07T21:01:00.001+01:00")), true},
                                          {Value(isoDate("2025-01-07T20:00:00+01:00")), false},
                                          {Value("yesterday"), false}};
  for (const auto& [synched, valid] : cases) {
    putShared(env, "watchTrackDict",
              Value(MetricDictionary{{"rawSynchTime", synched}, {"rawSleepTime", Value::real(25200)}}));
    GroupMetrics metrics(env);
    EXPECT_EQ(metrics.watchDictIsValid(), valid);
    const auto record = metrics.requestSleepBank();
    ASSERT_TRUE(record);
    EXPECT_FLOAT_EQ(record->floatForKey("bankBalance"), valid ? (21 * 28800.0f + 7 * 25200.0f) / 28 : 28800.0f);
  }
}

// Without a wake moment the record is the bank's three figures alone, and nothing is cached; without a present
// night or a positive balance there is none.
TEST_F(GroupMetricsTest, WeightedBalanceAndForecast) {
  EXPECT_FALSE(GroupMetrics(env).requestSleepBank()) << "no bankDict";
  const struct {
    Nights nights;
    float balance, forecast;  // seconds; no record for a balance of 0
  } cases[] = {
      {every(28800), 28800, 28800},
      {{21600, kOut, kOut, kOut, kOut, kOut, kOut}, 21600, 36000},  // one night alone: twice the goal less it
      {{21600, kOut, kOut, kOut, kOut, kOut, 21600}, 21600, 34971.43f},
      {{28800, 28800, 28800, -1, 28800, 28800, 28800}, 28800, 28800},                                 // negative
      {{28800, 28800, 28800, 0, 28800, 28800, 28800}, 28800 * 24 / 28.0f, 28800 + 3 * 28800 / 7.0f},  // zero
      {every(kOut), 0, 0},
      {{0, 0, kOut, kOut, kOut, kOut, kOut}, 0, 0},
  };
  for (const auto& c : cases) {
    putBankNights(env, c.nights, {{"medianWake", Value::real(0)}});
    const auto record = GroupMetrics(env).requestSleepBank();
    ASSERT_EQ(record.has_value(), c.balance > 0) << c.balance;
    if (!record) continue;
    EXPECT_FLOAT_EQ(record->floatForKey("bankBalance"), c.balance);
    EXPECT_FLOAT_EQ(record->floatForKey("bankForecast"), c.forecast) << c.balance;
    EXPECT_FLOAT_EQ(record->floatForKey("bankPercent"), c.balance / 28800.0f);
    EXPECT_EQ(record->size(), 3u);
  }
  EXPECT_FALSE(sharedStore(env)->objectForKey("cachedSleepBank"));
}

TEST_F(GroupMetricsTest, BedtimeBoundsEfficiencyAndPullUp) {
  const MetricDictionary fixedThursday{{"WakeFixed3", Value::integer(0)}, {"WakeTime3", Value::real(23400)}};
  const struct {
    const char* name;
    double night, wakeOffset, efficiency;  // seconds slept each night, "medianWake", "averageEfficiency"
    const char *bed, *wake;                // day of January and Berlin time
    MetricDictionary config;
  } cases[] = {
      // Nine hours a night: 5 h needed, below the 6 h minimum: 6 h / 90 % = 24000 s in bed.
      {"minimumBound", 32400, 36000, 90, "8T00:20:00", "8T07:00:00", {{"minimumHours", Value::real(6)}}},
      // Without a configured minimum it is an hour under the goal: 7 h before the wake.
      {"minimumFromGoal", 32400, 36000, 100, "8T00:00:00", "8T07:00:00", {}},
      // Four hours a night: 20 h needed; no maximum, so goal + 2 = 10 h at 100 %.
      {"maximumFromGoal", 14400, 40000, 100, "7T22:06:40", "8T08:06:40", {{"minimumHours", Value::real(7)}}},
      // More time in bed than the night has: the bedtime is the night's start.
      {"pulledUpToNightStart", 14400, 36000, 90, "7T21:00:00", "8T07:00:00", {}},
      // Thursday's fixed wake (weekday index 3, switched on by a stored 0) on the reference day.
      {"fixedWake", 28800, 36000, 100, "7T22:30:00", "8T06:30:00", fixedThursday},
  };
  auto at = [](const char* dayAndTime) { return isoDate(std::string("2025-01-0") + dayAndTime + "+01:00"); };
  for (const auto& c : cases) {
    putBankNights(env, every(c.night),
                  {{"medianWake", Value::real(c.wakeOffset)}, {"averageEfficiency", Value::real(c.efficiency)}});
    putConfig(env, c.config);
    const auto record = GroupMetrics(env).requestSleepBank();
    ASSERT_TRUE(record && record->dateForKey("bedTime")) << c.name;
    EXPECT_NEAR(record->dateForKey("bedTime")->unixSeconds(), at(c.bed).unixSeconds(), 0.01) << c.name;
    EXPECT_EQ(*record->dateForKey("wakeTime"), at(c.wake)) << c.name;
    // Computed in the afternoon: tonight's bedtime is a day after the computed night's.
    EXPECT_NEAR(record->dateForKey("adjustedBedTime")->unixSeconds(), at(c.bed).unixSeconds() + 86400, 0.01) << c.name;
  }
}

// The copy text's names follow the language, its numbers the locale.
TEST_F(GroupMetricsTest, TextsInEnglishAndGerman) {
  const struct {
    const char *locale, *language, *label, *pasteItem;
  } cases[] = {
      {"en_US", "en", "Try to be in bed by 11:30\u202FPM",
       "{\"Tonight'sBedtime\":\"11:30\u202FPM\", \"Waketime\":\"7:00\u202FAM\", \"TimeUntilBed\": \"8.50\", "
       "\"RequiredHours\":\"5.00\"}"},
      {"de_DE", "de", "Versuche, bis 23:30 im Bett zu sein",
       R"({"HeutigeSchlafenszeit":"23:30", "Aufwachzeit":"07:00", "ZeitBisZumSchlafengehen": "8,50", )"
       R"("BenötigteStunden":"5,00"})"},
  };
  for (const auto& c : cases) {
    testing::TestEnvironment run(kAfternoon, "Europe/Berlin", c.locale);  // a run's bundle is of its languages
    run.languages = {c.language};
    putNineHourBank(run);
    const auto record = GroupMetrics(run).requestSleepBank();
    ASSERT_TRUE(record);
    EXPECT_FLOAT_EQ(record->floatForKey("timeUntilBed"), 30600.0f);  // 15:00 until 23:30 tonight
    EXPECT_EQ(textOf(*record, "latestBedLabel"), c.label);
    EXPECT_EQ(textOf(*record, "pasteItem"), c.pasteItem);
  }
}

// Computed in the afternoon and cached with its moment. From the night hour on the cached record holds, a day
// on, whatever the main app has changed since; a cache from before the last night is recomputed, for tonight.
TEST_F(GroupMetricsTest, TheCacheMovesOnADayAtTheNightHour) {
  putNineHourBank(env);
  const auto afternoon = GroupMetrics(env).requestSleepBank();
  const std::optional<Value> cached = sharedStore(env)->objectForKey("cachedSleepBank");
  ASSERT_TRUE(afternoon && cached && cached->dictionary());
  EXPECT_EQ(testing::keysOf(*cached->dictionary()), testing::keysOf(*afternoon));
  EXPECT_EQ(*cached->dictionary()->dateForKey("bedTime"), *afternoon->dateForKey("bedTime"));
  EXPECT_EQ(sharedStore(env)->objectForKey("cachedSleepBankUpdate"), Value(env.now));

  putBankNights(env, every(28800), {{"medianWake", Value::real(36000)}});
  env.setNow("2025-01-08T21:00:00+01:00");
  const auto evening = GroupMetrics(env).requestSleepBank();
  ASSERT_TRUE(evening && evening->dateForKey("adjustedBedTime"));
  EXPECT_EQ(evening->floatForKey("bankBalance"), afternoon->floatForKey("bankBalance"));
  EXPECT_EQ(evening->dateForKey("adjustedBedTime")->unixSeconds(),
            afternoon->dateForKey("bedTime")->unixSeconds() + 86400);
  EXPECT_FLOAT_EQ(evening->floatForKey("timeUntilBed"), 9000.0f);  // 21:00 until 23:30
  EXPECT_EQ(textOf(*evening, "latestBedLabel"), "Try to be in bed by 11:30\u202FPM");
  EXPECT_EQ(*sharedStore(env)->objectForKey("cachedSleepBankUpdate")->date(), isoDate(kAfternoon));

  putShared(env, "cachedSleepBankUpdate", Value(isoDate("2025-01-07T20:00:00+01:00")));
  const auto tonight = GroupMetrics(env).requestSleepBank();
  ASSERT_TRUE(tonight && tonight->dateForKey("bedTime"));
  EXPECT_EQ(tonight->floatForKey("bankBalance"), 28800.0f);
  EXPECT_EQ(*tonight->dateForKey("adjustedBedTime"), *tonight->dateForKey("bedTime")) << "tonight's: no day added";
}

// Wake moments and bounds that put the bedtime beyond any calendar: the record has the bank but no bedtime (nor
// wake date, when that is beyond it too), and the cache another reader takes in holds none either.
TEST_F(GroupMetricsTest, DatesNoCalendarNamesAreNeitherRecordedNorCached) {
  const struct {
    MetricDictionary bank, config;
    bool wakeGone;
  } cases[] = {
      {{{"medianWake", Value::real(1e308)}}, {}, true},
      {{{"medianWake", Value::integer(INT64_MAX)}}, {}, true},
      {{{"medianWake", Value::real(36000)}},
       {{"WakeFixed3", Value::integer(1)}, {"WakeTime3", Value::real(INFINITY)}},
       true},
      {{{"medianWake", Value::real(36000)}, {"averageEfficiency", Value::real(NAN)}}, {}, false},
      {{{"medianWake", Value::real(36000)}},
       {{"minimumHours", Value::real(1)}, {"maximumHours", Value::real(NAN)}},
       false},
  };
  for (const auto& c : cases) {
    putBankNights(env, every(32400), c.bank);
    putConfig(env, c.config);
    const std::optional<MetricDictionary> record = GroupMetrics(env).requestSleepBank();
    const std::optional<Value> cached = sharedStore(env)->objectForKey("cachedSleepBank");
    ASSERT_TRUE(record && cached && cached->dictionary());
    for (const MetricDictionary* d : {&*record, cached->dictionary()}) {
      EXPECT_TRUE(d->contains("bankBalance"));
      EXPECT_FALSE(d->contains("bedTime") || d->contains("adjustedBedTime"));
      EXPECT_EQ(d->contains("wakeTime"), !c.wakeGone);
    }
  }
  EXPECT_TRUE(env.warnings.empty());
}

}  // namespace
}  // namespace velmora
