#include <gtest/gtest.h>

#include "drawing/Image.h"
#include "palette/Pallet.h"
#include "presentation/SleepMetricsUI.h"
#include "store/UserDefaults.h"
#include "support/StoreRecords.h"
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
    testing::putVitalSigns(env, {spO2, 91, 99, 96.2, 90, 98}, {14.2, 12.1, 17.8, 0, 0, 0}, Value::real(36.5),
                           Value(key));
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
  EXPECT_EQ(*wrist->objectForKey("ratingColour")->colour(), Pallet(env).colourForWristTempScore(4.2f));
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
  const std::vector<std::string> keys = testing::fields(
      "HasData|averageSpO2Label|averageSpO2RangeLabel|averageSpO2RangeLabelCompact|difColour|difLabel|"
      "averageRespRateWidgetLabel|averageRespRateLabel|averageRespRateRangeLabel|averageRespRateRangeLabelCompact");
  const struct {
    std::optional<double> spO2;  // no bank at all when absent
    bool breathing;              // breathing published after the blood oxygen
    const char* published;       // under the keys, "|"-joined; "*" where not looked at
  } cases[] = {
      {95.0, true, "1|95.0%|91% - 99%|91-99|2||14.2 |earlier|*|12.1-17.8"},
      {0.0, false, "1|--|<none>|<none>|0||earlier|earlier|earlier|earlier"},
      {std::nullopt, true, "<none>|--|--|earlier|earlier||earlier|--|--|earlier"},
  };
  for (const auto& c : cases) {
    MetricDictionary before;
    for (const std::string& key : keys) before.setValue("Swift-" + key, Value("earlier"));
    ASSERT_TRUE(store()->replaceAll(before));
    if (c.spO2) putBank(*c.spO2);
    SleepMetricsUI ui(env);
    ui.requestSpO2ForSwift();
    if (c.breathing) ui.requestRespRateForSwift();
    const std::vector<std::string> expected = testing::fields(c.published);
    ASSERT_EQ(expected.size(), keys.size());
    for (std::size_t i = 0; i < keys.size(); ++i) {
      if (expected[i] == "*") continue;
      const std::optional<Value> v = store()->objectForKey("Swift-" + keys[i]);
      EXPECT_EQ(!v ? "<none>" : v->text() ? *v->text() : std::to_string(v->integerValue()), expected[i]) << keys[i];
    }
    EXPECT_TRUE(ui.widgetMode());
  }
}

}  // namespace
}  // namespace velmora
