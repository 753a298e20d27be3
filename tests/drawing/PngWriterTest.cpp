#include <cairo.h>
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "drawing/Image.h"
#include "drawing/PngWriter.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

std::uint32_t argb(std::uint32_t a, std::uint32_t r, std::uint32_t g, std::uint32_t b) {
  return a << 24 | r << 16 | g << 8 | b;
}

// Exact rational rounding, halves up: what every straight channel must be.
std::uint8_t straightChannel(std::uint32_t c, std::uint32_t a) {
  if (a == 0 || a == 255) return static_cast<std::uint8_t>(c);
  return static_cast<std::uint8_t>(std::min<std::uint32_t>(255, (2 * c * 255 + a) / (2 * a)));
}

TEST(PngWriter, UnpremultipliesEveryChannelOfEveryAlphaExactly) {
  // Every (alpha, channel) pair, including channels above their alpha
  // (no premultiplied pixel has them; they stay within a byte), in rows of
  // odd widths so that both the four-at-a-time and the single-pixel paths run.
  for (int width : {256, 7}) {
    std::vector<std::uint32_t> row(static_cast<std::size_t>(width));
    std::vector<std::uint8_t> out(4 * row.size());
    for (std::uint32_t a = 0; a < 256; ++a) {
      for (std::uint32_t first = 0; first < 256; first += static_cast<std::uint32_t>(width)) {
        for (int x = 0; x < width; ++x) {
          const std::uint32_t c = (first + static_cast<std::uint32_t>(x)) % 256;
          row[static_cast<std::size_t>(x)] = argb(a, c, (c * 7) % 256, 255 - c);
        }
        straightRgbaRow(row.data(), out.data(), width);
        for (int x = 0; x < width; ++x) {
          const std::uint32_t c = (first + static_cast<std::uint32_t>(x)) % 256;
          const std::uint8_t* p = &out[4 * static_cast<std::size_t>(x)];
          ASSERT_EQ(p[0], straightChannel(c, a)) << "alpha " << a << " red " << c;
          ASSERT_EQ(p[1], straightChannel((c * 7) % 256, a)) << "alpha " << a << " green " << (c * 7) % 256;
          ASSERT_EQ(p[2], straightChannel(255 - c, a)) << "alpha " << a << " blue " << 255 - c;
          ASSERT_EQ(p[3], a);
        }
      }
    }
  }
}

// Every premultiplied pixel there is (alpha from 0 to 255, each channel up to
// its alpha), written and read back as a named picture: the same pixels.
TEST(PngWriter, EveryPremultipliedPixelReadsBackExactly) {
  constexpr int kWidth = 517;  // an odd width: rows of every phase of the four-pixel steps
  std::vector<std::uint32_t> pixels;
  for (std::uint32_t a = 0; a < 256; ++a)
    for (std::uint32_t c = 0; c <= a; ++c) pixels.push_back(argb(a, c, (c * 5 + 3) % (a + 1), a - c));
  const int height = static_cast<int>((pixels.size() + kWidth - 1) / kWidth);
  pixels.resize(static_cast<std::size_t>(kWidth) * static_cast<std::size_t>(height), argb(255, 1, 2, 3));

  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, kWidth, height);
  const int stride = cairo_image_surface_get_stride(surface);
  for (int y = 0; y < height; ++y)
    std::memcpy(cairo_image_surface_get_data(surface) + y * stride, &pixels[static_cast<std::size_t>(y) * kWidth],
                kWidth * 4);
  cairo_surface_mark_dirty(surface);
  const Image written(kWidth, height, 1, surface);
  cairo_surface_destroy(surface);

  testing::TestEnvironment env;
  env.scale = 1;
  testing::TempDir bundle;
  std::filesystem::create_directories(bundle.path() / "pictures");
  const Status png = written.writePng(bundle.path() / "pictures" / "Every.png");
  ASSERT_TRUE(png) << png.message();
  env.resourcesDir = bundle.path();
  const ImageRef read = imageNamed(env, "Every");
  ASSERT_TRUE(read);
  cairo_surface_t* back = read->surface();
  ASSERT_EQ(cairo_image_surface_get_width(back), kWidth);
  ASSERT_EQ(cairo_image_surface_get_height(back), height);
  int differing = 0;
  for (int y = 0; y < height; ++y) {
    const auto* row = reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(back) +
                                                             y * cairo_image_surface_get_stride(back));
    for (int x = 0; x < kWidth; ++x) differing += row[x] != pixels[static_cast<std::size_t>(y) * kWidth + x];
  }
  EXPECT_EQ(differing, 0);
}

}  // namespace
}  // namespace velmora
