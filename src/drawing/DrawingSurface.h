#pragma once

#include <functional>
#include <limits>
#include <optional>
#include <string_view>
#include <vector>

#include "drawing/Fonts.h"
#include "drawing/GraphicsState.h"
#include "drawing/Image.h"
#include "drawing/RunCaches.h"
#include "drawing/SurfacePath.h"
#include "values/Colour.h"
#include "values/Geometry.h"
#include "values/Value.h"

namespace velmora {

class ShadowCaster;

// The off-screen image context: a square, transparent bitmap of `size` points
// at a scale, with a current path and graphics state, drawn on by the
// platform's drawing operations under their own names. Coordinates are points
// from the top-left corner, y downward; angles are radians from 3 o'clock,
// growing clockwise on the image.
//
// A surface that could not be created (no size, too large, no memory) takes
// every operation as a no-op and yields no image.
//
// Every operation costs at most what its pixels cost, whatever its numbers:
// a path, width, dash or shadow given a number that is no number (or an
// infinite one) cannot be drawn, and painting it draws nothing; finite but
// absurd numbers (a radius of 1e30, a width of 1e20, an angle of 1e300) draw
// what can be seen of them on the bitmap.
//
// A surface keeps a reference to the run's caches it was begun with, which
// must outlive it; the images it yields need nothing of the run.
class DrawingSurface {
 public:
  // `UIGraphicsBeginImageContextWithOptions((size, size), NO, scale)`:
  // scale 0 is the run's screen scale.
  static DrawingSurface beginImageContext(RunCaches& caches, double size, int scale = 0);

  DrawingSurface(DrawingSurface&&) noexcept;
  DrawingSurface& operator=(DrawingSurface&&) noexcept;
  ~DrawingSurface();

  bool isValid() const { return cr_ != nullptr; }
  double size() const { return size_; }
  int scale() const { return scale_; }

  // `CGContextSetLineCap`, `CGContextSetLineWidth`, `CGContextSetStrokeColorWithColor`,
  // `CGContextSetFillColorWithColor`.
  void setLineCap(LineCap cap);
  void setLineWidth(double width);
  void setStrokeColor(const Colour& colour);
  void setFillColor(const Colour& colour);
  // `CGContextSetLineDash`: strokes alternate painted and unpainted lengths
  // (points along the path, cycled; an odd count repeats with the roles
  // swapped), starting `phase` points into the pattern; no lengths is a
  // solid line. A pattern finer than a device pixel is drawn as what it
  // averages to: the solid line with its colour's opacity scaled by the
  // painted share of the line.
  void setLineDash(double phase, std::vector<double> lengths);

  // `CGContextMoveToPoint`, `CGContextAddLineToPoint` (ignored with no current point).
  void moveToPoint(double x, double y);
  void addLineToPoint(double x, double y);
  // `CGContextAddArc`: clockwise 0 sweeps toward growing angles (clockwise on
  // the image), 1 toward shrinking ones. A current point is joined to the
  // arc's start by a line. A sweep of a full turn or more in that direction
  // is one circle; any other runs from start to end modulo a full turn.
  void addArc(double x, double y, double radius, double startAngle, double endAngle, int clockwise);
  // `CGContextClosePath`.
  void closePath();
  // `CGContextStrokePath` / `CGContextFillPath` (non-zero winding): paint the
  // current path, then clear it.
  void strokePath();
  void fillPath();

  // `CGContextSetShadow` (default colour) and `CGContextSetShadowWithColor`.
  void setShadow(Size offset, double blur);
  void setShadowWithColor(Size offset, double blur, const Colour& colour);

  // `CGContextSaveGState` / `CGContextRestoreGState`: colours, line width,
  // cap, dash and shadow (not the path).
  void saveGState();
  void restoreGState();

  // `NSString sizeWithAttributes:` and `drawAtPoint:withAttributes:` (the
  // text's top-left corner at the point).
  Size sizeWithAttributes(std::string_view text, const TextAttributes& attributes) const;
  void drawAtPoint(std::string_view text, Point point, const TextAttributes& attributes);
  // A line already laid out (a label's, fitted to its frame) with its
  // top-left corner at the point, in a colour.
  void drawLine(const TextLine& line, Point point, const Colour& colour);

  // `UIImage drawInRect:`: the whole picture, scaled into the rectangle.
  void drawInRect(const Image& image, Rect rect);

  // Draws the image's layer: the part that is the same in every image of its
  // kind, drawn by `draw` on this surface, or the pixels of it the run kept
  // from earlier images (`keptLayer`), the very pixels `draw` paints. `key`
  // names everything `draw` depends on besides the surface's size and scale.
  // The graphics state is as it was before.
  void drawLayer(std::string_view key, const std::function<void(DrawingSurface&)>& draw);

  // `UIGraphicsGetImageFromCurrentImageContext`: the bitmap as it is now, as an
  // image of `size` points at the surface's scale; nothing from a surface that
  // could not be created. Drawing afterwards does not change the image.
  ImageRef getImage();
  // `UIGraphicsEndImageContext`: discards the surface; later operations are no-ops.
  void end();

  // The graphics state, for inspection.
  using GState = GraphicsState;
  const GState& state() const { return states_.back(); }

 private:
  DrawingSurface(RunCaches& caches, double size, int scale);

  int pixelSide() const;
  bool prepareToPaint();
  bool copyOntoClear(cairo_surface_t* picture);
  void paintPath(bool stroke);
  void paintLine(const TextLine& line, Point point, const Colour& foreground, const Colour& backdrop);
  // The part of the plane, in points, whose painting can show on the bitmap
  // when it casts `shadow` (if any), grown by `by`.
  Box reachBox(const Shadow* shadow, double by) const;
  // The shadow painting casts now: none when it casts nothing or falls wholly off the bitmap.
  const Shadow* castingShadow() const;
  // The run's shadow scratch, readied to paint on the bitmap (see `ShadowCaster::ready`).
  std::optional<ShadowCaster> casterFor(const Shadow& shadow, int reach = std::numeric_limits<int>::max());
  template <typename Draw>
  void paintWithShadow(Rect bounds, Draw draw);

  RunCaches* caches_ = nullptr;  // the run's, which outlives the surface
  double size_ = 0;
  int scale_ = 1;
  cairo_surface_t* bitmap_ = nullptr;
  cairo_t* cr_ = nullptr;
  bool shared_ = false;    // the bitmap is also an image's: copy it before painting
  bool untouched_ = true;  // nothing painted yet: the bitmap is clear
  SurfacePath path_;
  std::vector<GState> states_{GState{}};
};

}  // namespace velmora
