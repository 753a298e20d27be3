#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <string>

#include "metrics/GroupMetrics.h"
#include "platform/UserDefaults.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::isoDate;
using testing::TestEnvironment;

constexpr float kInf = std::numeric_limits<float>::infinity();

// Last night's watch record, synchronised this morning (the night began yesterday at 21:00).
struct Watch {
  Watch(std::optional<std::string> rating, std::optional<std::string> values, std::optional<Value> sleep,
        std::optional<Value> goal = std::nullopt)
      : ringRating(std::move(rating)), ringValues(std::move(values)), sleepTime(std::move(sleep)), goalHours(goal) {}
  std::optional<std::string> ringRating, ringValues;  // "|"-joined texts
  std::optional<Value> sleepTime, goalHours;
  bool stages = false;
};

class SleepRingsRecordTest : public ::testing::Test {
 protected:
  std::shared_ptr<UserDefaults> store() { return UserDefaults::suite(env, Environment::kSharedSuite); }
  void put(const Watch& w) {
    MetricDictionary watch{{"rawSynchTime", Value(isoDate("2025-01-06T07:00:00+01:00"))}};
    if (w.ringRating) watch.setValue("rawRingRating", Value(*w.ringRating));
    if (w.ringValues) watch.setValue("rawRingValues", Value(*w.ringValues));
    watch.setValue("rawSleepTime", w.sleepTime);
    if (w.stages) watch.setValue("showStages", Value::boolean(false));  // only its presence counts
    MetricDictionary config;
    config.setValue("requiredHours", w.goalHours);
    ASSERT_TRUE(store()->setObjects({{"watchTrackDict", Value(watch)}, {"velmoraConfig", Value(config)}}));
  }
  MetricDictionary record(const Watch& w) {
    put(w);
    std::optional<MetricDictionary> r = GroupMetrics(env).requestQuality();
    EXPECT_TRUE(r);
    return r ? *r : MetricDictionary{};
  }
  static std::string text(const MetricDictionary& d, std::string_view key) {
    const std::string* t = d.textForKey(key);
    return t ? *t : "<absent>";
  }
  std::string published(std::string_view key) {
    const std::optional<Value> v = store()->objectForKey("Swift-" + std::string(key));
    return v && v->text() ? *v->text() : "<absent>";
  }

  TestEnvironment env;  // 15:00 on Monday 6 January 2025 in Berlin, en_US
};

// The rings' fractions, the closed count (a ring exactly full is closed), the rating (each ring capped at
// full, none floored) and the spoken summary, with the goal below four hours read as eight.
TEST_F(SleepRingsRecordTest, FractionsRatingAndSpokenSummary) {
  constexpr const char* kKeys[] = {"ringSleepPercent", "ringQualityPercent", "ringDeepPercent", "ringBPMPercent",
                                   "sleepRating"};
  const struct {
    const char* name;
    Watch watch;
    std::array<float, 5> numbers;  // under kKeys
    const char* siri;
  } cases[] = {
      {"three closed, 99.75 % spoken as 100",
       {"1|1|0.99", {}, Value::real(28800)},
       {1.0f, 1.0f, 1.0f, 0.99f, 0.9975f},
       "3 sleep rings closed. Today's sleep rating is 100%."},
      {"all closed",
       {"1.2|1|1.5", {}, Value::real(30000), Value::real(7.5)},
       {30000.0f / 27000.0f, 1.2f, 1.0f, 1.5f, 1.0f},
       "All sleep rings closed! Today's sleep rating is 100%."},
      {"two closed",
       {"1|0.75|0.5", {}, Value::real(28800)},
       {1.0f, 1.0f, 0.75f, 0.5f, 0.8125f},
       "2 sleep rings closed. Today's sleep rating is 81%."},
      {"a goal of 3.5 hours means 8",
       {"0|0|0", {}, Value::real(14400), Value::real(3.5)},
       {0.5f, 0.0f, 0.0f, 0.0f, 0.125f},
       "No sleep rings closed. Today's sleep rating is 12%."},
      {"a goal of 4 hours holds",
       {"0|0|0", {}, Value::real(14400), Value::real(4.0)},
       {1.0f, 0.0f, 0.0f, 0.0f, 0.25f},
       "1 sleep ring closed. Today's sleep rating is 25%."},
      {"two parts are no rings",
       {"0.9|0.8", {}, Value::real(0)},
       {0.0f, 0.0f, 0.0f, 0.0f, 0.0f},
       "No sleep rings closed. Today's sleep rating is 0%."},
      {"parts past the third ignored, a shortfall below zero kept",
       {"-0.5|0.25|0.25|9", {}, Value::real(28800)},
       {1.0f, -0.5f, 0.25f, 0.25f, 0.25f},
       "1 sleep ring closed. Today's sleep rating is 25%."},
      {"no sleep time",
       {"0.4|0.4|0.4", {}, std::nullopt},
       {0.0f, 0.4f, 0.4f, 0.4f, 0.3f},
       "No sleep rings closed. Today's sleep rating is 30%."},
      {"numbers out of bounds",
       {"1e39|NaN|-inf", "1e39|x|-1", Value("lots"), Value::real(1e308)},
       {0.0f, kInf, 0.0f, 0.0f, 0.25f},
       "1 sleep ring closed. Today's sleep rating is 25%."},
  };
  for (const auto& c : cases) {
    const MetricDictionary r = record(c.watch);
    for (std::size_t i = 0; i < c.numbers.size(); ++i)
      EXPECT_FLOAT_EQ(r.floatForKey(kKeys[i]), c.numbers[i]) << c.name << ": " << kKeys[i];
    EXPECT_EQ(text(r, "siriLabel"), c.siri) << c.name;
  }
}

// Every key in its place, the labels from the formatter, and the copy text with the uncapped percentages,
// character for character (the single spaces after the third and seventh colons included).
TEST_F(SleepRingsRecordTest, LabelsAndCopyTextInEnglish) {
  const MetricDictionary r = record({"1.5|1.25|0.5", "5400|4320|52.4", Value::real(36000)});
  std::string keys;
  for (const auto& [key, value] : r) keys += key + " ";
  EXPECT_EQ(keys,
            "ringSleepPercent ringQualityPercent ringDeepPercent ringBPMPercent sleepRating ringSleepLabel "
            "ringQualityLabel ringDeepLabel ringBPMLabel siriLabel pasteItem ");
  EXPECT_EQ(text(r, "ringSleepLabel"), "10h 0m");
  EXPECT_EQ(text(r, "ringQualityLabel"), "1h 30m");
  EXPECT_EQ(text(r, "ringDeepLabel"), "1h 12m");
  EXPECT_EQ(text(r, "ringBPMLabel"), "52");
  EXPECT_EQ(text(r, "pasteItem"),
            R"({"Sleep%":"125", "Quality%":"150", "Deep%": "125", "bpm%":"50", "Sleep":"10.00", "Quality":"1.50", )"
            R"("Deep": "1.20", "bpm":"52", "SleepRating":"88"})");
  EXPECT_EQ(text(record({"0|0|0", {}, std::nullopt}), "ringSleepLabel"), "0h 0m");
}

// In German the names and the decimal separator follow the locale and the table; with stages the second
// ring is REM; a translated "Sleep Rating" turns the spoken summary into "headline rating: n%".
TEST_F(SleepRingsRecordTest, CopyTextAndSummaryInGermanWithStages) {
  env.locale = "de_DE";
  env.languages = {"de"};
  Watch w{"1|1|0.99", "5400|4320|52", Value::real(28800)};
  w.stages = true;
  const MetricDictionary r = record(w);
  EXPECT_EQ(text(r, "showStages"), "1");
  EXPECT_EQ(text(r, "pasteItem"),
            R"({"Schlaf%":"100", "REM%":"100", "Tiefschlaf%": "100", "S/min%":"99", "Schlaf":"8,00", "REM":"1,50", )"
            R"("Tiefschlaf": "1,20", "S/min":"52", "Schlafbewertung":"100"})");
  EXPECT_EQ(text(r, "siriLabel"), "3 schlafringe geschlossen. Schlafbewertung: 100%.");
  w.ringRating = "1|1|1";
  EXPECT_EQ(text(record(w), "siriLabel"), "Alle schlafringe geschlossen! Schlafbewertung: 100%.");
}

// The widgets get the four labels, the quality one marked for the ring it is; without a record "--" and
// no HasData, whatever was published before.
TEST_F(SleepRingsRecordTest, PublishesTheLabelsForTheWidgets) {
  const struct {
    bool stages;
    const char* quality;
  } cases[] = {{false, "★ 1h 30m"}, {true, "Ⓡ 1h 30m"}};
  for (const auto& c : cases) {
    Watch w{"1|1|1", "5400|4320|52", Value::real(27000)};
    w.stages = c.stages;
    put(w);
    GroupMetrics(env).requestQualityForSwift();
    EXPECT_EQ(published("HasData"), "1");
    EXPECT_EQ(published("ringSleepLabel"), "7h 30m");
    EXPECT_EQ(published("ringQualityLabel"), c.quality);
    EXPECT_EQ(published("ringDeepLabel"), "1h 12m");
    EXPECT_EQ(published("ringBPMLabel"), "52");
  }

  // A missing, malformed or stale watch record is no record.
  const std::optional<Value> noRecord[] = {
      std::nullopt, Value("not a dictionary"),
      Value(MetricDictionary{{"rawSynchTime", Value(isoDate("2025-01-05T20:00:00+01:00"))}})};
  for (const std::optional<Value>& watch : noRecord) {
    put({"1|1|1", "5400|4320|52", Value::real(27000)});
    GroupMetrics(env).requestQualityForSwift();  // labels to withdraw
    ASSERT_TRUE(watch ? store()->setObject(*watch, "watchTrackDict") : store()->removeObjectForKey("watchTrackDict"));
    EXPECT_FALSE(GroupMetrics(env).requestQuality());
    GroupMetrics(env).requestQualityForSwift();
    EXPECT_FALSE(store()->objectForKey("Swift-HasData"));
    for (const char* key : {"ringSleepLabel", "ringQualityLabel", "ringDeepLabel", "ringBPMLabel"})
      EXPECT_EQ(published(key), "--") << key;
  }
}

}  // namespace
}  // namespace velmora
