#include "support/Pixels.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numbers>

namespace velmora::testing {

Point onDial(float size, double radius, double turn) {
  const double angle = (turn - 0.25) * 2.0 * std::numbers::pi;
  return {size / 2.0 + radius * std::cos(angle), size / 2.0 + radius * std::sin(angle)};
}

namespace {

bool inside(cairo_surface_t* surface, int x, int y) {
  return x >= 0 && y >= 0 && x < cairo_image_surface_get_width(surface) && y < cairo_image_surface_get_height(surface);
}

// The straight colour of the pixel at (x, y) of a flushed surface.
RGBA pixel(cairo_surface_t* surface, int x, int y) {
  std::uint32_t argb = 0;
  std::memcpy(&argb, cairo_image_surface_get_data(surface) + y * cairo_image_surface_get_stride(surface) + x * 4, 4);
  const double a = (argb >> 24) / 255.0;
  if (a == 0.0) return {};
  auto channel = [&](int shift) { return ((argb >> shift) & 0xff) / 255.0 / a; };
  return {channel(16), channel(8), channel(0), a};
}

}  // namespace

RGBA pixelAt(const Image& image, Point p) {
  cairo_surface_t* surface = image.surface();
  cairo_surface_flush(surface);
  const int x = static_cast<int>(std::floor(p.x * image.scale())),
            y = static_cast<int>(std::floor(p.y * image.scale()));
  EXPECT_TRUE(inside(surface, x, y));
  return inside(surface, x, y) ? pixel(surface, x, y) : RGBA{};
}

Rect inkBounds(const Image& image, Rect box, const std::function<bool(const RGBA&)>& select) {
  cairo_surface_t* surface = image.surface();
  cairo_surface_flush(surface);
  const double s = image.scale();
  const int x0 = static_cast<int>(std::floor(box.x * s)), y0 = static_cast<int>(std::floor(box.y * s));
  const int x1 = static_cast<int>(std::ceil((box.x + box.width) * s)),
            y1 = static_cast<int>(std::ceil((box.y + box.height) * s));
  int left = x1, top = y1, right = x0 - 1, bottom = y0 - 1;
  for (int y = y0; y < y1; ++y)
    for (int x = x0; x < x1; ++x)
      if (inside(surface, x, y) && select(pixel(surface, x, y))) {
        left = std::min(left, x);
        right = std::max(right, x);
        top = std::min(top, y);
        bottom = std::max(bottom, y);
      }
  if (right < left) return {box.x + box.width, box.y + box.height, 0, 0};
  return {left / s, top / s, (right + 1 - left) / s, (bottom + 1 - top) / s};
}

Rect lightBounds(const Image& image, Rect box) {
  return inkBounds(image, box, [](const RGBA& p) { return p.red + p.green + p.blue > 1.5; });
}

Rect tintBounds(const Image& image, Rect box, const RGBA& tint) {
  return inkBounds(image, box, [&](const RGBA& p) {
    return std::abs(p.red - tint.red) + std::abs(p.green - tint.green) + std::abs(p.blue - tint.blue) < 0.1;
  });
}

RGBA composite(const RGBA& over, const RGBA& under) {
  const double a = over.alpha + under.alpha * (1 - over.alpha);
  auto channel = [&](double o, double u) { return (o * over.alpha + u * under.alpha * (1 - over.alpha)) / a; };
  return {channel(over.red, under.red), channel(over.green, under.green), channel(over.blue, under.blue), a};
}

::testing::AssertionResult near(const RGBA& actual, const RGBA& expected, double tolerance) {
  const double worst = std::max({std::abs(actual.red - expected.red), std::abs(actual.green - expected.green),
                                 std::abs(actual.blue - expected.blue), std::abs(actual.alpha - expected.alpha)});
  if (worst <= tolerance) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "pixel (" << actual.red << ", " << actual.green << ", " << actual.blue << ", "
                                       << actual.alpha << ") is not (" << expected.red << ", " << expected.green << ", "
                                       << expected.blue << ", " << expected.alpha << ")";
}

}  // namespace velmora::testing
