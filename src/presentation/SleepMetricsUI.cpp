#include "presentation/SleepMetricsUI.h"

#include "drawing/DrawingSurface.h"
#include "format/FormatTools.h"
#include "metrics/GroupMetrics.h"
#include "metrics/WidgetPublishing.h"
#include "palette/Pallet.h"
#include "store/UserDefaults.h"
#include "text/Bundle.h"
#include "text/StringFormat.h"

namespace velmora {

namespace {

constexpr double kDay = 86400.0;

}  // namespace

SleepMetricsUI::SleepMetricsUI(RunCaches& caches) : SleepMetricsGraphics(caches) {}
SleepMetricsUI::~SleepMetricsUI() = default;

GroupMetrics& SleepMetricsUI::groupMetrics() { return groupMetrics_.get(caches_); }

// The image is the drawn one when the request gives a dictionary (none when
// it has no image), the "WidgetWait" picture when it gives none at all.
ImageRef SleepMetricsUI::widgetImage(Request request, bool accessory) {
  setWidgetFlags(true, accessory);
  const std::optional<MetricDictionary> d = (this->*request)();
  if (!d) return imageNamed(caches_, "WidgetWait");
  const Value* image = d->objectForKey("ringsImage");
  return image ? image->imageRef() : nullptr;
}

std::optional<MetricDictionary> SleepMetricsUI::requestLatestBedtime() {
  MetricDictionary d;
  FormatTools& tools = formatTools();
  const std::optional<MetricDictionary> record = groupMetrics().requestSleepBank();
  if (!record || !record->contains("latestBedLabel")) return std::nullopt;

  const Date* bed = record->dateForKey("bedTime");
  const Date* wake = record->dateForKey("wakeTime");
  d.setValue("ringsImage",
             drawTheBedClockWithSize(widgetMode() ? 220.0f : 280.0f, bed ? std::optional(*bed) : std::nullopt,
                                     wake ? std::optional(*wake) : std::nullopt));
  for (const char* key : {"latestBedTime", "wakeTimeLabel", "timeUntilBedLabel", "timeUntilWakeLabel"}) {
    const Value* value = record->objectForKey(key);
    d.setValue(key, value ? std::optional(*value) : std::nullopt);
  }
  if (widgetMode()) {
    if (bed) {
      env_.diagnostic(stringWithFormat("%@", {tools.hourMin(*bed)}));
      // A bedtime already past is tonight's only once: it moves on by one day at most.
      const Date shown = bed->timeIntervalSinceDate(env_.now) < 0 ? bed->dateByAddingTimeInterval(kDay) : *bed;
      d.setValue("bedTime", Value(shown));
    } else {
      d.setValue("bedTime", Value(env_.now));
    }
  }
  const Value* paste = record->objectForKey("pasteItem");
  d.setValue("pasteItem", paste ? std::optional(*paste) : std::nullopt);
  return d;
}

void SleepMetricsUI::requestLatestBedtimeForSwift() {
  setWidgetFlags(true, false);
  const std::optional<MetricDictionary> d = requestLatestBedtime();
  const std::shared_ptr<UserDefaults> store = UserDefaults::suite(env_, Environment::kSharedSuite);
  if (!d) {  // the other keys keep their last values
    publishForWidgets(*store, "HasData", nullptr);
    return;
  }
  const Value hasData("1");
  publishForWidgets(*store, "HasData", &hasData);
  for (const char* key : {"latestBedTime", "wakeTimeLabel", "bedTime"})
    publishForWidgets(*store, key, d->objectForKey(key));
}

ImageRef SleepMetricsUI::swiftBedtimeImage() { return widgetImage(&SleepMetricsUI::requestLatestBedtime); }

std::optional<MetricDictionary> SleepMetricsUI::requestSleepBankRings() {
  MetricDictionary d;
  openStore();
  FormatTools& tools = formatTools();
  const std::optional<Value> watchValue = groupPrefs_->objectForKey("watchTrackDict");
  const MetricDictionary* watch = watchValue ? watchValue->dictionary() : nullptr;
  if (!watch) return d;

  const float goal = getVelmoraConfigValueForKey("requiredHours") * 3600.0f;
  const float rawSleepTime = watch->floatForKey("rawSleepTime");
  const float rawSleepBankTime = watch->floatForKey("rawSleepBankTime");
  const float sleepFraction = rawSleepTime / goal;
  const float bankFraction = rawSleepBankTime / goal;

  const float size = widgetAccessoryMode() ? 200.0f : widgetMode() ? 220.0f : 280.0f;
  // Drawn first: the drawing creates the palette (in its dark theme) that the colours below come from.
  d.setValue("ringsImage", drawTheRechargeWithSize(size, sleepFraction, bankFraction));

  const Bundle& bundle = caches_.bundle();
  d.setValue("sleepTimeLabel", tools.formattedTimeInterval(rawSleepTime));
  d.setValue("sleepGoalLabel",
             stringWithFormat("%.0f%% %@", {sleepFraction * 100.0f, bundle.localizedStringForKey("of goal")}));
  d.setValue("bankTimeLabel", tools.formattedTimeInterval(rawSleepBankTime));
  d.setValue("sleepIndicatorColour", pallet().lightRatingColour(sleepFraction * 100.0f));
  d.setValue("bankIndicatorColour", pallet().lightRatingColour(bankFraction * 100.0f));
  d.setValue("bankPercentage", Value::number(bankFraction));
  d.setValue("shortBankTimeLabel", tools.formattedShortTimeInterval(rawSleepBankTime));

  // Debt is spoken in lower case, credit as translated; past 100 % the decimals go.
  std::string word;
  float f, debtPct = 0.0f, creditPct = 0.0f;
  if (rawSleepBankTime < goal) {
    word = lowercaseString(bundle.localizedStringForKey("Debt"));
    f = (goal - rawSleepBankTime) / goal;
    debtPct = f * 100.0f;
  } else {
    word = bundle.localizedStringForKey("Credit");
    f = (rawSleepBankTime - goal) / goal;
    creditPct = f * 100.0f;
  }
  const std::string balanceText = f < 1.0f ? localizedStringWithFormat(env_.locale, "%.1f%% %@", {f * 100.0f, word})
                                           : stringWithFormat("%.0f%% %@", {f * 100.0f, word});

  std::string start, until;
  const std::optional<Value> sessionStart = groupPrefs_->objectForKey("sleepSessionStart");
  const std::optional<Value> sessionEnd = groupPrefs_->objectForKey("sleepSessionEnd");
  if (sessionStart && sessionStart->date() && sessionEnd && sessionEnd->date()) {
    start = tools.shorthhmmDDMMYY(*sessionStart->date());
    until = tools.shorthhmmDDMMYY(*sessionEnd->date());
  } else {
    start = until = tools.shorthhmmDDMMYY(env_.now);
  }
  d.setValue("pasteItem",
             localizedStringWithFormat(
                 env_.locale,
                 R"({"%@%%":"%.0f", "%@%%":"%.1f", "%@%%": "%.1f", "%@":"%.02f", "%@":"%.02f", "%@":"%@", "%@":"%@"})",
                 {bundle.localizedStringForKey("Recharge"), rawSleepTime / goal * 100.0f,
                  bundle.localizedStringForKey("Credit"), creditPct, bundle.localizedStringForKey("Debt"), debtPct,
                  bundle.localizedStringForKey("Sleep"), rawSleepTime / 3600.0f,
                  bundle.localizedStringForKey("Balance"), rawSleepBankTime / 3600.0f,
                  bundle.localizedStringForKey("Start"), start, bundle.localizedStringForKey("Until"), until}));
  d.setValue("bankBalanceLabel", balanceText);
  return d;
}

void SleepMetricsUI::requestSleepBankForSwift() {
  const std::optional<MetricDictionary> d = requestSleepBankRings();
  const std::shared_ptr<UserDefaults> store = UserDefaults::suite(env_, Environment::kSharedSuite);
  if (d) {
    // Without watch data the dictionary is empty: "1" is still written and the
    // two texts are removed, as the widgets have always been told.
    const Value hasData("1");
    publishForWidgets(*store, "HasData", &hasData);
    publishForWidgets(*store, "sleepTimeLabel", d->objectForKey("sleepTimeLabel"));
    publishForWidgets(*store, "bankTimeLabel", d->objectForKey("bankTimeLabel"));
  } else {
    const Value none("--");
    publishForWidgets(*store, "HasData", nullptr);
    publishForWidgets(*store, "sleepTimeLabel", &none);
    publishForWidgets(*store, "bankTimeLabel", &none);
  }
}

ImageRef SleepMetricsUI::swiftSleepBankImage() { return widgetImage(&SleepMetricsUI::requestSleepBankRings); }

ImageRef SleepMetricsUI::swiftSleepBankAccessoryImage() {
  return widgetImage(&SleepMetricsUI::requestSleepBankRings, true);
}

}  // namespace velmora
