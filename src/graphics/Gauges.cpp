// The speedometer gauges: the one drawing of the family, and its vital-sign
// and bedtime-consistency members.

#include "graphics/Gauges.h"

#include <algorithm>
#include <numbers>

#include "drawing/DrawingSurface.h"
#include "drawing/Image.h"
#include "graphics/DialDrawing.h"
#include "graphics/SleepMetricsGraphics.h"
#include "text/StringFormat.h"

namespace velmora {

namespace {

constexpr double kTurn = 2.0 * std::numbers::pi;

// Every gauge's geometry, in points from the edge of the image.
constexpr double kDialInset = 25.0;  // the dark dial's radius is half the side less this
constexpr double kScaleInset = 24.0;
constexpr double kScaleWidth = 25.0;
constexpr double kHubRadius = 8.0;
constexpr double kNeedleReach = 0.95;  // of the dial's radius
constexpr double kNeedleWidth = 6.0;
constexpr double kNeedleBlur = 15.0;
constexpr double kTextDrop = 90.0;  // below the centre, before the text's own height raises it

// The rounded end zones: the start zone reaches the top of the dial, the end zone covers the last twentieth.
constexpr double kTopOfDial = 0.5;
constexpr double kEndZone = 0.95;

// The ranges: last night's as a wide band reaching in from the scale; the
// seven nights' as a thin band on the scale, with a dark mark at their mean.
constexpr double kBandHue = 193.0 / 360.0;
constexpr Colour kRangeColour = Colour::hsba(kBandHue, 0.92, 0.5);
constexpr Colour kSevenNightColour = Colour::hsba(kBandHue, 0.92, 0.5, 0.5);
constexpr Colour kMeanMarkColour = Colour::hsba(kBandHue, 0.92, 0.1, 0.8);
constexpr double kSevenNightWidth = 12.5;
constexpr double kMeanMarkHalfSpan = 0.005;
constexpr double kWidgetRangeWidth = 78.0;
constexpr double kRangeWidth = 85.0;  // at 280 points

// The seven star segments end 0.02 short of the next.
constexpr double kStarSegment = 0.98;

// The blood-oxygen scale runs from 80 % to 100 %: 5 % is 72°.
double spO2Position(double percent) { return (percent - 80.0) / 20.0; }

// The breathing rate's scale: a normal rate in the middle segments, too slow
// or too fast in the red at either end.
constexpr SevenSegmentColours kRespRateColours =
    sevenSegmentsByRule(&Pallet::colourForReadyScore, {0.0f, 0.6f, 1.0f, 1.1f, 1.0f, 0.6f, 0.0f}, 0.0f);

// The bedtime's drift: keeping time is full charge, drifting either way runs down to red.
constexpr SevenSegmentColours kConsistencyColours{{{{&Pallet::colourForReadyScore, 0.0f},
                                                    {&Pallet::colourForReadyScore, 0.6f},
                                                    {&Pallet::colourForBatteryChargePercent, 0.9f},
                                                    {&Pallet::colourForBatteryChargePercent, 1.0f},
                                                    {&Pallet::colourForBatteryChargePercent, 0.9f},
                                                    {&Pallet::colourForReadyScore, 0.6f},
                                                    {&Pallet::colourForReadyScore, 0.0f}}},
                                                  {&Pallet::colourForReadyScore, 0.0f}};

// The wrist temperature's score: one colour per segment, by the score at its middle.
constexpr SevenSegmentColours kWristTempColours =
    sevenSegmentsByRule(&Pallet::colourForWristTempScore, {0.5f, 1.5f, 2.5f, 3.5f, 4.5f, 5.5f, 6.5f}, 0.5f);

// The drift of the average bedtime is text of its own: a little larger in widgets, raised alike in both modes.
constexpr GaugeTextStyle kConsistencyText{24.0, 28.0, -5.1, -5.1};

// Last night's band is as wide as it is inset: it reaches from the scale's inner edge in towards the hub.
std::vector<GaugeBand> rangeBands(bool widget, float size, double from, double to) {
  const double width = widget ? kWidgetRangeWidth : kRangeWidth * size / 280.0;
  return {{from, to, width, width, kRangeColour}};
}

void addSevenNightBands(std::vector<GaugeBand>& bands, double from, double to, double mean) {
  bands.push_back({from, to, kScaleInset, kSevenNightWidth, kSevenNightColour});
  bands.push_back({mean - kMeanMarkHalfSpan, mean + kMeanMarkHalfSpan, kScaleInset, kSevenNightWidth, kMeanMarkColour});
}

// A text of the record under `key`, when it holds one.
std::optional<std::string> textIn(const MetricDictionary& dict, std::string_view key) {
  const std::string* text = dict.textForKey(key);
  return text ? std::optional(*text) : std::nullopt;
}

}  // namespace

double gaugeAngle(double position) { return (0.8 * position - 0.65) * kTurn; }

double starsPosition(float stars) { return std::clamp(static_cast<double>(stars) / 7.0, 0.0, 1.0); }

GaugeScale sevenSegmentScale(const SevenSegmentColours& colours, const Pallet& pallet) {
  GaugeScale scale{colours.segments[0].of(pallet), colours.endZone.of(pallet), kStarSegment / 7.0, {}};
  for (int s = 1; s <= 5; ++s)
    scale.segments.push_back({s / 7.0, (s + kStarSegment) / 7.0, colours.segments[s].of(pallet)});
  scale.segments.push_back({6.0 / 7.0, 1.0, colours.segments[6].of(pallet)});
  return scale;
}

float consistencyStarsForTrend(float m) {
  if (m < -90.0f) return m + 135.0f < 0.0f ? 0.0f : (m + 135.0f) / 45.0f;
  if (m < -45.0f) return 1.0f + (m + 90.0f) / 45.0f;
  if (m < -15.0f) return 2.0f + (m + 45.0f) / 30.0f;
  if (m <= 15.0f) return 3.0f + (m + 15.0f) / 30.0f;
  if (m <= 45.0f) return 4.0f + (m - 15.0f) / 30.0f;
  if (m <= 90.0f) return 5.0f + (m - 45.0f) / 45.0f;
  if (m > 90.0f) return m - 90.0f > 45.0f ? 7.0f : 6.0f + (m - 90.0f) / 45.0f;
  return 3.5f;  // no number: straight up
}

ImageRef SleepMetricsGraphics::drawGauge(float size, const Gauge& gauge) {
  const Pallet& colours = pallet();
  const float half = size * 0.5f;
  const double k = size / 280.0;
  const Point c{half, half};
  const double dialRadius = half - kDialInset;
  const double scaleRadius = half - kScaleInset;

  DrawingSurface surface = DrawingSurface::beginImageContext(caches_, size);

  // Arcs between two positions on the scale.
  auto strokeSpan = [&](DrawingSurface& on, double radius, double from, double to, LineCap cap, double width,
                        const Colour& colour) {
    strokeArc(on, c, radius, gaugeAngle(from), gaugeAngle(to), cap, width, colour);
  };

  // The dial, its track and the coloured scale are the same in every gauge
  // of a size and scale: the image's layer, kept by the scale's colours and
  // places.
  const GaugeScale& scale = gauge.scale;
  std::vector<double> places{scale.gapsFrom};
  std::vector<Colour> scaleColours{gaugeBkg(), scale.startZone, scale.endZone};
  for (const GaugeSegment& segment : scale.segments) {
    places.insert(places.end(), {segment.from, segment.to});
    scaleColours.push_back(segment.colour);
  }
  surface.drawLayer(layerKey("gauge", places, scaleColours), [&](DrawingSurface& on) {
    on.setFillColor(gaugeBkg());
    fillDisc(on, c, dialRadius);

    on.setLineCap(LineCap::kRound);
    on.setLineWidth(kScaleWidth);
    on.setStrokeColor(gaugeBkg());
    addFullCircle(on, c, scaleRadius);
    on.strokePath();

    strokeSpan(on, scaleRadius, 0.0, kTopOfDial, LineCap::kRound, kScaleWidth, scale.startZone);
    strokeSpan(on, scaleRadius, kEndZone, 1.0, LineCap::kRound, kScaleWidth, scale.endZone);
    strokeSpan(on, scaleRadius, scale.gapsFrom, kEndZone, LineCap::kButt, kScaleWidth, Colour::blackColor());
    for (const GaugeSegment& segment : scale.segments)
      strokeSpan(on, scaleRadius, segment.from, segment.to, LineCap::kButt, kScaleWidth, segment.colour);
  });

  for (const GaugeBand& band : gauge.bands)
    strokeSpan(surface, half - band.inset, band.from, band.to, LineCap::kButt, band.width, band.colour);

  // The hub's soft shadow stays set for the icon below it.
  surface.setShadow({0.0, 0.0}, 2.0);
  surface.setFillColor(needleBkg());
  fillDisc(surface, c, kHubRadius);
  surface.setLineCap(LineCap::kRound);

  if (!gauge.icon.empty()) {
    surface.saveGState();
    const GaugeIconSquare& square = gauge.iconSquare;
    if (const ImageRef icon = imageNamed(caches_, gauge.icon))
      surface.drawInRect(*icon, {half + square.left * k, half + square.top * k, square.side * k, square.side * k});
    surface.restoreGState();
  }

  if (gauge.text) {
    surface.saveGState();
    const GaugeTextStyle& style = gauge.textStyle;
    const TextAttributes attributes = imageTextAttributes(
        Font::systemFontOfSize(widgetMode() ? style.widgetSize : style.size, FontWeight::kBold), colours.tintColour());
    const Size measured = surface.sizeWithAttributes(*gauge.text, attributes);
    const double factor = widgetMode() ? style.widgetBaselineFactor : style.baselineFactor;
    surface.setShadow({0.0, 0.0}, 0.0);
    surface.drawAtPoint(*gauge.text, {half - measured.width / 2.0, half + kTextDrop + measured.height * factor},
                        attributes);
    surface.restoreGState();
  }

  surface.setShadowWithColor({0.0, 0.0}, kNeedleBlur, Colour::blackColor());
  surface.setLineWidth(kNeedleWidth);
  surface.setStrokeColor(Colour::whiteColor());
  surface.setFillColor(Colour::whiteColor());
  const Point tip = pointOnDial(c, dialRadius * kNeedleReach, gaugeAngle(gauge.needle));
  surface.moveToPoint(c.x, c.y);
  surface.addLineToPoint(tip.x, tip.y);
  surface.strokePath();

  ImageRef image = surface.getImage();
  surface.end();
  return image;
}

// --- The members ---------------------------------------------------------------------

ImageRef SleepMetricsGraphics::drawSpO2GaugeWithSize(float size, const MetricDictionary& dict) {
  const Pallet& colours = pallet();
  const float average = dict.floatForKey("averageSpO2");

  Gauge gauge;
  gauge.scale = {colours.colourForReadyScore(0.0f),
                 colours.colourForSpO2Reading(100.0f),
                 spO2Position(84.9),
                 {{spO2Position(85.0), spO2Position(89.9), colours.colourForSpO2Reading(85.0f)},
                  {spO2Position(90.0), spO2Position(94.9), colours.colourForSpO2Reading(90.0f)},
                  {spO2Position(95.0), spO2Position(100.0), colours.colourForSpO2Reading(95.0f)}}};
  gauge.bands = rangeBands(widgetMode(), size, spO2Position(dict.floatForKey("minSpO2")),
                           spO2Position(dict.floatForKey("maxSpO2")));
  addSevenNightBands(gauge.bands, spO2Position(dict.floatForKey("minSpO27")),
                     spO2Position(dict.floatForKey("maxSpO27")), spO2Position(dict.floatForKey("averageSpO27")));
  gauge.icon = "SpO2Icon";
  gauge.text = localizedStringWithFormat(env_.locale, "%.1f%%", {average});
  // The needle never rests below the scale's start: at least a hundredth in.
  const double position = spO2Position(average);
  gauge.needle = position > 0.01 ? position : 0.01;
  return drawGauge(size, gauge);
}

ImageRef SleepMetricsGraphics::drawRespRateGaugeWithSize(float size, const MetricDictionary& dict) {
  const Pallet& colours = pallet();
  // No rate reads as a hundredth of a breath; a missing end of the range as the average.
  const float floor = 0.01f;
  const float average = dict.floatForKey("averageRespRate") > floor ? dict.floatForKey("averageRespRate") : floor;
  const auto rangeEnd = [&](std::string_view key) {
    return dict.floatForKey(key) > floor ? dict.floatForKey(key) : average;
  };
  const auto position = [&](float rate) { return starsPosition(colours.starsValueForRespRate(rate)); };

  Gauge gauge;
  gauge.scale = sevenSegmentScale(kRespRateColours, colours);
  gauge.bands = rangeBands(widgetMode(), size, position(rangeEnd("minRespRate")), position(rangeEnd("maxRespRate")));
  // Seven nights are shown only when their average is a plausible breathing rate.
  const float average7 = dict.floatForKey("averageRespRate7");
  if (average7 > 1.0f && average7 < 40.0f)
    addSevenNightBands(gauge.bands, position(dict.floatForKey("minRespRate7")),
                       position(dict.floatForKey("maxRespRate7")), position(average7));
  gauge.icon = "RespIcon";
  gauge.text = localizedStringWithFormat(env_.locale, "%.1f", {average});
  gauge.needle = position(average);
  return drawGauge(size, gauge);
}

ImageRef SleepMetricsGraphics::drawConsistencyGaugeWithSize(float size, const MetricDictionary& dict) {
  const Pallet& colours = pallet();
  const float minutes = dict.floatForKey("bedTrend") / 60.0f;

  Gauge gauge;
  gauge.scale = sevenSegmentScale(kConsistencyColours, colours);
  gauge.icon = "InBedIcon";
  gauge.text = textIn(dict, "starsLabel");
  gauge.textStyle = kConsistencyText;
  gauge.needle = starsPosition(consistencyStarsForTrend(minutes));
  return drawGauge(size, gauge);
}

ImageRef SleepMetricsGraphics::drawWristTempGaugeWithSize(float size, const MetricDictionary& dict) {
  const Pallet& colours = pallet();
  Gauge gauge;
  gauge.scale = sevenSegmentScale(kWristTempColours, colours);
  gauge.icon = "WristTempIcon";
  gauge.text = textIn(dict, "wristTempDifLabel");
  gauge.needle = starsPosition(dict.floatForKey("wristTempScore"));
  return drawGauge(size, gauge);
}

}  // namespace velmora
