#include <cairo.h>
#include <gtest/gtest.h>
#include <spng.h>

#include <cmath>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <vector>

#include "drawing/DrawingSurface.h"
#include "support/Pixels.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

constexpr double kSide = 100.0;
constexpr double kCentre = kSide / 2;
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

using testing::pixelAt;

double alphaAt(const ImageRef& image, Point p) { return pixelAt(*image, p).alpha; }

// How many pixels of `part` differ from those of `whole` that lie `offset` pixels right of and below them.
int differingPixels(const Image& part, const Image& whole, int offset) {
  cairo_surface_t* a = part.surface();
  cairo_surface_t* b = whole.surface();
  cairo_surface_flush(a), cairo_surface_flush(b);
  int differing = 0;
  for (int y = 0; y < cairo_image_surface_get_height(a); ++y) {
    const auto* from =
        reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(a) + y * cairo_image_surface_get_stride(a));
    const auto* to = reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(b) +
                                                            (y + offset) * cairo_image_surface_get_stride(b));
    for (int x = 0; x < cairo_image_surface_get_width(a); ++x) differing += from[x] != to[x + offset];
  }
  return differing;
}

Point onCircle(double radius, double degrees) {
  const double a = degrees / 180.0 * M_PI;
  return {kCentre + radius * std::cos(a), kCentre + radius * std::sin(a)};
}

using Draw = std::function<void(DrawingSurface&)>;

// Drawings for the cases below, each painted as it is made.
Draw line(Point from, Point to) {
  return [=](DrawingSurface& s) { s.moveToPoint(from.x, from.y), s.addLineToPoint(to.x, to.y), s.strokePath(); };
}
Draw triangle(Point a, Point b, Point c) {
  return [=](DrawingSurface& s) {
    s.moveToPoint(a.x, a.y), s.addLineToPoint(b.x, b.y), s.addLineToPoint(c.x, c.y);
    s.fillPath();
  };
}
Draw arc(Point centre, double radius, double start, double end, int clockwise = 0) {
  return [=](DrawingSurface& s) { s.addArc(centre.x, centre.y, radius, start, end, clockwise), s.strokePath(); };
}
Draw circle(double radius, bool fill, Point centre = {kCentre, kCentre}) {
  return [=](DrawingSurface& s) {
    s.addArc(centre.x, centre.y, radius, 0, 2 * M_PI, 0);
    fill ? s.fillPath() : s.strokePath();
  };
}
// A short line across the middle, in a pen the case sets.
Draw lineWith(const Draw& pen) {
  return [=](DrawingSurface& s) { pen(s), line({20, 50}, {80, 50})(s); };
}
Draw width(double w, LineCap cap = LineCap::kButt) {
  return [=](DrawingSurface& s) { s.setLineWidth(w), s.setLineCap(cap); };
}
Draw dash(double phase, std::vector<double> lengths) {
  return [=](DrawingSurface& s) { s.setLineDash(phase, lengths); };
}
Draw text(Point at, double size) {
  return [=](DrawingSurface& s) { s.drawAtPoint("7", at, {Font::systemFontOfSize(size), Colour::whiteColor()}); };
}
Draw picture(Rect into) {
  return [=](DrawingSurface& s) {
    testing::TestEnvironment env;
    s.drawInRect(*imageNamed(env, "SpO2Icon"), into);
  };
}

class DrawingSurfaceTest : public ::testing::Test {
 protected:
  DrawingSurface begin(double side = kSide, int scale = 0) {
    return DrawingSurface::beginImageContext(env, side, scale);
  }
  static void fillRect(DrawingSurface& s, Rect r, const Colour& colour) {
    s.setFillColor(colour);
    s.moveToPoint(r.x, r.y), s.addLineToPoint(r.x + r.width, r.y);
    s.addLineToPoint(r.x + r.width, r.y + r.height), s.addLineToPoint(r.x, r.y + r.height);
    s.fillPath();
  }

  testing::TestEnvironment env;
};

// --- arcs ------------------------------------------------------------------

struct ArcCase {
  const char* name;
  double start, end;
  int clockwise;
  std::vector<double> painted, clear;  // dial angles in degrees
};

class ArcTest : public DrawingSurfaceTest, public ::testing::WithParamInterface<ArcCase> {};

// In half-transparent paint: no part of the ring is painted twice, however far the sweep goes.
TEST_P(ArcTest, PaintsExactlyItsSweepOnce) {
  const ArcCase& c = GetParam();
  DrawingSurface s = begin();
  s.setLineWidth(6);
  s.setStrokeColor(Colour::whiteColor().colorWithAlphaComponent(0.5));
  arc({kCentre, kCentre}, 40, c.start, c.end, c.clockwise)(s);
  const ImageRef image = s.getImage();
  for (double a : c.painted) EXPECT_NEAR(alphaAt(image, onCircle(40, a)), 0.5, 0.01) << c.name << " at " << a << "°";
  for (double a : c.clear) EXPECT_EQ(alphaAt(image, onCircle(40, a)), 0.0) << c.name << " at " << a << "°";
  EXPECT_EQ(alphaAt(image, onCircle(30, 45)), 0.0) << "inside the ring";
  EXPECT_EQ(alphaAt(image, onCircle(50, 45)), 0.0) << "outside the ring";
}

INSTANTIATE_TEST_SUITE_P(
    Sweeps, ArcTest,
    ::testing::Values(
        ArcCase{"full circle from 12 o'clock", -M_PI / 2, 2 * M_PI, 0, {-90, 0, 45, 90, 135, 180, 225, 269}, {}},
        ArcCase{"growing quarter", 0, M_PI / 2, 0, {10, 45, 80}, {135, 225, 315}},
        ArcCase{"growing, end before start, wraps past 0", M_PI / 2, 0, 0, {135, 225, 315}, {45}},
        ArcCase{"shrinking quarter", M_PI / 2, 0, 1, {10, 45, 80}, {135, 225, 315}},
        ArcCase{"shrinking, end after start, wraps past 0", 0, M_PI / 2, 1, {135, 225, 315}, {45}},
        ArcCase{"shrinking full turn", 0, -2 * M_PI, 1, {0, 90, 180, 270}, {}},
        ArcCase{"exactly a turn", 0, 2 * M_PI, 0, {0, 90, 180, 270}, {}},
        ArcCase{"more than a turn: one circle, not two", 0, 3 * M_PI, 0, {45, 200}, {}},
        ArcCase{"growing to an endless angle: a turn", 0, kInf, 0, {0, 90, 180, 270}, {}},
        ArcCase{"shrinking to an endless angle: a turn", 0, -kInf, 1, {0, 90, 180, 270}, {}},
        ArcCase{
            "end three quarters below the start: a quarter, modulo a turn", 3 * M_PI / 2, 0, 0, {-45}, {45, 135, 225}}),
    [](const ::testing::TestParamInfo<ArcCase>& param) { return "Case" + std::to_string(param.index); });

// --- strokes, caps and fills ---------------------------------------------

TEST_F(DrawingSurfaceTest, FillUsesTheNonZeroWindingRule) {
  auto square = [](DrawingSurface& s, double from, double to, bool reversed) {
    s.moveToPoint(from, from);
    if (reversed) {
      s.addLineToPoint(from, to), s.addLineToPoint(to, to), s.addLineToPoint(to, from);
    } else {
      s.addLineToPoint(to, from), s.addLineToPoint(to, to), s.addLineToPoint(from, to);
    }
    s.closePath();
  };
  for (bool reversedInner : {false, true}) {
    DrawingSurface s = begin();
    square(s, 10, 90, false);
    square(s, 40, 60, reversedInner);
    s.fillPath();
    const ImageRef image = s.getImage();
    EXPECT_EQ(alphaAt(image, {20, 20}), 1.0);
    EXPECT_EQ(alphaAt(image, {50, 50}), reversedInner ? 0.0 : 1.0) << "inner square reversed: " << reversedInner;
  }
}

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

// --- shadows -------------------------------------------------------------

// The default shadow is black at one third: at the edge of what casts it, a blurred shadow has half its strength.
TEST_F(DrawingSurfaceTest, ADefaultShadowIsHalfItsStrengthAtTheEdge) {
  DrawingSurface s = begin(kSide, 3);
  s.setShadow({0, 0}, 8);
  fillRect(s, {30, 0, 40, 100}, Colour::whiteColor());
  EXPECT_NEAR(alphaAt(s.getImage(), {29.9, 50}), 1.0 / 6, 0.03);
}

TEST_F(DrawingSurfaceTest, ShadowShowsThroughTranslucentPaintOnly) {
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

TEST_F(DrawingSurfaceTest, TextAndPicturesCastShadowsToo) {
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
  Environment atScaleTwo = env;
  atScaleTwo.scale = 2;
  RunCaches runAtTwo(atScaleTwo);
  const ImageRef atTwo = imageNamed(runAtTwo, "SpO2Icon");
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
  std::string error;
  ASSERT_TRUE(written->writePng(bundle.path() / "pictures" / "Patches@2x.png", &error)) << error;

  Environment run = env;
  run.resourcesDir = bundle.path();
  run.scale = 2;
  RunCaches caches(run);
  const ImageRef read = imageNamed(caches, "Patches");
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
  std::string error;
  ASSERT_TRUE(s.getImage()->writePng(file, &error)) << error;

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

  EXPECT_FALSE(s.getImage()->writePng(env.prefsDir / "no" / "such" / "dir.png", &error));
  EXPECT_NE(error.find("dir.png"), std::string::npos);
}

// --- any number: work bounded by the pixels ----------------------------------
// These run under a CTest time limit: a hang fails them.

// How many pixels of an image have any paint, and how many are fully painted.
struct Painted {
  int any = 0, full = 0;
};
Painted paintedPixels(const Image& image) {
  cairo_surface_t* surface = image.surface();
  cairo_surface_flush(surface);
  Painted p;
  const int side = cairo_image_surface_get_width(surface);
  for (int y = 0; y < side; ++y) {
    const auto* row = reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(surface) +
                                                             y * cairo_image_surface_get_stride(surface));
    for (int x = 0; x < side; ++x) p.any += (row[x] >> 24) != 0, p.full += (row[x] >> 24) == 0xff;
  }
  return p;
}

class DrawingSurfaceBounded : public DrawingSurfaceTest {
 protected:
  // The drawing in white, 4 points wide, at scale 2; with `mark`, a small square in a corner then shows that
  // the surface still draws.
  ImageRef drawn(const Draw& draw, bool mark) {
    DrawingSurface s = begin(kSide, 2);
    s.setStrokeColor(Colour::whiteColor());
    s.setFillColor(Colour::whiteColor());
    s.setLineWidth(4);
    draw(s);
    if (!mark) return s.getImage();
    s.strokePath();  // paints whatever path the case left, and clears it
    s.setShadow({}, 0);
    s.setLineDash(0, {});
    s.setLineWidth(1);
    s.setStrokeColor(Colour::whiteColor());
    fillRect(s, {0, 0, 2, 2}, Colour::whiteColor());
    return s.getImage();
  }
  static constexpr int kMarkPixels = 16;  // the corner square at scale 2
};

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

// A shadow that is no number, or is thrown wholly off the bitmap, casts
// nothing; what casts it is painted as ever: the square alone, or the square
// and a shadow spread as far as a blur goes.
TEST_F(DrawingSurfaceBounded, AShadowThatCannotFallOnTheBitmapCastsNothing) {
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

// Absurd but finite numbers draw what can be seen of them.
TEST_F(DrawingSurfaceBounded, HugeGeometryDrawsWhatShowsOnTheBitmap) {
  auto wide = [](LineCap cap) -> Draw {
    return [=](DrawingSurface& s) { width(1e20, cap)(s), line({49, 50}, {51, 50})(s); };
  };
  const struct {
    const char* name;
    Draw draw;
    std::vector<Point> painted, clear;
  } cases[] = {
      {"circle of radius 1e30 about the centre, filled", circle(1e30, true), {{1, 1}, {99, 99}, {50, 50}}, {}},
      {"circle of radius 1e300 about the centre, filled", circle(1e300, true), {{1, 1}, {99, 99}}, {}},
      {"a circle of radius 1e6 through the middle, stroked",
       circle(1e6, false, {kCentre, kCentre + 1e6}),
       {{1, 50}, {50, 50}, {99, 50}},
       {{50, 46}, {50, 54}, {1, 46}, {99, 46}}},
      {"a line from the centre to 1e30 down-right",
       line({kCentre, kCentre}, {1e30, 1e30}),
       {{60, 60}, {98, 98}},
       {{20, 20}, {80, 60}}},
      {"a line from the centre to 1e308 right, 1e306 down",
       line({kCentre, kCentre}, {1e308, 1e306}),
       {{70, 50.2}, {98, 50.5}},
       {{30, 50}, {98, 55}}},
      {"a triangle of 1e30 about the bitmap, filled",
       triangle({-1e30, -1e30}, {1e30, 0}, {0, 1e30}),
       {{1, 1}, {99, 1}, {1, 99}, {50, 50}},
       {}},
      {"the same triangle with the bitmap outside it",
       triangle({200, 200}, {1e30, 200}, {200, 1e30}),
       {},
       {{1, 1}, {99, 99}}},
      {"a short line 1e20 wide", wide(LineCap::kButt), {{50, 1}, {50, 99}}, {{30, 50}, {70, 1}}},
      {"a short line 1e20 wide with round caps", wide(LineCap::kRound), {{1, 1}, {99, 1}, {1, 99}, {99, 99}}, {}},
      {"a full turn from angle 1e300",
       arc({kCentre, kCentre}, 40, 1e300, 1e300 + 1e290),
       {{90, 50}, {50, 90}, {10, 50}, {50, 10}},
       {{50, 50}}},
      // 1e15 is a whole number of half turns away from no angle at all… almost
      {"a quarter from angle 1e15 + π",
       arc({kCentre, kCentre}, 40, 1e15 + M_PI, 1e15 + M_PI + M_PI / 2),
       {},
       {{50, 50}}},
  };
  for (const auto& c : cases) {
    const ImageRef image = drawn(c.draw, false);
    for (Point p : c.painted) EXPECT_GT(alphaAt(image, p), 0.5) << c.name << " at " << p.x << ", " << p.y;
    for (Point p : c.clear) EXPECT_EQ(alphaAt(image, p), 0.0) << c.name << " at " << p.x << ", " << p.y;
  }
}

// --- dashes --------------------------------------------------------------

TEST_F(DrawingSurfaceTest, ADashPaintsItsLengthsInTurnFromItsPhase) {
  struct {
    double phase;
    std::vector<double> lengths;
    std::vector<double> painted, clear;  // x along a line from 0 to 100 at y 50
  } cases[] = {
      {0, {10, 10}, {5, 25, 45}, {15, 35, 55}},
      {5, {10, 10}, {2, 17, 37}, {7, 27}},
      {-5, {10, 10}, {7, 27}, {2, 17}},
      {1e300, {10, 10}, {}, {}},  // no number of turns of the pattern hangs it
      {0, {10}, {5, 25}, {15, 35}},
      // An odd count swaps roles every round: 10 on, 5 off, 20 on, 10 off, 5 on, 20 off.
      {0, {10, 5, 20}, {5, 25, 47, 75}, {12, 40, 60}},
  };
  for (const auto& c : cases) {
    DrawingSurface s = begin(kSide, 2);
    s.setStrokeColor(Colour::whiteColor());
    s.setLineWidth(4);
    s.setLineDash(c.phase, c.lengths);
    s.saveGState();
    s.setLineDash(0, {});
    s.restoreGState();  // the dash is part of the saved state
    line({0, 50}, {100, 50})(s);
    const ImageRef image = s.getImage();
    for (double x : c.painted) EXPECT_GT(alphaAt(image, {x, 50}), 0.99) << "phase " << c.phase << " at " << x;
    for (double x : c.clear) EXPECT_EQ(alphaAt(image, {x, 50}), 0.0) << "phase " << c.phase << " at " << x;
  }
}

// A pattern finer than a device pixel paints what it averages to, at the cost of one stroke.
TEST_F(DrawingSurfaceTest, ADashFinerThanAPixelPaintsItsShareOfTheLine) {
  struct {
    std::vector<double> lengths;
    LineCap cap;
    double alpha;
  } cases[] = {
      {{1e-6, 1e-6}, LineCap::kButt, 0.5},   {{1e-30, 3e-30}, LineCap::kButt, 0.25},
      {{0.1, 0.2}, LineCap::kButt, 1.0 / 3}, {{1e-6, 1e-6}, LineCap::kRound, 1.0},  // the caps close every gap
      {{0.0, 1e-9}, LineCap::kButt, 0.0},
  };
  for (const auto& c : cases) {
    DrawingSurface s = begin(kSide, 2);
    s.setStrokeColor(Colour::whiteColor());
    s.setLineWidth(6);
    s.setLineCap(c.cap);
    s.setLineDash(0, c.lengths);
    circle(40, false)(s);
    const ImageRef image = s.getImage();
    for (double a : {0.0, 90.0, 200.0}) EXPECT_NEAR(alphaAt(image, onCircle(40, a)), c.alpha, 0.01) << c.lengths[0];
  }
}

// Alternate lengths of a ring, each stroked on its own with its shadow, or
// all at once as one dashed arc: the same pixels while their shadows (and
// round ends) keep apart.
TEST_F(DrawingSurfaceTest, ADashedArcPaintsWhatItsDashesPaintOneByOne) {
  for (const auto& [parts, cap] : {std::pair{7.5, LineCap::kButt}, {12.0, LineCap::kButt}, {7.5, LineCap::kRound}}) {
    const double radius = 40, length = 2 * M_PI / parts;
    const int shaded = static_cast<int>(std::ceil(std::floor(parts) / 2));
    auto start = [&](DrawingSurface& s) {
      s.setShadow({0, 0}, 2);
      s.setLineWidth(8);
      s.setLineCap(cap);
      s.setStrokeColor(Colour::hsba(0.6, 0.5, 0.8));
    };
    DrawingSurface apart = begin(kSide, 3);
    start(apart);
    for (int i = 0; i < shaded; ++i) {
      arc({kCentre, kCentre}, radius, -M_PI / 2 + 2 * i * length, -M_PI / 2 + (2 * i + 1) * length)(apart);
    }
    DrawingSurface together = begin(kSide, 3);
    start(together);
    together.setLineDash(0, {radius * length, radius * length});
    arc({kCentre, kCentre}, radius, -M_PI / 2, -M_PI / 2 + (2 * shaded - 1) * length)(together);

    EXPECT_EQ(differingPixels(*apart.getImage(), *together.getImage(), 0), 0)
        << parts << " parts, " << (cap == LineCap::kRound ? "round" : "butt");
  }
}

// Shapes rasterised without a shadow take the run's coverage frame only as far as they reach on the bitmap: near
// its far corner, as in its middle, they paint the same pixels whether the frame is that small or already spans the
// bitmap for a shadow drawn before.
TEST_F(DrawingSurfaceTest, ShapesWithoutShadowsPaintTheSameInASmallFrame) {
  auto shapes = [](DrawingSurface& s) {
    s.setLineWidth(5);
    s.setLineCap(LineCap::kRound);
    s.setStrokeColor(Colour::hsba(0.3, 0.7, 0.9));
    circle(4, false, {kSide - 6, 12})(s);  // far right, near the top: the frame's first reach
    line({12, kSide - 4}, {30, kSide - 7})(s);
    arc({kSide - 10, kSide - 10}, 6, 0, M_PI)(s);
    arc({kCentre, kCentre}, 20, -M_PI / 2, 1)(s);
  };
  DrawingSurface small = begin(kSide, 3);
  shapes(small);
  DrawingSurface shadowed = begin(kSide, 3);
  shadowed.setShadow({0, 0}, 6);
  circle(30, true)(shadowed);
  DrawingSurface spanned = begin(kSide, 3);
  shapes(spanned);
  const ImageRef image = small.getImage();
  for (const Point p : {Point{kSide - 10, kSide - 4}, Point{kSide - 2, 12}, Point{20, kSide - 5.5}})
    EXPECT_GT(alphaAt(image, p), 0.5) << p.x << ", " << p.y;
  EXPECT_EQ(differingPixels(*image, *spanned.getImage(), 0), 0);
}

}  // namespace
}  // namespace velmora
