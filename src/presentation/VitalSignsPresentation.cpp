// The vital signs for the app's screens, widgets and shortcuts: each record's
// displayable texts with its gauge, the widgets' images, and the texts the
// widgets read from the SharedStore.

#include <string>

#include "metrics/GroupMetrics.h"
#include "metrics/WidgetPublishing.h"
#include "palette/Pallet.h"
#include "presentation/DisplayDictionary.h"
#include "presentation/SleepMetricsUI.h"
#include "store/UserDefaults.h"

namespace velmora {

namespace {

// What a vital sign's widget reads. The names differ between the two signs
// on purpose: breathing publishes its bare widget figure but resets its
// labelled one, and neither clears its compact range when there is no data.
struct WidgetTexts {
  std::string_view average;             // published from the record
  std::string_view averageWithoutData;  // set to "--" when there is no record
  std::string_view range;
  std::string_view leftOutOfCompactRange;  // every one of these characters
  bool publishesDifColour;
};

constexpr WidgetTexts kSpO2Widget{"averageSpO2Label", "averageSpO2Label", "averageSpO2RangeLabel", " %", true};
constexpr WidgetTexts kRespRateWidget{"averageRespRateWidgetLabel", "averageRespRateLabel", "averageRespRateRangeLabel",
                                      " ", false};

std::optional<Value> compactForm(const Value* range, std::string_view leftOut) {
  const std::string* text = range ? range->text() : nullptr;
  if (!text) return std::nullopt;
  std::string compact;
  for (const char ch : *text)
    if (leftOut.find(ch) == std::string_view::npos) compact += ch;
  return Value(std::move(compact));
}

void publishVitalSign(const Environment& env, const std::optional<MetricDictionary>& d, const WidgetTexts& texts) {
  const std::shared_ptr<UserDefaults> store = UserDefaults::suite(env, Environment::kSharedSuite);
  if (!d) {
    const Value none("--"), empty("");
    publishForWidgets(*store, "HasData", nullptr);
    publishForWidgets(*store, texts.averageWithoutData, &none);
    publishForWidgets(*store, texts.range, &none);
    publishForWidgets(*store, "difLabel", &empty);
    return;
  }
  const Value hasData("1");
  publishForWidgets(*store, "HasData", &hasData);
  publishForWidgets(*store, texts.average, d->objectForKey(texts.average));
  const Value* range = d->objectForKey(texts.range);
  publishForWidgets(*store, texts.range, range);
  const std::optional<Value> compact = compactForm(range, texts.leftOutOfCompactRange);
  publishCompactForWidgets(*store, texts.range, compact ? &*compact : nullptr);
  publishForWidgets(*store, "difLabel", d->objectForKey("difLabel"));
  if (texts.publishesDifColour) publishForWidgets(*store, "difColour", d->objectForKey("difColour"));
}

}  // namespace

std::optional<MetricDictionary> SleepMetricsUI::requestSpO2() {
  MetricDictionary d;
  const std::optional<MetricDictionary> record = groupMetrics().requestSpO2();
  if (!record) return std::nullopt;
  copyKeys(*record, d,
           {"averageSpO2Label", "averageSpO2Label7", "minSpO2Label", "maxSpO2Label", "averageSpO2RangeLabel",
            "averageSpO2RangeLabel7", "difLabel", "difColour", "pasteItem"});
  setImage(d, drawSpO2GaugeWithSize(widgetMode() ? kWidgetGaugeSize : kGaugeSize, *record));
  return d;
}

std::optional<MetricDictionary> SleepMetricsUI::requestRespRate() {
  MetricDictionary d;
  const std::optional<MetricDictionary> record = groupMetrics().requestRespRate();
  if (!record) return std::nullopt;
  copyKeys(*record, d,
           {"averageRespRate", "averageRespRateLabel", "averageRespRateWidgetLabel", "averageRespRateLabel7",
            "minRespRateLabel", "maxRespRateLabel", "averageRespRateRangeLabel", "averageRespRateRangeLabel7",
            "difLabel", "difColour", "pasteItem"});
  setImage(d, drawRespRateGaugeWithSize(widgetMode() ? kWidgetGaugeSize : kGaugeSize, *record));
  return d;
}

std::optional<MetricDictionary> SleepMetricsUI::requestWristTemp() {
  MetricDictionary d;
  // The colour is asked for before the gauge is drawn, so the palette is made here.
  Pallet& colours = pallet();
  const std::optional<MetricDictionary> record = groupMetrics().requestWristTemp();
  if (!record) return std::nullopt;
  copyKeys(*record, d,
           {"wristTempTodayLabel", "wristTempAverage28Label", "wristTempDifLabel", "wristTempScore", "pasteItem"});
  d.setValue("ratingColour", colours.colourForWristTempScore(record->floatForKey("wristTempScore")));
  setImage(d, drawWristTempGaugeWithSize(widgetMode() ? kWidgetGaugeSize : kGaugeSize, *record));
  return d;
}

ImageRef SleepMetricsUI::swiftSpO2Image() { return widgetImage(&SleepMetricsUI::requestSpO2); }

ImageRef SleepMetricsUI::swiftRespRateImage() { return widgetImage(&SleepMetricsUI::requestRespRate); }

ImageRef SleepMetricsUI::swiftWristTempImage() { return widgetImage(&SleepMetricsUI::requestWristTemp); }

void SleepMetricsUI::requestSpO2ForSwift() {
  setWidgetFlags(true, false);
  publishVitalSign(env_, requestSpO2(), kSpO2Widget);
}

void SleepMetricsUI::requestRespRateForSwift() {
  setWidgetFlags(true, false);
  publishVitalSign(env_, requestRespRate(), kRespRateWidget);
}

}  // namespace velmora
