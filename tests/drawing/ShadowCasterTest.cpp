#include <cairo.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "SurfaceDrawings.h"
#include "drawing/DrawingSurface.h"
#include "drawing/ShadowCaster.h"
#include "support/Pixels.h"

namespace velmora {
namespace {

using testing::alphaAt;
using testing::BoundedSurfaceTest;
using testing::kInf;
using testing::kNaN;
using testing::kSide;
using testing::Painted;
using testing::paintedPixels;
using testing::pixelAt;
using testing::SurfaceTest;

class ShadowCasterTest : public SurfaceTest {};

// The default shadow is black at one third: at the edge of what casts it, a blurred shadow has half its strength.
TEST_F(ShadowCasterTest, ADefaultShadowIsHalfItsStrengthAtTheEdge) {
  DrawingSurface s = begin(kSide, 3);
  s.setShadow({0, 0}, 8);
  fillRect(s, {30, 0, 40, 100}, Colour::whiteColor());
  EXPECT_NEAR(alphaAt(s.getImage(), {29.9, 50}), 1.0 / 6, 0.03);
}

TEST_F(ShadowCasterTest, ShadowShowsThroughTranslucentPaintOnly) {
  for (double alpha : {1.0, 0.5}) {
    DrawingSurface s = begin();
    s.setShadowWithColor({0, 0}, 0, Colour::blackColor());
    fillRect(s, {30, 30, 40, 40}, Colour::whiteColor().colorWithAlphaComponent(alpha));
    // Black at alpha × 1 under white at alpha.
    const RGBA p = pixelAt(*s.getImage(), {50, 50});
    EXPECT_NEAR(p.alpha, alpha + (1 - alpha) * alpha, 0.01);
    EXPECT_NEAR(p.red, alpha / (alpha + (1 - alpha) * alpha), 0.01);
  }
}

TEST_F(ShadowCasterTest, TextAndPicturesCastShadowsToo) {
  const ImageRef icon = imageNamed(env, "SpO2Icon");
  ASSERT_TRUE(icon);
  DrawingSurface s = begin();
  s.setShadowWithColor({0, 20}, 0, Colour::blackColor());
  s.drawAtPoint("WWW", {5, 5}, {Font::boldSystemFontOfSize(20), Colour::whiteColor()});
  s.drawInRect(*icon, {55, 5, 40, 40});
  const ImageRef image = s.getImage();
  auto darkPixels = [&](double x0, double x1) {
    int count = 0;
    for (double x = x0; x < x1; x += 0.5)
      for (double y = 30; y < 60; y += 0.5) {
        const RGBA p = pixelAt(*image, {x, y});
        count += p.alpha > 0.5 && p.red < 0.1;
      }
    return count;
  };
  EXPECT_GT(darkPixels(5, 50), 50) << "the text's shadow";
  EXPECT_GT(darkPixels(55, 95), 50) << "the picture's shadow";
}

class ShadowCasterBounded : public BoundedSurfaceTest {};

// A shadow that is no number, or is thrown wholly off the bitmap, casts
// nothing; what casts it is painted as ever: the square alone, or the square
// and a shadow spread as far as a blur goes.
TEST_F(ShadowCasterBounded, AShadowThatCannotFallOnTheBitmapCastsNothing) {
  const struct {
    Size offset;
    double blur;
    bool spread;
  } cases[] = {{{kNaN, 0}, 2, false},      {{0, kInf}, 2, false}, {{1e30, 0}, 2, false}, {{0, -1e300}, 2, false},
               {{2 * kSide, 0}, 2, false}, {{}, kNaN, false},     {{}, kInf, false},     {{}, 1e30, true}};
  for (const auto& c : cases) {
    DrawingSurface s = begin(kSide, 2);
    s.setShadowWithColor(c.offset, c.blur, Colour::blackColor());
    fillRect(s, {30, 30, 40, 40}, Colour::whiteColor());
    const Painted p = paintedPixels(*s.getImage());
    EXPECT_EQ(c.spread ? p.full : p.any, 80 * 80) << c.offset.width << ", " << c.offset.height << ", " << c.blur;
  }
}

// The caster on its own, its scratch serving bitmaps of other sizes, scales and shadows in turn: a square's shadow
// falls no further from it than `reach` says (the surface leaves out what lies further off the bitmap), and each
// shadow leaves the scratch as a fresh one would be for the next.
TEST(ShadowCaster, AShadowFallsWithinItsReachAndLeavesTheScratchClear) {
  const struct {
    double side;
    int scale;
    Shadow shadow;
  } cases[] = {
      {40, 3, {{0, 0}, 6, Colour::blackColor()}},
      {100, 1, {{3, -2}, 0, Colour::blackColor()}},
      {50, 2, {{-5, 7.5}, 4, Colour::blackColor()}},
      {60, 3, {{1.3, 0.5}, 2, Colour::blackColor()}},  // between pixels
  };
  const std::shared_ptr<ShadowScratch> scratch = makeShadowScratch();
  for (const auto& c : cases) {
    const int pixels = static_cast<int>(c.side * c.scale);
    const double from = c.side / 2 - 4, to = c.side / 2 + 4;
    // The alpha of every pixel of the shadow the square casts, alone.
    auto cast = [&](ShadowScratch& on) {
      cairo_surface_t* bitmap = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, pixels, pixels);
      cairo_t* cr = cairo_create(bitmap);
      cairo_scale(cr, c.scale, c.scale);
      std::vector<std::uint8_t> alpha;
      if (std::optional<ShadowCaster> caster = ShadowCaster::ready(on, bitmap, cr, c.scale, c.shadow)) {
        cairo_rectangle(caster->coverageContext(), from, from, to - from, to - from);
        cairo_fill(caster->coverageContext());
        caster->coverage().findUsed(caster->framePixels(from, from, to, to));
        caster->castShadow(c.shadow, 1.0, false);
        caster->clear();
        cairo_surface_flush(bitmap);
        for (int y = 0; y < pixels; ++y)
          for (int x = 0; x < pixels; ++x)
            alpha.push_back(
                cairo_image_surface_get_data(bitmap)[y * cairo_image_surface_get_stride(bitmap) + 4 * x + 3]);
      }
      cairo_destroy(cr);
      cairo_surface_destroy(bitmap);
      return alpha;
    };
    const std::vector<std::uint8_t> shadow = cast(*scratch);
    ASSERT_EQ(shadow.size(), static_cast<std::size_t>(pixels * pixels));
    EXPECT_EQ(shadow, cast(*makeShadowScratch())) << "on a fresh scratch, the side " << c.side;
    double farthest = 0;  // points from the square to the centre of a pixel of its shadow
    for (int y = 0; y < pixels; ++y)
      for (int x = 0; x < pixels; ++x) {
        if (!shadow[static_cast<std::size_t>(y * pixels + x)]) continue;
        auto beyond = [&](int pixel) {
          return std::max({0.0, from - (pixel + 0.5) / c.scale, (pixel + 0.5) / c.scale - to});
        };
        farthest = std::max({farthest, beyond(x), beyond(y)});
      }
    const double reach = ShadowCaster::reach(c.shadow, c.scale);
    EXPECT_LE(farthest, reach) << "the side " << c.side;
    EXPECT_GT(farthest, reach / 2) << "cast and spread, the side " << c.side;
  }
}

}  // namespace
}  // namespace velmora
