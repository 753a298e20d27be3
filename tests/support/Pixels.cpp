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

RGBA pixelAt(const Image& image, Point p) {
  cairo_surface_t* surface = image.surface();
  cairo_surface_flush(surface);
  const int x = static_cast<int>(std::floor(p.x * image.scale())),
            y = static_cast<int>(std::floor(p.y * image.scale()));
  EXPECT_TRUE(x >= 0 && y >= 0 && x < cairo_image_surface_get_width(surface) &&
              y < cairo_image_surface_get_height(surface));
  std::uint32_t argb = 0;
  std::memcpy(&argb, cairo_image_surface_get_data(surface) + y * cairo_image_surface_get_stride(surface) + x * 4, 4);
  const double a = (argb >> 24) / 255.0;
  if (a == 0.0) return {};
  auto channel = [&](int shift) { return ((argb >> shift) & 0xff) / 255.0 / a; };
  return {channel(16), channel(8), channel(0), a};
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
