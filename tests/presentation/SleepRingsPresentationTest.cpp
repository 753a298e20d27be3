#include <gtest/gtest.h>

#include <string>

#include "drawing/Image.h"
#include "palette/Pallet.h"
#include "presentation/SleepMetricsUI.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::imageWidth;
using testing::isoDate;
using testing::textOf;

class SleepRingsPresentationTest : public ::testing::Test {
 protected:
  // Last night's rings, synchronised this morning, against an eight-hour goal.
  void putWatch(const char* ringRating, double sleepSeconds, bool stages) {
    MetricDictionary watch{{"rawSynchTime", Value(isoDate("2025-01-06T07:00:00+01:00"))},
                           {"rawRingRating", Value(ringRating)},
                           {"rawRingValues", Value("5400|4320|52")},
                           {"rawSleepTime", Value::real(sleepSeconds)}};
    if (stages) watch.setValue("showStages", Value("yes"));
    testing::putShared(env, "watchTrackDict", Value(watch));
  }

  testing::TestEnvironment env;  // 15:00 on 6 January 2025 in Berlin
};

// The labels and copy text come from the record; each ring is coloured for its own uncapped fraction; the
// record's fractions, rating and spoken summary stay behind.
TEST_F(SleepRingsPresentationTest, DisplayDictionaryForTheRings) {
  putWatch("1.5|0.8|0.4", 31680, true);
  SleepMetricsUI ui(env);
  const std::optional<MetricDictionary> d = ui.requestQuality();
  ASSERT_TRUE(d);
  EXPECT_EQ(testing::keysOf(*d),
            (std::vector<std::string>{"ringsImage", "ringSleepLabel", "ringQualityLabel", "ringDeepLabel",
                                      "ringBPMLabel", "ringSleepColour", "ringQualityColour", "ringDeepColour",
                                      "ringBPMColour", "showStages", "pasteItem"}));
  EXPECT_EQ(imageWidth(d), 280.0);
  EXPECT_EQ(textOf(*d, "ringSleepLabel") + "|" + textOf(*d, "ringQualityLabel") + "|" + textOf(*d, "showStages"),
            "8h 48m|1h 30m|1");
  EXPECT_EQ(d->textForKey("pasteItem")->substr(0, 30), R"({"Sleep%":"110", "REM%":"150",)");

  const Pallet pallet(env);
  for (const auto& [key, fraction] : {std::pair{"ringSleepColour", 1.1f},
                                      {"ringQualityColour", 1.5f},
                                      {"ringDeepColour", 0.8f},
                                      {"ringBPMColour", 0.4f}})
    EXPECT_EQ(*d->objectForKey(key)->colour(), pallet.colourForBatteryChargePercent(fraction)) << key;

  putWatch("0.5|0.5|0.5", 14400, false);
  EXPECT_FALSE(ui.requestQuality()->contains("showStages"));
}

// The widget accessors draw at 280 or, for the accessory, 260, and the size sticks to the object; without
// a record they give the waiting picture and the request nothing.
TEST_F(SleepRingsPresentationTest, WidgetImagesAndTheirStickySizes) {
  SleepMetricsUI waiting(env);
  EXPECT_FALSE(waiting.requestQuality());
  EXPECT_EQ(waiting.swiftSleepRingsImage()->name(), "WidgetWait");
  EXPECT_EQ(waiting.swiftSleepRingsAccessoryImage()->name(), "WidgetWait");

  putWatch("0.9|0.8|0.7", 27000, false);
  SleepMetricsUI ui(env);
  EXPECT_EQ(ui.swiftSleepRingsImage()->width(), 280.0);
  EXPECT_EQ(ui.swiftSleepRingsAccessoryImage()->width(), 260.0);
  EXPECT_EQ(imageWidth(ui.requestQuality()), 260.0) << "accessory mode stays on";
  EXPECT_EQ(ui.swiftSleepRingsImage()->width(), 280.0);
}

}  // namespace
}  // namespace velmora
