#include <gtest/gtest.h>

#include "metrics/GroupMetrics.h"
#include "support/Numbers.h"
#include "support/StoreRecords.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::kAfternoon;
using testing::keysOf;
using testing::kInf;
using testing::kNaN;
using testing::kTonight;
using testing::TestEnvironment;
using testing::textOf;

// The same summary for blood oxygen and breathing.
void putBank(const Environment& env, const testing::VitalSummary& values, Value today = Value::real(36.5),
             Value key = Value(kTonight), std::optional<Value> nightHour = std::nullopt) {
  testing::putVitalSigns(env, values, values, std::move(today), std::move(key), std::move(nightHour));
}

// Keys in order, texts and copyable texts, in English and in German (numbers by the locale, names by the language).
TEST(VitalSignRecordsTest, RecordsAndTheirTextsInTwoLanguages) {
  const struct {
    const char *locale, *language, *spO2Info, *spO2Paste, *respLabel, *respPaste;
  } cases[] = {
      {"en_US", "en", "Today's average SpO2 is 95.6%. Today's SpO2 range is 91% to 99%.",
       R"({"SpO2":"95.6", "MinSpO2":"91", "MaxSpO2": "99", "SpO2-7":"95.5", "MinSpO2-7":"90" , "MaxSpO2-7":"98"})",
       "95.6 BrPM",
       R"({"RespRate":"95.6", "MinRespRate":"91", "MaxRespRate": "99", "RespRate-7":"95.5", "MinRespRate-7":"90" , )"
       R"("MaxRespRate-7":"98"})"},
      {"de_DE", "de", "Der durchschnittliche SpO2-Wert heute ist 95,6%. Der SpO2-Bereich heute ist 91% bis 99%.",
       R"({"SpO2":"95,6", "MinSpO2":"91", "MaxSpO2": "99", "SpO2-7":"95,5", "MinSpO2-7":"90" , "MaxSpO2-7":"98"})",
       "95,6 AZ/min",
       R"({"Atemfrequenz":"95,6", "MinAtemfrequenz":"91", "MaxAtemfrequenz": "99", "Atemfrequenz-7":"95,5", )"
       R"("MinAtemfrequenz-7":"90" , "MaxAtemfrequenz-7":"98"})"},
  };
  for (const auto& c : cases) {
    TestEnvironment env(kAfternoon, "Europe/Berlin", c.locale);
    env.languages = {c.language};
    putBank(env, {95.6, 91, 99, 95.5, 90, 98});
    GroupMetrics metrics(env);
    const auto spO2 = metrics.requestSpO2();
    const auto resp = metrics.requestRespRate();
    ASSERT_TRUE(spO2 && resp) << c.locale;
    EXPECT_EQ(keysOf(*spO2),
              (std::vector<std::string>{"title", "todaysSpO2Info", "averageSpO2Label", "averageSpO2RangeLabel",
                                        "minSpO2Label", "maxSpO2Label", "averageSpO2Label7", "averageSpO2RangeLabel7",
                                        "difLabel", "difColour", "averageSpO2", "minSpO2", "maxSpO2", "averageSpO27",
                                        "minSpO27", "maxSpO27", "pasteItem"}));
    EXPECT_EQ(keysOf(*resp)[3], "averageRespRateWidgetLabel");
    EXPECT_EQ(textOf(*spO2, "todaysSpO2Info"), c.spO2Info);
    EXPECT_EQ(textOf(*spO2, "pasteItem"), c.spO2Paste);
    EXPECT_EQ(textOf(*spO2, "averageSpO2RangeLabel7"), "\u2466 90% - 98%");
    EXPECT_EQ(textOf(*resp, "averageRespRateLabel"), c.respLabel);
    EXPECT_EQ(textOf(*resp, "averageRespRateWidgetLabel"), std::string(c.respLabel, 5));  // with its trailing space
    EXPECT_EQ(textOf(*resp, "pasteItem"), c.respPaste);
  }
}

// The change against seven nights is taken in single precision and judged in double, so 95.6 against 95.5
// (0.0999985) is no rise and 15.1 against 15.0 (0.1000004) is; no positive average makes the "--" record, without a
// range and with the values as read.
TEST(VitalSignRecordsTest, ChangeAndTheRecordWithoutData) {
  const struct {
    bool spO2;
    testing::VitalSummary values;
    const char *average, *average7, *difLabel;
    std::int64_t difColour;
  } cases[] = {
      {true, {95.6, 91, 99, 95.5, 90, 98}, "95.6%", "\u2466 95.5%", "", 0},
      {true, {94.0, 91, 99, 95.2, 90, 98}, "94.0%", "\u2466 95.2%", "1.2%\u2198", 2},
      {true, {96.0, 91, 99, 0, 0, 0}, "96.0%", "\u2466 0.0%", "", 0},
      {false, {15.1, 12, 18, 15.0, 12, 18}, "15.1 BrPM", "\u2466 15.0", "0.1\u2197", 1},
      {true, {kInf, 91, 99, kNaN, 90, 98}, "inf%", "\u2466 nan%", "", 0},
      {false, {15.0, 12, 18, kInf, 12, 18}, "15.0 BrPM", "\u2466 inf", "inf\u2198", 2},
      {true, {0, 91, 99, 95.5, 90, 98}, "--", "--", "", 0},
      {false, {kNaN, 12, 18, 15, 12, 18}, "--", "--", "", 0},
  };
  TestEnvironment env(kAfternoon);
  for (const auto& c : cases) {
    putBank(env, c.values);
    GroupMetrics metrics(env);
    const auto record = c.spO2 ? metrics.requestSpO2() : metrics.requestRespRate();
    ASSERT_TRUE(record) << c.average;
    const std::string name = c.spO2 ? "SpO2" : "RespRate";
    EXPECT_EQ(textOf(*record, "average" + name + "Label") + "|" + textOf(*record, "average" + name + "Label7") + "|" +
                  textOf(*record, "difLabel"),
              std::string(c.average) + "|" + c.average7 + "|" + c.difLabel);
    EXPECT_EQ(record->integerForKey("difColour"), c.difColour) << c.average;
    EXPECT_EQ(record->contains("average" + name + "RangeLabel"), std::string(c.average) != "--") << c.average;
    EXPECT_EQ(record->floatForKey("max" + name), c.values[2]) << "the values as read";
  }
}

// Every record must be of the current night, by the bank's own night hour (21 when it has none).
TEST(VitalSignRecordsTest, OnlyTheCurrentNightCounts) {
  const struct {
    const char* now;
    Value key;
    std::optional<Value> nightHour;
    bool present;
  } cases[] = {
      {kAfternoon, Value(kTonight), std::nullopt, true},
      {kAfternoon, Value("20250107"), std::nullopt, false},
      {kAfternoon, Value::integer(20250108), std::nullopt, false},  // a key that is a number
      {"2025-01-08T22:00:00+01:00", Value("20250109"), std::nullopt, true},
      {"2025-01-08T22:00:00+01:00", Value(kTonight), Value::integer(23), true},
      {kAfternoon, Value(kTonight), Value::integer(-1), false},
      {kAfternoon, Value(kTonight), Value::real(kNaN), true},    // no number reads as midnight
      {kAfternoon, Value(kTonight), Value::real(1e300), false},  // beyond the day's hours
  };
  TestEnvironment env;
  EXPECT_FALSE(GroupMetrics(env).requestSpO2()) << "no bank";
  for (const auto& c : cases) {
    env.setNow(c.now);
    putBank(env, {96, 91, 99, 95, 90, 98}, Value::real(36.5), c.key, c.nightHour);
    GroupMetrics metrics(env);
    EXPECT_EQ(metrics.requestSpO2().has_value(), c.present) << c.now;
    EXPECT_EQ(metrics.requestRespRate().has_value(), c.present) << c.now;
    EXPECT_EQ(metrics.requestWristTemp().has_value(), c.present) << c.now;
  }
}

// Against a baseline of 36.25: up, down (spoken with its sign), and no change (36.24 is 0.0099983 below in single
// precision); none without a positive temperature.
TEST(VitalSignRecordsTest, WristTemperatureAgainstItsBaseline) {
  const struct {
    Value today;
    const char *difLabel, *info, *pasteItem;
  } cases[] = {
      {Value::real(36.5), "0.25\u00B0\u2197", "Today's temperature is 36.50\u00B0. +0.25\u00B0 above baseline.",
       R"({"Temperature":"36.50", "Baseline":"36.25", "Variance": "0.25"})"},
      {Value::real(36.0), "0.25\u00B0\u2198", "Today's temperature is 36.00\u00B0. -0.25\u00B0 below baseline.",
       R"({"Temperature":"36.00", "Baseline":"36.25", "Variance": "-0.25"})"},
      {Value::real(36.24), "0.00\u00B0=", "Today's temperature is 36.24\u00B0. No change from baseline.",
       R"({"Temperature":"36.24", "Baseline":"36.25", "Variance": "-0.01"})"},
      {Value::real(kInf), "inf\u00B0\u2197", "Today's temperature is inf\u00B0. +inf\u00B0 above baseline.",
       R"({"Temperature":"inf", "Baseline":"36.25", "Variance": "inf"})"},
      {Value::real(0), nullptr, nullptr, nullptr},
      {Value::real(kNaN), nullptr, nullptr, nullptr},
      {Value("warm"), nullptr, nullptr, nullptr},
  };
  TestEnvironment env(kAfternoon);
  for (const auto& c : cases) {
    putBank(env, {96, 91, 99, 95, 90, 98}, c.today);
    const auto record = GroupMetrics(env).requestWristTemp();
    ASSERT_EQ(record.has_value(), c.difLabel != nullptr) << (c.info ? c.info : "no record");
    if (!record) continue;
    EXPECT_EQ(keysOf(*record),
              (std::vector<std::string>{"wristTempTodayLabel", "wristTempAverage28Label", "wristTempDifLabel",
                                        "wristTempTodayInfo", "wristTempScore", "pasteItem"}));
    EXPECT_EQ(textOf(*record, "wristTempDifLabel"), c.difLabel);
    EXPECT_EQ(textOf(*record, "wristTempTodayInfo"), c.info);
    EXPECT_EQ(textOf(*record, "pasteItem"), c.pasteItem);
    EXPECT_EQ(record->floatForKey("wristTempScore"), 4.2f);
  }
}

}  // namespace
}  // namespace velmora
