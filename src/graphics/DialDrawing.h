#pragma once

#include <numbers>
#include <string>
#include <string_view>
#include <vector>

#include "drawing/DrawingSurface.h"
#include "drawing/Fonts.h"
#include "values/Colour.h"
#include "values/Geometry.h"

// Small pieces shared by the dial and ring images of this folder.
namespace velmora {

// Where a time of day lies on a 24-hour dial, in radians: midnight at 12
// o'clock, 06:00 at 3 o'clock, so times before 06:00 are negative. Computed in
// single precision, as the dials always have been.
float dialAngleForTime(int hour, int minute);

// The point at `radius` from `centre` at `angle` (0 at 3 o'clock, clockwise).
Point pointOnDial(Point centre, double radius, double angle);

// Rings of a fraction start just clockwise of 12 o'clock, so that even an
// empty ring's stub shows.
constexpr double kRingStartAngle = (0.01 - 0.25) * 2.0 * std::numbers::pi;
// Where a ring filled to `fraction` (1.0 a whole turn) ends.
constexpr double ringEndAngle(double fraction) { return (fraction - 0.25) * 2.0 * std::numbers::pi; }

// Adds one whole circle, started at 12 o'clock, to the current path.
void addFullCircle(DrawingSurface& surface, Point centre, double radius);

// Strokes an arc about `centre` clockwise from angle `from` to `to` (a sweep
// of a whole turn or more is one circle), under the shadow already set.
void strokeArc(DrawingSurface& surface, Point centre, double radius, double from, double to, LineCap cap, double width,
               const Colour& colour);

// The shadow of a ring's tip: it falls away from the ring's end, wherever
// the end has got to (`getShadowForPercent`), soft and black.
void setTipShadow(DrawingSurface& surface, float fraction);

// Fills a disc: a whole circle, a line back to the centre, closed.
void fillDisc(DrawingSurface& surface, Point centre, double radius);

// The attribute set every image text is written with: font, colour, a clear
// background and the default paragraph style.
TextAttributes imageTextAttributes(const Font& font, const Colour& colour);

// The key of an image's layer (DrawingSurface::drawLayer): its kind and
// every number and colour the layer is drawn with, exactly, so that any
// change of them (a theme, a hue, a goal read from the store) is another key.
std::string layerKey(std::string_view kind, const std::vector<double>& numbers, const std::vector<Colour>& colours);

// Writes `text` centred on `centre`, with the attribute set every image text uses.
void drawTextCentred(DrawingSurface& surface, std::string_view text, Point centre, const Font& font,
                     const Colour& colour);

}  // namespace velmora
