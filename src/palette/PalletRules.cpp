// The rules that turn a measured value into a colour, a star value or a
// label. Inputs are single-precision and so is the arithmetic; every band
// edge is compared in single precision too, so an edge written here belongs
// to the band that names it.

#include <algorithm>
#include <iterator>
#include <span>
#include <string>

#include "palette/Pallet.h"
#include "store/UserDefaults.h"
#include "text/Bundle.h"

namespace velmora {

namespace {

constexpr Colour hsb(double degrees, double saturation, double brightness) {
  return Colour::hsba(degrees / 360.0, saturation, brightness);
}

// The zone colours, highest or fastest first. A zone past the end of its
// table, or before its start, takes the table's last colour.
constexpr Colour kRestingZones[] = {
    hsb(357, 0.8, 1.0),    // elevated
    hsb(270, 0.4, 0.67),   // high
    hsb(207, 0.75, 0.92),  // above normal
    hsb(354, 0.4, 0.75),   // low
    hsb(354, 0.4, 0.5),    // very low
};
constexpr Colour kWorkoutZones[] = {
    hsb(357, 0.8, 1.0), hsb(357, 0.69, 0.87), hsb(44, 0.94, 0.91), hsb(139, 0.82, 0.65), hsb(171, 0.82, 0.55),
};
// Bolting, running, jogging, brisk, walking, mobile, active; then anything slower.
constexpr Colour kSpeedZones[] = {
    hsb(357, 0.8, 1.0),   hsb(357, 0.69, 0.87), hsb(44, 0.94, 0.91),  hsb(30, 0.75, 0.89),
    hsb(139, 0.82, 0.75), hsb(139, 0.82, 0.65), hsb(139, 0.82, 0.55), hsb(139, 0.82, 0.35),
};

Colour zoneColour(std::span<const Colour> zones, int zone) {
  return zone >= 0 && static_cast<std::size_t>(zone) < zones.size() ? zones[static_cast<std::size_t>(zone)]
                                                                    : zones.back();
}

}  // namespace

// --- Charge and ratings ---

Colour Pallet::colourForBatteryChargePercent(float x) const {
  if (x >= 1.5f) {
    // A large surplus brightens up to full and stays there.
    const float t = std::min(2.0f * x - 3.0f, 1.0f);
    return hsb(hue5_, 0.8, 0.8f + 0.2f * t);
  }
  if (x >= 1.0f) return hsb(hue4_, 0.8, 0.6f + 0.3f * (2.0f * x - 2.0f));
  if (x >= 0.85f) return hsb(hue3_, 0.94, 0.8f + 0.15f * (1.0f - (1.0f - x) / 0.15f));
  if (x >= 0.75f) return hsb(hue2_, 0.8, 0.75f + 0.15f * (1.0f - (0.85f - x) / 0.1f));
  return hsb(hue1_, 0.69, 0.7f + 0.2f * (1.0f - (0.75f - x) / 0.75f));
}

Colour Pallet::lightRatingColour(float rating) const { return colourForBatteryChargePercent(rating / 100.0f); }

Colour Pallet::colourForReadyScore(float r) const {
  if (r > 1.5f) return lightRatingColour(160);
  if (r > 1.2f) return lightRatingColour(140);
  if (r > 0.95f) return lightRatingColour(120);
  if (r > 0.825f) return lightRatingColour(110);
  if (r > 0.7f) return lightRatingColour(99);
  if (r > 0.5f) return lightRatingColour(75);
  return lightRatingColour(50);
}

// The score is best in the middle (3 to 4) and worse the further the
// temperature strays either way, so the ratings mirror around it.
Colour Pallet::colourForWristTempScore(float s) const {
  if (s >= 6) return lightRatingColour(70);
  if (s >= 5) return lightRatingColour(90);
  if (s >= 4) return lightRatingColour(105);
  if (s >= 3) return lightRatingColour(120);
  if (s >= 2) return lightRatingColour(105);
  if (s >= 1) return lightRatingColour(90);
  return lightRatingColour(70);
}

Colour Pallet::wristTempColourForValue(float value, float baseline) const {
  return colourForWristTempScore(wristTempScoreForValue(value, baseline));
}

float Pallet::wristTempScoreForValue(float value, float baseline) const {
  if (!(value > 0.0f) || !(baseline > 0.0f)) return 0.0f;
  float d = value - baseline;
  // The bands are in degrees Celsius; a Fahrenheit deviation is 1.8 times larger.
  if (standardDefaults_->boolForKey("tempF")) d = d / 1.8f;

  if (d >= -0.25f && d <= 0.25f) return 3.0f + 2.0f * (d + 0.25f);
  if (d > 0.25f && d <= 1.0f) return 4.0f + (d - 0.25f) * 4.0f / 3.0f;
  if (d > 1.0f && d <= 1.5f) return 5.0f + 2.0f * (d - 1.0f);
  if (d > 1.5f) {
    const float w = 2.0f * (d - 1.5f);
    return w > 1.0f ? 7.0f : 6.0f + w;
  }
  if (d >= -1.0f) return 3.0f + (d + 0.25f) * 4.0f / 3.0f;
  if (d >= -1.5f) return 2.0f + 2.0f * (d + 1.0f);
  if (d < -1.5f) {
    const float w = 2.0f * (d + 1.5f);
    return w < -1.0f ? 0.0f : 1.0f + w;
  }
  return 0.0f;  // a deviation that is not a number scores like a missing reading
}

// --- Oxygen and breathing ---

Colour Pallet::spO2TintGood() const { return lightRatingColour(110); }
Colour Pallet::spO2TintOK() const { return lightRatingColour(99); }
Colour Pallet::spO2TintBad() const { return lightRatingColour(50); }

Colour Pallet::colourForSpO2Reading(float p) const {
  if (p >= 95) return spO2TintGood();
  if (p >= 90) return spO2TintOK();
  return spO2TintBad();
}

Colour Pallet::respRateTintGood() const { return lightRatingColour(110); }
Colour Pallet::respRateTintBad() const { return lightRatingColour(50); }

namespace {
bool isNormalBreathingRate(float b) { return b >= 11.999f && b < 20.499f; }
}  // namespace

// The oxygen tints have the same values as the breathing ones and are the ones used.
Colour Pallet::colourForRespRateReading(float b) const {
  return isNormalBreathingRate(b) ? spO2TintGood() : spO2TintBad();
}

Colour Pallet::colourForRespRateGraphReading(float b) const {
  return isNormalBreathingRate(b) ? colourForRespRateLineGood() : colourForRespRateLineBad();
}

Colour Pallet::colourForRespRateLineGood() const { return hsb(hue4_, 1.0, darkTheme_ ? 0.9 : 0.75); }
Colour Pallet::colourForRespRateLineBad() const { return hsb(hue1_, 1.0, 1.0); }
Colour Pallet::colourForRespRateLine() const { return darkTheme_ ? hsb(65, 1.0, 0.9) : hsb(55, 1.0, 0.1); }

// --- Sleep and heart ---

Colour Pallet::efficiencyRatingColour(float percent) const {
  const float r = percent / 100.0f;
  if (r >= 0.9f) return hsb(hue4_, 0.8, 0.6f + 0.3f * (1.0f - 2.0f * (1.0f - r)));
  if (r >= 0.85f) return hsb(hue3_, 0.94, 0.8f + 0.15f * (1.0f - 4.0f * (1.0f - r)));
  if (r >= 0.8f) return hsb(hue2_, 0.8, 0.75f + 0.15f * (1.0f - 4.0f * (0.85f - r)));
  return hsb(hue1_, 0.69, 0.7f + 0.2f * (1.0f - 2.0f * (0.8f - r)));
}

Colour Pallet::heartRatingColourForBPM(float bpm, float average) const {
  const float d = bpm - average;
  if (d < 0) return hsb(hue4_, 0.8, 0.8);
  if (d >= 4.5f) return hsb(hue1_, 0.69, 0.7);
  if (d >= 3.5f) return hsb(hue2_, 0.8, 0.8);
  if (d >= 2) return hsb(hue3_, 0.94, 0.8);
  if (d >= 1) return hsb(hue3_, 0.94, 0.9);
  return hsb(hue4_, 0.8, 0.7);
}

// Sleep stages brighten from a floor (m at half the goal) to full at the goal.
float Pallet::stageBrightness(float p) const {
  if (p >= 2.0f) return 1.0f;
  const float floor = darkTheme_ ? 0.7f : 0.5f;
  const float room = 1.0f - floor;
  return floor + std::clamp(room * 2.0f * (p - 0.5f), 0.0f, room);
}

Colour Pallet::colourForQualityWithPercent(float p) const { return hsb(256, 0.55, stageBrightness(p)); }
Colour Pallet::colourForDeepSleepWithPercent(float p) const { return hsb(256, 0.75, stageBrightness(p)); }

Colour Pallet::innerShadeForType(float type) const {
  const float base = darkTheme_ ? 0.05f : 0.9f;
  return hsb(193, darkTheme_ ? 0.92 : 0.0, base + 0.125f - 0.025f * type);
}

Colour Pallet::colourForHRAverage(float x) const {
  if (x >= 1.0f) return hsb(340, 0.1, 0.4);
  // Full brightness well below the average, fading towards the floor as it nears it.
  const float floor = darkTheme_ ? 0.7f : 0.5f;
  const float t = (2.0f * (x - 0.5f) - 0.4f) * 2.5f;
  const float u = t > 1.0f ? 1.0f : std::max(t, floor);
  return hsb(340, 1.0, floor + 1.0f - u);
}

Colour Pallet::colourForHRDipZone(float x) const { return hsb(340, 1.0, 0.35f + 0.1625f * x); }

Colour Pallet::colourForClockFace(int type, bool isDarker) const {
  switch (type) {
    case 1:
      return isDarker ? hsb(193, 0.92, 0.15) : hsb(193, 0.1, 0.95);
    case 2:
      return isDarker ? hsb(193, 0.92, 0.2) : hsb(193, 0.2, 0.8);
    case 3:
      return isDarker ? hsb(255, 0.52, 0.15) : hsb(255, 0.1, 0.15);
    case 4:
      return isDarker ? hsb(207, 0.92, 0.15) : hsb(207, 0.92, 0.25);
    case 5:
      return isDarker ? hsb(193, 0.92, 0.25) : hsb(192, 0.92, 0.3);
    default:
      return isDarker ? Colour::blackColor() : hsb(193, 0, 0.98);
  }
}

// --- Fitness ---

Colour Pallet::colourForRestingBPM(float bpm) {
  loadPrefs();
  if (bpm >= restingElevated_) return hsb(357, 0.8, 1.0);
  if (bpm >= restingHigh_) return hsb(270, 0.4, 0.67);
  if (bpm >= restingNormal_ + 5.0f) return hsb(207, 0.75, 0.92);
  if (bpm >= restingNormal_) return hsb(207, 0.65, 0.94);
  if (bpm >= restingLow_) return hsb(354, 0.4, 0.75);
  return hsb(354, 0.4, 0.5);
}

Colour Pallet::colourForRestingZone(int zone) const { return zoneColour(kRestingZones, zone); }

Colour Pallet::colourForWorkoutZone(int zone) const { return zoneColour(kWorkoutZones, zone); }

Colour Pallet::colourForWorkoutBPM(float bpm) {
  loadPrefs();
  const float percentOfMax = bpm / maxHeartRate_ * 100.0f;
  if (percentOfMax >= workoutPercent1_) return colourForWorkoutZone(0);
  if (percentOfMax >= workoutPercent2_) return colourForWorkoutZone(1);
  if (percentOfMax >= workoutPercent3_) return colourForWorkoutZone(2);
  if (percentOfMax >= workoutPercent4_) return colourForWorkoutZone(3);
  if (percentOfMax >= workoutPercent5_) return colourForWorkoutZone(4);
  return colourForRestingBPM(bpm);
}

Colour Pallet::colourForFeelingPercent(float x) const {
  if (x < 0.29f) return hsb(356, 0.79, 0.84);
  if (x < 0.69f) return hsb(200, 0.6, 0.8);
  return hsb(134, 0.85, 0.6);
}

Colour Pallet::colourForSorenessPercent(float x) const {
  if (x <= 0.29f) return hsb(134, 0.85, 0.6);
  if (x <= 0.49f) return hsb(42, 0.96, 0.89);
  if (x <= 0.79f) return hsb(356, 0.79, 0.84);
  return hsb(354, 0.92, 0.98);
}

Colour Pallet::colourForWeekBatteryChargePercent(float x) const {
  if (x > 0.85f) return hsb(128, 0.8, 0.5);
  if (x > 0.65f) return hsb(44, 0.94, 0.8);
  return hsb(357, 0.69, 0.7);
}

Colour Pallet::colourForSpeedZone(int zone) const { return zoneColour(kSpeedZones, zone); }

Colour Pallet::colourForEnergy(float e) const {
  if (e == -1.0f) return Colour::blackColor();  // no reading
  if (e <= 5) return hsb(133, 0.85, 0.2);
  if (e <= 25) return hsb(133, 0.85, 0.25);
  if (e <= 1000) return hsb(133, 0.85, 0.3);
  return hsb(133, 0.85, 0.61);
}

// --- Labels ---

std::string Pallet::emojiForFeeling(float f) const {
  const char* face = f < 3 ? "💩" : f < 7 ? "😐" : "😄";
  return caches_->bundle().localizedStringForKey(face, "");
}

std::string Pallet::textForSpeedZone(int zone) const {
  static constexpr const char* kZones[] = {"Bolting", "Running", "Jogging",     "Brisk",  "Walking",
                                           "Mobile",  "Active",  "Semi-Active", "Minimal"};
  constexpr int kCount = static_cast<int>(std::size(kZones));
  const char* text = zone >= 0 && zone < kCount ? kZones[zone] : "Nothing";
  return caches_->bundle().localizedStringForKey(text, "");
}

// --- Stars ---

float Pallet::starsValueForReadyPercent(float r) const {
  if (r > 1.5f) {
    const float stars = 6.0f + 2.0f * (r - 1.5f);
    return stars >= 7.0f ? 6.99f : stars;  // the seventh star is never quite full
  }
  if (r > 1.2f) return 5.0f + (r - 1.2f) / 0.3f;
  if (r > 0.95f) return 4.0f + 4.0f * (r - 0.95f);
  if (r > 0.825f) return 3.0f + 8.0f * (r - 0.825f);
  if (r > 0.7f) return 2.0f + 8.0f * (r - 0.7f);
  if (r > 0.5f) return 1.0f + (r - 0.5f) / 0.2f;
  return 2.0f * r;
}

// 3.5 stars at 16.25 breaths a minute; slower rates fall towards 2 stars
// (and below 12, towards none), faster ones climb towards 7.
float Pallet::starsValueForRespRate(float b) const {
  if (b < 11.99f) return b / 6.0f;
  if (b < 16.25f) return std::clamp(3.5f - 1.5f * (16.25f - b) / 4.25f, 2.0f, 3.5f);
  if (b == 16.25f) return 3.5f;
  if (b < 20.49f) return std::min(3.5f + 1.5f * (b - 16.25f) / 4.25f, 4.99f);
  return std::min(5.0f + 2.0f * (b - 20.5f) / 9.5f, 6.99f);
}

}  // namespace velmora
