#include <gtest/gtest.h>

#include "palette/Pallet.h"
#include "platform/Image.h"
#include "platform/StringFormat.h"
#include "platform/UserDefaults.h"
#include "presentation/SleepMetricsUI.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::keysOf;
using testing::TestEnvironment;

class VitalSignsPresentationTest : public ::testing::Test {
 protected:
  VitalSignsPresentationTest() : env("2025-01-08T15:00:00+01:00") { env.scale = 1; }

  std::shared_ptr<UserDefaults> store() { return testing::sharedStore(env); }
  // Last night's three vital signs under `key`; a blood-oxygen average of 0 is no data.
  void putBank(double spO2, const char* key = "20250108") {
    const auto summary = [&](const char* name, double avg, double min, double max, double avg7) {
      return Value(MetricDictionary{{"key", Value(key)},
                                    {stringWithFormat("average%@", {name}), Value::real(avg)},
                                    {stringWithFormat("min%@", {name}), Value::real(min)},
                                    {stringWithFormat("max%@", {name}), Value::real(max)},
                                    {stringWithFormat("average%@7", {name}), Value::real(avg7)}});
    };
    testing::putShared(env, "bankDict",
                       Value(MetricDictionary{{"spO2Dict", summary("SpO2", spO2, 91, 99, 96.2)},
                                              {"respRateDict", summary("RespRate", 14.2, 12.1, 17.8, 0)},
                                              {"wristTempKey", Value(key)},
                                              {"wristTempScore", Value::real(4.5)},
                                              {"wristTempTodayValue", Value::real(36.5)},
                                              {"wristTempAverage28", Value::real(36.25)}}));
  }

  TestEnvironment env;
};

TEST_F(VitalSignsPresentationTest, DisplayDictionariesAndTheirImages) {
  putBank(95.0);
  SleepMetricsUI ui(env);
  const auto spO2 = ui.requestSpO2();
  const auto resp = ui.requestRespRate();
  const auto wrist = ui.requestWristTemp();
  ASSERT_TRUE(spO2 && resp && wrist);
  EXPECT_EQ(keysOf(*spO2), (std::vector<std::string>{"averageSpO2Label", "averageSpO2Label7", "minSpO2Label",
                                                     "maxSpO2Label", "averageSpO2RangeLabel", "averageSpO2RangeLabel7",
                                                     "difLabel", "difColour", "pasteItem", "ringsImage"}));
  EXPECT_EQ(keysOf(*resp),
            (std::vector<std::string>{"averageRespRate", "averageRespRateLabel", "averageRespRateWidgetLabel",
                                      "averageRespRateLabel7", "minRespRateLabel", "maxRespRateLabel",
                                      "averageRespRateRangeLabel", "averageRespRateRangeLabel7", "difLabel",
                                      "difColour", "pasteItem", "ringsImage"}));
  EXPECT_EQ(keysOf(*wrist),
            (std::vector<std::string>{"wristTempTodayLabel", "wristTempAverage28Label", "wristTempDifLabel",
                                      "wristTempScore", "pasteItem", "ratingColour", "ringsImage"}));
  EXPECT_EQ(*wrist->objectForKey("ratingColour")->colour(), Pallet(env).colourForWristTempScore(4.5f));
  EXPECT_EQ(testing::imageWidth(spO2), 280.0);

  // Widget images are smaller, and so is everything drawn afterwards; stale data gives the waiting picture.
  EXPECT_EQ(ui.swiftWristTempImage()->width(), 220.0);
  EXPECT_EQ(testing::imageWidth(ui.requestSpO2()), 220.0);
  putBank(95.0, "20250107");
  EXPECT_FALSE(ui.requestRespRate());
  for (const ImageRef& image : {ui.swiftSpO2Image(), ui.swiftRespRateImage(), ui.swiftWristTempImage()})
    EXPECT_EQ(image->name(), "WidgetWait");
}

// With a record, without a positive average, and without a record: what each method publishes over what an
// earlier run left. The compact forms lose their blanks (and the blood oxygen's percent signs); nothing clears
// them without a record, nor the colour, nor the breathing widget label that only the data case writes.
TEST_F(VitalSignsPresentationTest, WidgetTexts) {
  const Value earlier("earlier"), none("<none>");
  const struct {
    std::optional<double> spO2;  // no bank at all when absent
    bool breathing;              // breathing published after the blood oxygen
    MetricDictionary expected;
  } cases[] = {
      {95.0,
       true,
       {{"HasData", Value("1")},
        {"averageSpO2Label", Value("95.0%")},
        {"averageSpO2RangeLabel", Value("91% - 99%")},
        {"averageSpO2RangeLabelCompact", Value("91-99")},
        {"difColour", Value::integer(2)},
        {"averageRespRateWidgetLabel", Value("14.2 ")},
        {"averageRespRateLabel", earlier},
        {"averageRespRateRangeLabelCompact", Value("12.1-17.8")},
        {"difLabel", Value("")}}},
      {0.0,
       false,
       {{"HasData", Value("1")},
        {"averageSpO2Label", Value("--")},
        {"averageSpO2RangeLabel", none},
        {"averageSpO2RangeLabelCompact", none},
        {"difColour", Value::integer(0)},
        {"difLabel", Value("")}}},
      {std::nullopt,
       true,
       {{"HasData", none},
        {"averageSpO2Label", Value("--")},
        {"averageSpO2RangeLabel", Value("--")},
        {"averageSpO2RangeLabelCompact", earlier},
        {"difColour", earlier},
        {"averageRespRateWidgetLabel", earlier},
        {"averageRespRateLabel", Value("--")},
        {"averageRespRateRangeLabel", Value("--")},
        {"averageRespRateRangeLabelCompact", earlier},
        {"difLabel", Value("")}}},
  };
  for (const auto& c : cases) {
    MetricDictionary before;
    for (const auto& [key, value] : c.expected) before.setValue("Swift-" + key, earlier);
    ASSERT_TRUE(store()->replaceAll(before));
    if (c.spO2) putBank(*c.spO2);
    SleepMetricsUI ui(env);
    ui.requestSpO2ForSwift();
    if (c.breathing) ui.requestRespRateForSwift();
    for (const auto& [key, value] : c.expected)
      EXPECT_EQ(store()->objectForKey("Swift-" + key).value_or(none), value)
          << key << (c.spO2 ? " with a record" : " without");
    EXPECT_TRUE(ui.widgetMode());
  }
}

}  // namespace
}  // namespace velmora
