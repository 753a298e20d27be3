#include <cairo.h>
#include <gtest/gtest.h>
#include <spng.h>

#include <fstream>
#include <iterator>
#include <vector>

#include "SurfaceDrawings.h"
#include "drawing/DrawingSurface.h"
#include "support/Pixels.h"

namespace velmora {
namespace {

using testing::alphaAt;
using testing::arc;
using testing::BoundedSurfaceTest;
using testing::circle;
using testing::dash;
using testing::differingPixels;
using testing::Draw;
using testing::kInf;
using testing::kNaN;
using testing::kSide;
using testing::line;
using testing::lineWith;
using testing::Painted;
using testing::paintedPixels;
using testing::picture;
using testing::pixelAt;
using testing::SurfaceTest;
using testing::text;
using testing::triangle;
using testing::width;

// A picture as a run of its own at scale 2 reads it, from `resources` (the run's bundle when empty).
ImageRef pictureAtScaleTwo(const Environment& env, std::string_view name, std::filesystem::path resources = {}) {
  Environment run = env;
  if (!resources.empty()) run.resourcesDir = std::move(resources);
  run.scale = 2;
  RunCaches caches(run);
  return imageNamed(caches, name);
}

class DrawingSurfaceTest : public SurfaceTest {};

TEST_F(DrawingSurfaceTest, RestoringTheStateBringsBackColoursWidthCapAndShadow) {
  DrawingSurface s = begin();
  s.setStrokeColor(Colour::hsba(0, 1, 1));
  s.setLineWidth(2);
  s.setLineCap(LineCap::kButt);
  s.setShadowWithColor({0, 6}, 0, Colour::blackColor());
  const DrawingSurface::GState saved = s.state();
  s.saveGState();
  s.setStrokeColor(Colour::whiteColor());
  s.setFillColor(Colour::whiteColor());
  s.setLineWidth(10);
  s.setLineCap(LineCap::kRound);
  s.setShadow({0, 0}, 0);
  s.restoreGState();
  EXPECT_EQ(s.state().strokeColour, saved.strokeColour);
  EXPECT_EQ(s.state().fillColour, saved.fillColour);
  EXPECT_EQ(s.state().shadow, saved.shadow);
  line({20, 30}, {80, 30})(s);
  const ImageRef image = s.getImage();
  const RGBA stroke = pixelAt(*image, {50, 30});
  EXPECT_EQ(stroke.red, 1.0);
  EXPECT_EQ(stroke.green, 0.0);
  EXPECT_EQ(alphaAt(image, {50, 33}), 0.0) << "width 2 again";
  EXPECT_EQ(alphaAt(image, {82, 30}), 0.0) << "butt cap again";
  EXPECT_GT(alphaAt(image, {50, 36}), 0.99) << "the shadow again, 6 points down";
}

// --- text ----------------------------------------------------------------

TEST_F(DrawingSurfaceTest, TextMeasuresByFont) {
  DrawingSurface s = begin();
  const TextAttributes regular{Font::systemFontOfSize(12), Colour::whiteColor()};
  const Size small = s.sizeWithAttributes("88", regular);
  const Size large = s.sizeWithAttributes("88", {Font::systemFontOfSize(34, FontWeight::kHeavy), Colour::whiteColor()});
  EXPECT_GT(small.width, 8);
  EXPECT_GT(small.height, 12);
  EXPECT_GT(large.width, 2.5 * small.width);
  EXPECT_GT(s.sizeWithAttributes("88", {Font::boldSystemFontOfSize(12), Colour::whiteColor()}).width, small.width);
  EXPECT_EQ(s.sizeWithAttributes("", regular), Size{});
  const std::string malformed =
      "8\xff"
      "8";
  EXPECT_GT(s.sizeWithAttributes(malformed, regular).width, small.width) << "a malformed byte shows as a mark";
}

// --- pictures and images ---------------------------------------------------

TEST_F(DrawingSurfaceTest, ANamedPictureIsItsRenditionForTheRunScaleReadOncePerRun) {
  const ImageRef icon = imageNamed(env, "SpO2Icon");
  ASSERT_TRUE(icon);
  EXPECT_EQ(icon->name(), "SpO2Icon");
  EXPECT_EQ(icon->width(), 46);
  EXPECT_EQ(icon->height(), 46);
  EXPECT_EQ(icon->scale(), env.scale);
  EXPECT_EQ(cairo_image_surface_get_width(icon->surface()), 46 * env.scale);
  for (const char* name :
       {"WidgetWait", "RechargeBkg.png", "RespIcon", "InBedIcon", "WristTempIcon", "FuelIcon", "Readiperson"})
    EXPECT_TRUE(imageNamed(env, name)) << name;
  EXPECT_FALSE(imageNamed(env, "NoSuchPicture"));

  EXPECT_EQ(imageNamed(env, "SpO2Icon"), icon) << "read once";
  const ImageRef atTwo = pictureAtScaleTwo(env, "SpO2Icon");
  ASSERT_TRUE(atTwo);
  EXPECT_EQ(atTwo->scale(), 2);
  EXPECT_EQ(atTwo->width(), 46);
  EXPECT_EQ(cairo_image_surface_get_width(atTwo->surface()), 92);
}

TEST_F(DrawingSurfaceTest, APictureAtItsNaturalSizeOnWholePixelsIsItsRenditionExactly) {
  const ImageRef icon = imageNamed(env, "SpO2Icon");
  ASSERT_TRUE(icon);
  DrawingSurface s = begin(kSide, env.scale);
  s.drawInRect(*icon, {20, 20, icon->width(), icon->height()});
  s.drawInRect(Image(10, 10, 1, nullptr), {0, 0, 100, 100});  // a picture with no pixels draws nothing
  const ImageRef drawn = s.getImage();
  ASSERT_EQ(cairo_image_surface_get_width(icon->surface()), static_cast<int>(icon->width()) * env.scale);
  EXPECT_EQ(differingPixels(*icon, *drawn, 20 * env.scale), 0);
  EXPECT_EQ(alphaAt(drawn, {19.5, 40}), 0.0) << "nothing outside the rectangle";
}

TEST_F(DrawingSurfaceTest, APictureReadsBackThePixelsItWasWrittenWith) {
  // 21 pixels square: the last pixel is read on its own, past the pixels read four at a time.
  DrawingSurface s = begin(10.5, 2);
  const struct {
    Rect area;
    Colour colour;
  } patches[] = {{{5, 0, 5.5, 5}, Colour::hsba(0.0, 1, 1)},
                 {{0, 5, 5, 5.5}, Colour::hsba(0.33, 0.8, 0.6, 0.5)},
                 {{5, 5, 5.5, 5.5}, Colour::hsba(0.6, 0.5, 0.9, 0.2)}};  // and one corner left clear
  for (const auto& p : patches) fillRect(s, p.area, p.colour);
  const ImageRef written = s.getImage();
  testing::TempDir bundle;
  std::filesystem::create_directories(bundle.path() / "pictures");
  const Status png = written->writePng(bundle.path() / "pictures" / "Patches@2x.png");
  ASSERT_TRUE(png) << png.message();

  const ImageRef read = pictureAtScaleTwo(env, "Patches", bundle.path());
  ASSERT_TRUE(read);
  EXPECT_EQ(read->width(), 10.5);
  EXPECT_EQ(read->scale(), 2);
  for (Point at : {Point{2, 2}, Point{7, 2}, Point{2, 7}, Point{7, 7}, Point{10.3, 10.3}}) {
    const RGBA want = pixelAt(*written, {at.x, at.y}), got = pixelAt(*read, {at.x, at.y});
    EXPECT_NEAR(got.alpha, want.alpha, 1.5 / 255) << at.x << "," << at.y;
    EXPECT_NEAR(got.red, want.red, 3.0 / 255) << at.x << "," << at.y;
    EXPECT_NEAR(got.green, want.green, 3.0 / 255) << at.x << "," << at.y;
    EXPECT_NEAR(got.blue, want.blue, 3.0 / 255) << at.x << "," << at.y;
  }
}

// A surface is square at its scale (0: the run's); one of no size, or too large to make, does nothing and
// yields no image.
TEST_F(DrawingSurfaceTest, SurfacesAreSquareAtTheirScaleOrNotMadeAtAll) {
  const struct {
    double side;
    int scale, pixels;  // 0 pixels: no surface
  } cases[] = {{100, 1, 100}, {100, 3, 300}, {100, 0, 300}, {0, 0, 0}, {-5, 0, 0}, {std::nan(""), 0, 0}, {1e7, 0, 0}};
  for (auto c : cases) {
    DrawingSurface s = begin(c.side, c.scale);
    EXPECT_EQ(s.isValid(), c.pixels > 0) << c.side;
    s.setShadow({1, 1}, 3);
    s.addArc(1, 1, 1, 0, 1, 0);
    s.strokePath();
    s.drawAtPoint("7", {0, 0}, {Font::systemFontOfSize(12), Colour::blackColor()});
    const ImageRef image = s.getImage();
    ASSERT_EQ(image != nullptr, c.pixels > 0) << c.side;
    if (!image) continue;
    EXPECT_EQ(image->width(), 100);
    EXPECT_EQ(image->scale(), c.pixels / 100);
    EXPECT_EQ(cairo_image_surface_get_width(image->surface()), c.pixels);
    EXPECT_EQ(cairo_image_surface_get_height(image->surface()), c.pixels);
    EXPECT_EQ(alphaAt(image, {50, 50}), 0.0) << "transparent to begin with";
  }
}

TEST_F(DrawingSurfaceTest, AnImageKeepsWhatTheSurfaceHeldWhenItWasTaken) {
  DrawingSurface s = begin();
  s.setFillColor(Colour::whiteColor());
  triangle({0, 0}, {50, 0}, {50, 50})(s);
  const ImageRef first = s.getImage();
  triangle({60, 60}, {90, 60}, {90, 90})(s);
  EXPECT_EQ(alphaAt(first, {85, 70}), 0.0);
  EXPECT_GT(alphaAt(s.getImage(), {85, 70}), 0.99);
}

// A surface handed on keeps the path begun on it; the one it was moved from
// draws nothing and is still safe to set up.
TEST_F(DrawingSurfaceTest, AMovedSurfaceTakesItsPathAlong) {
  DrawingSurface from = begin();
  from.setFillColor(Colour::whiteColor());
  from.moveToPoint(60, 60);
  from.addLineToPoint(90, 60);
  from.addLineToPoint(90, 90);
  DrawingSurface to = std::move(from);
  to.fillPath();
  EXPECT_GT(alphaAt(to.getImage(), {85, 70}), 0.99);
  from.setLineWidth(3);
  from.saveGState();
  from.restoreGState();
  EXPECT_FALSE(from.getImage());
}

TEST_F(DrawingSurfaceTest, ANewSurfaceIsClearThoughItMayReuseTheMemoryOfAnImageLetGo) {
  auto paintAll = [](DrawingSurface& s) { fillRect(s, {0, 0, kSide, kSide}, Colour::whiteColor()); };
  ImageRef held;
  for (int round = 0; round < 4; ++round) {
    {
      DrawingSurface s = begin();
      const ImageRef fresh = s.getImage();
      for (Point p : {Point{0.2, 0.2}, Point{50, 50}, Point{99.8, 99.8}})
        EXPECT_EQ(alphaAt(fresh, p), 0.0) << "round " << round << " at " << p.x;
    }
    DrawingSurface s = begin();
    paintAll(s);
    if (round == 1) held = s.getImage();  // still in use: its memory must not be handed out
  }
  EXPECT_GT(alphaAt(held, {50, 50}), 0.99);

  // An image may outlive the run that drew it.
  ImageRef survivor;
  {
    testing::TestEnvironment run;
    DrawingSurface s = DrawingSurface::beginImageContext(run, kSide);
    paintAll(s);
    survivor = s.getImage();
  }
  EXPECT_GT(alphaAt(survivor, {50, 50}), 0.99);
  survivor.reset();
}

TEST_F(DrawingSurfaceTest, PngHoldsThePixelsStraightAtTheImageScale) {
  DrawingSurface s = begin(20, 3);
  fillRect(s, {0, 0, 20, 10}, Colour::hsba(0, 1, 1, 0.5));
  const auto file = env.prefsDir.parent_path() / "image.png";
  const Status written = s.getImage()->writePng(file);
  ASSERT_TRUE(written) << written.message();

  std::ifstream in(file, std::ios::binary);
  const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  spng_ctx* png = spng_ctx_new(0);
  spng_set_png_buffer(png, bytes.data(), bytes.size());
  spng_ihdr header{};
  ASSERT_EQ(spng_get_ihdr(png, &header), 0);
  EXPECT_EQ(header.width, 60u);
  EXPECT_EQ(header.height, 60u);
  std::size_t size = 0;
  spng_decoded_image_size(png, SPNG_FMT_RGBA8, &size);
  std::vector<std::uint8_t> rgba(size);
  ASSERT_EQ(spng_decode_image(png, rgba.data(), size, SPNG_FMT_RGBA8, 0), 0);
  spng_ctx_free(png);
  const std::uint8_t* top = &rgba[(10 * 60 + 10) * 4];
  EXPECT_EQ(top[0], 255);
  EXPECT_EQ(top[1], 0);
  EXPECT_EQ(top[2], 0);
  EXPECT_NEAR(top[3], 128, 1);
  const std::uint8_t* bottom = &rgba[(50 * 60 + 10) * 4];
  EXPECT_EQ(bottom[3], 0);

  const Status unwritable = s.getImage()->writePng(env.prefsDir / "no" / "such" / "dir.png");
  EXPECT_FALSE(unwritable);
  EXPECT_NE(unwritable.message().find("dir.png"), std::string::npos);
}

// --- any number: work bounded by the pixels ----------------------------------

class DrawingSurfaceBounded : public BoundedSurfaceTest {};

struct UndrawableCase {
  const char* name;
  Draw draw;
};

class DrawingSurfaceBoundedUndrawable : public DrawingSurfaceBounded,
                                        public ::testing::WithParamInterface<UndrawableCase> {};

// An operation given a number that is no number, or one that puts all it
// paints off the bitmap, paints nothing; the surface goes on drawing.
TEST_P(DrawingSurfaceBoundedUndrawable, PaintsNothingAndLeavesTheSurfaceDrawing) {
  const ImageRef image = drawn(GetParam().draw, true);
  ASSERT_TRUE(image);
  const Painted p = paintedPixels(*image);
  EXPECT_EQ(p.any, kMarkPixels) << GetParam().name;
  EXPECT_EQ(p.full, kMarkPixels) << GetParam().name;
}

INSTANTIATE_TEST_SUITE_P(
    AnyNumber, DrawingSurfaceBoundedUndrawable,
    ::testing::Values(
        UndrawableCase{"move to NaN, then a line", line({kNaN, 10}, {90, 90})},
        UndrawableCase{"a line to infinity", line({10, 10}, {kInf, 90})},
        UndrawableCase{"a good line, then a NaN one, filled", triangle({10, 10}, {90, 10}, {90, kNaN})},
        UndrawableCase{"arc of NaN radius", arc({50, 50}, kNaN, 0, 1)},
        UndrawableCase{"arc of negative radius", arc({50, 50}, -40, 0, 1)},
        UndrawableCase{"arc of infinite centre", arc({-kInf, 50}, 40, 0, 1)},
        UndrawableCase{"arc growing back to minus infinity", arc({50, 50}, 40, 0, -kInf)},
        UndrawableCase{"arc from a NaN angle", arc({50, 50}, 40, kNaN, 1, 1)},
        UndrawableCase{"stroke of NaN width", lineWith(width(kNaN))},
        UndrawableCase{"stroke of infinite width", lineWith(width(kInf))},
        UndrawableCase{"stroke of negative width", lineWith(width(-3))},
        UndrawableCase{"dash of NaN length", lineWith(dash(0, {4, kNaN}))},
        UndrawableCase{"dash of negative length", lineWith(dash(0, {4, -4}))},
        UndrawableCase{"dash of no length", lineWith(dash(0, {0, 0}))},
        UndrawableCase{"dash of infinite phase", lineWith(dash(kInf, {4, 4}))},
        UndrawableCase{"dash finer than a pixel, all gap", lineWith(dash(0, {0, 1e-9}))},
        UndrawableCase{"circle of radius 1e30 about the centre, stroked", circle(1e30, false)},
        UndrawableCase{"circle of radius 1e300 about the centre, stroked", circle(1e300, false)},
        UndrawableCase{"a line far off, wide and long",
                       [](DrawingSurface& s) { width(1e6)(s), line({-1e300, -1e7}, {1e300, -1e7})(s); }},
        UndrawableCase{"text at NaN", text({kNaN, 50}, 12)},
        UndrawableCase{"text at 1e30", text({1e30, 1e30}, 12)},
        UndrawableCase{"text in a font of NaN points", text({50, 50}, kNaN)},
        UndrawableCase{"text in a font of 1e30 points", text({50, 50}, 1e30)},
        UndrawableCase{"a colour that is no number",
                       [](DrawingSurface& s) {
                         s.setFillColor(Colour::hsba(kNaN, kNaN, kNaN, kNaN));
                         triangle({10, 10}, {90, 10}, {90, 90})(s);
                       }},
        UndrawableCase{"picture into a rectangle of 1e-300", picture({40, 40, 1e-300, 1e-300})},
        UndrawableCase{"picture into a rectangle of 1e30", picture({-5e29, -5e29, 1e30, 1e30})},
        UndrawableCase{"picture far off", picture({1e30, 0, 40, 40})}),
    [](const ::testing::TestParamInfo<UndrawableCase>& param) { return "Case" + std::to_string(param.index); });

}  // namespace
}  // namespace velmora
