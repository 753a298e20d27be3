// The four sleep rings of the sleep-quality widgets and shortcuts: from the
// outside in, time asleep, quality (or REM), deep sleep and heart rate, each
// ending in a lifted tip that carries the ring's glyph; a rated night also
// gets a disc in the middle with the rating as an arc and a number.

#include <array>
#include <numbers>
#include <string>

#include "drawing/DrawingSurface.h"
#include "drawing/Image.h"
#include "graphics/DialDrawing.h"
#include "graphics/SleepMetricsGraphics.h"
#include "palette/Pallet.h"
#include "text/StringFormat.h"

namespace velmora {

namespace {

// All rings and tracks are 20 points wide, 2 points apart.
constexpr double kRingWidth = 20.0;
// The accessory widget's size: white rings, no disc.
constexpr float kSleepRingsAccessorySize = 260.0f;

// One ring: how far inside the image's half it lies, its floor (a fraction
// not above it is drawn as it, so every ring shows a stub), how far back along
// the ring its tip reaches, and the glyph on the tip.
struct RingStyle {
  float inset;
  float floor;
  double tipLength;
  float glyphInset;
  const char* glyph;
  Font glyphFont;
};

enum RingIndex { kSleep, kQuality, kDeep, kHeartRate };

// Outermost first. The deep ring's "Z" sits one point inside its ring's middle.
constexpr std::array<RingStyle, 4> kRings{{
    {19.0f, 0.012f, 0.006, 19.0f, "\u263E", Font::boldSystemFontOfSize(13.0)},  // ☾
    {41.0f, 0.015f, 0.007, 41.0f, "\u2605", Font::systemFontOfSize(12.0)},      // ★ (R with stages)
    {63.0f, 0.02f, 0.008, 62.0f, "Z", Font::boldSystemFontOfSize(13.0)},
    {85.0f, 0.025f, 0.008, 85.0f, "\u2665", Font::boldSystemFontOfSize(13.0)},  // ♥
}};

// The rating's arc runs along the inside of the heart-rate ring.
constexpr float kRatingArcInset = 102.0f;
constexpr double kRatingArcWidth = 3.0;
// The disc is a dot stroked so wide that it fills the space inside the
// heart-rate ring, half - 67 across: a disc of radius half / 2 - 31.5.
constexpr double kDiscCoreRadius = 2.0;
constexpr float kDiscWidthInset = 67.0f;
constexpr int kDiscFace = 5;
constexpr Font kRatingFont = Font::systemFontOfSize(34.0, FontWeight::kHeavy);

}  // namespace

ImageRef SleepMetricsGraphics::drawSleepRingsWithSize(float size, float sleepPercent, float qualityPercent,
                                                      float deepPercent, float bpmPercent, float rating,
                                                      bool forStages) {
  Pallet& colours = pallet();
  const std::array<float, 4> given{sleepPercent, qualityPercent, deepPercent, bpmPercent};
  std::array<float, 4> fraction{};
  for (std::size_t i = 0; i < kRings.size(); ++i) fraction[i] = given[i] > kRings[i].floor ? given[i] : kRings[i].floor;

  const float half = size * 0.5f;
  const Point c{half, half};
  const bool accessory = size == kSleepRingsAccessorySize;
  auto radius = [half](float inset) { return static_cast<double>(half - inset); };

  const bool rated = rating > 0.0f;
  const bool disc = rated && !accessory;

  // The face (the four tracks, outermost first, and the disc of a rated
  // night) is the same in every image of a size: the image's layer.
  DrawingSurface surface = DrawingSurface::beginImageContext(caches_, size);
  const Colour discColour = colours.colourForClockFace(kDiscFace, true);
  surface.drawLayer(layerKey("sleep rings face", {disc ? 1.0 : 0.0}, {ringBkg(), discColour}),
                    [&](DrawingSurface& layer) {
                      for (const RingStyle& ring : kRings) {
                        layer.setShadow({0.0, 0.0}, 2.0);
                        layer.setLineCap(LineCap::kRound);
                        layer.setLineWidth(kRingWidth);
                        layer.setStrokeColor(ringBkg());
                        addFullCircle(layer, c, radius(ring.inset));
                        layer.strokePath();
                      }
                      if (disc) {  // under the tracks' shadow, still set
                        layer.setLineCap(LineCap::kRound);
                        layer.setLineWidth(half - kDiscWidthInset);
                        layer.setStrokeColor(discColour);
                        addFullCircle(layer, c, kDiscCoreRadius);
                        layer.strokePath();
                      }
                    });

  const Colour ratingColour = accessory ? Colour::whiteColor() : colours.highTintColour();
  if (rated) {
    surface.setShadow({0.0, 0.0}, 2.0);
    strokeArc(surface, c, radius(kRatingArcInset), -std::numbers::pi / 2.0, ringEndAngle(rating), LineCap::kRound,
              kRatingArcWidth, ratingColour);
  }

  // Innermost first, so each ring's tip shadow falls on the rings inside it.
  for (std::size_t i = kRings.size(); i-- > 0;) {
    const RingStyle& ring = kRings[i];
    const float v = fraction[i];
    const Colour colour = accessory ? Colour::whiteColor() : colours.colourForBatteryChargePercent(v);
    surface.setShadow({0.0, 0.0}, 2.0);
    strokeArc(surface, c, radius(ring.inset), kRingStartAngle, ringEndAngle(v), LineCap::kRound, kRingWidth, colour);
    setTipShadow(surface, v);
    strokeArc(surface, c, radius(ring.inset), ringEndAngle(v - ring.tipLength), ringEndAngle(v), LineCap::kRound,
              kRingWidth, colour);
  }

  surface.saveGState();
  surface.setShadow({0.0, 0.0}, 2.0);
  for (const RingIndex i : {kQuality, kDeep, kHeartRate, kSleep}) {
    const RingStyle& ring = kRings[i];
    const bool stages = i == kQuality && forStages;
    drawTextCentred(surface, stages ? "R" : ring.glyph,
                    pointOnDial(c, radius(ring.glyphInset), ringEndAngle(fraction[i])),
                    stages ? Font::boldSystemFontOfSize(13.0) : ring.glyphFont, Colour::blackColor());
  }
  if (rated) {
    // Below a whole turn the number is rounded, so 0.999 already reads 100.
    const std::string number = rating < 1.0f ? stringWithFormat("%.0f", {rating * 100.0f}) : "100";
    drawTextCentred(surface, number, c, kRatingFont, ratingColour);
  }
  surface.restoreGState();

  ImageRef image = surface.getImage();
  surface.end();
  return image;
}

}  // namespace velmora
