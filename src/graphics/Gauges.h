#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "palette/Pallet.h"
#include "values/Colour.h"

// The speedometer gauges (blood oxygen, breathing rate, wrist temperature,
// bedtime consistency, and the readiness and fuel dials) are one drawing,
// `SleepMetricsGraphics::drawGauge`: a dark dial, a coloured scale of 0.8 of a
// turn open at the bottom, bands over the scale, a hub, an icon below the hub,
// a value text above it and a white needle. What one gauge draws is a `Gauge`;
// each member reads its record and fills one in.
//
// Places on the scale are positions: 0 at its start (lower left), 1 at its
// end (lower right), 0.5 straight up.
namespace velmora {

// The angle of a position on every gauge, in radians: 0 lies at -234°, 1 at +54°.
double gaugeAngle(double position);

// One of the palette's rules from a value to a colour.
using PalletRule = Colour (Pallet::*)(float) const;

// A colour by one of the palette's rules, kept as data: the rule and the value it is asked about.
struct RatedColour {
  PalletRule rule;
  float value;
  Colour of(const Pallet& pallet) const { return (pallet.*rule)(value); }
};

struct GaugeSegment {
  double from, to;  // positions
  Colour colour;
};

// The coloured scale, drawn in this order: a rounded zone from the start to
// the top of the dial, a rounded zone over the last twentieth, black from
// `gapsFrom` up to that end zone, and the segments with square ends over it
// all, so that the black shows only in the gaps between them.
struct GaugeScale {
  Colour startZone, endZone;
  double gapsFrom;
  std::vector<GaugeSegment> segments;
};

// The scale of seven star segments: from s to s + 0.98 stars for s = 0 to 5,
// the last from 6 to 7, with 0.02 of black between them. The first segment is
// the visible part of the start zone, so its colour is the start zone's.
struct SevenSegmentColours {
  std::array<RatedColour, 7> segments;
  RatedColour endZone;
};
// The seven segments and the end zone all by one rule, asked about the values given.
constexpr SevenSegmentColours sevenSegmentsByRule(PalletRule rule, const std::array<float, 7>& values, float endZone) {
  SevenSegmentColours colours{{}, {rule, endZone}};
  for (std::size_t s = 0; s < values.size(); ++s) colours.segments[s] = {rule, values[s]};
  return colours;
}
GaugeScale sevenSegmentScale(const SevenSegmentColours& colours, const Pallet& pallet);
// The position of a star value of 0 to 7 on that scale: s / 7, kept within the scale.
double starsPosition(float stars);

// The star value of a drift in the average bedtime, in minutes: 3.5 (straight
// up) for a bedtime that keeps its time, the middle segment's edges at 15
// minutes either way, the scale's ends at two and a quarter hours; 3.5 for a
// drift that is no number.
float consistencyStarsForTrend(float minutes);

// An arc between two positions, stroked with square ends at `inset` from the
// image's edge (radius: half the side less the inset).
struct GaugeBand {
  double from, to;  // positions
  double inset, width;
  Colour colour;
};

// The text above the hub: its size and the factor of its line height by
// which it is raised from 90 points below the centre, in each mode.
struct GaugeTextStyle {
  double size, widgetSize;
  double baselineFactor, widgetBaselineFactor;
};

// Where an icon sits: its top-left corner from the centre, and its side, in
// points of a 280-point gauge (scaled with the gauge).
struct GaugeIconSquare {
  double left, top, side;
};

// The square below the hub that the vital-sign icons fill.
inline constexpr GaugeIconSquare kIconBelowHub{-23.0, 25.0, 46.0};
// Figures in bold, 24 points (26 in widgets).
inline constexpr GaugeTextStyle kFigureText{24.0, 26.0, -4.3, -5.1};

// One gauge as drawn.
struct Gauge {
  GaugeScale scale;
  std::vector<GaugeBand> bands;  // in drawing order
  std::string_view icon;         // a named picture; none when empty
  GaugeIconSquare iconSquare = kIconBelowHub;
  std::optional<std::string> text;
  GaugeTextStyle textStyle = kFigureText;
  double needle = 0.0;  // position
};

}  // namespace velmora
