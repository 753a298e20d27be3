#include "drawing/CoverageBuffer.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define VELMORA_X86 1
#endif

namespace velmora {

PixelRect PixelRect::intersection(const PixelRect& other) const {
  const int left = std::max(x, other.x), top = std::max(y, other.y);
  const int right = std::min(x + width, other.x + other.width);
  const int bottom = std::min(y + height, other.y + other.height);
  if (right <= left || bottom <= top) return {left, top, 0, 0};
  return {left, top, right - left, bottom - top};
}

void CoverageBuffer::resize(int width, int height) {
  // Whole pairs of tiles each way, the blur's unit of work.
  auto pairs = [](int pixels) { return std::max(0, (pixels + 2 * kTile - 1) / (2 * kTile) * 2); };
  tilesAcross_ = pairs(width);
  tilesDown_ = pairs(height);
  const auto bytes = static_cast<std::size_t>(this->width()) * static_cast<std::size_t>(this->height());
  // A buffer that grows keeps its pages and clears them, which costs a
  // fraction of faulting in as many new ones.
  const std::size_t kept = memory_ ? memory_->size() : 0;
  if (memory_ && bytes && memory_->grow(bytes))
    std::memset(memory_->data(), 0, std::min(kept, bytes));
  else
    memory_ = bytes ? std::make_unique<PixelMemory>(bytes) : nullptr;
  if (memory_ && !memory_->data()) {  // no memory: an empty buffer
    memory_.reset();
    tilesAcross_ = tilesDown_ = 0;
  }
  tiles_.assign(static_cast<std::size_t>(tilesAcross_ * tilesDown_), 0);
  words_ = (tilesAcross_ * kCellsPerTile + 63) / 64;
  usedCells_.assign(static_cast<std::size_t>(words_ * tilesDown_ * kCellsPerTile), 0);
  fullCells_ = usedCells_;
  firstRow_ = endRow_ = 0;
  flagged_ = {};
}

void CoverageBuffer::findUsed(PixelRect area, const Band* band) {
  area = area.intersection({0, 0, width(), height()});
  if (area.empty()) return;
  // A tile's width of cells at a time, sixteen bytes to a row.
  const int cx0 = area.x / kTile * kCellsPerTile, cx1 = (area.x + area.width + kTile - 1) / kTile * kCellsPerTile;
  const int cy0 = area.y / kCell, cy1 = (area.y + area.height + kCell - 1) / kCell;
  const std::uint8_t* base = data();
  int top = cy1, bottom = cy0;
  for (int cy = cy0; cy < cy1; ++cy) {
    // Within a band, a row of cells holds coverage only between the outer
    // circle's ends, and none in the stretch every row of it has inside the
    // inner circle.
    int from = cx0, to = cx1, holeFrom = cx1, holeTo = cx1;
    if (band) {
      const double y0 = cy * kCell - band->centreY, y1 = y0 + kCell;
      const double nearest = y0 <= 0 && y1 >= 0 ? 0.0 : std::min(std::abs(y0), std::abs(y1));
      const double farthest = std::max(std::abs(y0), std::abs(y1));
      if (!(band->outer > nearest)) continue;
      const double reach = std::sqrt((band->outer - nearest) * (band->outer + nearest));
      auto cellOf = [](double x) { return static_cast<int>(std::clamp(std::floor(x / kCell), -1.0, 1e9)); };
      from = std::max(cx0, cellOf(band->centreX - reach) / kCellsPerTile * kCellsPerTile);
      to = std::min(cx1, cellOf(band->centreX + reach) + 1);
      if (band->inner > farthest) {
        const double hole = std::sqrt((band->inner - farthest) * (band->inner + farthest));
        holeFrom = cellOf(band->centreX - hole) + 1, holeTo = cellOf(band->centreX + hole);  // cells wholly inside
      }
    }
    for (int cx = from; cx < to; cx += kCellsPerTile) {
      if (cx >= holeFrom && cx + kCellsPerTile <= holeTo) continue;
      const std::uint8_t* at = base + cy * kCell * stride() + cx * kCell;
      unsigned empty, whole;  // one bit per column of bytes: none set / every one 255
#if VELMORA_X86
      __m128i any = _mm_setzero_si128(), all = _mm_set1_epi8(static_cast<char>(0xff));
      for (int row = 0; row < kCell; ++row) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at + row * stride()));
        any = _mm_or_si128(any, v);
        all = _mm_and_si128(all, v);
      }
      empty = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(any, _mm_setzero_si128())));
      whole = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(all, _mm_set1_epi8(static_cast<char>(0xff)))));
#else
      empty = whole = 0;
      for (int column = 0; column < kTile; ++column) {
        std::uint8_t any = 0, all = 0xff;
        for (int row = 0; row < kCell; ++row) any |= at[row * stride() + column], all &= at[row * stride() + column];
        empty |= (any == 0 ? 1u : 0u) << column;
        whole |= (all == 0xff ? 1u : 0u) << column;
      }
#endif
      for (int k = 0; k < kCellsPerTile; ++k) {
        const unsigned bits = ((1u << kCell) - 1) << (kCell * k);
        if ((empty & bits) == bits) continue;
        setCell(usedCells_, cx + k, cy);
        if ((whole & bits) == bits) setCell(fullCells_, cx + k, cy);
        markUsed((cx + k) / kCellsPerTile, cy / kCellsPerTile);
        top = std::min(top, cy), bottom = std::max(bottom, cy + 1);
      }
    }
  }
  if (top >= bottom) return;
  if (firstRow_ >= endRow_) firstRow_ = top, endRow_ = bottom;
  firstRow_ = std::min(firstRow_, top), endRow_ = std::max(endRow_, bottom);
}

void CoverageBuffer::cellRuns(Cells kind, int grow, std::vector<PixelRect>& runs) {
  runs.clear();
  if (firstRow_ >= endRow_) return;
  if (kind != Cells::kUsed) grow = 0;
  const int rows = tilesDown_ * kCellsPerTile;
  const auto words = static_cast<std::size_t>(words_);
  auto bitsOf = [&](const std::vector<std::uint64_t>& bits, int cellY) { return bits.data() + cellY * words_; };
  row_.resize(words);
  grown_.resize(words);
  for (int y = std::max(0, firstRow_ - grow); y < std::min(rows, endRow_ + grow); ++y) {
    // The wanted cells of this row, grown down and up, then across.
    std::fill(row_.begin(), row_.end(), 0);
    for (int from = std::max(firstRow_, y - grow); from < std::min(endRow_, y + grow + 1); ++from) {
      const std::uint64_t* used = bitsOf(usedCells_, from);
      const std::uint64_t* full = bitsOf(fullCells_, from);
      for (std::size_t w = 0; w < words; ++w)
        row_[w] |= kind == Cells::kUsed ? used[w] : kind == Cells::kFull ? full[w] : used[w] & ~full[w];
    }
    for (int g = 0; g < grow; ++g) {
      for (std::size_t w = 0; w < words; ++w) {
        const std::uint64_t fromLeft = w > 0 ? row_[w - 1] >> 63 : 0;
        const std::uint64_t fromRight = w + 1 < words ? row_[w + 1] << 63 : 0;
        grown_[w] = row_[w] | row_[w] << 1 | row_[w] >> 1 | fromLeft | fromRight;
      }
      std::swap(row_, grown_);
    }
    // Runs of set bits, as pixel rectangles.
    int x = 0;
    const int across = tilesAcross_ * kCellsPerTile;
    while (x < across) {
      const std::uint64_t word = row_[static_cast<std::size_t>(x / 64)] >> (x % 64);
      if (word == 0) {
        x = (x / 64 + 1) * 64;
        continue;
      }
      x += std::countr_zero(word);
      int end = x;
      while (end < across && (row_[static_cast<std::size_t>(end / 64)] >> (end % 64) & 1)) {
        const std::uint64_t ones = ~(row_[static_cast<std::size_t>(end / 64)] >> (end % 64));
        end += ones ? std::countr_zero(ones) : 64 - end % 64;
      }
      end = std::min(end, across);
      runs.push_back({x * kCell, y * kCell, (end - x) * kCell, kCell});
      x = end;
    }
  }
}

void CoverageBuffer::unflag() {
  flagged_ = {};
  if (firstRow_ < endRow_) {
    const auto from = static_cast<std::ptrdiff_t>(firstRow_ * words_),
               to = static_cast<std::ptrdiff_t>(endRow_ * words_);
    std::fill(usedCells_.begin() + from, usedCells_.begin() + to, 0);
    std::fill(fullCells_.begin() + from, fullCells_.begin() + to, 0);
    firstRow_ = endRow_ = 0;
  }
}

void CoverageBuffer::forget() {
  for (int ty = flagged_.top; ty < flagged_.bottom; ++ty)
    std::fill_n(tiles_.begin() + static_cast<std::ptrdiff_t>(tileIndex(flagged_.left, ty)),
                flagged_.right - flagged_.left, 0);
  unflag();
}

void CoverageBuffer::clear() {
  std::uint8_t* base = data();
  for (int ty = flagged_.top; ty < flagged_.bottom; ++ty) {
    for (int tx = flagged_.left; tx < flagged_.right;) {
      if (!used(tx, ty)) {
        ++tx;
        continue;
      }
      const int first = tx;
      while (tx < flagged_.right && used(tx, ty)) tiles_[tileIndex(tx++, ty)] = 0;
      for (int row = 0; row < kTile; ++row)
        std::memset(base + (ty * kTile + row) * stride() + first * kTile, 0,
                    static_cast<std::size_t>((tx - first) * kTile));
    }
  }
  unflag();
}

}  // namespace velmora
