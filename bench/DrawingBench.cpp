// The drawing surface's costs at the notification's size: 280 points at
// scale 3 (840 × 840 pixels).

#include <benchmark/benchmark.h>
#include <cairo.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <vector>

#include "drawing/CoverageBuffer.h"
#include "drawing/DrawingSurface.h"
#include "drawing/Fonts.h"
#include "drawing/Image.h"
#include "drawing/ShadowBlur.h"
#include "drawing/ShapeCoverage.h"

namespace velmora {
namespace {

constexpr double kSide = 280.0;

Environment benchEnvironment() {
  Environment env;
  env.scale = 3;
  env.resourcesDir = VELMORA_BENCH_RESOURCES;
  return env;
}

Point onDial(double radius, double angle) {
  return {kSide / 2 + radius * std::cos(angle), kSide / 2 + radius * std::sin(angle)};
}

void drawCentred(DrawingSurface& surface, const char* text, Point at, const TextAttributes& attributes) {
  const Size size = surface.sizeWithAttributes(text, attributes);
  surface.drawAtPoint(text, {at.x - size.width / 2, at.y - size.height / 2}, attributes);
}

// Four concentric rings in the manner of the sleep rings: four tracks and four
// bodies under the default shadow, and four tips with offset black shadows
// (twelve shadowed round-capped strokes), with or without the glyphs and the
// number.
void drawRings(DrawingSurface& s, bool shadows, bool texts) {
  const double half = kSide / 2;
  const double radii[4] = {half - 19, half - 41, half - 63, half - 85};
  const double values[4] = {0.83, 0.64, 0.45, 1.2};
  const double tips[4] = {0.006, 0.007, 0.008, 0.008};
  const Colour colours[4] = {Colour::hsba(0.33, 0.8, 0.9), Colour::hsba(0.15, 0.8, 0.9), Colour::hsba(0.55, 0.8, 0.9),
                             Colour::hsba(0.95, 0.8, 0.9)};
  const double start = (0.01 - 0.25) * 2 * M_PI;
  for (double r : radii) {
    if (shadows) s.setShadow({0, 0}, 2);
    s.setLineCap(LineCap::kRound);
    s.setLineWidth(20);
    s.setStrokeColor(Colour::hsba(193.0 / 360, 0.92, 0.15));
    s.addArc(half, half, r, -M_PI / 2, 2 * M_PI, 0);
    s.strokePath();
  }
  for (int i = 3; i >= 0; --i) {
    const double end = (values[i] - 0.25) * 2 * M_PI;
    if (shadows) s.setShadow({0, 0}, 2);
    s.setStrokeColor(colours[i]);
    s.addArc(half, half, radii[i], start, end, 0);
    s.strokePath();
    if (shadows) s.setShadowWithColor({2, 2}, 5, Colour::blackColor());
    s.addArc(half, half, radii[i], (values[i] - tips[i] - 0.25) * 2 * M_PI, end, 0);
    s.strokePath();
  }
  if (!texts) return;
  s.saveGState();
  if (shadows) s.setShadow({0, 0}, 2);
  const char* glyphs[4] = {"☾", "★", "Z", "♥"};
  for (int i = 0; i < 4; ++i)
    drawCentred(s, glyphs[i], onDial(radii[i], (values[i] - 0.25) * 2 * M_PI),
                {Font::boldSystemFontOfSize(13), Colour::blackColor()});
  drawCentred(s, "87", {half, half}, {Font::systemFontOfSize(34, FontWeight::kHeavy), Colour::whiteColor()});
  s.restoreGState();
}

void BM_RingsWithShadowsAndText(benchmark::State& state) {
  const Environment env = benchEnvironment();
  RunCaches caches(env);
  caches.fonts();
  for (auto _ : state) {
    DrawingSurface s = DrawingSurface::beginImageContext(caches, kSide);
    drawRings(s, true, true);
    benchmark::DoNotOptimize(s.getImage());
  }
}
BENCHMARK(BM_RingsWithShadowsAndText)->Unit(benchmark::kMillisecond);

void BM_RingsWithShadows(benchmark::State& state) {
  const Environment env = benchEnvironment();
  RunCaches caches(env);
  for (auto _ : state) {
    DrawingSurface s = DrawingSurface::beginImageContext(caches, kSide);
    drawRings(s, true, false);
    benchmark::DoNotOptimize(s.getImage());
  }
}
BENCHMARK(BM_RingsWithShadows)->Unit(benchmark::kMillisecond);

void BM_RingsWithoutShadows(benchmark::State& state) {
  const Environment env = benchEnvironment();
  RunCaches caches(env);
  for (auto _ : state) {
    DrawingSurface s = DrawingSurface::beginImageContext(caches, kSide);
    drawRings(s, false, false);
    benchmark::DoNotOptimize(s.getImage());
  }
}
BENCHMARK(BM_RingsWithoutShadows)->Unit(benchmark::kMillisecond);

// The bed clock's 24 numerals: measured, then drawn centred.
void BM_TwentyFourNumerals(benchmark::State& state) {
  const Environment env = benchEnvironment();
  RunCaches caches(env);
  caches.fonts();
  DrawingSurface s = DrawingSurface::beginImageContext(caches, kSide);
  char text[4];
  for (auto _ : state) {
    for (int i = 0; i < 24; ++i) {
      std::snprintf(text, sizeof text, "%d", i);
      const double a = (i / 24.0 - 0.25) * 2 * M_PI;
      drawCentred(s, text, onDial(104, a),
                  i % 6 ? TextAttributes{Font::boldSystemFontOfSize(10), Colour::white(0.55)}
                        : TextAttributes{Font::systemFontOfSize(12, FontWeight::kHeavy), Colour::white(0.85)});
    }
  }
}
BENCHMARK(BM_TwentyFourNumerals)->Unit(benchmark::kMillisecond);

void BM_PngEncode(benchmark::State& state) {
  const Environment env = benchEnvironment();
  RunCaches caches(env);
  DrawingSurface s = DrawingSurface::beginImageContext(caches, kSide);
  drawRings(s, true, true);
  const ImageRef image = s.getImage();
  const auto file = std::filesystem::temp_directory_path() / "velmora-bench-rings.png";
  for (auto _ : state) {
    if (const Status written = image->writePng(file); !written) state.SkipWithError(written.message().c_str());
  }
  state.counters["bytes"] = static_cast<double>(std::filesystem::file_size(file));
  std::filesystem::remove(file);
}
BENCHMARK(BM_PngEncode)->Unit(benchmark::kMillisecond);

// A gauge's icon: looked up, read and drawn into its square.
void BM_NamedPictureDraw(benchmark::State& state) {
  const Environment env = benchEnvironment();
  RunCaches caches(env);
  DrawingSurface s = DrawingSurface::beginImageContext(caches, kSide);
  for (auto _ : state) {
    const ImageRef icon = imageNamed(caches, "SpO2Icon");
    if (!icon)
      state.SkipWithError("no picture SpO2Icon");
    else
      s.drawInRect(*icon, {117, 165, 46, 46});
  }
}
BENCHMARK(BM_NamedPictureDraw)->Unit(benchmark::kMillisecond);

// The recharge backdrop, over the whole image.
void BM_BackdropDraw(benchmark::State& state) {
  const Environment env = benchEnvironment();
  RunCaches caches(env);
  DrawingSurface s = DrawingSurface::beginImageContext(caches, kSide);
  for (auto _ : state) {
    const ImageRef backdrop = imageNamed(caches, "RechargeBkg.png");
    if (!backdrop)
      state.SkipWithError("no picture RechargeBkg.png");
    else
      s.drawInRect(*backdrop, {0, 0, kSide, kSide});
  }
}
BENCHMARK(BM_BackdropDraw)->Unit(benchmark::kMillisecond);

// A run's font start-up: the private configuration, the font map, and the
// first line laid out.
void BM_FontStartUp(benchmark::State& state) {
  for (auto _ : state) {
    FontSet fonts;
    benchmark::DoNotOptimize(fonts.line("☾ 7", Font::boldSystemFontOfSize(12)).size());
  }
}
BENCHMARK(BM_FontStartUp)->Unit(benchmark::kMillisecond);

// A whole circle stroked, as the surface rasterises it and as cairo fills the
// same annulus, into an 8-bit coverage of the image's size (zeroed each time
// alike): the bed clock's dial disc, a ring track 18 points wide, a ring 2
// points wide. Arguments: the shape, and for cairo the hole's form (0: the
// inner circle turning the other way, 1: even-odd).
struct BenchRing {
  double outer, inner;
};
constexpr BenchRing kBenchRings[] = {{3 * 139.5, 0}, {3 * 130.0, 3 * 112.0}, {3 * 100.0, 3 * 98.0}};
constexpr int kCoverageSide = 848;  // 840 pixels in whole tiles

// Times `paint` filling a clear coverage of the image's size, as the surface
// rasterises a shape.
template <typename Paint>
void timeRasterised(benchmark::State& state, Paint paint) {
  std::vector<std::uint8_t> coverage(kCoverageSide * kCoverageSide);
  for (auto _ : state) {
    std::memset(coverage.data(), 0, coverage.size());
    paint(coverage.data());
    benchmark::DoNotOptimize(coverage.data());
  }
}

// Times `draw` painting the same coverage through a fresh cairo context.
template <typename Draw>
void timeCairo(benchmark::State& state, Draw draw) {
  std::vector<std::uint8_t> coverage(kCoverageSide * kCoverageSide);
  cairo_surface_t* surface = cairo_image_surface_create_for_data(coverage.data(), CAIRO_FORMAT_A8, kCoverageSide,
                                                                 kCoverageSide, kCoverageSide);
  for (auto _ : state) {
    std::memset(coverage.data(), 0, coverage.size());
    cairo_surface_mark_dirty(surface);
    cairo_t* cr = cairo_create(surface);
    draw(cr);
    cairo_destroy(cr);
    cairo_surface_flush(surface);
    benchmark::DoNotOptimize(coverage.data());
  }
  cairo_surface_destroy(surface);
}

void BM_RingRasterised(benchmark::State& state) {
  const BenchRing ring = kBenchRings[state.range(0)];
  timeRasterised(state, [&](std::uint8_t* coverage) {
    ringCoverage(coverage, kCoverageSide, kCoverageSide, kCoverageSide, 420, 420, ring.outer, ring.inner);
  });
}
BENCHMARK(BM_RingRasterised)->DenseRange(0, 2)->Unit(benchmark::kMicrosecond);

void BM_RingCairoFill(benchmark::State& state) {
  const BenchRing ring = kBenchRings[state.range(0)];
  const bool evenOdd = state.range(1) != 0;
  timeCairo(state, [&](cairo_t* cr) {
    cairo_arc(cr, 420, 420, ring.outer, 0, 2 * M_PI);
    if (ring.inner > 0) {
      cairo_new_sub_path(cr);
      if (evenOdd) {
        cairo_arc(cr, 420, 420, ring.inner, 0, 2 * M_PI);
        cairo_set_fill_rule(cr, CAIRO_FILL_RULE_EVEN_ODD);
      } else {
        cairo_arc_negative(cr, 420, 420, ring.inner, 2 * M_PI, 0);
      }
    }
    cairo_fill(cr);
  });
}
BENCHMARK(BM_RingCairoFill)->ArgsProduct({{0, 1, 2}, {0, 1}})->Unit(benchmark::kMicrosecond);

// A partial arc stroked, as the surface rasterises it and as cairo strokes
// it, into the same coverage (zeroed each time alike): the recharge's bank
// arc (nine tenths of its inner ring, round ends), its tip (round ends on a
// sliver of the ring) and a goal hour (an eighth of the outer ring, butt
// ends), at scale 3.
constexpr ArcStroke kBenchArcs[] = {
    {{420, 420}, 3 * 89.0, 3 * 12.5, -0.49 * M_PI, 0.89 * 2 * M_PI, true},
    {{420, 420}, 3 * 89.0, 3 * 12.5, 1.272 * M_PI, 0.014 * M_PI, true},
    {{420, 420}, 3 * 116.0, 3 * 12.5, -0.5 * M_PI, 0.25 * M_PI, false},
};

void BM_ArcRasterised(benchmark::State& state) {
  const ArcStroke& arc = kBenchArcs[state.range(0)];
  timeRasterised(
      state, [&](std::uint8_t* coverage) { arcCoverage(coverage, kCoverageSide, kCoverageSide, kCoverageSide, arc); });
}
BENCHMARK(BM_ArcRasterised)->DenseRange(0, 2)->Unit(benchmark::kMicrosecond);

void BM_ArcCairoStroke(benchmark::State& state) {
  const ArcStroke& arc = kBenchArcs[state.range(0)];
  timeCairo(state, [&](cairo_t* cr) {
    cairo_set_line_width(cr, 2 * arc.halfWidth);
    cairo_set_line_cap(cr, arc.roundCaps ? CAIRO_LINE_CAP_ROUND : CAIRO_LINE_CAP_BUTT);
    cairo_arc(cr, arc.centre.x, arc.centre.y, arc.radius, arc.start, arc.start + arc.sweep);
    cairo_stroke(cr);
  });
}
BENCHMARK(BM_ArcCairoStroke)->DenseRange(0, 2)->Unit(benchmark::kMicrosecond);

// The blur of a ring's shadow over the frame the surface uses at scale 3 (the
// image and a margin): the recharge's outer track, blurred as its shadow of
// blur 2 (σ 3 pixels) and as the tips' of blur 5 (σ 7.5).
void BM_ShadowBlur(benchmark::State& state) {
  constexpr int kFrame = 840 + 2 * 48;
  CoverageBuffer coverage, shadow;
  coverage.resize(kFrame, kFrame);
  shadow.resize(kFrame, kFrame);
  ringCoverage(coverage.data(), coverage.stride(), coverage.width(), coverage.height(), kFrame / 2.0, kFrame / 2.0,
               3 * 128.0, 3 * 103.0);
  coverage.findUsed({0, 0, kFrame, kFrame});
  ShadowBlur blur;
  const double sigma = static_cast<double>(state.range(0)) / 2.0;
  for (auto _ : state) {
    blur.blur(coverage, shadow, sigma);
    benchmark::DoNotOptimize(shadow.data());
    shadow.forget();
  }
}
BENCHMARK(BM_ShadowBlur)->Arg(6)->Arg(15)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace velmora
