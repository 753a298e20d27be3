#include <gtest/gtest.h>

#include "drawing/Image.h"
#include "palette/Pallet.h"
#include "presentation/SleepMetricsUI.h"
#include "support/StoreRecords.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::imageWidth;
using testing::isoDate;
using testing::keysOf;
using testing::putShared;
using testing::readinessSummary;
using testing::TestEnvironment;

class ReadinessPresentationTest : public ::testing::Test {
 protected:
  ReadinessPresentationTest() : env("2025-01-08T15:00:00+01:00") { env.scale = 1; }

  std::optional<Value> stored(std::string_view key) { return testing::sharedStore(env)->objectForKey(key); }
  // Readiness with HRV and waking rate at their baselines (0.7 and 0.95 points, which average just under 0.825 in
  // single precision: "OK" with 3 stars); fuel of HRV alone.
  void putBank() {
    putShared(env, "bankDict",
              Value(MetricDictionary{{"readyDict", readinessSummary(50, 50, 60, 60)},
                                     {"octaneDict", readinessSummary(90, 50, 0, 0)},
                                     {"startDate", Value(isoDate("2025-01-01T00:00:00+01:00"))},
                                     {"averageBedtime", Value::real(81000)},
                                     {"prevAverageBedtime", Value::real(81300)}}));
  }

  TestEnvironment env;
};

// The display dictionaries in the controller's mode (no tints, 280 points) and a widget's (tints, 220 points); the
// indicator colours: HRV points 0.7 rated as 75 (its 0.05 offset), waking points 0.95 as 95, no points grey.
TEST_F(ReadinessPresentationTest, DisplayDictionaries) {
  putBank();
  SleepMetricsUI ui(env);
  const auto readiness = ui.requestReadiness();
  const auto fuel = ui.requestOctane();
  const auto consistency = ui.requestConsistency();
  ASSERT_TRUE(readiness && fuel && consistency);
  const std::vector<std::string> keys{"pasteItem",   "ringsImage", "hrvIndicatorColour", "wakingIndicatorColour",
                                      "hrvDifLabel", "hrvLabel",   "wakingDifLabel",     "wakingLabel",
                                      "starsLabel"};
  EXPECT_EQ(keysOf(*readiness), keys);
  EXPECT_EQ(imageWidth(readiness), 280.0);
  const Pallet pallet(env);
  EXPECT_EQ(*readiness->objectForKey("hrvIndicatorColour")->colour(), pallet.lightRatingColour(75));
  EXPECT_EQ(*readiness->objectForKey("wakingIndicatorColour")->colour(), pallet.lightRatingColour(95));
  EXPECT_EQ(*fuel->objectForKey("wakingIndicatorColour")->colour(), Colour::darkGrayColor());
  EXPECT_EQ(*fuel->textForKey("starsLabel"), "Jet fuel");
  EXPECT_EQ(
      *readiness->textForKey("pasteItem"),
      R"({"Stars":"3.00", "HRV":"50", "bpm": "60", "BaselineHRV":"50", "BaselineWakingBPM":"60", "Rating":"OK"})");
  EXPECT_EQ(keysOf(*consistency),
            (std::vector<std::string>{"ringsImage", "avgBedtimeDateString", "trendString", "starsLabel"}));

  EXPECT_EQ(ui.swiftOctaneImage()->width(), 220.0);
  std::vector<std::string> widgetKeys = keys;
  widgetKeys.insert(widgetKeys.end(), {"wakingTint", "hrvTint"});
  EXPECT_EQ(keysOf(*ui.requestReadiness()), widgetKeys);
  EXPECT_EQ(imageWidth(ui.requestConsistency()), 220.0);

  putShared(env, "bankDict", Value(MetricDictionary{}));
  EXPECT_EQ(ui.swiftReadinessImage()->name(), "WidgetWait");
  EXPECT_FALSE(ui.requestConsistency());
}

// Readiness and fuel publish under the same keys, so the later wins; without a record the texts are reset and the
// tints keep what they were.
TEST_F(ReadinessPresentationTest, WidgetTexts) {
  putBank();
  SleepMetricsUI ui(env);
  ui.requestReadinessForSwift();
  EXPECT_EQ(stored("Swift-starsLabel"), Value("OK"));
  ui.requestOctaneForSwift();
  const MetricDictionary fuel{{"HasData", Value("1")},        {"starsLabel", Value("Jet fuel")},
                              {"hrvLabel", Value("90 ms")},   {"hrvDifLabel", Value("40 above baseline")},
                              {"wakingLabel", Value("--")},   {"wakingDifLabel", Value("")},
                              {"hrvTint", Value::integer(2)}, {"wakingTint", Value::integer(0)}};
  for (const auto& [key, value] : fuel) EXPECT_EQ(stored("Swift-" + key), value) << key;

  putShared(env, "bankDict", Value(MetricDictionary{}));
  ui.requestReadinessForSwift();
  const MetricDictionary none{{"starsLabel", Value("")},     {"hrvLabel", Value("--")},
                              {"hrvDifLabel", Value("")},    {"wakingLabel", Value("--")},
                              {"wakingDifLabel", Value("")}, {"hrvTint", Value::integer(2)}};
  for (const auto& [key, value] : none) EXPECT_EQ(stored("Swift-" + key), value) << key;
  EXPECT_FALSE(stored("Swift-HasData"));
}

}  // namespace
}  // namespace velmora
