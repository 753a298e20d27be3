// The recharge gauge of the time-asleep notification and the sleep-bank
// widgets: last night's sleep on the outer ring, over one track segment per
// goal hour, and the sleep bank on the inner ring.

#include <cmath>
#include <numbers>
#include <string>

#include "drawing/DrawingSurface.h"
#include "drawing/Image.h"
#include "graphics/DialDrawing.h"
#include "graphics/SleepMetricsGraphics.h"
#include "palette/Pallet.h"

namespace velmora {

namespace {

// Nothing is ever drawn as empty: a ring always shows at least a stub.
constexpr float kSleepFloor = 0.012f;
constexpr float kBankFloor = 0.015f;
// The tips reach back a little way along their ring; the two lengths differ on purpose.
constexpr double kBankTipLength = 0.007;
constexpr double kSleepTipLength = 0.006;
// The accessory widget's size: white rings and a moon in the middle, no backdrop.
constexpr float kRechargeAccessorySize = 200.0f;

}  // namespace

ImageRef SleepMetricsGraphics::drawTheRechargeWithSize(float size, float sleepPercent, float bankPercent) {
  // The gauge is always dark, and so is everything this object draws after it.
  Pallet& colours = pallet();
  colours.setDarkTheme(true);

  const float half = size * 0.5f;
  const float ringWidth = size > 100.0f ? 25.0f : 5.0f;
  const float outerRadius = half - ringWidth + 1.0f;
  const float innerRadius = half - 2.0f * ringWidth - 1.0f;
  const bool accessory = size == kRechargeAccessorySize;
  const Point c{half, half};

  const float sleep = sleepPercent > kSleepFloor ? sleepPercent : kSleepFloor;
  const float bank = bankPercent > kBankFloor ? bankPercent : kBankFloor;
  const double sleepEnd = ringEndAngle(sleep);
  const double bankEnd = ringEndAngle(bank);

  DrawingSurface surface = DrawingSurface::beginImageContext(caches_, size);

  // Every ring, track and tip is one arc stroked at the ring's width under the shadow already set.
  constexpr double kFullStart = -std::numbers::pi / 2.0, kFullEnd = 2.0 * std::numbers::pi;
  auto stroke = [&](DrawingSurface& on, LineCap cap, const Colour& colour, double radius, double from, double to) {
    strokeArc(on, c, radius, from, to, cap, ringWidth, colour);
  };

  // The backdrop, the two tracks and the goal hours are the same in every
  // gauge of a size and goal: the image's layer.
  float goal = getVelmoraConfigValueForKey("requiredHours");
  if (goal < 4.0f) goal = 8.0f;
  const bool backdrop = size > 100.0f && !accessory;
  const Colour track = colours.innerShadeForType(2), hours = colours.innerShadeForType(0);
  const std::string layer =
      layerKey("recharge " + (backdrop ? env_.resourcesDir.string() : std::string()), {goal}, {track, hours});
  surface.drawLayer(layer, [&](DrawingSurface& on) {
    if (backdrop) {
      if (const ImageRef picture = imageNamed(caches_, "RechargeBkg.png"))
        on.drawInRect(*picture, {0.0, 0.0, size, size});
    }

    on.setShadow({0.0, 0.0}, 2.0);
    stroke(on, LineCap::kRound, track, outerRadius, kFullStart, kFullEnd);

    // Every other goal hour is shaded, starting with the first: one arc,
    // dashed an hour on and an hour off, up to the end of the last shaded
    // whole hour. The fractions use the goal as stored, so half an hour's
    // goal leaves half a segment.
    const double wholeHours = std::trunc(goal);
    const double lastShaded = std::fmod(wholeHours, 2.0) == 0.0 ? wholeHours - 2.0 : wholeHours - 1.0;
    const double hourLength = outerRadius * 2.0 * std::numbers::pi / goal;  // along the ring
    on.setShadow({0.0, 0.0}, 2.0);
    on.setLineDash(0.0, {hourLength, hourLength});
    stroke(on, LineCap::kButt, hours, outerRadius, ringEndAngle(0.0f),
           ringEndAngle(static_cast<float>(lastShaded + 1.0) / goal));
    on.setLineDash(0.0, {});

    on.setShadow({0.0, 0.0}, 2.0);
    stroke(on, LineCap::kRound, track.colorWithAlphaComponent(1.0), innerRadius, kFullStart, kFullEnd);
  });

  const Colour bankColour =
      (accessory ? Colour::whiteColor() : colours.colourForBatteryChargePercent(bank)).colorWithAlphaComponent(1.0);
  surface.setShadow({-2.0, -2.0}, 3.0);
  stroke(surface, LineCap::kRound, bankColour, innerRadius, kRingStartAngle, bankEnd);
  setTipShadow(surface, bank);
  stroke(surface, LineCap::kRound, bankColour, innerRadius, ringEndAngle(bank - kBankTipLength), bankEnd);

  const Colour sleepColour =
      accessory ? Colour::whiteColor().colorWithAlphaComponent(1.0) : colours.colourForBatteryChargePercent(sleep);
  surface.setShadow({0.0, 0.0}, 3.0);
  stroke(surface, LineCap::kRound, sleepColour, outerRadius, kRingStartAngle, sleepEnd);
  setTipShadow(surface, sleep);
  stroke(surface, LineCap::kRound, sleepColour, outerRadius, ringEndAngle(sleep - kSleepTipLength), sleepEnd);

  // The large gauges mark the sleep tip with a moon and the bank tip with a 7 (its week of nights).
  if (size > 100.0f) {
    surface.saveGState();
    surface.setShadow({0.0, 0.0}, 5.0);
    drawTextCentred(surface, "\u263E", pointOnDial(c, outerRadius, sleepEnd), Font::systemFontOfSize(12.0),
                    Colour::blackColor());
    drawTextCentred(surface, "7", pointOnDial(c, innerRadius, bankEnd), Font::boldSystemFontOfSize(12.0),
                    Colour::blackColor());
    if (accessory) drawTextCentred(surface, "\u263E", c, Font::boldSystemFontOfSize(40.0), Colour::whiteColor());
    surface.restoreGState();
  }

  ImageRef image = surface.getImage();
  surface.end();
  return image;
}

}  // namespace velmora
