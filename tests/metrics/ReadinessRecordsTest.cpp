#include <gtest/gtest.h>

#include <limits>

#include "metrics/GroupMetrics.h"
#include "support/Numbers.h"
#include "support/StoreRecords.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::isoDate;
using testing::kAfternoon;
using testing::keysOf;
using testing::kNaN;
using testing::kTonight;
using testing::putShared;
using testing::TestEnvironment;
using testing::textOf;

struct Night {
  double hrv, hrvBaseline, waking, wakingBaseline;
};

// The same night as readiness and as fuel.
void putNight(const Environment& env, const Night& n, const char* key = kTonight) {
  const Value summary = testing::readinessSummary(n.hrv, n.hrvBaseline, n.waking, n.wakingBaseline, key);
  putShared(env, "bankDict", Value(MetricDictionary{{"readyDict", summary}, {"octaneDict", summary}}));
}

// Readiness and fuel score a night alike and rate it in their own words. HRV at its baseline scores the float just
// below the double 0.7 ("Low"); 1.5 is "Optimal"; a waking rate a tenth off its baseline counts in full (0.45,
// 1.6), and (0.55 + 0.45) / 2 is not above 0.5. A star value just under a whole star (1.99999994, 3.9999999) is
// that star in single precision. No positive points: no record.
TEST(ReadinessRecordsTest, ScoresRatingsAndStars) {
  const struct {
    Night night;
    float hrvPoints, wakingPoints, stars;
    const char *readiness, *fuel, *changes;  // the HRV's and the waking rate's change and tint
  } cases[] = {
      // clang-format off
      {{50, 50, 0, 0}, 0.7f, 0, 2, "Low", "Poor", "No change 2| 0"},
      {{0, 0, 60, 60}, 0, 0.95f, 4, "Good", "Plus", " 0|No change 1"},
      {{90, 50, 0, 0}, 1.5f, 0, 6, "Optimal", "Jet fuel", "40 above baseline 2| 0"},
      {{60, 50, 54, 60}, 0.90000004f, 1.6f, 5.1666665f, "Optimal", "Jet fuel",
       "10 above baseline 2|6 below baseline 2"},
      {{40, 50, 66, 60}, 0.55f, 0.45f, 1, "Rest", "Bad", "10 below baseline 1|6 above baseline 1"},
      {{50.4, 50, 59.6, 60}, 0.708f, 0.8533338f, 2.6453352f, "OK", "Regular", "No change 2|No change 2"},
      {{10, 50, 0, 0}, -0.05f, 0, 0, nullptr, nullptr, ""},
  };  // clang-format on
  TestEnvironment env(kAfternoon);
  for (const auto& c : cases) {
    putNight(env, c.night);
    GroupMetrics metrics(env);
    const auto readiness = metrics.requestReadiness();
    const auto fuel = metrics.requestOctane();
    ASSERT_EQ(readiness && fuel, c.readiness != nullptr);
    if (!readiness) continue;
    EXPECT_EQ(textOf(*readiness, "rating") + "|" + textOf(*fuel, "rating"), std::string(c.readiness) + "|" + c.fuel);
    for (const auto* r : {&*readiness, &*fuel}) {
      EXPECT_EQ(r->floatForKey("hrvPoints"), c.hrvPoints) << c.readiness;
      EXPECT_EQ(r->floatForKey("wakingPoints"), c.wakingPoints) << c.readiness;
      EXPECT_EQ(r->floatForKey("starsValue"), c.stars) << c.readiness;
      EXPECT_EQ(textOf(*r, "hrvDifLabel") + " " + std::to_string(r->integerForKey("hrvTint")) + "|" +
                    textOf(*r, "wakingDifLabel") + " " + std::to_string(r->integerForKey("wakingTint")),
                c.changes);
    }
  }
}

// Readiness takes the watch's figures (55 ms, 52 bpm), and its missing baselines, unless the stored night is
// today's and has figures of its own; fuel never looks at the watch.
TEST(ReadinessRecordsTest, WhichFiguresCount) {
  const struct {
    const char* key;
    Night stored;
    const char* synched;
    const char* labels;  // HRV and waking rate, "" for no record
    float hrvPoints, wakingPoints;
  } cases[] = {
      {"20250107", {60, 0, 54, 0}, "2025-01-08T07:00:00+01:00", "55 ms|52 bpm", 0.7f, 0.95f},
      {kTonight, {60, 50, 0, 52}, "2025-01-08T07:00:00+01:00", "60 ms|--", 0.90000004f, 0},
      {kTonight, {0, 50, 0, 0}, "2025-01-08T07:00:00+01:00", "55 ms|52 bpm", 0.8f, 0.95f},
      {kTonight, {60, 50, 0, 0}, "2025-01-07T20:00:00+01:00", "60 ms|--", 0.90000004f, 0},  // before the night
      {"20250107", {60, 50, 54, 52}, "2025-01-07T21:00:30+01:00", "", 0, 0},                // within its first minute
  };
  TestEnvironment env(kAfternoon);
  for (const auto& c : cases) {
    putNight(env, c.stored, c.key);
    putShared(env, "watchTrackDict",
              Value(MetricDictionary{{"rawSynchTime", Value(isoDate(c.synched))},
                                     {"rawHRVVal", Value::real(55)},
                                     {"rawWakingVal", Value::real(52)}}));
    GroupMetrics metrics(env);
    const auto record = metrics.requestReadiness();
    EXPECT_EQ(metrics.requestOctane().has_value(), c.key == kTonight && c.stored.hrv > 0) << c.labels;
    ASSERT_EQ(record.has_value(), *c.labels != 0) << c.labels;
    if (!record) continue;
    EXPECT_EQ(textOf(*record, "hrvLabel") + "|" + textOf(*record, "wakingLabel"), c.labels);
    EXPECT_EQ(record->floatForKey("hrvPoints"), c.hrvPoints) << c.labels;
    EXPECT_EQ(record->floatForKey("wakingPoints"), c.wakingPoints) << c.labels;
  }
  putShared(env, "bankDict", Value(MetricDictionary{}));
  EXPECT_FALSE(GroupMetrics(env).requestReadiness()) << "no readiness summary";
}

// The spoken sentence and the copy text, in words and in stars, in English and German; the fuel's never in stars.
TEST(ReadinessRecordsTest, SentencesAndCopyTexts) {
  const struct {
    const char *locale, *language;
    bool stars;
    const char *sentence, *pasteItem, *fuelSentence;
  } cases[] = {
      {"en_US", "en", false, "Today's Readiness is optimal.",
       R"({"Stars":"5.17", "HRV":"60", "bpm": "54", "BaselineHRV":"50", "BaselineWakingBPM":"60", "Rating":"Optimal"})",
       "Sleep Fuel Rating is jet fuel."},
      {"en_US", "en", true, "Today's Readiness is 5.17 stars.",
       R"({"Stars":"5.17", "HRV":"60", "bpm": "54", "BaselineHRV":"50", "BaselineWakingBPM":"60", "Rating":"★★★★★"})",
       "Sleep Fuel Rating is jet fuel."},
      {"de_DE", "de", true, "Heutige Bereitschaft: 5,17 Sterne.",
       R"({"Sterne":"5,17", "HRV":"60", "S/min": "54", "Basis-HRV":"50", "Basis-Wachpuls":"60", "Bewertung":"★★★★★"})",
       "Schlaftreibstoff-Bewertung: kerosin."},
  };
  for (const auto& c : cases) {
    TestEnvironment env(kAfternoon, "Europe/Berlin", c.locale);
    env.languages = {c.language};
    putNight(env, {60, 50, 54, 60});
    putShared(env, "readyStars", Value::boolean(c.stars));
    GroupMetrics metrics(env);
    const auto record = metrics.requestReadiness();
    const auto fuel = metrics.requestOctane();
    ASSERT_TRUE(record && fuel);
    EXPECT_EQ(keysOf(*record),
              (std::vector<std::string>{"rating", "todaysReadinessStars", "starsValue", "percentage", "hrvLabel",
                                        "hrvDifLabel", "wakingLabel", "wakingDifLabel", "wakingPoints", "hrvPoints",
                                        "wakingTint", "hrvTint", "pasteItem"}));
    EXPECT_EQ(textOf(*record, "todaysReadinessStars"), c.sentence);
    EXPECT_EQ(textOf(*record, "pasteItem"), c.pasteItem);
    EXPECT_EQ(textOf(*fuel, "todaysReadinessStars"), c.fuelSentence);
  }
}

// Whatever the store holds in the four figures, a record of every key or none, never a hang; a baseline beyond
// every HRV leaves the waking rate alone.
TEST(ReadinessRecordsBounded, AbsurdFigures) {
  TestEnvironment env(kAfternoon);
  const double inf = std::numeric_limits<double>::infinity();
  for (const double x : {kNaN, inf, -inf, 1e308, -1e308, 3e38})
    for (const Night& night : {Night{x, x, x, x}, Night{x, 50, 54, x}}) {
      putNight(env, night);
      GroupMetrics metrics(env);
      for (const auto& record : {metrics.requestReadiness(), metrics.requestOctane()})
        EXPECT_TRUE(!record || record->size() == 13u) << x;
    }
  putNight(env, {50, 1e308, 60, 60});
  EXPECT_EQ(GroupMetrics(env).requestReadiness()->floatForKey("percentage"), 0.95f);
  // An HRV beyond every number is superb; a baseline beyond it leaves fuel no positive points.
  putNight(env, {1e308, 50, 0, 0});
  EXPECT_EQ(textOf(*GroupMetrics(env).requestReadiness(), "rating"), "Superb");
  putNight(env, {45, 1e308, 0, 0});
  EXPECT_FALSE(GroupMetrics(env).requestOctane());
}

// The drift of the average bedtime: a minute either way is consistent, bounds included; the switch shows the
// previous average first. Both averages are seconds after "startDate", 1 January at midnight.
TEST(ReadinessRecordsTest, BedtimeConsistency) {
  const struct {
    double average, previous;
    bool previousFirst;
    const char* texts;  // headline, trend and gauge label
    float drift;
  } cases[] = {
      {81000, 80940, false, "10:30\u202FPM|Consistent|", 60},
      {81000, 81060, false, "10:30\u202FPM|Consistent|", -60},
      {81000, 80939, false, "10:30\u202FPM|1m later|1m", 61},
      {81000, 81300, false, "10:30\u202FPM|5m earlier|5m", -300},
      {81000, 84600, true, "11:30\u202FPM|60m earlier|10:30\u202FPM", -3600},
      {kNaN, 81000, false, "|Consistent|", static_cast<float>(kNaN)},
      {1e308, 81000, false, "| later|", std::numeric_limits<float>::infinity()},  // later by no time one can say
  };
  TestEnvironment env(kAfternoon);
  for (const auto& c : cases) {
    putShared(env, "bankDict",
              Value(MetricDictionary{{"startDate", Value(isoDate("2025-01-01T00:00:00+01:00"))},
                                     {"averageBedtime", Value::real(c.average)},
                                     {"prevAverageBedtime", Value::real(c.previous)}}));
    putShared(env, "lastConsistency", Value::boolean(c.previousFirst));
    const auto record = GroupMetrics(env).requestConsistencyDict();
    ASSERT_TRUE(record) << c.texts;
    EXPECT_EQ(keysOf(*record),
              (std::vector<std::string>{"avgBedtimeDateString", "bedTrend", "trendString", "starsLabel"}));
    EXPECT_EQ(textOf(*record, "avgBedtimeDateString") + "|" + textOf(*record, "trendString") + "|" +
                  textOf(*record, "starsLabel"),
              c.texts);
    if (c.drift == c.drift) {
      EXPECT_EQ(record->floatForKey("bedTrend"), c.drift);
    }
  }
  putShared(env, "bankDict", Value(MetricDictionary{{"startDate", Value("2025-01-01")}}));
  EXPECT_FALSE(GroupMetrics(env).requestConsistencyDict()) << "a start that is no date";
}

}  // namespace
}  // namespace velmora
