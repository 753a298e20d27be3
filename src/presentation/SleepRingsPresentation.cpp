// Last night's sleep rings for the widgets and shortcuts: the record's labels
// and copy text, a colour per ring, and the rings image.

#include "drawing/Image.h"
#include "format/FormatTools.h"
#include "metrics/GroupMetrics.h"
#include "palette/Pallet.h"
#include "presentation/SleepMetricsUI.h"

namespace velmora {

namespace {

constexpr float kRingsSize = 280.0f;
constexpr float kAccessoryRingsSize = 260.0f;

}  // namespace

std::optional<MetricDictionary> SleepMetricsUI::requestQuality() {
  MetricDictionary d;
  formatTools();
  const std::optional<MetricDictionary> record = groupMetrics().requestQuality();
  if (!record || !record->contains("ringSleepPercent")) return std::nullopt;

  // Uncapped: a ring past its target is drawn past it and coloured for its surplus.
  const float sleep = record->floatForKey("ringSleepPercent");
  const float quality = record->floatForKey("ringQualityPercent");
  const float deep = record->floatForKey("ringDeepPercent");
  const float heartRate = record->floatForKey("ringBPMPercent");
  const float rating = record->floatForKey("sleepRating");
  const bool stages = record->contains("showStages");

  // Drawn first: the drawing creates the palette the colours below come from.
  d.setValue("ringsImage", drawSleepRingsWithSize(widgetAccessoryMode() ? kAccessoryRingsSize : kRingsSize, sleep,
                                                  quality, deep, heartRate, rating, stages));
  for (const char* key : {"ringSleepLabel", "ringQualityLabel", "ringDeepLabel", "ringBPMLabel"}) {
    const Value* label = record->objectForKey(key);
    d.setValue(key, label ? std::optional(*label) : std::nullopt);
  }
  d.setValue("ringSleepColour", pallet().colourForBatteryChargePercent(sleep));
  d.setValue("ringQualityColour", pallet().colourForBatteryChargePercent(quality));
  d.setValue("ringDeepColour", pallet().colourForBatteryChargePercent(deep));
  d.setValue("ringBPMColour", pallet().colourForBatteryChargePercent(heartRate));
  if (stages) d.setValue("showStages", Value("1"));
  const Value* paste = record->objectForKey("pasteItem");
  d.setValue("pasteItem", paste ? std::optional(*paste) : std::nullopt);
  return d;
}

ImageRef SleepMetricsUI::swiftSleepRingsImage() { return widgetImage(&SleepMetricsUI::requestQuality); }

ImageRef SleepMetricsUI::swiftSleepRingsAccessoryImage() { return widgetImage(&SleepMetricsUI::requestQuality, true); }

}  // namespace velmora
