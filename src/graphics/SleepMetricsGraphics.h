#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "drawing/RunCaches.h"
#include "metrics/MetricSources.h"
#include "values/Colour.h"
#include "values/Date.h"
#include "values/Lazy.h"
#include "values/Value.h"

namespace velmora {

class Pallet;
struct Gauge;

// The drawing side of the metric presentation: every metric image is drawn
// by one of these routines into a fresh square surface and returned as an
// image of `size` points at the run's scale. The presentation operations
// (SleepMetricsUI) build on it and share its lazily created collaborators
// and its two widget flags.
class SleepMetricsGraphics : protected MetricSources {
 public:
  // Keeps a reference to the run's caches, which must outlive it.
  explicit SleepMetricsGraphics(RunCaches& caches);
  virtual ~SleepMetricsGraphics();

  // --- Shared drawing functions ----------------------------------------------------

  static double radians(double degrees);
  // The shadow offset that follows a ring's end round the dial.
  static std::pair<double, double> getShadowForPercent(float percent);
  static Colour gaugeBkg();
  static Colour ringBkg();
  static Colour needleBkg();
  static Colour textColour();
  static Colour subtleTextColour();
  static Colour verySubtleTextColour();

  // --- Images ------------------------------------------------------------------------

  // The 24-hour bed clock: dial, wedge from now to bedtime, the sleep arc,
  // the bedtime needle and the present-time hand. Either date may be absent.
  ImageRef drawTheBedClockWithSize(float size, std::optional<Date> bedtime, std::optional<Date> waketime);
  // The two recharge rings: last night's sleep over the goal hours, and the bank.
  ImageRef drawTheRechargeWithSize(float size, float sleepPercent, float bankPercent);
  // The four sleep rings, outside in: time asleep, quality (REM when
  // `forStages`), deep sleep and heart rate, each a fraction of its target;
  // a positive `rating` adds the centre disc, its arc and its number. At 260
  // points (the accessory widget) the rings are white and there is no disc.
  ImageRef drawSleepRingsWithSize(float size, float sleepPercent, float qualityPercent, float deepPercent,
                                  float bpmPercent, float rating, bool forStages);

  // The speedometer gauges, each drawn from its record: last night's blood
  // oxygen with its range and the seven nights', the breathing rate likewise
  // on a scale of seven star segments, the drift of the average bedtime, and
  // the wrist temperature's score.
  ImageRef drawSpO2GaugeWithSize(float size, const MetricDictionary& dict);
  ImageRef drawRespRateGaugeWithSize(float size, const MetricDictionary& dict);
  ImageRef drawConsistencyGaugeWithSize(float size, const MetricDictionary& dict);
  ImageRef drawWristTempGaugeWithSize(float size, const MetricDictionary& dict);
  // The readiness (or sleep fuel) dial: seven star segments, the needle at
  // the stars of `value` (a readiness ratio, 1 at the baseline), the label
  // above the hub and, by `legend`, the fuel icon (1), the readiness figure
  // (2 or more) or none (0 or less) below it. The short form draws neither.
  ImageRef drawReadiRingsWithSize(float size, float value, const std::optional<std::string>& label, int legend);
  ImageRef drawReadiRingsWithSize(float size, float value);

  // The configuration number under `key` in "velmoraConfig"; 0.0 when missing.
  float getVelmoraConfigValueForKey(std::string_view key);

  bool widgetMode() const { return widgetMode_; }
  bool widgetAccessoryMode() const { return widgetAccessoryMode_; }

 protected:
  // Widget accessors set both flags together; nothing ever clears them.
  void setWidgetFlags(bool widget, bool accessory) {
    widgetMode_ = widget;
    widgetAccessoryMode_ = accessory;
  }
  // Made by the first drawing that needs it, before any colour is asked for.
  Pallet& pallet();
  // The one drawing of every gauge (graphics/Gauges.h).
  ImageRef drawGauge(float size, const Gauge& gauge);

 private:
  Lazy<Pallet> pallet_;
  bool widgetMode_ = false;
  bool widgetAccessoryMode_ = false;
};

}  // namespace velmora
