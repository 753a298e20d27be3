// Readiness, sleep fuel and bedtime consistency for the app's screens,
// widgets and shortcuts. Readiness and fuel records have the same keys, so
// one presentation serves both.

#include <string>

#include "metrics/GroupMetrics.h"
#include "metrics/WidgetPublishing.h"
#include "palette/Pallet.h"
#include "presentation/DisplayDictionary.h"
#include "presentation/SleepMetricsUI.h"
#include "store/UserDefaults.h"
#include "text/StringFormat.h"

namespace velmora {

namespace {

// Which icon the dial shows below the hub: the readiness figure.
constexpr int kReadinessLegend = 2;

// The texts widgets show, and what they read when there is no record. The
// tints keep their last values then.
constexpr std::string_view kWidgetTexts[] = {"hrvDifLabel", "hrvLabel", "wakingDifLabel", "wakingLabel", "starsLabel"};
constexpr std::string_view kWithoutData[] = {"", "--", "", "--", ""};
constexpr std::string_view kTints[] = {"wakingTint", "hrvTint"};

void publishReadiness(const Environment& env, const std::optional<MetricDictionary>& d) {
  const std::shared_ptr<UserDefaults> store = UserDefaults::suite(env, Environment::kSharedSuite);
  if (!d) {
    publishForWidgets(*store, "HasData", nullptr);
    for (std::size_t i = 0; i < std::size(kWidgetTexts); ++i) {
      const Value text{std::string(kWithoutData[i])};
      publishForWidgets(*store, kWidgetTexts[i], &text);
    }
    return;
  }
  const Value hasData("1");
  publishForWidgets(*store, "HasData", &hasData);
  for (const std::string_view key : kWidgetTexts) publishForWidgets(*store, key, d->objectForKey(key));
  for (const std::string_view key : kTints) publishForWidgets(*store, key, d->objectForKey(key));
}

}  // namespace

std::optional<MetricDictionary> SleepMetricsUI::requestReadiness() {
  return readinessDisplay(groupMetrics().requestReadiness());
}

std::optional<MetricDictionary> SleepMetricsUI::requestOctane() {
  return readinessDisplay(groupMetrics().requestOctane());
}

std::optional<MetricDictionary> SleepMetricsUI::readinessDisplay(const std::optional<MetricDictionary>& record) {
  if (!record || !record->contains("todaysReadinessStars")) return std::nullopt;
  MetricDictionary d;
  // A plain star value until the record's own copy text replaces it.
  d.setValue("pasteItem", localizedStringWithFormat(env_.locale, "%.1f", {record->floatForKey("starsValue")}));
  const std::string* rating = record->textForKey("rating");
  setImage(d, drawReadiRingsWithSize(widgetMode() ? kWidgetGaugeSize : kGaugeSize, record->floatForKey("percentage"),
                                     rating ? std::optional(*rating) : std::nullopt, kReadinessLegend));

  // No points at all is no data: grey. The HRV's colour is taken five points
  // higher than its score, the waking heart rate's as it is.
  const Pallet& colours = pallet();
  const float hrv = record->floatForKey("hrvPoints");
  const float waking = record->floatForKey("wakingPoints");
  d.setValue("hrvIndicatorColour",
             hrv == 0.0f ? Colour::darkGrayColor()
                         : colours.lightRatingColour(static_cast<float>((static_cast<double>(hrv) + 0.05) * 100.0)));
  d.setValue("wakingIndicatorColour",
             waking == 0.0f ? Colour::darkGrayColor() : colours.lightRatingColour(waking * 100.0f));

  copyKeys(*record, d, {"hrvDifLabel", "hrvLabel", "wakingDifLabel", "wakingLabel"});
  d.setValue("starsLabel", rating ? std::optional(Value(*rating)) : std::nullopt);
  if (widgetMode()) copyKeys(*record, d, {"wakingTint", "hrvTint"});
  copyKeys(*record, d, {"pasteItem"});
  return d;
}

std::optional<MetricDictionary> SleepMetricsUI::requestConsistency() {
  const std::optional<MetricDictionary> record = groupMetrics().requestConsistencyDict();
  if (!record) return std::nullopt;
  MetricDictionary d;
  setImage(d, drawConsistencyGaugeWithSize(widgetMode() ? kWidgetGaugeSize : kGaugeSize, *record));
  copyKeys(*record, d, {"avgBedtimeDateString", "trendString", "starsLabel"});
  return d;
}

ImageRef SleepMetricsUI::swiftReadinessImage() { return widgetImage(&SleepMetricsUI::requestReadiness); }

ImageRef SleepMetricsUI::swiftOctaneImage() { return widgetImage(&SleepMetricsUI::requestOctane); }

void SleepMetricsUI::requestReadinessForSwift() {
  setWidgetFlags(true, false);
  publishReadiness(env_, requestReadiness());
}

void SleepMetricsUI::requestOctaneForSwift() {
  setWidgetFlags(true, false);
  publishReadiness(env_, requestOctane());
}

}  // namespace velmora
