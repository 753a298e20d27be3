#pragma once

#include <cstddef>
#include <cstdint>

#include "values/Geometry.h"

namespace velmora {

// Paints the coverage of a ring into an 8-bit buffer of `width` × `height`
// pixels (rows `stride` bytes apart, all zero where the ring lies): the
// points between `inner` and `outer` pixels from `centre` (pixel
// coordinates, pixel (x, y) covering x … x + 1), a disc when `inner` is not
// above zero. Each pixel is covered by how far its centre lies inside both
// edges, from none half a pixel outside to whole half a pixel inside, which
// differs from the exact share of its area only where an edge crosses it.
// Whole rows and runs inside the ring are filled without arithmetic, so the
// work is the ring's edges and a fill of its area.
void ringCoverage(std::uint8_t* data, std::ptrdiff_t stride, int width, int height, double centreX, double centreY,
                  double outer, double inner);

// Paints, the same way, the coverage of a segment stroked with round caps:
// the points within `radius` pixels of the segment from `from` to `to` (a
// disc when the two are one point).
void capsuleCoverage(std::uint8_t* data, std::ptrdiff_t stride, int width, int height, Point from, Point to,
                     double radius);

// A circular arc stroked, in pixels: its centre line runs `sweep` radians
// (either way, at most a full turn) from `start`, angles growing toward
// positive y, and the stroke reaches `halfWidth` either side of it, ending
// in half discs (`roundCaps`) or square across at the ends' radii.
struct ArcStroke {
  Point centre;
  double radius = 0, halfWidth = 0, start = 0, sweep = 0;
  bool roundCaps = false;
};

// Paints, the same way, the coverage of an arc stroked: where the sweep
// passes, the ring's; past its ends, a round end's (the points within half
// the width of the end), or the ring cut square along the end's radius.
// Each pixel takes the larger of what it holds and the arc's coverage, so
// the dashes of one arc can be painted in turn. The work is the edges and
// ends, and a fill of the rest.
void arcCoverage(std::uint8_t* data, std::ptrdiff_t stride, int width, int height, const ArcStroke& arc);

}  // namespace velmora
