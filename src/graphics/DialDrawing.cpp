#include "graphics/DialDrawing.h"

#include <cmath>
#include <cstdio>
#include <numbers>

#include "graphics/SleepMetricsGraphics.h"

namespace velmora {

float dialAngleForTime(int hour, int minute) {
  const float fractionOfDay = (static_cast<float>(minute) / 60.0f + static_cast<float>(hour)) / 24.0f;
  return static_cast<float>(SleepMetricsGraphics::radians((fractionOfDay - 0.25f) * 360.0f));
}

Point pointOnDial(Point centre, double radius, double angle) {
  return {centre.x + radius * std::cos(angle), centre.y + radius * std::sin(angle)};
}

void strokeArc(DrawingSurface& surface, Point centre, double radius, double from, double to, LineCap cap, double width,
               const Colour& colour) {
  surface.setLineCap(cap);
  surface.setLineWidth(width);
  surface.setStrokeColor(colour);
  surface.addArc(centre.x, centre.y, radius, from, to, 0);
  surface.strokePath();
}

void setTipShadow(DrawingSurface& surface, float fraction) {
  const auto [width, height] = SleepMetricsGraphics::getShadowForPercent(fraction);
  surface.setShadowWithColor({width, height}, 5.0, Colour::blackColor());
}

TextAttributes imageTextAttributes(const Font& font, const Colour& colour) {
  TextAttributes attributes;
  attributes.font = font;
  attributes.foregroundColour = colour;
  attributes.backgroundColour = Colour::clearColor();
  attributes.paragraphStyle = ParagraphStyle{};
  return attributes;
}

void drawTextCentred(DrawingSurface& surface, std::string_view text, Point centre, const Font& font,
                     const Colour& colour) {
  const TextAttributes attributes = imageTextAttributes(font, colour);
  const Size size = surface.sizeWithAttributes(text, attributes);
  surface.drawAtPoint(text, {centre.x - size.width / 2.0, centre.y - size.height / 2.0}, attributes);
}

std::string layerKey(std::string_view kind, const std::vector<double>& numbers, const std::vector<Colour>& colours) {
  std::string key(kind);
  char exact[32];
  auto add = [&](double v) {
    std::snprintf(exact, sizeof exact, " %a", v);
    key += exact;
  };
  for (double n : numbers) add(n);
  for (const Colour& c : colours) {
    const RGBA rgba = c.rgba();
    for (double v : {rgba.red, rgba.green, rgba.blue, rgba.alpha}) add(v);
  }
  return key;
}

void fillDisc(DrawingSurface& surface, Point centre, double radius) {
  surface.addArc(centre.x, centre.y, radius, 0.0, 2.0 * std::numbers::pi, 0);
  surface.addLineToPoint(centre.x, centre.y);
  surface.closePath();
  surface.fillPath();
}

void addFullCircle(DrawingSurface& surface, Point centre, double radius) {
  surface.addArc(centre.x, centre.y, radius, -std::numbers::pi / 2.0, 2.0 * std::numbers::pi, 0);
}

}  // namespace velmora
