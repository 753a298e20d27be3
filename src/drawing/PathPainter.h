#pragma once

#include <optional>

#include "drawing/GraphicsState.h"
#include "drawing/SurfacePath.h"

typedef struct _cairo cairo_t;

namespace velmora {

class ShadowCaster;

// Paints a drawing surface's path on its bitmap, stroked or filled (non-zero
// winding), in the surface's graphics state.
//
// The shapes the images are made of are rasterised here from their geometry,
// exactly and at the cost of their pixels: a whole circle stroked (a ring, or
// a disc), a segment stroked with round caps, an arc stroked, whole or
// dashed. Other paths go to cairo, bounded to what can show; a dashed one
// dash by dash. Whatever casts a shadow or is dashed or rasterised here is
// painted as a coverage through a `ShadowCaster`, and tinted through it.
//
// A painter serves one painting. It keeps a reference to the path, which
// must outlive it, and clears the path when it paints.
class PathPainter {
 public:
  // Works out how `path` is to be painted in `state` at `scale`, stroked
  // (`stroke`) or filled.
  PathPainter(SurfacePath& path, const GraphicsState& state, bool stroke, int scale);

  // Whether anything is to be painted: a path given no number that is no
  // number, stroked (if it is) with a width and dash that can be drawn.
  bool drawable() const { return drawable_; }
  // How far the paint can reach beyond the path's own outline, in points: a
  // stroke's half width, at a mitred corner of `cr`'s (the bitmap's) miter limit.
  double outlineReach(cairo_t* cr) const;
  // Whether the painting goes through a coverage: to cast a shadow
  // (`shadowed`), to dash, or for a shape rasterised here.
  bool needsCoverage(bool shadowed) const;
  // How many device pixels of a bitmap `pixelSide` square, across and down
  // from its corner, the painting needs in the coverage: all of them, but for
  // a shape rasterised here that casts no shadow and has no dash, which needs
  // them only as far as it reaches. `cr` paints the bitmap.
  int frameReach(cairo_t* cr, int pixelSide, bool shadowed) const;

  // Paints with cairo alone on the bitmap that `cr` paints: for a painting
  // that needs no coverage, or that cannot have one (no memory). The path
  // goes in within `visible` (points), arcs flattened to within `tolerance`.
  void paintWithCairo(cairo_t* cr, const Box& visible, double tolerance);
  // Paints the path's coverage with `caster`, casts `shadow` from it (if
  // any) and tints it in the paint's colour.
  void paintThrough(ShadowCaster& caster, const Shadow* shadow, const Box& visible, double tolerance);

 private:
  void setUp(cairo_t* cr) const;
  void appendPath(cairo_t* cr, const Box& visible, double tolerance, const SurfacePath::Dash* dash);

  SurfacePath* path_;
  int scale_;
  LineCap cap_;
  bool stroke_;  // false also for a whole circle stroked: it is filled as its ring
  bool drawable_ = false;
  double width_ = 0;
  Colour colour_;
  double safe_ = 0;  // points from the origin within which shapes are rasterised here
  // The dash pattern to walk (no lengths: solid); a pattern finer than a
  // pixel is drawn solid, in `colour_` made as faint as the pattern.
  SurfacePath::Dash dash_;
  SurfacePath::Ring ring_{};  // the ring of a whole circle stroked
  bool rasteriseRing_ = false;
  std::optional<SurfacePath::Segment> segment_;  // a segment stroked with round caps
  std::optional<SurfacePath::Arc> arcStroke_;    // an arc stroked
  // The ring that a ring or an arc stroked stays within, so that the
  // coverage's bookkeeping looks no further.
  SurfacePath::Ring band_{};
  bool banded_ = false;
};

}  // namespace velmora
