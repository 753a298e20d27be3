#include <gtest/gtest.h>

#include <limits>

#include "metrics/GroupMetrics.h"
#include "platform/UserDefaults.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::keysOf;
using testing::TestEnvironment;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// Wednesday 8 January 2025, 15:00 in Berlin: the current night began on the 7th at 21:00, so its summaries
// carry the key of the 8th.
constexpr const char* kAfternoon = "2025-01-08T15:00:00+01:00";
constexpr const char* kTonight = "20250108";

std::string text(const MetricDictionary& d, std::string_view key) {
  const std::string* t = d.textForKey(key);
  return t ? *t : "<absent>";
}

// "bankDict" with a blood-oxygen and a breathing summary of the same six values (average, minimum, maximum,
// and the same over seven nights) and a wrist temperature, all under one key.
void putBank(const Environment& env, std::array<Value, 6> values, Value today = Value::real(36.5),
             Value key = Value(kTonight), std::optional<Value> nightHour = std::nullopt) {
  MetricDictionary spO2{{"key", key}}, resp{{"key", key}};
  const char* const names[6] = {"average%@", "min%@", "max%@", "average%@7", "min%@7", "max%@7"};
  for (std::size_t i = 0; i < 6; ++i) {
    spO2.setValue(stringWithFormat(names[i], {"SpO2"}), values[i]);
    resp.setValue(stringWithFormat(names[i], {"RespRate"}), values[i]);
  }
  MetricDictionary bank{{"spO2Dict", Value(spO2)},      {"respRateDict", Value(resp)},
                        {"wristTempKey", key},          {"wristTempScore", Value::real(4.2)},
                        {"wristTempTodayValue", today}, {"wristTempAverage28", Value::real(36.25)}};
  bank.setValue("nightHour", std::move(nightHour));
  ASSERT_TRUE(UserDefaults::suite(env, Environment::kSharedSuite)->setObject(Value(bank), "bankDict"));
}

std::array<Value, 6> reals(double avg, double min, double max, double avg7, double min7, double max7) {
  return {Value::real(avg),  Value::real(min),  Value::real(max),
          Value::real(avg7), Value::real(min7), Value::real(max7)};
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
    putBank(env, reals(95.6, 91, 99, 95.5, 90, 98));
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
    EXPECT_EQ(text(*spO2, "todaysSpO2Info"), c.spO2Info);
    EXPECT_EQ(text(*spO2, "pasteItem"), c.spO2Paste);
    EXPECT_EQ(text(*spO2, "averageSpO2RangeLabel7"), "\u2466 90% - 98%");
    EXPECT_EQ(text(*resp, "averageRespRateLabel"), c.respLabel);
    EXPECT_EQ(text(*resp, "averageRespRateWidgetLabel"), std::string(c.respLabel, 5));  // with its trailing space
    EXPECT_EQ(text(*resp, "pasteItem"), c.respPaste);
  }
}

// The change against seven nights is taken in single precision and judged in double; no positive average makes
// the "--" record, without a range and with the values as read.
TEST(VitalSignRecordsTest, ChangeAndTheRecordWithoutData) {
  const struct {
    bool spO2;
    std::array<Value, 6> values;
    const char *average, *average7, *difLabel;
    std::int64_t difColour;
  } cases[] = {
      {true, reals(95.6, 91, 99, 95.5, 90, 98), "95.6%", "\u2466 95.5%", "", 0},  // 0.0999985: no arrow
      {true, reals(94.0, 91, 99, 95.2, 90, 98), "94.0%", "\u2466 95.2%", "1.2%\u2198", 2},
      {true, reals(96.0, 91, 99, 0, 0, 0), "96.0%", "\u2466 0.0%", "", 0},
      {false, reals(15.1, 12, 18, 15.0, 12, 18), "15.1 BrPM", "\u2466 15.0", "0.1\u2197", 1},  // 0.1000004
      {true, reals(kInf, 91, 99, kNaN, 90, 98), "inf%", "\u2466 nan%", "", 0},
      {false, reals(15.0, 12, 18, kInf, 12, 18), "15.0 BrPM", "\u2466 inf", "inf\u2198", 2},
      {true, reals(0, 91, 99, 95.5, 90, 98), "--", "--", "", 0},
      {false, reals(-2, 12, 18, 15, 12, 18), "--", "--", "", 0},
      {true, reals(kNaN, 91, 99, 95.5, 90, 98), "--", "--", "", 0},
      {false,
       {Value("none"), Value::real(12), Value::real(18), Value::real(15), Value::real(12), Value::real(18)},
       "--",
       "--",
       "",
       0},
  };
  TestEnvironment env(kAfternoon);
  for (const auto& c : cases) {
    putBank(env, c.values);
    GroupMetrics metrics(env);
    const auto record = c.spO2 ? metrics.requestSpO2() : metrics.requestRespRate();
    ASSERT_TRUE(record) << c.average;
    const std::string name = c.spO2 ? "SpO2" : "RespRate";
    EXPECT_EQ(text(*record, "average" + name + "Label"), c.average);
    EXPECT_EQ(text(*record, "average" + name + "Label7"), c.average7);
    EXPECT_EQ(text(*record, "difLabel"), c.difLabel) << c.average;
    EXPECT_EQ(record->integerForKey("difColour"), c.difColour) << c.average;
    const bool data = std::string(c.average) != "--";
    EXPECT_EQ(record->contains("average" + name + "RangeLabel"), data) << c.average;
    EXPECT_EQ(record->floatForKey("max" + name), c.spO2 ? 99.0f : 18.0f) << "the values as read";
  }
}

// Every record must be of the current night, by the bank's own night hour (21 when it has none).
TEST(VitalSignRecordsTest, OnlyTheCurrentNightCounts) {
  const struct {
    const char *name, *now;
    Value key;
    std::optional<Value> nightHour;
    bool present;
  } cases[] = {
      {"tonight", kAfternoon, Value(kTonight), std::nullopt, true},
      {"the night before", kAfternoon, Value("20250107"), std::nullopt, false},
      {"a key that is a number", kAfternoon, Value::integer(20250108), std::nullopt, false},
      {"after 21:00, no night hour", "2025-01-08T22:00:00+01:00", Value("20250109"), std::nullopt, true},
      {"after 21:00, the bank's 23", "2025-01-08T22:00:00+01:00", Value(kTonight), Value::integer(23), true},
      {"a negative night hour", kAfternoon, Value(kTonight), Value::integer(-1), false},
      {"no number reads as midnight", kAfternoon, Value(kTonight), Value::real(kNaN), true},
      {"beyond the day's hours", kAfternoon, Value(kTonight), Value::real(1e300), false},
  };
  TestEnvironment env;
  for (const auto& c : cases) {
    env.setNow(c.now);
    putBank(env, reals(96, 91, 99, 95, 90, 98), Value::real(36.5), c.key, c.nightHour);
    GroupMetrics metrics(env);
    EXPECT_EQ(metrics.requestSpO2().has_value(), c.present) << c.name;
    EXPECT_EQ(metrics.requestRespRate().has_value(), c.present) << c.name;
    EXPECT_EQ(metrics.requestWristTemp().has_value(), c.present) << c.name;
  }
  EXPECT_FALSE(GroupMetrics(TestEnvironment()).requestSpO2()) << "no bank";
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
    putBank(env, reals(96, 91, 99, 95, 90, 98), c.today);
    const auto record = GroupMetrics(env).requestWristTemp();
    ASSERT_EQ(record.has_value(), c.difLabel != nullptr) << (c.info ? c.info : "no record");
    if (!record) continue;
    EXPECT_EQ(keysOf(*record),
              (std::vector<std::string>{"wristTempTodayLabel", "wristTempAverage28Label", "wristTempDifLabel",
                                        "wristTempTodayInfo", "wristTempScore", "pasteItem"}));
    EXPECT_EQ(text(*record, "wristTempDifLabel"), c.difLabel);
    EXPECT_EQ(text(*record, "wristTempTodayInfo"), c.info);
    EXPECT_EQ(text(*record, "pasteItem"), c.pasteItem);
    EXPECT_EQ(record->floatForKey("wristTempScore"), 4.2f);
  }
}

}  // namespace
}  // namespace velmora
