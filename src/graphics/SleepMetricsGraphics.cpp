#include "graphics/SleepMetricsGraphics.h"

#include <numbers>

#include "palette/Pallet.h"
#include "store/UserDefaults.h"

namespace velmora {

SleepMetricsGraphics::SleepMetricsGraphics(RunCaches& caches) : MetricSources(caches) {}
SleepMetricsGraphics::~SleepMetricsGraphics() = default;

Pallet& SleepMetricsGraphics::pallet() { return pallet_.get(caches_); }

double SleepMetricsGraphics::radians(double degrees) { return degrees / 180.0 * std::numbers::pi; }

// The offset points away from the ring's end so the tip looks lifted off the
// track: down-right in the first quarter, then turning with the ring. A ring
// past its goal laps once, so its tip is placed as for the remainder.
std::pair<double, double> SleepMetricsGraphics::getShadowForPercent(float percent) {
  if (percent > 1.0f) percent -= 1.0f;
  if (percent <= 0.25f) return {2.0, 2.0};
  if (percent <= 0.5f) return {-1.0, 1.0};
  if (percent <= 0.75f) return {-1.0, -1.0};
  return {2.0, 0.0};
}

// The dials keep their own dark blue-black and warm off-white whatever the theme.
namespace {
constexpr double kDialHue = 193.0 / 360.0;
constexpr double kMarkHue = 55.0 / 360.0;
}  // namespace

Colour SleepMetricsGraphics::gaugeBkg() { return Colour::hsba(kDialHue, 0.92, 0.10); }
Colour SleepMetricsGraphics::ringBkg() { return Colour::hsba(kDialHue, 0.92, 0.15); }
Colour SleepMetricsGraphics::needleBkg() { return Colour::hsba(kDialHue, 0.0, 0.60); }
Colour SleepMetricsGraphics::textColour() { return Colour::hsba(kMarkHue, 0.05, 0.85); }
Colour SleepMetricsGraphics::subtleTextColour() { return Colour::hsba(kMarkHue, 0.05, 0.67); }
Colour SleepMetricsGraphics::verySubtleTextColour() { return Colour::hsba(kMarkHue, 0.05, 0.55); }

// Unlike the metrics' own lookup this one has no "missing" marker: an absent
// configuration or key reads as 0, and it never opens the store by itself.
float SleepMetricsGraphics::getVelmoraConfigValueForKey(std::string_view key) {
  if (!groupPrefs_) return 0.0f;
  const std::optional<Value> config = groupPrefs_->objectForKey("velmoraConfig");
  const MetricDictionary* dictionary = config ? config->dictionary() : nullptr;
  return dictionary ? dictionary->floatForKey(key) : 0.0f;
}

}  // namespace velmora
