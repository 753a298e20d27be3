// The fixed colours of the interface and the styling of views and controls.
// Each themed colour is written dark first, light second; the light theme's
// greys keep the dark theme's hue with no saturation.

#include <string>
#include <string_view>
#include <utility>

#include "palette/Pallet.h"

namespace velmora {

namespace {

constexpr std::string_view kGradientLayerName = "gradient";

}  // namespace

// --- Backgrounds and surfaces ---

Colour Pallet::backgroundColour() const { return themed(hsb(193, 0.92, 0.08), hsb(193, 0, 0.98)); }
Colour Pallet::intenseBackgroundColour() const { return themed(hsb(193, 0.92, 0), hsb(193, 0, 1.0)); }
Colour Pallet::seperatorColour() const { return themed(hsb(193, 0.92, 0.02), hsb(193, 0, 1.0)); }
Colour Pallet::sectionLineColour() const { return themed(hsb(193, 0.1, 0.12), hsb(193, 0, 0.95)); }
Colour Pallet::cellColour() const { return themed(hsb(193, 0.92, 0.14), hsb(193, 0, 0.92)); }
Colour Pallet::subtleBackgroundColour() const { return themed(hsb(193, 0.92, 0.14), hsb(193, 0, 0.92)); }
Colour Pallet::sleepingColour() const { return themed(hsb(193, 0.92, 0.24), hsb(193, 0, 0.92)); }
Colour Pallet::featureBackgroundColour() const { return hsb(193, 0.92, 0.05); }
Colour Pallet::clockRingColour() const { return themed(hsb(193, 0.05, 0.08), hsb(193, 0.05, 0.85)); }
Colour Pallet::clockOutlineColour() const { return themed(Colour::blackColor(), hsb(193, 0, 0.95)); }
Colour Pallet::clockSleepSessionColour() const { return hsb(193, 0.05, 0.85); }
Colour Pallet::clockSleepSessionColourSpecial() const { return hsb(193, 0.05, 0.85); }
Colour Pallet::colourForSubtleSleepRing() const { return themed(hsb(207, 0.15, 0.38), hsb(207, 0.2, 0.65)); }
Colour Pallet::colourForAdjustBackground() const { return themed(hsb(207, 0.15, 0.38), hsb(207, 0, 0.95)); }
Colour Pallet::gradientFadeColour() const { return themed(hsb(239, 0.2, 0), hsb(239, 0, 0.94)); }
Colour Pallet::pickerBackgroundColour() const { return hsb(55, 0.5, 0.7); }
Colour Pallet::colourForSectionHeaderLine() const { return themed(Colour::blackColor(), sectionLineColour()); }

// --- Text and tints ---

Colour Pallet::headingColour() const { return themed(hsb(55, 0.1, 1.0), hsb(55, 0, 0.1)); }
Colour Pallet::subtleHeadingColour() const { return themed(hsb(60, 0.1, 0.9), hsb(55, 0, 0.15)); }
Colour Pallet::tintColour() const { return themed(hsb(55, 0.2, 1.0), hsb(55, 0, 0.1)); }
Colour Pallet::highTintColour() const { return themed(hsb(60, 0.34, 1.0), hsb(55, 0, 0.1)); }
Colour Pallet::textColour() const { return themed(hsb(55, 0.05, 0.85), hsb(55, 0, 0.15)); }
Colour Pallet::subtleTextColour() const { return themed(hsb(55, 0.05, 0.67), hsb(55, 0, 0.3)); }
Colour Pallet::verySubtleTextColour() const { return themed(hsb(55, 0.05, 0.55), hsb(55, 0, 0.45)); }
Colour Pallet::textEntryColour() const { return themed(hsb(55, 0.05, 0.85), hsb(55, 0, 0.15)); }
Colour Pallet::textEntryBackground() const { return themed(hsb(199, 0.73, 0.49), hsb(55, 0, 0.8)); }
Colour Pallet::minorTextColour() const { return themed(hsb(55, 0.05, 0.85), hsb(55, 0, 0.2)); }
Colour Pallet::footerTextColour() const { return themed(hsb(55, 0.05, 0.75), hsb(55, 0, 0.2)); }
Colour Pallet::colourForSleepSectionHeading() const { return themed(hsb(55, 0.1, 0.85), hsb(193, 0, 0.1)); }
Colour Pallet::colourForWellnessSectionHeading() const { return themed(hsb(55, 0.1, 0.85), hsb(193, 0, 0.1)); }
Colour Pallet::colourForHour() const { return themed(hsb(55, 0, 0.8), hsb(55, 0, 1.0)); }
Colour Pallet::colourForMajorHour() const { return hsb(55, 0, 1.0); }
Colour Pallet::colourForNightHour() const { return hsb(55, 0.23, 1.0); }

// --- The same in both themes ---

Colour Pallet::switchOnColour() const { return hsb(199, 0.73, 0.49); }
Colour Pallet::colourForPurpleEye() const { return hsb(274, 0.7, 1.0); }
Colour Pallet::darkModeSelectedTint() const { return hsb(208, 0.15, 0.42); }
Colour Pallet::darkModeBkgTint() const { return hsb(202, 0.37, 0.19); }
Colour Pallet::trackBkgColour() const { return hsb(6, 0.63, 0.53); }
Colour Pallet::trackColour() const { return hsb(6, 0.63, 0.73); }
Colour Pallet::trackWorkoutBkgColour() const { return hsb(207, 0.63, 0.53); }
Colour Pallet::trackWorkoutColour() const { return hsb(207, 0.63, 0.73); }
Colour Pallet::colourForREMSleep() const { return hsb(283, 0.8, 1.0); }
Colour Pallet::colourForDeepSleep() const { return hsb(256, 0.6, 1.0); }
Colour Pallet::colourForLightsOff() const { return hsb(43, 0.88, 1.0); }
Colour Pallet::mutedColourForLightsOff() const { return hsb(43, 0.88, 0.8); }
Colour Pallet::mutedColourWhenRestless() const { return hsb(197, 0.74, 0.65); }
Colour Pallet::mutedColourWhenAwake() const { return hsb(133, 0.85, 0.6); }
Colour Pallet::noiseLabelTint() const { return hsb(43, 1.0, 0.75); }

// --- Sleep and noise, by theme ---

Colour Pallet::colourWhenRestless() const { return themed(hsb(197, 0.74, 0.8), hsb(197, 0.74, 0.5)); }
Colour Pallet::colourWhenAwake() const { return themed(hsb(133, 0.85, 0.71), hsb(133, 0.85, 0.6)); }
Colour Pallet::noiseTint() const { return themed(hsb(43, 0.8, 0.3), hsb(43, 0.2, 0.9)); }
Colour Pallet::noiseTintHigh() const { return themed(hsb(43, 1.0, 0.7), hsb(43, 1.0, 0.8)); }
Colour Pallet::noiseTintLoud() const { return themed(hsb(43, 1.0, 0.85), hsb(43, 1.0, 0.9)); }
Colour Pallet::spO2LabelTint() const { return themed(hsb(43, 0, 0.98), hsb(43, 0, 0.02)); }
Colour Pallet::colourForRestfulSleep() const { return colourForDeepSleepWithPercent(0.7f); }

// --- Views and controls ---

void Pallet::applyGradient(View& view, Colour top, Colour bottom) {
  Layer gradient;
  gradient.name = kGradientLayerName;
  gradient.frame = view.bounds;
  gradient.colours = {top, bottom};
  // A theme change or a resize applies the gradient again: it takes the old
  // one's place rather than stacking another beneath the content.
  const Layer* first = view.layer.firstSublayer();
  if (first != nullptr && first->name == kGradientLayerName) {
    view.layer.replaceSublayer(0, std::move(gradient));
  } else {
    view.layer.insertSublayer(std::move(gradient), 0);
  }
}

void Pallet::applyGradientToView(View& view) const {
  if (darkTheme_) {
    applyGradient(view, hsb(193, 0.8, 0.08), hsb(193, 0.8, 0.05));
  } else {
    applyGradient(view, hsb(193, 0, 1.0), hsb(193, 0, 0.98));
  }
}

void Pallet::applyChildGradientToView(View& view) const {
  if (darkTheme_) {
    applyGradient(view, hsb(193, 0.8, 0.08), hsb(193, 0.8, 0.05));
  } else {
    applyGradient(view, hsb(193, 0, 0.99), hsb(193, 0, 0.96));
  }
}

void Pallet::applyTitleBackgroundToView(View& view) const {
  view.backgroundColour = themed(hsb(193, 0.8, 0.08), hsb(193, 0, 0.99));
}

void Pallet::applyLowerTitleBackgroundToView(View& view) const {
  view.backgroundColour = themed(hsb(193, 0.8, 0.05), hsb(193, 0, 0.9));
}

void Pallet::applyLowerTitleBackgroundToChildView(View& view) const {
  view.backgroundColour = themed(hsb(193, 0.8, 0.05), hsb(193, 0, 0.98));
}

// Titles in the tint colour in both states; the selected segment is a muted
// blue on dark and plain white on light.
void Pallet::applyTintToSegmentedControl(SegmentedControl& control) const {
  control.normalTitleColour = tintColour();
  control.selectedTitleColour = tintColour();
  control.selectedSegmentTintColour = themed(darkModeSelectedTint(), Colour::whiteColor());
}

// The stepper's minus and plus glyphs are drawn in its tint, so the tint is all it takes.
void Pallet::applyTintToStepperControl(Stepper& control) const { control.tintColour = tintColour(); }

}  // namespace velmora
