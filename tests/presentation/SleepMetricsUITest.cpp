#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <tuple>

#include "palette/Pallet.h"
#include "platform/Image.h"
#include "platform/UserDefaults.h"
#include "presentation/SleepMetricsUI.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::isoDate;
using testing::TestEnvironment;

const char* const kNightKeys[7] = {"20250102", "20250103", "20250104", "20250105", "20250106", "20250107", "20250108"};

// Last night's watch record against an eight-hour goal.
void putWatch(const Environment& env, double sleep, double bank) {
  ASSERT_TRUE(UserDefaults::suite(env, Environment::kSharedSuite)
                  ->setObjects({{"watchTrackDict", Value(MetricDictionary{{"rawSleepTime", Value::real(sleep)},
                                                                          {"rawSleepBankTime", Value::real(bank)}})},
                                {"velmoraConfig", Value(MetricDictionary{{"requiredHours", Value::real(8)}})}}));
}

class PresentationTest : public ::testing::Test {
 protected:
  PresentationTest() : env("2025-01-08T15:00:00+01:00") {}

  std::shared_ptr<UserDefaults> store() { return UserDefaults::suite(env, Environment::kSharedSuite); }
  void put(std::string_view key, Value value) { ASSERT_TRUE(store()->setObject(std::move(value), key)); }
  // Seven nights of eight hours, waking ten hours after 21:00.
  void putBank(double wakeOffset = 36000) {
    MetricDictionary bank{{"medianWake", Value::real(wakeOffset)}, {"averageEfficiency", Value::real(100)}};
    for (const char* key : kNightKeys) bank.setValue(key, Value::real(28800));
    put("bankDict", Value(bank));
  }
  std::string text(const MetricDictionary& d, std::string_view key) {
    const std::string* t = d.textForKey(key);
    return t ? *t : "<absent>";
  }

  TestEnvironment env;
};

// --- Bedtime ------------------------------------------------------------------------

TEST_F(PresentationTest, BedtimeDictionaryForTheNotification) {
  putBank();
  SleepMetricsUI ui(env);
  const auto d = ui.requestLatestBedtime();
  ASSERT_TRUE(d);
  std::vector<std::string> keys;
  for (const auto& [key, value] : *d) keys.push_back(key);
  EXPECT_EQ(keys, (std::vector<std::string>{"ringsImage", "latestBedTime", "wakeTimeLabel", "timeUntilBedLabel",
                                            "timeUntilWakeLabel", "pasteItem"}));
  EXPECT_EQ(text(*d, "latestBedTime"), "11:00\u202FPM");
  EXPECT_EQ(text(*d, "wakeTimeLabel"), "7:00\u202FAM");
  EXPECT_EQ(text(*d, "timeUntilBedLabel"), "8h 0m");
  ASSERT_TRUE(d->objectForKey("ringsImage")->image());
  EXPECT_EQ(d->objectForKey("ringsImage")->image()->width(), 280.0);
}

TEST_F(PresentationTest, WidgetModeAddsTomorrowsBedtimeOnceItHasPassed) {
  putBank();
  env.setNow("2025-01-09T01:00:00+01:00");  // two hours after last night's 23:00 bedtime, before tonight's
  SleepMetricsUI ui(env);
  const auto notification = ui.requestLatestBedtime();
  ASSERT_TRUE(notification);
  EXPECT_FALSE(notification->contains("bedTime"));

  ui.swiftBedtimeImage();  // turns widget mode on for good
  const auto widget = ui.requestLatestBedtime();
  ASSERT_TRUE(widget);
  const Date bed = *widget->dateForKey("bedTime");
  EXPECT_EQ(bed, isoDate("2025-01-09T23:00:00+01:00"));
  EXPECT_EQ(widget->objectForKey("ringsImage")->image()->width(), 220.0);
  // The diagnostic line of widget mode, once for the image's request and once for this one; it is no warning.
  EXPECT_EQ(env.logLines, (std::vector<std::string>{"11:00PM", "11:00PM"}));
  EXPECT_TRUE(env.warnings.empty());
}

TEST_F(PresentationTest, WidgetBedtimeWithoutACachedBedtimeIsNow) {
  putBank();
  put("cachedSleepBankUpdate", Value(isoDate("2025-01-08T15:00:00+01:00")));
  put("cachedSleepBank", Value(MetricDictionary{{"latestBedLabel", Value("Try to be in bed by 11:00PM")}}));
  env.setNow("2025-01-08T22:00:00+01:00");
  SleepMetricsUI ui(env);
  ui.requestLatestBedtimeForSwift();
  EXPECT_EQ(store()->objectForKey("Swift-bedTime"), Value(env.now));
  EXPECT_EQ(store()->objectForKey("Swift-HasData"), Value("1"));
  EXPECT_FALSE(store()->objectForKey("Swift-latestBedTime")) << "absent in the cache, so removed";
}

// A wake moment no calendar holds gives no bedtime: the widget shows now, as
// with no bedtime at all, and no impossible date reaches the store.
TEST_F(PresentationTest, WidgetBedtimeOfAnImpossibleWakeIsNow) {
  putBank(INFINITY);
  SleepMetricsUI ui(env);
  ui.requestLatestBedtimeForSwift();
  EXPECT_EQ(store()->objectForKey("Swift-bedTime"), Value(env.now));
  EXPECT_EQ(store()->objectForKey("Swift-HasData"), Value("1"));
}

TEST_F(PresentationTest, WithoutABedtimePublishingOnlyWithdrawsHasData) {
  put("Swift-HasData", Value("1"));
  put("Swift-latestBedTime", Value("10:45PM"));
  SleepMetricsUI ui(env);
  ui.requestLatestBedtimeForSwift();  // no bank at all
  EXPECT_FALSE(store()->objectForKey("Swift-HasData"));
  EXPECT_EQ(store()->objectForKey("Swift-latestBedTime"), Value("10:45PM"));
  EXPECT_EQ(ui.swiftBedtimeImage()->name(), "WidgetWait");
  putBank(0);  // a bank record without a wake moment has no bedtime either
  EXPECT_FALSE(ui.requestLatestBedtime());
}

// --- Sleep bank ---------------------------------------------------------------------

// Debt is spoken in lower case, credit as translated; from 100 % on the decimals go.
TEST_F(PresentationTest, BankBalanceTextIsDebtOrCredit) {
  const std::tuple<double, const char*, const char*> cases[] = {
      {28800, "en_US", "0.0% Credit"}, {0, "en_US", "100% debt"}, {25920, "de_DE", "10,0% defizit"}};
  for (const auto& [bank, locale, expected] : cases) {
    TestEnvironment local("2025-01-08T15:00:00+01:00", "Europe/Berlin", locale);
    local.languages = {std::string(locale, 2)};
    putWatch(local, 27000, bank);
    const auto d = SleepMetricsUI(local).requestSleepBankRings();
    ASSERT_TRUE(d) << expected;
    EXPECT_EQ(text(*d, "bankBalanceLabel"), expected) << "bank " << bank << " in " << locale;
  }
}

TEST_F(PresentationTest, SleepBankDictionaryAndWidgets) {
  putWatch(env, 26784, 25920);  // 93 % of an eight-hour goal; bank 90 %
  put("sleepSessionStart", Value(isoDate("2025-01-07T23:10:00+01:00")));
  put("sleepSessionEnd", Value(isoDate("2025-01-08T06:40:00+01:00")));
  SleepMetricsUI ui(env);
  const auto d = ui.requestSleepBankRings();
  ASSERT_TRUE(d);
  EXPECT_EQ(text(*d, "sleepTimeLabel"), "7h 26m");
  EXPECT_EQ(text(*d, "sleepGoalLabel"), "93% of goal");
  EXPECT_EQ(text(*d, "bankTimeLabel"), "7h 12m");
  EXPECT_EQ(text(*d, "shortBankTimeLabel"), "7:12");
  EXPECT_FLOAT_EQ(d->floatForKey("bankPercentage"), 0.9f);
  EXPECT_EQ(text(*d, "bankBalanceLabel"), "10.0% debt");
  EXPECT_EQ(text(*d, "pasteItem"),
            "{\"Recharge%\":\"93\", \"Credit%\":\"0.0\", \"Debt%\": \"10.0\", \"Sleep\":\"7.44\", "
            "\"Balance\":\"7.20\", \"Start\":\"Tue, 1/7/25, 11:10\u202FPM\", \"Until\":\"Wed, 1/8/25, 6:40\u202FAM\"}");

  Pallet dark(env);
  dark.setDarkTheme(true);
  EXPECT_EQ(*d->objectForKey("sleepIndicatorColour")->colour(), dark.lightRatingColour(93.0f));
  EXPECT_EQ(*d->objectForKey("bankIndicatorColour")->colour(), dark.lightRatingColour(90.0f));
  EXPECT_EQ(d->objectForKey("ringsImage")->image()->width(), 280.0);

  // The widget sizes stick once asked for.
  EXPECT_EQ(ui.swiftSleepBankImage()->width(), 220.0);
  EXPECT_EQ(ui.swiftSleepBankAccessoryImage()->width(), 200.0);
  EXPECT_EQ(ui.requestSleepBankRings()->objectForKey("ringsImage")->image()->width(), 200.0);
  ui.requestSleepBankForSwift();
  EXPECT_EQ(store()->objectForKey("Swift-sleepTimeLabel"), Value("7h 26m"));
  EXPECT_EQ(store()->objectForKey("Swift-bankTimeLabel"), Value("7h 12m"));
}

TEST_F(PresentationTest, WithoutWatchDataTheDictionaryIsEmptyAndWidgetsGetNoImage) {
  put("Swift-sleepTimeLabel", Value("7h"));
  SleepMetricsUI ui(env);
  const auto d = ui.requestSleepBankRings();
  ASSERT_TRUE(d);
  EXPECT_TRUE(d->empty());
  EXPECT_EQ(ui.swiftSleepBankImage(), nullptr);
  ui.requestSleepBankForSwift();
  EXPECT_EQ(store()->objectForKey("Swift-HasData"), Value("1"));
  EXPECT_FALSE(store()->objectForKey("Swift-sleepTimeLabel"));
  EXPECT_FALSE(store()->objectForKey("Swift-bankTimeLabel"));
}

// --- any number: the main app may leave NaN, infinities or 1e308 in any key (under a CTest time limit) ---

class SleepBankRingsBounded : public PresentationTest {};

// No goal at all: the fractions are 0 / 0, which the platform prints as it prints any NaN.
TEST_F(PresentationTest, WithoutAGoalTheShareOfItIsNotANumber) {
  ASSERT_TRUE(store()->setObjects({{"watchTrackDict", Value(MetricDictionary{{"rawSleepTime", Value::real(0)},
                                                                             {"rawSleepBankTime", Value::real(0)}})},
                                   {"velmoraConfig", Value(MetricDictionary{})}}));
  SleepMetricsUI ui(env);
  const auto d = ui.requestSleepBankRings();
  ASSERT_TRUE(d);
  EXPECT_EQ(text(*d, "sleepGoalLabel"), "nan% of goal");
}

TEST_F(SleepBankRingsBounded, AnyStoredNumbersGiveTheWholeDictionaryAndItsImages) {
  const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
  const struct {
    double sleep, bank, goal;
  } stores[] = {
      {nan, 2e4, 8},      {inf, 2e4, 8},         {-inf, 2e4, 8},      {1e308, 2e4, 8},
      {2.5e4, nan, 8},    {2.5e4, -inf, 8},      {2.5e4, 1e308, 8},   {2.5e4, 2e4, 1e5},
      {2.5e4, 2e4, 1e6},  {2.5e4, 2e4, 1e9},     {2.5e4, 2e4, 1e308}, {2.5e4, 2e4, nan},
      {2.5e4, 2e4, -inf}, {1e308, 1e308, 1e308}, {nan, nan, nan},     {0, 0, 0},
  };
  for (const auto& c : stores) {
    TestEnvironment run("2025-01-08T15:00:00+01:00");
    ASSERT_TRUE(
        UserDefaults::suite(run, Environment::kSharedSuite)
            ->setObjects({{"watchTrackDict", Value(MetricDictionary{{"rawSleepTime", Value::real(c.sleep)},
                                                                    {"rawSleepBankTime", Value::real(c.bank)}})},
                          {"velmoraConfig", Value(MetricDictionary{{"requiredHours", Value::real(c.goal)}})}}));
    SleepMetricsUI ui(run);
    const auto d = ui.requestSleepBankRings();
    ASSERT_TRUE(d);
    const std::string store = std::to_string(c.sleep) + " " + std::to_string(c.bank) + " " + std::to_string(c.goal);
    for (const char* key :
         {"ringsImage", "sleepTimeLabel", "sleepGoalLabel", "bankTimeLabel", "sleepIndicatorColour",
          "bankIndicatorColour", "bankPercentage", "shortBankTimeLabel", "pasteItem", "bankBalanceLabel"})
      EXPECT_TRUE(d->contains(key)) << key << " of " << store;
    ASSERT_TRUE(d->objectForKey("ringsImage")->image()) << store;
    EXPECT_EQ(d->objectForKey("ringsImage")->image()->width(), 280.0);
    EXPECT_EQ(text(*d, "sleepGoalLabel").find("-nan"), std::string::npos) << store;
    EXPECT_TRUE(ui.swiftSleepBankImage()) << store;
    EXPECT_TRUE(ui.swiftSleepBankAccessoryImage()) << store;
  }
}

}  // namespace
}  // namespace velmora
