#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <optional>
#include <string>

#include "metrics/GroupMetrics.h"
#include "support/Numbers.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::isoDate;
using testing::kInff;
using testing::kNaNf;
using testing::sharedStore;
using testing::textOf;

// Last night's watch record: the "|"-joined ring ratings and values, the time asleep and the configured goal.
struct Watch {
  const char *ringRating, *ringValues;
  std::optional<Value> sleepTime, goalHours = std::nullopt;
  bool stages = false;
};

class SleepRingsRecordTest : public ::testing::Test {
 protected:
  // Synchronised this morning: the night began yesterday at 21:00.
  void put(const Watch& w) {
    MetricDictionary watch{{"rawSynchTime", Value(isoDate("2025-01-06T07:00:00+01:00"))},
                           {"rawRingRating", Value(w.ringRating)},
                           {"rawRingValues", Value(w.ringValues)}};
    watch.setValue("rawSleepTime", w.sleepTime);
    if (w.stages) watch.setValue("showStages", Value::boolean(false));  // only its presence counts
    MetricDictionary config;
    config.setValue("requiredHours", w.goalHours);
    ASSERT_TRUE(sharedStore(env)->setObjects({{"watchTrackDict", Value(watch)}, {"velmoraConfig", Value(config)}}));
  }
  MetricDictionary record(const Watch& w) {
    put(w);
    std::optional<MetricDictionary> r = GroupMetrics(env).requestQuality();
    EXPECT_TRUE(r);
    return r.value_or(MetricDictionary{});
  }
  std::string published(const std::string& key) {
    const std::optional<Value> v = sharedStore(env)->objectForKey("Swift-" + key);
    return v && v->text() ? *v->text() : "<absent>";
  }

  testing::TestEnvironment env;  // 15:00 on Monday 6 January 2025 in Berlin, en_US
};

// The rings' fractions, the closed count (a ring exactly full is closed), the rating (each ring capped at full,
// none floored, so 1 + 1 + 1 + 0.99 rates 0.9975, spoken as 100 %) and the spoken summary; a goal below four hours
// reads as eight.
TEST_F(SleepRingsRecordTest, FractionsRatingAndSpokenSummary) {
  constexpr const char* kKeys[] = {"ringSleepPercent", "ringQualityPercent", "ringDeepPercent", "ringBPMPercent",
                                   "sleepRating"};
  const struct {
    Watch watch;
    std::array<float, 5> numbers;  // under kKeys
    const char* siri;
  } cases[] = {
      {{"1|1|0.99", "", Value::real(28800)},
       {1.0f, 1.0f, 1.0f, 0.99f, 0.9975f},
       "3 sleep rings closed. Today's sleep rating is 100%."},
      {{"1.2|1|1.5", "", Value::real(30000), Value::real(7.5)},
       {30000.0f / 27000.0f, 1.2f, 1.0f, 1.5f, 1.0f},
       "All sleep rings closed! Today's sleep rating is 100%."},
      {{"1|0.75|0.5", "", Value::real(28800)},
       {1, 1, 0.75f, 0.5f, 0.8125f},
       "2 sleep rings closed. Today's sleep rating is 81%."},
      {{"0|0|0", "", Value::real(14400), Value::real(3.5)},
       {0.5f, 0, 0, 0, 0.125f},
       "No sleep rings closed. Today's sleep rating is 12%."},
      {{"0|0|0", "", Value::real(14400), Value::real(4.0)},
       {1, 0, 0, 0, 0.25f},
       "1 sleep ring closed. Today's sleep rating is 25%."},
      // Two parts are no rings, no sleep time is none; parts past the third are ignored, a shortfall below zero kept.
      {{"0.9|0.8", "", std::nullopt}, {0, 0, 0, 0, 0}, "No sleep rings closed. Today's sleep rating is 0%."},
      {{"-0.5|0.25|0.25|9", "", Value::real(28800)},
       {1, -0.5f, 0.25f, 0.25f, 0.25f},
       "1 sleep ring closed. Today's sleep rating is 25%."},
      // Numbers out of bounds.
      {{"1e39|NaN|-inf", "1e39|x|-1", Value("lots"), Value::real(1e308)},
       {0, kInff, 0, 0, 0.25f},
       "1 sleep ring closed. Today's sleep rating is 25%."},
      // Sleep and goal both beyond a float: the sleep ring is no number, and so is the rating.
      {{"1e39|NaN|-inf", "", Value::real(1e308), Value::real(1e308)},
       {kNaNf, kInff, 0, 0, kNaNf},
       "1 sleep ring closed. Today's sleep rating is nan%."},
  };
  for (const auto& c : cases) {
    const MetricDictionary r = record(c.watch);
    for (std::size_t i = 0; i < c.numbers.size(); ++i) {
      if (std::isnan(c.numbers[i])) {
        EXPECT_TRUE(std::isnan(r.floatForKey(kKeys[i]))) << c.siri << ": " << kKeys[i];
      } else {
        EXPECT_FLOAT_EQ(r.floatForKey(kKeys[i]), c.numbers[i]) << c.siri << ": " << kKeys[i];
      }
    }
    EXPECT_EQ(textOf(r, "siriLabel"), c.siri);
  }
}

// Every key in its place, the labels from the formatter, and the copy text with the uncapped percentages,
// character for character (the single spaces after the third and seventh colons included).
TEST_F(SleepRingsRecordTest, LabelsAndCopyTextInEnglish) {
  const MetricDictionary r = record({"1.5|1.25|0.5", "5400|4320|52.4", Value::real(36000)});
  EXPECT_EQ(testing::keysOf(r),
            (std::vector<std::string>{"ringSleepPercent", "ringQualityPercent", "ringDeepPercent", "ringBPMPercent",
                                      "sleepRating", "ringSleepLabel", "ringQualityLabel", "ringDeepLabel",
                                      "ringBPMLabel", "siriLabel", "pasteItem"}));
  EXPECT_EQ(textOf(r, "ringSleepLabel") + "|" + textOf(r, "ringQualityLabel") + "|" + textOf(r, "ringDeepLabel") + "|" +
                textOf(r, "ringBPMLabel"),
            "10h 0m|1h 30m|1h 12m|52");
  EXPECT_EQ(textOf(r, "pasteItem"),
            R"({"Sleep%":"125", "Quality%":"150", "Deep%": "125", "bpm%":"50", "Sleep":"10.00", "Quality":"1.50", )"
            R"("Deep": "1.20", "bpm":"52", "SleepRating":"88"})");
  EXPECT_EQ(textOf(record({"0|0|0", "", std::nullopt}), "ringSleepLabel"), "0h 0m");
}

// In German the names and the decimal separator follow the locale and the table; with stages the second ring is
// REM; a translated "Sleep Rating" turns the spoken summary into "headline rating: n%".
TEST_F(SleepRingsRecordTest, CopyTextAndSummaryInGermanWithStages) {
  env.locale = "de_DE";
  env.languages = {"de"};
  Watch w{"1|1|0.99", "5400|4320|52", Value::real(28800)};
  w.stages = true;
  const MetricDictionary german = record(w);
  EXPECT_EQ(textOf(german, "showStages"), "1");
  EXPECT_EQ(textOf(german, "pasteItem"),
            R"({"Schlaf%":"100", "REM%":"100", "Tiefschlaf%": "100", "S/min%":"99", "Schlaf":"8,00", "REM":"1,50", )"
            R"("Tiefschlaf": "1,20", "S/min":"52", "Schlafbewertung":"100"})");
  EXPECT_EQ(textOf(german, "siriLabel"), "3 schlafringe geschlossen. Schlafbewertung: 100%.");
  w.ringRating = "1|1|1";
  EXPECT_EQ(textOf(record(w), "siriLabel"), "Alle schlafringe geschlossen! Schlafbewertung: 100%.");
}

// The widgets get the four labels, the quality one marked for the ring it is; without a record (missing, malformed
// or stale) "--" and no HasData, whatever was published before.
TEST_F(SleepRingsRecordTest, PublishesTheLabelsForTheWidgets) {
  for (const auto& [stages, quality] : {std::pair{false, "★ 1h 30m"}, {true, "Ⓡ 1h 30m"}}) {
    put({"1|1|1", "5400|4320|52", Value::real(27000), std::nullopt, stages});
    GroupMetrics(env).requestQualityForSwift();
    EXPECT_EQ(published("HasData") + "|" + published("ringSleepLabel") + "|" + published("ringQualityLabel") + "|" +
                  published("ringDeepLabel") + "|" + published("ringBPMLabel"),
              std::string("1|7h 30m|") + quality + "|1h 12m|52");
  }
  const std::optional<Value> noRecord[] = {
      std::nullopt, Value("not a dictionary"),
      Value(MetricDictionary{{"rawSynchTime", Value(isoDate("2025-01-05T20:00:00+01:00"))}})};
  for (const std::optional<Value>& watch : noRecord) {
    put({"1|1|1", "5400|4320|52", Value::real(27000)});
    GroupMetrics(env).requestQualityForSwift();  // labels to withdraw
    ASSERT_TRUE(watch ? sharedStore(env)->setObject(*watch, "watchTrackDict")
                      : sharedStore(env)->removeObjectForKey("watchTrackDict"));
    EXPECT_FALSE(GroupMetrics(env).requestQuality());
    GroupMetrics(env).requestQualityForSwift();
    EXPECT_EQ(published("HasData"), "<absent>");
    for (const char* key : {"ringSleepLabel", "ringQualityLabel", "ringDeepLabel", "ringBPMLabel"})
      EXPECT_EQ(published(key), "--") << key;
  }
}

}  // namespace
}  // namespace velmora
