#pragma once

#include <memory>
#include <string>

#include "drawing/RunCaches.h"
#include "palette/Views.h"
#include "values/Colour.h"
#include "values/Environment.h"
#include "values/Value.h"

namespace velmora {

class UserDefaults;

// The single source of every colour the app shows: the user's theme (dark or
// light), five adjustable hues and the heart-rate thresholds, the rules that
// turn a measured value into a colour, a star value or a short label, the
// fixed colours of the interface, and the styling of views and controls.
//
// A Pallet is cheap and short-lived: made for one screen or image, it reads
// the theme and the hues once at creation and the heart-rate preferences on
// demand, and never notices later changes to the stores. Hues are kept in
// degrees and handed to colours as a fraction of a full turn.
class Pallet {
 public:
  // Reads the theme (writing the dark default back on first use) and the hues.
  // Keeps a reference to the run's caches, which must outlive it.
  explicit Pallet(RunCaches& caches);

  // --- Theme, hues and heart-rate preferences ---

  // A screen that must be dark calls setDarkTheme(true); when the user's own
  // theme was light this is remembered as temporary, and restoreTheme()
  // returns to the stored choice.
  void setDarkTheme(bool dark);
  bool isDarkTheme() const { return darkTheme_; }
  bool isTemporaryDark() const { return temporaryDark_; }
  void restoreTheme();

  // Back to the default hues, then "Hue1".."Hue5" from the standard defaults,
  // else from the shared store.
  void loadCustomHues();
  // Takes entries 0..4 as the five hues; with no array or fewer than five entries, nothing changes.
  void loadCustomHuesFromArray(const Array* hues);
  // The heart-rate thresholds and "miles"; zero until this has run.
  void loadPrefs();

  float maxHeartRate() const { return maxHeartRate_; }
  float restingElevated() const { return restingElevated_; }
  float restingHigh() const { return restingHigh_; }
  float restingNormal() const { return restingNormal_; }
  float restingLow() const { return restingLow_; }
  float restingVeryLow() const { return restingVeryLow_; }
  float workoutPercent1() const { return workoutPercent1_; }
  float workoutPercent2() const { return workoutPercent2_; }
  float workoutPercent3() const { return workoutPercent3_; }
  float workoutPercent4() const { return workoutPercent4_; }
  float workoutPercent5() const { return workoutPercent5_; }
  float hue1() const { return hue1_; }
  float hue2() const { return hue2_; }
  float hue3() const { return hue3_; }
  float hue4() const { return hue4_; }
  float hue5() const { return hue5_; }
  bool miles() const { return miles_; }

  // --- Value-to-colour rules ---

  // The charge of a battery: 1.0 is full, above 1 a surplus. Every rating below goes through it.
  Colour colourForBatteryChargePercent(float ratio) const;
  // A rating in percent: the charge colour of rating / 100.
  Colour lightRatingColour(float rating) const;

  Colour colourForReadyScore(float readiness) const;
  Colour colourForWristTempScore(float score) const;
  Colour wristTempColourForValue(float value, float baseline) const;
  // 0 to 7, where 3 to 4 is normal; 0 when either temperature is missing.
  float wristTempScoreForValue(float value, float baseline) const;

  Colour spO2TintGood() const;
  Colour spO2TintOK() const;
  Colour spO2TintBad() const;
  Colour colourForSpO2Reading(float percent) const;
  Colour respRateTintGood() const;
  Colour respRateTintBad() const;
  Colour colourForRespRateReading(float breathsPerMinute) const;
  Colour colourForRespRateGraphReading(float breathsPerMinute) const;
  Colour colourForRespRateLineGood() const;
  Colour colourForRespRateLineBad() const;
  Colour colourForRespRateLine() const;

  Colour efficiencyRatingColour(float percent) const;
  Colour heartRatingColourForBPM(float bpm, float average) const;
  Colour colourForQualityWithPercent(float ratio) const;
  Colour colourForDeepSleepWithPercent(float ratio) const;
  Colour innerShadeForType(float type) const;
  Colour colourForHRAverage(float ratio) const;
  Colour colourForHRDipZone(float ratio) const;
  Colour colourForClockFace(int type, bool isDarker) const;

  // The two heart-rate rules read the thresholds (loadPrefs) first.
  Colour colourForRestingBPM(float bpm);
  Colour colourForWorkoutBPM(float bpm);
  Colour colourForRestingZone(int zone) const;
  Colour colourForWorkoutZone(int zone) const;
  Colour colourForFeelingPercent(float ratio) const;
  Colour colourForSorenessPercent(float ratio) const;
  Colour colourForWeekBatteryChargePercent(float ratio) const;
  Colour colourForSpeedZone(int zone) const;
  Colour colourForEnergy(float energy) const;

  // Localised labels.
  std::string emojiForFeeling(float score) const;
  std::string textForSpeedZone(int zone) const;

  // Star values, 0 to just under 7.
  float starsValueForReadyPercent(float readiness) const;
  float starsValueForRespRate(float breathsPerMinute) const;

  // --- Named colours ---

  Colour backgroundColour() const;
  Colour intenseBackgroundColour() const;
  Colour seperatorColour() const;
  Colour sectionLineColour() const;
  Colour cellColour() const;
  Colour subtleBackgroundColour() const;
  Colour sleepingColour() const;
  Colour featureBackgroundColour() const;
  Colour clockRingColour() const;
  Colour clockOutlineColour() const;
  Colour clockSleepSessionColour() const;
  Colour clockSleepSessionColourSpecial() const;
  Colour colourForSubtleSleepRing() const;
  Colour colourForAdjustBackground() const;
  Colour gradientFadeColour() const;
  Colour pickerBackgroundColour() const;
  Colour colourForSectionHeaderLine() const;

  Colour headingColour() const;
  Colour subtleHeadingColour() const;
  Colour tintColour() const;
  Colour highTintColour() const;
  Colour textColour() const;
  Colour subtleTextColour() const;
  Colour verySubtleTextColour() const;
  Colour textEntryColour() const;
  Colour textEntryBackground() const;
  Colour minorTextColour() const;
  Colour footerTextColour() const;
  Colour colourForSleepSectionHeading() const;
  Colour colourForWellnessSectionHeading() const;
  Colour colourForHour() const;
  Colour colourForMajorHour() const;
  Colour colourForNightHour() const;

  Colour switchOnColour() const;
  Colour colourForPurpleEye() const;
  Colour darkModeSelectedTint() const;
  Colour darkModeBkgTint() const;
  Colour trackBkgColour() const;
  Colour trackColour() const;
  Colour trackWorkoutBkgColour() const;
  Colour trackWorkoutColour() const;
  Colour colourForREMSleep() const;
  Colour colourForDeepSleep() const;
  Colour colourForLightsOff() const;
  Colour mutedColourForLightsOff() const;
  Colour mutedColourWhenRestless() const;
  Colour mutedColourWhenAwake() const;
  Colour noiseLabelTint() const;

  Colour colourWhenRestless() const;
  Colour colourWhenAwake() const;
  Colour noiseTint() const;
  Colour noiseTintHigh() const;
  Colour noiseTintLoud() const;
  Colour spO2LabelTint() const;
  Colour colourForRestfulSleep() const;

  // --- View and control styling ---

  // A background gradient as the view's first sublayer, named "gradient";
  // applying it again replaces the old one instead of stacking another.
  void applyGradientToView(View& view) const;
  void applyChildGradientToView(View& view) const;
  void applyTitleBackgroundToView(View& view) const;
  void applyLowerTitleBackgroundToView(View& view) const;
  void applyLowerTitleBackgroundToChildView(View& view) const;
  void applyTintToSegmentedControl(SegmentedControl& control) const;
  void applyTintToStepperControl(Stepper& control) const;

 private:
  void readTheme();
  Colour themed(Colour dark, Colour light) const { return darkTheme_ ? dark : light; }
  float stageBrightness(float ratio) const;
  static void applyGradient(View& view, Colour top, Colour bottom);

  RunCaches* caches_;
  const Environment* env_;
  std::shared_ptr<UserDefaults> standardDefaults_;

  float maxHeartRate_ = 0;
  float restingElevated_ = 0;
  float restingHigh_ = 0;
  float restingNormal_ = 0;
  float restingLow_ = 0;
  float restingVeryLow_ = 0;
  float workoutPercent1_ = 0;
  float workoutPercent2_ = 0;
  float workoutPercent3_ = 0;
  float workoutPercent4_ = 0;
  float workoutPercent5_ = 0;
  float hue1_ = 357;
  float hue2_ = 34;
  float hue3_ = 44;
  float hue4_ = 128;
  float hue5_ = 207;
  bool miles_ = false;
  bool darkTheme_ = true;
  bool temporaryDark_ = false;
};

}  // namespace velmora
