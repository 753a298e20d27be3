#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/Geometry.h"
#include "platform/PixelMemory.h"

namespace velmora {

// A rectangle of device pixels.
struct PixelRect {
  int x = 0, y = 0, width = 0, height = 0;

  bool empty() const { return width <= 0 || height <= 0; }
  PixelRect intersection(const PixelRect& other) const;
  // Grown by `by` pixels on every side.
  PixelRect outset(int by) const { return {x - by, y - by, width + 2 * by, height + 2 * by}; }
  friend bool operator==(const PixelRect&, const PixelRect&) = default;
};

// An 8-bit coverage buffer, kept in tiles of 16 × 16 pixels (the blur works
// on two side by side) made of cells of 8 × 8 (the compositing's), an even
// number of tiles across and down. Between uses every
// byte is zero: the tiles that may hold something are flagged, and `clear`
// zeroes only those, so a mostly empty buffer costs little to reuse.
class CoverageBuffer {
 public:
  static constexpr int kTile = 16;
  static constexpr int kCell = 8;
  static constexpr int kCellsPerTile = kTile / kCell;

  // Makes a zeroed buffer of at least width × height pixels (whole pairs of tiles).
  void resize(int width, int height);

  int width() const { return tilesAcross_ * kTile; }
  int height() const { return tilesDown_ * kTile; }
  std::ptrdiff_t stride() const { return width(); }
  std::uint8_t* data() { return memory_ ? memory_->data() : nullptr; }
  const std::uint8_t* data() const { return memory_ ? memory_->data() : nullptr; }

  int tilesAcross() const { return tilesAcross_; }
  int tilesDown() const { return tilesDown_; }
  bool used(int tileX, int tileY) const { return tiles_[tileIndex(tileX, tileY)] != 0; }
  void markUsed(int tileX, int tileY) {
    tiles_[tileIndex(tileX, tileY)] = 1;
    flagged_.take(tileX, tileY);
  }

  // A ring known to hold all the coverage (pixel coordinates; every pixel
  // meeting neither it nor its inside is zero).
  struct Band {
    double centreX, centreY, inner, outer;
  };
  // Flags the tiles and cells meeting `area` that hold a non-zero byte, and
  // notes the cells whose every byte is 255. With a band, cells wholly
  // beyond it or wholly inside its hole are taken to be zero unread.
  void findUsed(PixelRect area, const Band* band = nullptr);

  enum class Cells { kUsed, kPartlyCovered, kFull };
  // The cells of a kind as rectangles, one per run along a row of cells. Used
  // cells can first be grown by `grow` cells on every side.
  void cellRuns(Cells kind, int grow, std::vector<PixelRect>& runs);

  // Zeroes the used tiles and unflags tiles and cells.
  void clear();
  // Unflags the tiles and leaves their bytes as they are: for a buffer whose
  // every use writes all the tiles it reads.
  void forget();

 private:
  std::size_t tileIndex(int tileX, int tileY) const { return static_cast<std::size_t>(tileY * tilesAcross_ + tileX); }
  // Cells are kept as bits, a row of cells in `words_` 64-bit words.
  void setCell(std::vector<std::uint64_t>& bits, int cellX, int cellY) {
    bits[static_cast<std::size_t>(cellY * words_ + cellX / 64)] |= std::uint64_t{1} << (cellX % 64);
  }

  std::unique_ptr<PixelMemory> memory_;
  int tilesAcross_ = 0, tilesDown_ = 0, words_ = 0;
  std::vector<std::uint8_t> tiles_;  // 1: used
  // The tiles within which some may be flagged, so that clearing a buffer
  // with a small drawing in it looks at no more than that.
  struct TileBox {
    int left = 0, top = 0, right = 0, bottom = 0;
    void take(int x, int y) {
      if (left >= right) left = x, top = y, right = x + 1, bottom = y + 1;
      left = std::min(left, x), top = std::min(top, y), right = std::max(right, x + 1),
      bottom = std::max(bottom, y + 1);
    }
  } flagged_;
  std::vector<std::uint64_t> usedCells_, fullCells_;
  int firstRow_ = 0, endRow_ = 0;  // the rows of cells that may have bits set
  std::vector<std::uint64_t> row_, grown_;
};

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

// The blur of a drop shadow: a Gaussian of standard deviation sigma,
// approximated by three box blurs in each direction, each a running sum.
// Only the tiles a blur can reach from the used tiles of the coverage are
// worked on; the scratch storage stays with the object for the next shadow.
class ShadowBlur {
 public:
  // Width of each of the three boxes: floor(sigma · 3·√(2π)/4 + 0.5), at most 250.
  static int boxWidth(double sigma);
  // How many pixels beyond the coverage the three boxes spread it.
  static int reach(double sigma);

  // One box pass over 32 lanes side by side: element i of the output is the
  // rounded mean of elements i − before … i + after of the input (zero outside
  // 0 … length − 1). Elements are 32 bytes, `stride` bytes apart.
  struct Box {
    int before = 0, after = 0;
    std::uint16_t half = 0, multiplier = 0;  // rounding and 2¹⁶ / width, for a multiply-high
    static Box ofWidth(int width, int before);
  };
  using BoxPass = void (*)(const std::uint8_t* source, std::ptrdiff_t sourceStride, std::uint8_t* target,
                           std::ptrdiff_t targetStride, int length, const Box& box);
  // Transposes two 16 × 16 blocks of bytes.
  using TransposePair = void (*)(const std::uint8_t* sourceA, const std::uint8_t* sourceB, std::ptrdiff_t sourceStride,
                                 std::uint8_t* targetA, std::uint8_t* targetB, std::ptrdiff_t targetStride);
  // The passes and transposes written for one kind of processor; all give the
  // same bytes.
  struct Kernels {
    const char* name;
    BoxPass pass;
    TransposePair transposePair;
  };
  // The kernels this processor can run, the fastest first and plain C++ last.
  static std::vector<Kernels> kernels();

  ShadowBlur();
  explicit ShadowBlur(const Kernels& kernels) : kernels_(kernels) {}

  // Blurs the used tiles of `source` into `target`, a clear buffer of the same
  // size, and flags the tiles of `target` written. Coverage beyond the buffer
  // counts as zero.
  void blur(const CoverageBuffer& source, CoverageBuffer& target, double sigma);

 private:
  void blurAcross(const CoverageBuffer& source, int tileReach, const Box (&boxes)[3]);
  void blurDown(CoverageBuffer& target, int tileReach, const Box (&boxes)[3]);
  void threePasses(const std::uint8_t* source, std::ptrdiff_t sourceStride, std::uint8_t* target,
                   std::ptrdiff_t targetStride, int length, const Box (&boxes)[3]);

  Kernels kernels_;
  CoverageBuffer across_;                             // after the horizontal passes
  std::vector<std::uint8_t> lineIn_, lineA_, lineB_;  // one run, thirty-two lanes wide
};

}  // namespace velmora
