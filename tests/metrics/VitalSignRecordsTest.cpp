#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "metrics/GroupMetrics.h"
#include "platform/UserDefaults.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::keysOf;
using testing::TestEnvironment;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// Wednesday 8 January 2025, 15:00 in Berlin: the current night began on the
// 7th at 21:00, so its summaries carry the key of the 8th.
constexpr const char* kAfternoon = "2025-01-08T15:00:00+01:00";
constexpr const char* kTonight = "20250108";

std::string text(const MetricDictionary& d, std::string_view key) {
  const std::string* t = d.textForKey(key);
  return t ? *t : "<absent>";
}

class VitalSignRecordsTest : public ::testing::Test {
 protected:
  void putBank(MetricDictionary bank) {
    ASSERT_TRUE(UserDefaults::suite(env, Environment::kSharedSuite)->setObject(Value(std::move(bank)), "bankDict"));
  }
  // A summary of the current night under `summaryKey`, with the six values in the order
  // average, minimum, maximum and the same over seven nights.
  void putSummary(std::string_view summaryKey, std::string_view name, const std::array<Value, 6>& values,
                  const char* key = kTonight) {
    MetricDictionary summary{{"key", Value(key)}};
    const std::string keys[6] = {"average", "min", "max", "average", "min", "max"};
    for (int i = 0; i < 6; ++i)
      summary.setValue(keys[i] + std::string(name) + (i >= 3 ? "7" : ""), values[static_cast<std::size_t>(i)]);
    putBank({{std::string(summaryKey), Value(summary)}});
  }
  void putSpO2(double avg, double min, double max, double avg7, double min7, double max7) {
    putSummary("spO2Dict", "SpO2",
               {Value::real(avg), Value::real(min), Value::real(max), Value::real(avg7), Value::real(min7),
                Value::real(max7)});
  }
  void putRespRate(double avg, double min, double max, double avg7, double min7, double max7) {
    putSummary("respRateDict", "RespRate",
               {Value::real(avg), Value::real(min), Value::real(max), Value::real(avg7), Value::real(min7),
                Value::real(max7)});
  }
  // The night's temperatures; an absent one is left out.
  void putWristTemp(std::optional<Value> today, std::optional<Value> baseline, const char* key = kTonight) {
    MetricDictionary bank{{"wristTempKey", Value(key)}, {"wristTempScore", Value::real(4.2)}};
    bank.setValue("wristTempTodayValue", std::move(today));
    bank.setValue("wristTempAverage28", std::move(baseline));
    putBank(bank);
  }

  TestEnvironment env{kAfternoon};
};

// --- Blood oxygen and breathing rate -------------------------------------------------

TEST_F(VitalSignRecordsTest, SpO2RecordInOrderWithItsTexts) {
  putSpO2(95.6, 91, 99, 95.5, 90, 98);
  const auto record = GroupMetrics(env).requestSpO2();
  ASSERT_TRUE(record);
  EXPECT_EQ(keysOf(*record),
            (std::vector<std::string>{"title", "todaysSpO2Info", "averageSpO2Label", "averageSpO2RangeLabel",
                                      "minSpO2Label", "maxSpO2Label", "averageSpO2Label7", "averageSpO2RangeLabel7",
                                      "difLabel", "difColour", "averageSpO2", "minSpO2", "maxSpO2", "averageSpO27",
                                      "minSpO27", "maxSpO27", "pasteItem"}));
  EXPECT_EQ(text(*record, "title"), "Sleep SpO2");
  EXPECT_EQ(text(*record, "todaysSpO2Info"), "Today's average SpO2 is 95.6%. Today's SpO2 range is 91% to 99%.");
  EXPECT_EQ(text(*record, "averageSpO2RangeLabel"), "91% - 99%");
  EXPECT_EQ(text(*record, "averageSpO2Label7"), "\u2466 95.5%");
  EXPECT_EQ(text(*record, "averageSpO2RangeLabel7"), "\u2466 90% - 98%");
  EXPECT_EQ(record->objectForKey("difColour")->kind(), Value::Kind::kInteger);
  EXPECT_EQ(record->objectForKey("averageSpO2")->kind(), Value::Kind::kFloat);
  EXPECT_EQ(record->floatForKey("maxSpO27"), 98.0f);
  EXPECT_EQ(
      text(*record, "pasteItem"),
      R"({"SpO2":"95.6", "MinSpO2":"91", "MaxSpO2": "99", "SpO2-7":"95.5", "MinSpO2-7":"90" , "MaxSpO2-7":"98"})");
}

TEST_F(VitalSignRecordsTest, RespirationRecordHasAWidgetLabelAndItsOwnWords) {
  putRespRate(14.25, 12.1, 17.8, 15, 11.5, 18.5);
  const auto record = GroupMetrics(env).requestRespRate();
  ASSERT_TRUE(record);
  EXPECT_EQ(keysOf(*record),
            (std::vector<std::string>{"title", "todaysRespRateInfo", "averageRespRateLabel",
                                      "averageRespRateWidgetLabel", "averageRespRateRangeLabel", "minRespRateLabel",
                                      "maxRespRateLabel", "averageRespRateLabel7", "averageRespRateRangeLabel7",
                                      "difLabel", "difColour", "averageRespRate", "minRespRate", "maxRespRate",
                                      "averageRespRate7", "minRespRate7", "maxRespRate7", "pasteItem"}));
  EXPECT_EQ(text(*record, "title"), "Respiration Rate");
  EXPECT_EQ(text(*record, "averageRespRateLabel"), "14.2 BrPM");  // 14.25 in single precision lies below
  EXPECT_EQ(text(*record, "averageRespRateWidgetLabel"), "14.2 ");
  EXPECT_EQ(text(*record, "averageRespRateRangeLabel7"), "\u2466 11.5 - 18.5");
  EXPECT_EQ(text(*record, "todaysRespRateInfo"),
            "Today's average respiration rate is 14.2 BrPM. Today's respiration range is 12.1 to 17.8.");
  EXPECT_EQ(text(*record, "pasteItem"), R"({"RespRate":"14.2", "MinRespRate":"12", "MaxRespRate": "18", )"
                                        R"("RespRate-7":"15.0", "MinRespRate-7":"12" , "MaxRespRate-7":"18"})");
}

// The difference is taken in single precision and judged in double.
TEST_F(VitalSignRecordsTest, ChangeAgainstTheSevenNightAverage) {
  const struct {
    bool spO2;
    double avg, avg7;
    const char* difLabel;
    std::int64_t difColour;
    const char* average7Label;
  } cases[] = {
      {true, 95.6, 95.5, "", 0, "\u2466 95.5%"},  // 0.0999985: no arrow
      {true, 94.0, 95.2, "1.2%\u2198", 2, "\u2466 95.2%"},
      {true, 97.0, 95.2, "1.8%\u2197", 1, "\u2466 95.2%"},
      {true, 96.0, 0.0, "", 0, "\u2466 0.0%"},  // no seven-night average: zeros, no arrow
      {true, 96.0, -3.0, "", 0, "\u2466 -3.0%"},
      {false, 15.1, 15.0, "0.1\u2197", 1, "\u2466 15.0"},  // 0.1000004 in single precision, below 0.1 in double
      {false, 15.0, 15.1, "0.1\u2198", 2, "\u2466 15.1"},
      {false, 15.05, 15.0, "", 0, "\u2466 15.0"},
  };
  for (const auto& c : cases) {
    if (c.spO2)
      putSpO2(c.avg, 90, 99, c.avg7, 90, 99);
    else
      putRespRate(c.avg, 12, 18, c.avg7, 12, 18);
    GroupMetrics metrics(env);
    const auto record = c.spO2 ? metrics.requestSpO2() : metrics.requestRespRate();
    ASSERT_TRUE(record) << c.avg << " against " << c.avg7;
    EXPECT_EQ(text(*record, "difLabel"), c.difLabel) << c.avg << " against " << c.avg7;
    EXPECT_EQ(record->integerForKey("difColour"), c.difColour) << c.avg << " against " << c.avg7;
    EXPECT_EQ(text(*record, c.spO2 ? "averageSpO2Label7" : "averageRespRateLabel7"), c.average7Label);
  }
}

// No positive average: the record stays, of "--" labels, without a range, and with the values as read.
TEST_F(VitalSignRecordsTest, NoPositiveAverageGivesTheDashRecord) {
  const std::array<Value, 6> noAverages[] = {
      {Value::real(0), Value::real(91), Value::real(99), Value::real(95), Value::real(90), Value::real(98)},
      {Value::real(-2), Value::real(91), Value::real(99), Value::real(95), Value::real(90), Value::real(98)},
      {Value::real(kNaN), Value::real(91), Value::real(99), Value::real(95), Value::real(90), Value::real(98)},
      {Value("none"), Value::real(91), Value::real(99), Value::real(95), Value::real(90), Value::real(98)},
  };
  for (const auto& values : noAverages) {
    putSummary("respRateDict", "RespRate", values);
    const auto record = GroupMetrics(env).requestRespRate();
    ASSERT_TRUE(record);
    for (const char* key : {"averageRespRateLabel", "averageRespRateWidgetLabel", "minRespRateLabel",
                            "maxRespRateLabel", "averageRespRateLabel7", "averageRespRateRangeLabel7"})
      EXPECT_EQ(text(*record, key), "--") << key;
    EXPECT_FALSE(record->contains("averageRespRateRangeLabel"));
    EXPECT_EQ(text(*record, "difLabel"), "");
    EXPECT_EQ(record->integerForKey("difColour"), 0);
    EXPECT_EQ(record->floatForKey("maxRespRate"), 99.0f) << "the values as read";
    EXPECT_EQ(text(*record, "todaysRespRateInfo"),
              "Today's average respiration rate is --. Today's respiration range is -- to --.");
  }
  putBank({{"spO2Dict", Value(MetricDictionary{{"key", Value(kTonight)}})}});
  const auto empty = GroupMetrics(env).requestSpO2();
  ASSERT_TRUE(empty);
  EXPECT_EQ(text(*empty, "averageSpO2Label"), "--");
  EXPECT_EQ(text(*empty, "pasteItem"),
            R"({"SpO2":"0.0", "MinSpO2":"0", "MaxSpO2": "0", "SpO2-7":"0.0", "MinSpO2-7":"0" , "MaxSpO2-7":"0"})");
}

// The summary must belong to the current night, by the bank's own night hour (21 when it has none).
TEST_F(VitalSignRecordsTest, OnlyTheCurrentNightsSummaryCounts) {
  const struct {
    const char* name;
    const char* now;
    std::optional<Value> nightHour;
    Value key;
    bool present;
  } cases[] = {
      {"tonight", kAfternoon, std::nullopt, Value(kTonight), true},
      {"the night before", kAfternoon, std::nullopt, Value("20250107"), false},
      {"a key that is a number", kAfternoon, std::nullopt, Value::integer(20250108), false},
      {"new night at the default hour", "2025-01-08T22:00:00+01:00", std::nullopt, Value("20250109"), true},
      {"the bank's own later hour", "2025-01-08T22:00:00+01:00", Value::integer(23), Value(kTonight), true},
      {"a midnight night hour", "2025-01-08T00:30:00+01:00", Value::integer(0), Value(kTonight), true},
      {"a negative night hour", kAfternoon, Value::integer(-1), Value(kTonight), false},
      {"a night hour that is no number reads as midnight", kAfternoon, Value::real(kNaN), Value(kTonight), true},
      {"a night hour in text", "2025-01-08T22:00:00+01:00", Value("23"), Value(kTonight), true},
  };
  for (const auto& c : cases) {
    env.setNow(c.now);
    MetricDictionary summary{{"key", c.key}, {"averageSpO2", Value::real(96)}, {"averageRespRate", Value::real(14)}};
    MetricDictionary bank{{"spO2Dict", Value(summary)},
                          {"respRateDict", Value(summary)},
                          {"wristTempKey", c.key},
                          {"wristTempTodayValue", Value::real(36.5)},
                          {"wristTempAverage28", Value::real(36.4)}};
    bank.setValue("nightHour", c.nightHour);
    putBank(bank);
    GroupMetrics metrics(env);
    EXPECT_EQ(metrics.requestSpO2().has_value(), c.present) << c.name;
    EXPECT_EQ(metrics.requestRespRate().has_value(), c.present) << c.name;
    EXPECT_EQ(metrics.requestWristTemp().has_value(), c.present) << c.name;
  }
}

TEST_F(VitalSignRecordsTest, NoRecordWithoutTheBankOrTheSummary) {
  EXPECT_FALSE(GroupMetrics(env).requestSpO2());
  EXPECT_FALSE(GroupMetrics(env).requestWristTemp());
  putBank({{"respRateDict", Value("not a dictionary")}});
  EXPECT_FALSE(GroupMetrics(env).requestSpO2());
  EXPECT_FALSE(GroupMetrics(env).requestRespRate());
}

// Numbers and separators follow the locale, names the language; the spoken sentence keeps the plain format.
TEST_F(VitalSignRecordsTest, TextsInGerman) {
  env.locale = "de_DE";
  env.languages = {"de"};
  putSpO2(95.6, 91, 99, 95.5, 90, 98);
  const auto spO2 = GroupMetrics(env).requestSpO2();
  ASSERT_TRUE(spO2);
  EXPECT_EQ(
      text(*spO2, "pasteItem"),
      R"({"SpO2":"95,6", "MinSpO2":"91", "MaxSpO2": "99", "SpO2-7":"95,5", "MinSpO2-7":"90" , "MaxSpO2-7":"98"})");
  EXPECT_EQ(text(*spO2, "todaysSpO2Info"),
            "Der durchschnittliche SpO2-Wert heute ist 95,6%. Der SpO2-Bereich heute ist 91% bis 99%.");

  putRespRate(14.2, 12.1, 17.8, 15, 11.5, 18.5);
  const auto resp = GroupMetrics(env).requestRespRate();
  ASSERT_TRUE(resp);
  EXPECT_EQ(text(*resp, "title"), "Atemfrequenz");
  EXPECT_EQ(text(*resp, "averageRespRateLabel"), "14,2 AZ/min");
  EXPECT_EQ(text(*resp, "averageRespRateWidgetLabel"), "14,2 ");
  EXPECT_EQ(text(*resp, "averageRespRateRangeLabel"), "12,1 - 17,8");
  EXPECT_EQ(text(*resp, "difLabel"), "0,8\u2198");
  EXPECT_EQ(text(*resp, "pasteItem"),
            R"({"Atemfrequenz":"14,2", "MinAtemfrequenz":"12", "MaxAtemfrequenz": "18", )"
            R"("Atemfrequenz-7":"15,0", "MinAtemfrequenz-7":"12" , "MaxAtemfrequenz-7":"18"})");
}

// --- Wrist temperature -----------------------------------------------------------------

TEST_F(VitalSignRecordsTest, WristTemperatureAgainstItsBaseline) {
  const struct {
    double today;
    const char *todayLabel, *difLabel, *info, *variance;
  } cases[] = {
      {36.50, "36.50\u00B0", "0.25\u00B0\u2197", "Today's temperature is 36.50\u00B0. +0.25\u00B0 above baseline.",
       "0.25"},
      // A fall is spoken with its sign.
      {36.00, "36.00\u00B0", "0.25\u00B0\u2198", "Today's temperature is 36.00\u00B0. -0.25\u00B0 below baseline.",
       "-0.25"},
      {36.27, "36.27\u00B0", "0.02\u00B0\u2197", "Today's temperature is 36.27\u00B0. +0.02\u00B0 above baseline.",
       "0.02"},
      // 36.24 is a little above itself in single precision: 0.0099983 below the baseline is no change.
      {36.24, "36.24\u00B0", "0.00\u00B0=", "Today's temperature is 36.24\u00B0. No change from baseline.", "-0.01"},
  };
  for (const auto& c : cases) {
    putWristTemp(Value::real(c.today), Value::real(36.25));
    const auto record = GroupMetrics(env).requestWristTemp();
    ASSERT_TRUE(record) << c.today;
    EXPECT_EQ(keysOf(*record),
              (std::vector<std::string>{"wristTempTodayLabel", "wristTempAverage28Label", "wristTempDifLabel",
                                        "wristTempTodayInfo", "wristTempScore", "pasteItem"}));
    EXPECT_EQ(text(*record, "wristTempTodayLabel"), c.todayLabel);
    EXPECT_EQ(text(*record, "wristTempAverage28Label"), "36.25\u00B0");
    EXPECT_EQ(text(*record, "wristTempDifLabel"), c.difLabel) << c.today;
    EXPECT_EQ(text(*record, "wristTempTodayInfo"), c.info) << c.today;
    EXPECT_EQ(record->floatForKey("wristTempScore"), 4.2f);
    EXPECT_EQ(text(*record, "pasteItem"), R"({"Temperature":")" + std::string(c.todayLabel, 5) +
                                              R"(", "Baseline":"36.25", "Variance": ")" + c.variance + R"("})");
  }
}

TEST_F(VitalSignRecordsTest, WristTemperatureNeedsBothTemperatures) {
  const std::pair<std::optional<Value>, std::optional<Value>> cases[] = {
      {Value::real(0), Value::real(36.25)}, {Value::real(36.5), Value::real(0)}, {Value::real(-1), Value::real(36)},
      {Value::real(kNaN), Value::real(36)}, {Value("warm"), Value::real(36.25)}, {Value::real(36.5), std::nullopt},
  };
  for (const auto& [today, baseline] : cases) {
    putWristTemp(today, baseline);
    EXPECT_FALSE(GroupMetrics(env).requestWristTemp());
  }
  putWristTemp(Value::real(36.5), Value::real(36.25), "20250107");
  EXPECT_FALSE(GroupMetrics(env).requestWristTemp()) << "stale";
}

TEST_F(VitalSignRecordsTest, WristTemperatureInGermanAndKorean) {
  const struct {
    const char *locale, *language, *info, *pasteItem;
  } cases[] = {
      {"de_DE", "de", "Die Temperatur heute ist 36,00\u00B0. -0,25\u00B0 unter dem Basiswert.",
       R"({"Temperatur":"36,00", "Basiswert":"36,25", "Abweichung": "-0,25"})"},
      {"ko_KR", "ko", "오늘의 체온은 36.00\u00B0입니다. 기준치 대비 -0.25\u00B0 낮음.",
       R"({"체온":"36.00", "기준치":"36.25", "변화": "-0.25"})"},
  };
  for (const auto& c : cases) {
    TestEnvironment local(kAfternoon, "Europe/Berlin", c.locale);  // a run's bundle is chosen once
    local.languages = {c.language};
    ASSERT_TRUE(UserDefaults::suite(local, Environment::kSharedSuite)
                    ->setObject(Value(MetricDictionary{{"wristTempKey", Value(kTonight)},
                                                       {"wristTempTodayValue", Value::real(36.0)},
                                                       {"wristTempAverage28", Value::real(36.25)}}),
                                "bankDict"));
    const auto record = GroupMetrics(local).requestWristTemp();
    ASSERT_TRUE(record) << c.locale;
    EXPECT_EQ(text(*record, "wristTempTodayInfo"), c.info);
    EXPECT_EQ(text(*record, "pasteItem"), c.pasteItem);
  }
}

// Whatever the main app leaves, a record follows the rules or there is none.
TEST_F(VitalSignRecordsTest, AbsurdNumbersFollowTheRules) {
  putSpO2(kInf, -kInf, 1e308, kNaN, 1e308, -1e308);
  const auto spO2 = GroupMetrics(env).requestSpO2();
  ASSERT_TRUE(spO2);
  EXPECT_EQ(text(*spO2, "averageSpO2Label"), "inf%");
  EXPECT_EQ(text(*spO2, "averageSpO2RangeLabel"), "-inf% - inf%");
  EXPECT_EQ(text(*spO2, "difLabel"), "") << "no seven-night average";

  putRespRate(15, 12, 18, kInf, 12, 18);
  const auto resp = GroupMetrics(env).requestRespRate();
  ASSERT_TRUE(resp);
  EXPECT_EQ(text(*resp, "difLabel"), "inf\u2198");
  EXPECT_EQ(resp->integerForKey("difColour"), 2);

  putWristTemp(Value::real(kInf), Value::real(kInf));
  const auto wrist = GroupMetrics(env).requestWristTemp();
  ASSERT_TRUE(wrist);
  EXPECT_EQ(text(*wrist, "wristTempDifLabel"), "0.00\u00B0=") << "no number is no change";
}

}  // namespace
}  // namespace velmora
