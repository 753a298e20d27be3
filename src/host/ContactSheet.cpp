#include "host/ContactSheet.h"

#include <algorithm>
#include <cmath>

#include "drawing/DrawingSurface.h"

namespace velmora::host {

namespace {

constexpr double kMargin = 16.0;       // around each cell's picture
constexpr double kCaptionSize = 14.0;  // points
constexpr double kCaptionGap = 6.0;    // between a picture and its name
// The sheet is for a look at the whole set: two pixels a point show every
// detail a glance can take, and keep a sheet of a dozen images a few megabytes.
constexpr int kSheetScale = 2;

const Colour kBackdrop = Colour::white(0.16);
const Colour kCaptionColour = Colour::white(0.85);

}  // namespace

ImageRef drawContactSheet(RunCaches& caches, const std::vector<NamedImage>& images) {
  if (images.empty()) return nullptr;
  const TextAttributes caption(Font::systemFontOfSize(kCaptionSize), kCaptionColour);
  double widest = 0.0, tallest = 0.0;
  for (const NamedImage& entry : images) {
    widest = std::max(widest, entry.image->width());
    tallest = std::max(tallest, entry.image->height());
  }
  const auto count = static_cast<int>(images.size());
  const int columns = static_cast<int>(std::ceil(std::sqrt(static_cast<double>(count))));
  const int rows = (count + columns - 1) / columns;
  const double cellWidth = widest + 2 * kMargin;
  const double cellHeight = tallest + kCaptionGap + kCaptionSize * 1.5 + 2 * kMargin;
  const double side = std::max(columns * cellWidth, rows * cellHeight);
  const int scale = std::min(caches.environment().scale, kSheetScale);

  DrawingSurface s = DrawingSurface::beginImageContext(caches, side, scale);
  s.setFillColor(kBackdrop);
  s.moveToPoint(0, 0);
  s.addLineToPoint(side, 0);
  s.addLineToPoint(side, side);
  s.addLineToPoint(0, side);
  s.closePath();
  s.fillPath();

  // The grid sits in the middle of the square's longer way.
  const double left = (side - columns * cellWidth) / 2;
  const double top = (side - rows * cellHeight) / 2;
  for (int i = 0; i < count; ++i) {
    const Image& image = *images[static_cast<std::size_t>(i)].image;
    const std::string& name = images[static_cast<std::size_t>(i)].name;
    const double x = left + (i % columns) * cellWidth;
    const double y = top + (i / columns) * cellHeight;
    // Pictures stand on a common line, so that their sizes compare at a glance.
    const double bottom = y + kMargin + tallest;
    s.drawInRect(image, {x + (cellWidth - image.width()) / 2, bottom - image.height(), image.width(), image.height()});
    const Size measured = s.sizeWithAttributes(name, caption);
    s.drawAtPoint(name, {x + (cellWidth - measured.width) / 2, bottom + kCaptionGap}, caption);
  }
  ImageRef sheet = s.getImage();
  s.end();
  return sheet;
}

}  // namespace velmora::host
