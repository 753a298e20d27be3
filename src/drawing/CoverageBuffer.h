#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "drawing/PixelMemory.h"

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
  // Unflags the cells and empties the box of flagged tiles: the last step of
  // `clear` and `forget`, once they have unflagged the tiles.
  void unflag();

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

}  // namespace velmora
