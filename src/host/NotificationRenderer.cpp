#include "host/NotificationRenderer.h"

#include <unicode/locid.h>
#include <unicode/reldatefmt.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>

#include "drawing/DrawingSurface.h"
#include "drawing/Fonts.h"
#include "drawing/Image.h"

namespace velmora::host {

namespace {

constexpr double kHeaderHeight = 40.0;
constexpr double kCardRadius = 22.0;
constexpr double kPi = std::numbers::pi;

// A rectangle with rounded corners as one closed sub-path.
void addRoundedRect(DrawingSurface& s, Rect r, double radius) {
  radius = std::clamp(radius, 0.0, std::min(r.width, r.height) / 2);
  s.moveToPoint(r.x + radius, r.y);
  s.addArc(r.x + r.width - radius, r.y + radius, radius, -kPi / 2, 0, 0);
  s.addArc(r.x + r.width - radius, r.y + r.height - radius, radius, 0, kPi / 2, 0);
  s.addArc(r.x + radius, r.y + r.height - radius, radius, kPi / 2, kPi, 0);
  s.addArc(r.x + radius, r.y + radius, radius, kPi, 3 * kPi / 2, 0);
  s.closePath();
}

void fillRoundedRect(DrawingSurface& s, Rect r, double radius, const Colour& colour) {
  s.setFillColor(colour);
  addRoundedRect(s, r, radius);
  s.fillPath();
}

// One line of text in its frame, fitted as the platform's labels fit theirs.
void drawLabel(DrawingSurface& s, RunCaches& caches, const std::string& text, Rect frame, const SlotLayout& layout) {
  if (text.empty()) return;
  const PlacedLine placed = caches.fonts().placeInFrame(text, frame, layout.text);
  s.drawLine(placed.line, placed.origin, layout.textColour);
}

// The app's line above the content, as the system heads every notification: its icon, its name (which no
// language changes) and when the notification came.
void drawHeader(DrawingSurface& s, double width, const std::string& when) {
  fillRoundedRect(s, {16, 11, 18, 18}, 5, Colour::hsba(0.5361111111111111, 0.8, 0.75));
  s.setStrokeColor(Colour::whiteColor());
  s.setLineWidth(2);
  s.setLineCap(LineCap::kRound);
  s.addArc(25, 20, 5, -kPi / 2, kPi, 0);  // a crescent-like mark in the icon
  s.strokePath();
  const Colour subtle = Colour::hsba(0.1527777777777778, 0.05, 0.67);
  s.drawAtPoint("VELMORA", {42, 12}, TextAttributes(Font::systemFontOfSize(13, FontWeight::kBold), subtle));
  const TextAttributes attributes(Font::systemFontOfSize(13), subtle);
  s.drawAtPoint(when, {width - 16 - s.sizeWithAttributes(when, attributes).width, 12}, attributes);
}

}  // namespace

std::vector<SlotPlacement> placeSlots(const InterfaceDescription& layout, const std::vector<DisplaySlot>& slots) {
  std::vector<SlotPlacement> placed(slots.size());
  auto indexOf = [&](const std::string& name) {
    for (std::size_t i = 0; i < slots.size(); ++i)
      if (slots[i].name == name) return static_cast<std::ptrdiff_t>(i);
    return std::ptrdiff_t{-1};
  };
  for (std::size_t i = 0; i < slots.size() && i < layout.layout.size(); ++i) {
    const SlotLayout& l = layout.layout[i];
    SlotPlacement& p = placed[i];
    p.frame = {l.frame[0], l.frame[1] + kHeaderHeight, l.frame[2], l.frame[3]};
    p.visible = !slots[i].hidden;
    if (const std::ptrdiff_t parent = indexOf(l.parent); parent >= 0 && static_cast<std::size_t>(parent) < i) {
      const SlotPlacement& of = placed[static_cast<std::size_t>(parent)];
      p.frame.x += of.frame.x;
      p.frame.y += of.frame.y - kHeaderHeight;
      p.visible = p.visible && of.visible;
    }
  }
  return placed;
}

ImageRef renderNotification(RunCaches& caches, const InterfaceDescription& layout, std::vector<DisplaySlot> slots) {
  const double width = layout.size[0];
  const double height = layout.size[1] + kHeaderHeight;
  // The card is laid out square; a taller or wider description leaves the rest clear.
  DrawingSurface s = DrawingSurface::beginImageContext(caches, std::max(width, height));
  fillRoundedRect(s, {0, 0, width, height}, kCardRadius, layout.background);
  drawHeader(s, width, justNowText(caches.environment()));

  // In declaration order, so that later slots sit on top.
  const std::vector<SlotPlacement> placed = placeSlots(layout, slots);
  for (std::size_t i = 0; i < placed.size() && i < layout.layout.size(); ++i) {
    if (!placed[i].visible) continue;
    DisplaySlot& slot = slots[i];
    const Rect frame = placed[i].frame;
    switch (slot.kind) {
      case DisplaySlot::Kind::kContainer:
      case DisplaySlot::Kind::kIndicator:
        if (slot.backgroundColour) fillRoundedRect(s, frame, slot.cornerRadius, *slot.backgroundColour);
        break;
      case DisplaySlot::Kind::kLabel:
        if (slot.text) drawLabel(s, caches, *slot.text, frame, layout.layout[i]);
        break;
      case DisplaySlot::Kind::kImage:
        if (slot.image) s.drawInRect(*slot.image, frame);
        slot.image.reset();  // in the card now: its memory can go
        break;
    }
  }
  ImageRef image = s.getImage();
  s.end();
  return image;
}

std::string justNowText(const Environment& env) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Locale language =
      icu::Locale::forLanguageTag(env.languages.empty() ? "en" : env.languages.front(), status);
  const icu::RelativeDateTimeFormatter formatter(U_SUCCESS(status) ? language : icu::Locale::getEnglish(), status);
  icu::UnicodeString word;
  formatter.format(UDAT_DIRECTION_PLAIN, UDAT_ABSOLUTE_NOW, word, status);
  std::string text;
  if (U_SUCCESS(status)) word.toUTF8String(text);
  return text.empty() ? "now" : text;
}

}  // namespace velmora::host
