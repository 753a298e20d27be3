#pragma once

#include <optional>

#include "graphics/SleepMetricsGraphics.h"
#include "values/Environment.h"
#include "values/Lazy.h"
#include "values/Value.h"

namespace velmora {

class GroupMetrics;

// The request operations of the notification, the widgets and the shortcuts:
// each turns a metric record into a display dictionary of texts, colours and
// one image ("ringsImage"). The `ForSwift` operations publish texts for the
// widgets into the SharedStore under "Swift-" keys; the image operations
// serve widget layouts and leave the object in widget mode for good.
class SleepMetricsUI : public SleepMetricsGraphics {
 public:
  // Keeps a reference to the run's caches, which must outlive it.
  explicit SleepMetricsUI(RunCaches& caches);
  ~SleepMetricsUI() override;

  // --- Tonight's bedtime -----------------------------------------------------------

  std::optional<MetricDictionary> requestLatestBedtime();
  void requestLatestBedtimeForSwift();
  ImageRef swiftBedtimeImage();

  // --- Last night's sleep and the sleep bank ---------------------------------------

  // Empty (no keys) when the watch has left no record.
  std::optional<MetricDictionary> requestSleepBankRings();
  void requestSleepBankForSwift();
  ImageRef swiftSleepBankImage();
  ImageRef swiftSleepBankAccessoryImage();

  // --- Last night's sleep rings ------------------------------------------------------

  // The rings image (280 points, 260 in accessory mode), the four ring labels
  // and colours, the stages flag and the copy text; nothing without a record.
  std::optional<MetricDictionary> requestQuality();
  ImageRef swiftSleepRingsImage();
  ImageRef swiftSleepRingsAccessoryImage();

  // --- Vital signs ------------------------------------------------------------------

  // The displayable texts of last night's blood oxygen, breathing rate and
  // wrist temperature with their gauge (and the wrist's rating colour);
  // nothing when there is no record.
  std::optional<MetricDictionary> requestSpO2();
  std::optional<MetricDictionary> requestRespRate();
  std::optional<MetricDictionary> requestWristTemp();
  ImageRef swiftSpO2Image();
  ImageRef swiftRespRateImage();
  ImageRef swiftWristTempImage();
  void requestSpO2ForSwift();
  void requestRespRateForSwift();

  // --- Readiness, sleep fuel and bedtime consistency --------------------------------

  // The readiness (or fuel) dial with the rating, the two measurements' labels
  // and indicator colours, the copy text, and in widget mode their tints;
  // nothing without a record.
  std::optional<MetricDictionary> requestReadiness();
  std::optional<MetricDictionary> requestOctane();
  // The consistency gauge with the average bedtime, its trend and the gauge's label.
  std::optional<MetricDictionary> requestConsistency();
  ImageRef swiftReadinessImage();
  ImageRef swiftOctaneImage();
  // Readiness and fuel publish under the same keys: the later call wins.
  void requestReadinessForSwift();
  void requestOctaneForSwift();

 private:
  GroupMetrics& groupMetrics();
  std::optional<MetricDictionary> readinessDisplay(const std::optional<MetricDictionary>& record);
  using Request = std::optional<MetricDictionary> (SleepMetricsUI::*)();
  // What every widget image accessor does: widget mode (and accessory mode
  // when asked) for good, then the request's image.
  ImageRef widgetImage(Request request, bool accessory = false);

  Lazy<GroupMetrics> groupMetrics_;
};

}  // namespace velmora
