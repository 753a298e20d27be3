#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <tuple>

#include "drawing/Image.h"
#include "palette/Pallet.h"
#include "presentation/SleepMetricsUI.h"
#include "support/StoreRecords.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::imageWidth;
using testing::isoDate;
using testing::kAfternoon;
using testing::keysOf;
using testing::putShared;
using testing::sharedStore;
using testing::TestEnvironment;
using testing::textOf;

// Last night's watch record against a goal of `goal` hours (none when NaN is meant to be read as missing).
void putWatch(const Environment& env, double sleep, double bank, std::optional<double> goal = 8) {
  MetricDictionary config;
  if (goal) config.setValue("requiredHours", Value::real(*goal));
  ASSERT_TRUE(sharedStore(env)->setObjects(
      {{"watchTrackDict",
        Value(MetricDictionary{{"rawSleepTime", Value::real(sleep)}, {"rawSleepBankTime", Value::real(bank)}})},
       {"velmoraConfig", Value(config)}}));
}

// Seven nights of eight hours (ending on the 2nd to the 8th), waking ten hours after 21:00.
void putBank(const Environment& env, double wakeOffset = 36000) {
  testing::putBankNights(env, {28800, 28800, 28800, 28800, 28800, 28800, 28800},
                         {{"medianWake", Value::real(wakeOffset)}, {"averageEfficiency", Value::real(100)}});
}

class PresentationTest : public ::testing::Test {
 protected:
  std::optional<Value> stored(std::string_view key) { return sharedStore(env)->objectForKey(key); }
  TestEnvironment env{kAfternoon};
};

TEST_F(PresentationTest, BedtimeDictionaryForTheNotification) {
  putBank(env);
  const auto d = SleepMetricsUI(env).requestLatestBedtime();
  ASSERT_TRUE(d);
  EXPECT_EQ(keysOf(*d), (std::vector<std::string>{"ringsImage", "latestBedTime", "wakeTimeLabel", "timeUntilBedLabel",
                                                  "timeUntilWakeLabel", "pasteItem"}));
  EXPECT_EQ(textOf(*d, "latestBedTime") + "|" + textOf(*d, "wakeTimeLabel") + "|" + textOf(*d, "timeUntilBedLabel"),
            "11:00\u202FPM|7:00\u202FAM|8h 0m");
  EXPECT_EQ(imageWidth(d), 280.0);
}

TEST_F(PresentationTest, WidgetModeAddsTomorrowsBedtimeOnceItHasPassed) {
  putBank(env);
  env.setNow("2025-01-09T01:00:00+01:00");  // two hours after last night's 23:00 bedtime, before tonight's
  SleepMetricsUI ui(env);
  const auto notification = ui.requestLatestBedtime();
  ASSERT_TRUE(notification);
  EXPECT_FALSE(notification->contains("bedTime"));

  ui.swiftBedtimeImage();  // turns widget mode on for good
  const auto widget = ui.requestLatestBedtime();
  ASSERT_TRUE(widget && widget->dateForKey("bedTime"));
  EXPECT_EQ(*widget->dateForKey("bedTime"), isoDate("2025-01-09T23:00:00+01:00"));
  EXPECT_EQ(imageWidth(widget), 220.0);
  // The diagnostic line of widget mode, once for the image's request and once for this one; it is no warning.
  EXPECT_EQ(env.logLines, (std::vector<std::string>{"11:00PM", "11:00PM"}));
  EXPECT_TRUE(env.warnings.empty());
}

// A cache without a bedtime, or a wake moment no calendar holds, gives no bedtime: the widget shows now, and no
// impossible date reaches the store; what the cache lacks is removed.
TEST_F(PresentationTest, WidgetBedtimeWithoutOneIsNow) {
  for (const bool cached : {true, false}) {
    TestEnvironment run(kAfternoon);
    putBank(run, cached ? 36000 : INFINITY);
    if (cached) {
      putShared(run, "cachedSleepBankUpdate", Value(isoDate(kAfternoon)));
      putShared(run, "cachedSleepBank", Value(MetricDictionary{{"latestBedLabel", Value("Try to be in bed by 11PM")}}));
      putShared(run, "Swift-latestBedTime", Value("10:45PM"));
      run.setNow("2025-01-08T22:00:00+01:00");
    }
    SleepMetricsUI(run).requestLatestBedtimeForSwift();
    EXPECT_EQ(sharedStore(run)->objectForKey("Swift-bedTime"), Value(run.now)) << cached;
    EXPECT_EQ(sharedStore(run)->objectForKey("Swift-HasData"), Value("1")) << cached;
    EXPECT_TRUE(!cached || !sharedStore(run)->objectForKey("Swift-latestBedTime")) << "absent in the cache: removed";
  }
}

TEST_F(PresentationTest, WithoutABedtimePublishingOnlyWithdrawsHasData) {
  putShared(env, "Swift-HasData", Value("1"));
  putShared(env, "Swift-latestBedTime", Value("10:45PM"));
  SleepMetricsUI ui(env);
  ui.requestLatestBedtimeForSwift();  // no bank at all
  EXPECT_FALSE(stored("Swift-HasData"));
  EXPECT_EQ(stored("Swift-latestBedTime"), Value("10:45PM"));
  EXPECT_EQ(ui.swiftBedtimeImage()->name(), "WidgetWait");
  putBank(env, 0);  // a bank record without a wake moment has no bedtime either
  EXPECT_FALSE(ui.requestLatestBedtime());
}

// Debt is spoken in lower case, credit as translated; from 100 % on the decimals go. No goal at all makes the
// fractions 0 / 0, which the platform prints as it prints any NaN.
TEST_F(PresentationTest, BankBalanceAndGoalTexts) {
  const std::tuple<double, std::optional<double>, const char*, const char*> cases[] = {
      {28800, 8, "en_US", "0.0% Credit|93% of goal"},
      {0, 8, "en_US", "100% debt|93% of goal"},
      {25920, 8, "de_DE", "10,0% defizit|93% des Ziels"},
      {0, std::nullopt, "en_US", "|nan% of goal"},
  };
  for (const auto& [bank, goal, locale, expected] : cases) {
    TestEnvironment run(kAfternoon, "Europe/Berlin", locale);
    run.languages = {std::string(locale, 2)};
    putWatch(run, goal ? 26784 : 0, bank, goal);
    const auto d = SleepMetricsUI(run).requestSleepBankRings();
    ASSERT_TRUE(d) << expected;
    const std::string balance = goal ? textOf(*d, "bankBalanceLabel") : "";  // no goal: the balance is no number
    EXPECT_EQ(balance + "|" + textOf(*d, "sleepGoalLabel"), expected) << locale;
  }
}

TEST_F(PresentationTest, SleepBankDictionaryAndWidgets) {
  putWatch(env, 26784, 25920);  // 93 % of an eight-hour goal; bank 90 %
  putShared(env, "sleepSessionStart", Value(isoDate("2025-01-07T23:10:00+01:00")));
  putShared(env, "sleepSessionEnd", Value(isoDate("2025-01-08T06:40:00+01:00")));
  SleepMetricsUI ui(env);
  const auto d = ui.requestSleepBankRings();
  ASSERT_TRUE(d);
  EXPECT_EQ(textOf(*d, "sleepTimeLabel") + "|" + textOf(*d, "bankTimeLabel") + "|" + textOf(*d, "shortBankTimeLabel"),
            "7h 26m|7h 12m|7:12");
  EXPECT_FLOAT_EQ(d->floatForKey("bankPercentage"), 0.9f);
  EXPECT_EQ(textOf(*d, "pasteItem"),
            "{\"Recharge%\":\"93\", \"Credit%\":\"0.0\", \"Debt%\": \"10.0\", \"Sleep\":\"7.44\", "
            "\"Balance\":\"7.20\", \"Start\":\"Tue, 1/7/25, 11:10\u202FPM\", \"Until\":\"Wed, 1/8/25, 6:40\u202FAM\"}");
  Pallet dark(env);
  dark.setDarkTheme(true);
  EXPECT_EQ(*d->objectForKey("sleepIndicatorColour")->colour(), dark.lightRatingColour(93.0f));
  EXPECT_EQ(*d->objectForKey("bankIndicatorColour")->colour(), dark.lightRatingColour(90.0f));
  EXPECT_EQ(imageWidth(d), 280.0);

  // The widget sizes stick once asked for.
  EXPECT_EQ(ui.swiftSleepBankImage()->width(), 220.0);
  EXPECT_EQ(ui.swiftSleepBankAccessoryImage()->width(), 200.0);
  EXPECT_EQ(imageWidth(ui.requestSleepBankRings()), 200.0);
  ui.requestSleepBankForSwift();
  EXPECT_EQ(stored("Swift-sleepTimeLabel"), Value("7h 26m"));
  EXPECT_EQ(stored("Swift-bankTimeLabel"), Value("7h 12m"));
}

TEST_F(PresentationTest, WithoutWatchDataTheDictionaryIsEmptyAndWidgetsGetNoImage) {
  putShared(env, "Swift-sleepTimeLabel", Value("7h"));
  SleepMetricsUI ui(env);
  const auto d = ui.requestSleepBankRings();
  ASSERT_TRUE(d);
  EXPECT_TRUE(d->empty());
  EXPECT_EQ(ui.swiftSleepBankImage(), nullptr);
  ui.requestSleepBankForSwift();
  EXPECT_EQ(stored("Swift-HasData"), Value("1"));
  EXPECT_FALSE(stored("Swift-sleepTimeLabel") || stored("Swift-bankTimeLabel"));
}

}  // namespace
}  // namespace velmora
