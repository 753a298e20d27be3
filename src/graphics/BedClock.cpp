// The 24-hour bed clock of the bedtime notification and widget.

#include <string>

#include "drawing/DrawingSurface.h"
#include "format/FormatTools.h"
#include "graphics/DialDrawing.h"
#include "graphics/SleepMetricsGraphics.h"
#include "palette/Pallet.h"

namespace velmora {

namespace {

void strokeLine(DrawingSurface& surface, Point from, Point to) {
  surface.moveToPoint(from.x, from.y);
  surface.addLineToPoint(to.x, to.y);
  surface.strokePath();
}

void setStrokeAndFill(DrawingSurface& surface, const Colour& colour) {
  surface.setStrokeColor(colour);
  surface.setFillColor(colour);
}

}  // namespace

ImageRef SleepMetricsGraphics::drawTheBedClockWithSize(float size, std::optional<Date> bedtime,
                                                       std::optional<Date> waketime) {
  Pallet& colours = pallet();
  FormatTools& tools = formatTools();

  const float half = size * 0.5f;
  const Point c{half, half};
  const float rimRadius = half - 12.0f;
  const float numeralRadius = half - 36.0f;
  const float tickOuterRadius = numeralRadius + 14.0f;
  const float hourTickInnerRadius = half - 26.0f;
  const float halfHourTickInnerRadius = half - 25.0f;
  const float needleLength = half - 55.0f;
  const float handLength = half - 30.0f;

  DrawingSurface surface = DrawingSurface::beginImageContext(caches_, size);

  // The clock shows the moment of the call, read once.
  const int nowHour = tools.currentHour(env_.now);
  const int nowMinute = tools.currentMin(env_.now);

  // The face (dial, track, rim, ticks and numerals) is the same in every
  // clock of a size: the image's layer. Nothing drawn over it later reaches
  // the ticks or numerals, so they may come before the wedge and the arc.
  surface.drawLayer(
      layerKey("bed clock face", {},
               {Colour::blackColor(), ringBkg(), gaugeBkg(), textColour(), subtleTextColour(), verySubtleTextColour()}),
      [&](DrawingSurface& layer) {
        // A black disc: a tiny circle stroked so wide it reaches out to half - 0.5.
        layer.setLineCap(LineCap::kRound);
        layer.setLineWidth(size - 5.0f);
        layer.setStrokeColor(Colour::blackColor());
        addFullCircle(layer, c, 2.0);
        layer.strokePath();

        layer.setLineCap(LineCap::kRound);
        layer.setLineWidth(16.0);
        layer.setStrokeColor(ringBkg());
        addFullCircle(layer, c, rimRadius);
        layer.strokePath();

        layer.setLineCap(LineCap::kRound);
        layer.setLineWidth(1.0);
        layer.setStrokeColor(gaugeBkg());
        addFullCircle(layer, c, half - 1.0f);
        layer.strokePath();

        // An hour tick every 15 degrees, alternately strong and subtle, with a
        // half-hour tick between each pair.
        layer.setLineCap(LineCap::kRound);
        float angle = static_cast<float>(radians(-90.0));
        const auto step = static_cast<float>(radians(7.5));
        for (int hour = 0; hour < 24; ++hour) {
          const bool even = hour % 2 == 0;
          layer.setLineWidth(even ? 4.0 : 2.0);
          setStrokeAndFill(layer, even ? textColour() : subtleTextColour());
          strokeLine(layer, pointOnDial(c, hourTickInnerRadius, angle), pointOnDial(c, tickOuterRadius, angle));
          angle += step;

          layer.setLineWidth(1.0);
          setStrokeAndFill(layer, verySubtleTextColour());
          strokeLine(layer, pointOnDial(c, halfHourTickInnerRadius, angle), pointOnDial(c, tickOuterRadius, angle));
          angle += step;
        }

        // The four quarter hours stand out; the rest are small and quiet.
        angle = static_cast<float>(radians(-90.0));
        const auto hourStep = static_cast<float>(radians(15.0));
        for (int hour = 0; hour < 24; ++hour) {
          const bool quarter = hour % 6 == 0;
          drawTextCentred(layer, std::to_string(hour), pointOnDial(c, numeralRadius, angle),
                          quarter ? Font::systemFontOfSize(12.0, FontWeight::kHeavy) : Font::boldSystemFontOfSize(10.0),
                          quarter ? textColour() : verySubtleTextColour());
          angle += hourStep;
        }
      });

  // Stays 0 without both dates, which also keeps the bedtime needle away.
  float bedAngle = 0.0f;
  if (bedtime && waketime) {
    bedAngle = dialAngleForTime(tools.currentHour(*bedtime), tools.currentMin(*bedtime));
    const float wakeAngle = dialAngleForTime(tools.currentHour(*waketime), tools.currentMin(*waketime));
    const float nowAngle = dialAngleForTime(nowHour, nowMinute);

    // The time left until bed, always swept clockwise from now: a bedtime
    // already behind now on the dial is tomorrow's, the long way round.
    surface.setLineCap(LineCap::kButt);
    surface.setLineWidth(widgetMode() ? 40.0 : 70.0);
    surface.setStrokeColor(colours.lightRatingColour(80).colorWithAlphaComponent(1.0));
    surface.addArc(c.x, c.y, widgetMode() ? 20.0 : 40.0, nowAngle, bedAngle, 0);
    surface.strokePath();

    // The night's sleep on the rim, from bedtime to waking.
    surface.setLineCap(LineCap::kRound);
    surface.setLineWidth(12.0);
    surface.setStrokeColor(colours.lightRatingColour(110));
    surface.addArc(c.x, c.y, half - 11.0f, bedAngle, wakeAngle, 0);
    surface.strokePath();
  }

  // The hub; its soft shadow stays set for the needles.
  surface.setShadow({0.0, 0.0}, 2.0);
  surface.setFillColor(needleBkg());
  fillDisc(surface, c, 8.0);

  surface.setLineCap(LineCap::kRound);
  const float nowAngle = dialAngleForTime(nowHour, nowMinute);
  surface.setShadow({0.0, 0.0}, 6.0);
  surface.setShadowWithColor({0.0, 0.0}, 5.0, Colour::blackColor());

  // A bedtime from midnight to 06:00 lies at an angle of 0 or less and gets
  // no needle; its wedge and arc still show.
  if (bedAngle > 0.0f) {
    surface.setLineWidth(2.0);
    setStrokeAndFill(surface, colours.lightRatingColour(40).colorWithAlphaComponent(1.0));
    strokeLine(surface, c, pointOnDial(c, needleLength, bedAngle));
  }

  surface.setShadowWithColor({0.0, 0.0}, 15.0, Colour::blackColor());
  surface.setLineWidth(6.0);
  setStrokeAndFill(surface, Colour::whiteColor().colorWithAlphaComponent(1.0));
  strokeLine(surface, c, pointOnDial(c, handLength, nowAngle));

  ImageRef image = surface.getImage();
  surface.end();
  return image;
}

}  // namespace velmora
