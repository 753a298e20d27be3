#pragma once

#include <cairo.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <vector>

#include "drawing/DrawingSurface.h"
#include "support/Numbers.h"
#include "support/Pixels.h"
#include "support/TestEnvironment.h"

// What the tests of the drawing surface and of the units it paints with
// share: a surface to draw on, drawings painted as they are made, and ways of
// reading what was painted.
namespace velmora::testing {

inline constexpr double kSide = 100.0;
inline constexpr double kCentre = kSide / 2;

inline double alphaAt(const ImageRef& image, Point p) { return pixelAt(*image, p).alpha; }

// How many pixels of `part` differ from those of `whole` that lie `offset` pixels right of and below them.
inline int differingPixels(const Image& part, const Image& whole, int offset) {
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

// The point `radius` from the centre of the surface, `degrees` clockwise from 3 o'clock.
inline Point onCircle(double radius, double degrees) {
  const double a = degrees / 180.0 * M_PI;
  return {kCentre + radius * std::cos(a), kCentre + radius * std::sin(a)};
}

// How many pixels of an image have any paint, and how many are fully painted.
struct Painted {
  int any = 0, full = 0;
};
inline Painted paintedPixels(const Image& image) {
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

using Draw = std::function<void(DrawingSurface&)>;

// Drawings for the cases of the tests, each painted as it is made.
inline Draw line(Point from, Point to) {
  return [=](DrawingSurface& s) { s.moveToPoint(from.x, from.y), s.addLineToPoint(to.x, to.y), s.strokePath(); };
}
inline Draw triangle(Point a, Point b, Point c) {
  return [=](DrawingSurface& s) {
    s.moveToPoint(a.x, a.y), s.addLineToPoint(b.x, b.y), s.addLineToPoint(c.x, c.y);
    s.fillPath();
  };
}
inline Draw arc(Point centre, double radius, double start, double end, int clockwise = 0) {
  return [=](DrawingSurface& s) { s.addArc(centre.x, centre.y, radius, start, end, clockwise), s.strokePath(); };
}
inline Draw circle(double radius, bool fill, Point centre = {kCentre, kCentre}) {
  return [=](DrawingSurface& s) {
    s.addArc(centre.x, centre.y, radius, 0, 2 * M_PI, 0);
    fill ? s.fillPath() : s.strokePath();
  };
}
// A short line across the middle, in a pen the case sets.
inline Draw lineWith(const Draw& pen) {
  return [=](DrawingSurface& s) { pen(s), line({20, 50}, {80, 50})(s); };
}
inline Draw width(double w, LineCap cap = LineCap::kButt) {
  return [=](DrawingSurface& s) { s.setLineWidth(w), s.setLineCap(cap); };
}
inline Draw dash(double phase, std::vector<double> lengths) {
  return [=](DrawingSurface& s) { s.setLineDash(phase, lengths); };
}
inline Draw text(Point at, double size) {
  return [=](DrawingSurface& s) { s.drawAtPoint("7", at, {Font::systemFontOfSize(size), Colour::whiteColor()}); };
}
inline Draw picture(Rect into) {
  return [=](DrawingSurface& s) {
    TestEnvironment env;
    s.drawInRect(*imageNamed(env, "SpO2Icon"), into);
  };
}

// A surface of the run, `kSide` points square.
class SurfaceTest : public ::testing::Test {
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

  TestEnvironment env;
};

// For suites named *Bounded, which run under a CTest time limit: a hang fails them.
class BoundedSurfaceTest : public SurfaceTest {
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

}  // namespace velmora::testing
