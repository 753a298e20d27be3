#pragma once

#include <limits>
#include <memory>
#include <optional>

#include "drawing/CoverageBuffer.h"
#include "drawing/GraphicsState.h"

typedef struct _cairo cairo_t;
typedef struct _cairo_surface cairo_surface_t;

namespace velmora {

// The scratch of drop shadows: the coverage and shadow buffers over a frame of
// pixels, the context that paints the coverage and the blur's own storage.
// Kept by the run's caches (`shadowScratch()`) and shared by its surfaces one
// operation at a time.
class ShadowScratch;
std::shared_ptr<ShadowScratch> makeShadowScratch();

// Casts the drop shadow of one drawing operation onto a bitmap, and paints the
// operation through the coverage its shadow was cast from.
//
// Shadows are cast through 8-bit coverage buffers over a frame of pixels: the
// bitmap plus a margin wide enough for the shadow's blur and offset. An
// operation paints its coverage into the frame, the coverage is blurred into
// the shadow buffer, the shadow is composited at its offset, and the operation
// itself follows on top; a stroke or fill is tinted through the same coverage
// rather than rasterised twice. The buffers belong to the run and are left
// zero after every operation, so a new surface neither allocates nor clears
// them.
//
// A caster serves one operation. It keeps references to the run's scratch, to
// the bitmap and to the context that paints on it, all of which must outlive
// it; the scratch serves one caster at a time.
class ShadowCaster {
 public:
  // How far beyond what casts it, in points, `shadow` can fall at `scale`:
  // its offset and what its blur spreads.
  static double reach(const Shadow& shadow, int scale);
  // Whether `shadow` can fall on a bitmap `size` points square at `scale`.
  // Thrown further than the bitmap and its blur, it falls wholly off it (what
  // could throw it back on lies that far off the bitmap, and is not drawn).
  static bool fallsOn(const Shadow& shadow, double size, int scale);

  // The run's scratch readied for painting on `bitmap`, through `cr` (whose
  // user space is in points, `scale` pixels each): the frame holds everything
  // whose `shadow` can fall on the bitmap, or, for what casts none, the
  // bitmap's pixels up to `reach` across and down. Nothing when the memory
  // cannot be had.
  static std::optional<ShadowCaster> ready(ShadowScratch& scratch, cairo_surface_t* bitmap, cairo_t* cr, int scale,
                                           const Shadow& shadow, int reach = std::numeric_limits<int>::max());

  // The context that paints the coverage, in the bitmap's user space.
  cairo_t* coverageContext() const;
  // The coverage, in frame pixels.
  CoverageBuffer& coverage() const;
  // User-space bounds on the coverage context, as frame pixels (rounded out,
  // with a pixel to spare for antialiasing).
  PixelRect framePixels(double x1, double y1, double x2, double y2) const;

  // Blurs the coverage and composites it as `shadow`, at `opacity` times its
  // colour's. Where the operation will cover its own shadow with whole opaque
  // paint (`hiddenUnderFull`), the shadow is not composited at all.
  void castShadow(const Shadow& shadow, double opacity, bool hiddenUnderFull);
  // Paints `colour` through the coverage (a plain fill where the coverage is
  // whole), and clears the coverage.
  void paintThrough(const Colour& colour);
  // Clears the coverage, for an operation that paints itself.
  void clear();

 private:
  ShadowCaster(ShadowScratch& scratch, cairo_surface_t* bitmap, cairo_t* cr, int scale)
      : scratch_(&scratch), bitmap_(bitmap), cr_(cr), scale_(scale) {}

  ShadowScratch* scratch_;
  cairo_surface_t* bitmap_;
  cairo_t* cr_;
  int scale_;
};

}  // namespace velmora
