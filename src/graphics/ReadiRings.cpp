// The readiness and sleep fuel dial: despite its name a gauge of the family,
// its scale cut into seven star segments and its needle at the value's stars.

#include "graphics/Gauges.h"
#include "graphics/SleepMetricsGraphics.h"

namespace velmora {

namespace {

// From the red of no readiness through the charge colours to the blue of more than ready.
constexpr SevenSegmentColours kReadinessColours =
    sevenSegmentsByRule(&Pallet::colourForReadyScore, {0.0f, 0.6f, 0.75f, 0.9f, 1.1f, 1.3f, 1.6f}, 1.6f);

// The fuel pump sits a little lower and smaller than the readiness figure.
constexpr GaugeIconSquare kFuelIconSquare{-18.0, 28.0, 40.0};

// No readiness still points a hundredth in, as any gauge's needle.
constexpr float kLeastReadiness = 0.01f;

}  // namespace

ImageRef SleepMetricsGraphics::drawReadiRingsWithSize(float size, float value, const std::optional<std::string>& label,
                                                      int legend) {
  const Pallet& colours = pallet();
  const float readiness = value > kLeastReadiness ? value : kLeastReadiness;

  Gauge gauge;
  gauge.scale = sevenSegmentScale(kReadinessColours, colours);
  if (legend == 1) {
    gauge.icon = "FuelIcon";
    gauge.iconSquare = kFuelIconSquare;
  } else if (legend >= 2) {
    gauge.icon = "Readiperson";
  }
  gauge.text = label;
  gauge.needle = starsPosition(colours.starsValueForReadyPercent(readiness));
  return drawGauge(size, gauge);
}

ImageRef SleepMetricsGraphics::drawReadiRingsWithSize(float size, float value) {
  return drawReadiRingsWithSize(size, value, std::nullopt, 0);
}

}  // namespace velmora
