#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "palette/Pallet.h"
#include "platform/Image.h"
#include "platform/UserDefaults.h"
#include "presentation/SleepMetricsUI.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::keysOf;
using testing::TestEnvironment;

// The current night's summaries carry the key of the 8th.
constexpr const char* kTonight = "20250108";

class VitalSignsPresentationTest : public ::testing::Test {
 protected:
  VitalSignsPresentationTest() : env("2025-01-08T15:00:00+01:00") { env.scale = 1; }

  std::shared_ptr<UserDefaults> store() { return UserDefaults::suite(env, Environment::kSharedSuite); }
  void put(std::string_view key, Value value) { ASSERT_TRUE(store()->setObject(std::move(value), key)); }
  std::optional<Value> stored(std::string_view key) { return store()->objectForKey(key); }
  // Last night's three vital signs, the averages given (0: no data).
  void putBank(double spO2, double respRate, const char* key = kTonight) {
    put("bankDict",
        Value(MetricDictionary{{"spO2Dict", Value(MetricDictionary{{"key", Value(key)},
                                                                   {"averageSpO2", Value::real(spO2)},
                                                                   {"minSpO2", Value::real(91)},
                                                                   {"maxSpO2", Value::real(99)},
                                                                   {"averageSpO27", Value::real(96.2)}})},
                               {"respRateDict", Value(MetricDictionary{{"key", Value(key)},
                                                                       {"averageRespRate", Value::real(respRate)},
                                                                       {"minRespRate", Value::real(12.1)},
                                                                       {"maxRespRate", Value::real(17.8)}})},
                               {"wristTempKey", Value(key)},
                               {"wristTempScore", Value::real(4.5)},
                               {"wristTempTodayValue", Value::real(36.5)},
                               {"wristTempAverage28", Value::real(36.25)}}));
  }

  TestEnvironment env;
};

TEST_F(VitalSignsPresentationTest, DisplayDictionariesCopyTheRecordsInOrder) {
  putBank(95.0, 14.2);
  SleepMetricsUI ui(env);
  const auto spO2 = ui.requestSpO2();
  ASSERT_TRUE(spO2);
  EXPECT_EQ(keysOf(*spO2), (std::vector<std::string>{"averageSpO2Label", "averageSpO2Label7", "minSpO2Label",
                                                     "maxSpO2Label", "averageSpO2RangeLabel", "averageSpO2RangeLabel7",
                                                     "difLabel", "difColour", "pasteItem", "ringsImage"}));
  EXPECT_EQ(*spO2->textForKey("difLabel"), "1.2%\u2198");
  EXPECT_EQ(spO2->integerForKey("difColour"), 2);

  const auto resp = ui.requestRespRate();
  ASSERT_TRUE(resp);
  EXPECT_EQ(keysOf(*resp),
            (std::vector<std::string>{"averageRespRate", "averageRespRateLabel", "averageRespRateWidgetLabel",
                                      "averageRespRateLabel7", "minRespRateLabel", "maxRespRateLabel",
                                      "averageRespRateRangeLabel", "averageRespRateRangeLabel7", "difLabel",
                                      "difColour", "pasteItem", "ringsImage"}));
  EXPECT_EQ(resp->floatForKey("averageRespRate"), 14.2f);

  const auto wrist = ui.requestWristTemp();
  ASSERT_TRUE(wrist);
  EXPECT_EQ(keysOf(*wrist),
            (std::vector<std::string>{"wristTempTodayLabel", "wristTempAverage28Label", "wristTempDifLabel",
                                      "wristTempScore", "pasteItem", "ratingColour", "ringsImage"}));
  EXPECT_EQ(*wrist->objectForKey("ratingColour")->colour(), Pallet(env).colourForWristTempScore(4.5f));

  for (const auto* d : {&*spO2, &*resp, &*wrist}) EXPECT_EQ(d->objectForKey("ringsImage")->image()->width(), 280.0);
}

TEST_F(VitalSignsPresentationTest, WidgetImagesAreSmallerAndStaySo) {
  putBank(95.0, 14.2);
  SleepMetricsUI ui(env);
  EXPECT_EQ(ui.swiftSpO2Image()->width(), 220.0);
  EXPECT_EQ(ui.swiftRespRateImage()->width(), 220.0);
  EXPECT_EQ(ui.swiftWristTempImage()->width(), 220.0);
  EXPECT_TRUE(ui.widgetMode());
  EXPECT_FALSE(ui.widgetAccessoryMode());
  EXPECT_EQ(ui.requestSpO2()->objectForKey("ringsImage")->image()->width(), 220.0);

  putBank(95.0, 14.2, "20250107");  // last night's summaries are stale now
  EXPECT_FALSE(ui.requestSpO2());
  EXPECT_FALSE(ui.requestWristTemp());
  for (const ImageRef& image : {ui.swiftSpO2Image(), ui.swiftRespRateImage(), ui.swiftWristTempImage()}) {
    ASSERT_TRUE(image);
    EXPECT_EQ(image->name(), "WidgetWait");
  }
}

TEST_F(VitalSignsPresentationTest, PublishedWidgetTextsWithData) {
  putBank(95.0, 14.2);
  SleepMetricsUI ui(env);
  ui.requestSpO2ForSwift();
  EXPECT_EQ(stored("Swift-HasData"), Value("1"));
  EXPECT_EQ(stored("Swift-averageSpO2Label"), Value("95.0%"));
  EXPECT_EQ(stored("Swift-averageSpO2RangeLabel"), Value("91% - 99%"));
  EXPECT_EQ(stored("Swift-averageSpO2RangeLabelCompact"), Value("91-99"));
  EXPECT_EQ(stored("Swift-difLabel"), Value("1.2%\u2198"));
  EXPECT_EQ(stored("Swift-difColour"), Value::integer(2));

  ui.requestRespRateForSwift();  // the shared keys are the last publisher's
  EXPECT_EQ(stored("Swift-averageRespRateWidgetLabel"), Value("14.2 "));
  EXPECT_FALSE(stored("Swift-averageRespRateLabel"));
  EXPECT_EQ(stored("Swift-averageRespRateRangeLabel"), Value("12.1 - 17.8"));
  EXPECT_EQ(stored("Swift-averageRespRateRangeLabelCompact"), Value("12.1-17.8"));
  EXPECT_EQ(stored("Swift-difLabel"), Value(""));
  EXPECT_EQ(stored("Swift-difColour"), Value::integer(2)) << "breathing publishes no colour";
  EXPECT_TRUE(ui.widgetMode());
}

// A record without a positive average still has data: its "--" labels are published and its range is withdrawn.
TEST_F(VitalSignsPresentationTest, ARecordWithoutAnAverageWithdrawsTheRange) {
  put("Swift-averageSpO2RangeLabel", Value("90% - 98%"));
  put("Swift-averageSpO2RangeLabelCompact", Value("90-98"));
  putBank(0.0, 14.2);
  SleepMetricsUI ui(env);
  const auto d = ui.requestSpO2();
  ASSERT_TRUE(d);
  EXPECT_FALSE(d->contains("averageSpO2RangeLabel"));
  ui.requestSpO2ForSwift();
  EXPECT_EQ(stored("Swift-HasData"), Value("1"));
  EXPECT_EQ(stored("Swift-averageSpO2Label"), Value("--"));
  EXPECT_FALSE(stored("Swift-averageSpO2RangeLabel"));
  EXPECT_FALSE(stored("Swift-averageSpO2RangeLabelCompact"));
  EXPECT_EQ(stored("Swift-difColour"), Value::integer(0));
}

// Without a record: "--" texts and no HasData; the compact ranges, the colour and breathing's widget label
// keep what an earlier run left.
TEST_F(VitalSignsPresentationTest, PublishedWidgetTextsWithoutData) {
  const MetricDictionary earlier{{"Swift-HasData", Value("1")},
                                 {"Swift-averageSpO2RangeLabelCompact", Value("91-99")},
                                 {"Swift-difColour", Value::integer(1)},
                                 {"Swift-difLabel", Value("0.4%\u2197")},
                                 {"Swift-averageRespRateWidgetLabel", Value("14.2 ")},
                                 {"Swift-averageRespRateRangeLabelCompact", Value("12.1-17.8")}};
  ASSERT_TRUE(store()->setObjects(earlier));
  SleepMetricsUI ui(env);
  ui.requestSpO2ForSwift();
  EXPECT_FALSE(stored("Swift-HasData"));
  EXPECT_EQ(stored("Swift-averageSpO2Label"), Value("--"));
  EXPECT_EQ(stored("Swift-averageSpO2RangeLabel"), Value("--"));
  EXPECT_EQ(stored("Swift-difLabel"), Value(""));
  EXPECT_EQ(stored("Swift-averageSpO2RangeLabelCompact"), Value("91-99"));
  EXPECT_EQ(stored("Swift-difColour"), Value::integer(1));

  put("Swift-HasData", Value("1"));
  ui.requestRespRateForSwift();
  EXPECT_FALSE(stored("Swift-HasData"));
  EXPECT_EQ(stored("Swift-averageRespRateLabel"), Value("--"));
  EXPECT_EQ(stored("Swift-averageRespRateRangeLabel"), Value("--"));
  EXPECT_EQ(stored("Swift-averageRespRateWidgetLabel"), Value("14.2 ")) << "the stale widget label remains";
  EXPECT_EQ(stored("Swift-averageRespRateRangeLabelCompact"), Value("12.1-17.8"));
}

}  // namespace
}  // namespace velmora
