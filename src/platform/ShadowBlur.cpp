#include "platform/ShadowBlur.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <numbers>

#include "platform/Avx2.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define VELMORA_X86 1
#endif

namespace velmora {

namespace {

constexpr int kTile = CoverageBuffer::kTile;
constexpr int kLanes = 2 * kTile;  // a pass works on two tiles side by side
constexpr int kMaxBoxWidth = 250;  // keeps 255 × (width + 1) + rounding inside 16 bits

// Calls `run(first, end)` for every run of consecutive indices of 0 … count − 1
// that lie within `reach` of an index for which `used` holds.
template <typename Used, typename Run>
void forEachReachedRun(int count, int reach, Used used, Run run) {
  int start = -1, reachedUntil = -1;  // the current run, and the last index it reaches so far
  for (int i = 0; i < count; ++i) {
    if (used(i)) {
      if (start < 0)
        start = std::max(0, i - reach);
      else if (i - reach > reachedUntil + 1) {
        run(start, reachedUntil + 1);
        start = i - reach;
      }
      reachedUntil = std::min(count - 1, i + reach);
    }
  }
  if (start >= 0) run(start, reachedUntil + 1);
}

// The steps of one box pass, in four stretches: at step i the element
// i + after enters the window (while there is one), the mean is written, and
// the element i − before leaves it (once it has entered).
struct Stretches {
  int primed;    // elements in the window before the first step
  int entering;  // steps where an element only enters
  int both;      // steps where one enters and one leaves
  int neither;   // steps where the window holds the whole line
  int leaving;   // steps where an element only leaves

  static Stretches of(int length, const ShadowBlur::Box& box) {
    const int addEnd = std::max(0, length - box.after);  // steps before this one add
    const int subStart = std::min(box.before, length);   // steps from this one on subtract
    const int p = std::min(subStart, addEnd), q = std::max(subStart, addEnd);
    return {std::min(box.after, length), p, subStart < addEnd ? q - p : 0, subStart < addEnd ? 0 : q - p, length - q};
  }
};

// Walks a pass's steps. Where one element leaves and the next enters between
// two writes, `shift` adds their difference, formed apart from the sum: the
// sums are 16-bit and wrap, so this is the very same arithmetic, and each
// step waits on one addition instead of two.
template <typename Enter, typename Leave, typename Shift, typename Write>
[[gnu::always_inline]] inline void walkSteps(const Stretches& steps, Enter enter, Leave leave, Shift shift,
                                             Write write) {
  for (int i = 0; i < steps.primed; ++i) enter();
  for (int i = 0; i < steps.entering; ++i) enter(), write();
  if (steps.both > 0) {
    enter(), write();
#pragma GCC unroll 2
    for (int i = 1; i < steps.both; ++i) shift(), write();
    leave();
  }
  for (int i = 0; i < steps.neither; ++i) write();
  for (int i = 0; i < steps.leaving; ++i) write(), leave();
}

// The plain passes and transpose, for any processor and as the reference
// the vector ones are held to.
void boxPassPlain(const std::uint8_t* source, std::ptrdiff_t sourceStride, std::uint8_t* target,
                  std::ptrdiff_t targetStride, int length, const ShadowBlur::Box& box) {
  std::uint16_t sum[kLanes];
  std::fill_n(sum, kLanes, box.half);  // the rounding rides along in the sums
  const std::uint8_t* entering = source;
  const std::uint8_t* leaving = source;
  auto add = [&](const std::uint8_t* in, int sign) {
    for (int lane = 0; lane < kLanes; ++lane) sum[lane] = static_cast<std::uint16_t>(sum[lane] + sign * in[lane]);
  };
  walkSteps(
      Stretches::of(length, box), [&] { add(entering, 1), entering += sourceStride; },
      [&] { add(leaving, -1), leaving += sourceStride; },
      [&] {
        add(entering, 1), add(leaving, -1);
        entering += sourceStride, leaving += sourceStride;
      },
      [&] {
        for (int lane = 0; lane < kLanes; ++lane)
          target[lane] = static_cast<std::uint8_t>(std::min(255u, unsigned{sum[lane]} * box.multiplier >> 16));
        target += targetStride;
      });
}

void transpose16Plain(const std::uint8_t* source, std::ptrdiff_t sourceStride, std::uint8_t* target,
                      std::ptrdiff_t targetStride) {
  for (int i = 0; i < 16; ++i)
    for (int j = 0; j < 16; ++j) target[j * targetStride + i] = source[i * sourceStride + j];
}

void transpose16PairPlain(const std::uint8_t* sourceA, const std::uint8_t* sourceB, std::ptrdiff_t sourceStride,
                          std::uint8_t* targetA, std::uint8_t* targetB, std::ptrdiff_t targetStride) {
  transpose16Plain(sourceA, sourceStride, targetA, targetStride);
  transpose16Plain(sourceB, sourceStride, targetB, targetStride);
}

#if VELMORA_X86

// Four rounds of interleaving leave column j of a block in vector bitReversed(j).
constexpr int kBitReversed[16] = {0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15};

// Transposes a 16 × 16 block of bytes: target row j is source column j.
void transpose16(const std::uint8_t* source, std::ptrdiff_t sourceStride, std::uint8_t* target,
                 std::ptrdiff_t targetStride) {
  // Fully unrolled, so that the thirty-two vectors stay in registers.
  __m128i a[16], t[16];
#pragma GCC unroll 16
  for (int i = 0; i < 16; ++i) a[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(source + i * sourceStride));
#pragma GCC unroll 8
  for (int i = 0; i < 8; ++i) {
    t[i] = _mm_unpacklo_epi8(a[2 * i], a[2 * i + 1]);
    t[i + 8] = _mm_unpackhi_epi8(a[2 * i], a[2 * i + 1]);
  }
#pragma GCC unroll 8
  for (int i = 0; i < 8; ++i) {
    a[i] = _mm_unpacklo_epi16(t[2 * i], t[2 * i + 1]);
    a[i + 8] = _mm_unpackhi_epi16(t[2 * i], t[2 * i + 1]);
  }
#pragma GCC unroll 8
  for (int i = 0; i < 8; ++i) {
    t[i] = _mm_unpacklo_epi32(a[2 * i], a[2 * i + 1]);
    t[i + 8] = _mm_unpackhi_epi32(a[2 * i], a[2 * i + 1]);
  }
#pragma GCC unroll 8
  for (int i = 0; i < 8; ++i) {
    a[i] = _mm_unpacklo_epi64(t[2 * i], t[2 * i + 1]);
    a[i + 8] = _mm_unpackhi_epi64(t[2 * i], t[2 * i + 1]);
  }
#pragma GCC unroll 16
  for (int i = 0; i < 16; ++i)
    _mm_storeu_si128(reinterpret_cast<__m128i*>(target + kBitReversed[i] * targetStride), a[i]);
}

void transpose16PairSse2(const std::uint8_t* sourceA, const std::uint8_t* sourceB, std::ptrdiff_t sourceStride,
                         std::uint8_t* targetA, std::uint8_t* targetB, std::ptrdiff_t targetStride) {
  transpose16(sourceA, sourceStride, targetA, targetStride);
  transpose16(sourceB, sourceStride, targetB, targetStride);
}

// Thirty-two lanes as four sums of eight, each its own chain of additions.
void boxPassSse2(const std::uint8_t* source, std::ptrdiff_t sourceStride, std::uint8_t* target,
                 std::ptrdiff_t targetStride, int length, const ShadowBlur::Box& box) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i half = _mm_set1_epi16(static_cast<short>(box.half));
  const __m128i multiplier = _mm_set1_epi16(static_cast<short>(box.multiplier));
  __m128i sum[4] = {half, half, half, half};  // the rounding rides along in the sums
  const std::uint8_t* entering = source;
  const std::uint8_t* leaving = source;
  struct Wide {
    __m128i v[4];
  };
  auto widen = [&](const std::uint8_t* at) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at + 16));
    return Wide{{_mm_unpacklo_epi8(a, zero), _mm_unpackhi_epi8(a, zero), _mm_unpacklo_epi8(b, zero),
                 _mm_unpackhi_epi8(b, zero)}};
  };
  walkSteps(
      Stretches::of(length, box),
      [&] {
        const Wide in = widen(entering);
        for (int k = 0; k < 4; ++k) sum[k] = _mm_add_epi16(sum[k], in.v[k]);
        entering += sourceStride;
      },
      [&] {
        const Wide out = widen(leaving);
        for (int k = 0; k < 4; ++k) sum[k] = _mm_sub_epi16(sum[k], out.v[k]);
        leaving += sourceStride;
      },
      [&] {
        const Wide in = widen(entering), out = widen(leaving);
        for (int k = 0; k < 4; ++k) sum[k] = _mm_add_epi16(sum[k], _mm_sub_epi16(in.v[k], out.v[k]));
        entering += sourceStride, leaving += sourceStride;
      },
      [&] {
        auto mean = [&](int k) { return _mm_mulhi_epu16(sum[k], multiplier); };
        _mm_storeu_si128(reinterpret_cast<__m128i*>(target), _mm_packus_epi16(mean(0), mean(1)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(target + 16), _mm_packus_epi16(mean(2), mean(3)));
        target += targetStride;
      });
}

// The wide passes, chosen at run time when the processor has AVX2.
VELMORA_AVX2_BEGIN
// Thirty-two lanes as two sums of sixteen. Widening each half of a row in
// place and packing the halves back undo each other lane for lane.
[[gnu::flatten]] void boxPassAvx2(const std::uint8_t* source, std::ptrdiff_t sourceStride, std::uint8_t* target,
                                  std::ptrdiff_t targetStride, int length, const ShadowBlur::Box& box) {
  const __m256i zero = _mm256_setzero_si256();
  const __m256i half = _mm256_set1_epi16(static_cast<short>(box.half));
  const __m256i multiplier = _mm256_set1_epi16(static_cast<short>(box.multiplier));
  __m256i low = half, high = half;  // the rounding rides along in the sums
  const std::uint8_t* entering = source;
  const std::uint8_t* leaving = source;
  walkSteps(
      Stretches::of(length, box),
      [&] {
        const __m256i in = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(entering));
        low = _mm256_add_epi16(low, _mm256_unpacklo_epi8(in, zero));
        high = _mm256_add_epi16(high, _mm256_unpackhi_epi8(in, zero));
        entering += sourceStride;
      },
      [&] {
        const __m256i out = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(leaving));
        low = _mm256_sub_epi16(low, _mm256_unpacklo_epi8(out, zero));
        high = _mm256_sub_epi16(high, _mm256_unpackhi_epi8(out, zero));
        leaving += sourceStride;
      },
      [&] {
        const __m256i in = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(entering));
        const __m256i out = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(leaving));
        __m256i lowStep = _mm256_sub_epi16(_mm256_unpacklo_epi8(in, zero), _mm256_unpacklo_epi8(out, zero));
        __m256i highStep = _mm256_sub_epi16(_mm256_unpackhi_epi8(in, zero), _mm256_unpackhi_epi8(out, zero));
        asm("" : "+x"(lowStep), "+x"(highStep));  // kept whole: the compiler would fold it back into the sums
        low = _mm256_add_epi16(low, lowStep);
        high = _mm256_add_epi16(high, highStep);
        entering += sourceStride, leaving += sourceStride;
      },
      [&] {
        _mm256_storeu_si256(
            reinterpret_cast<__m256i*>(target),
            _mm256_packus_epi16(_mm256_mulhi_epu16(low, multiplier), _mm256_mulhi_epu16(high, multiplier)));
        target += targetStride;
      });
}
// Two 16 × 16 blocks at once, one in each half of the wide vectors.
void transpose16PairAvx2(const std::uint8_t* sourceA, const std::uint8_t* sourceB, std::ptrdiff_t sourceStride,
                         std::uint8_t* targetA, std::uint8_t* targetB, std::ptrdiff_t targetStride) {
  __m256i a[16], t[16];
#pragma GCC unroll 16
  for (int i = 0; i < 16; ++i)
    a[i] = _mm256_inserti128_si256(
        _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(sourceA + i * sourceStride))),
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(sourceB + i * sourceStride)), 1);
#pragma GCC unroll 8
  for (int i = 0; i < 8; ++i) {
    t[i] = _mm256_unpacklo_epi8(a[2 * i], a[2 * i + 1]);
    t[i + 8] = _mm256_unpackhi_epi8(a[2 * i], a[2 * i + 1]);
  }
#pragma GCC unroll 8
  for (int i = 0; i < 8; ++i) {
    a[i] = _mm256_unpacklo_epi16(t[2 * i], t[2 * i + 1]);
    a[i + 8] = _mm256_unpackhi_epi16(t[2 * i], t[2 * i + 1]);
  }
#pragma GCC unroll 8
  for (int i = 0; i < 8; ++i) {
    t[i] = _mm256_unpacklo_epi32(a[2 * i], a[2 * i + 1]);
    t[i + 8] = _mm256_unpackhi_epi32(a[2 * i], a[2 * i + 1]);
  }
#pragma GCC unroll 8
  for (int i = 0; i < 8; ++i) {
    a[i] = _mm256_unpacklo_epi64(t[2 * i], t[2 * i + 1]);
    a[i + 8] = _mm256_unpackhi_epi64(t[2 * i], t[2 * i + 1]);
  }
#pragma GCC unroll 16
  for (int i = 0; i < 16; ++i) {
    const std::ptrdiff_t row = kBitReversed[i] * targetStride;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(targetA + row), _mm256_castsi256_si128(a[i]));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(targetB + row), _mm256_extracti128_si256(a[i], 1));
  }
}
VELMORA_AVX2_END

#endif

}  // namespace

// ---------------------------------------------------------------------------

PixelRect PixelRect::intersection(const PixelRect& other) const {
  const int left = std::max(x, other.x), top = std::max(y, other.y);
  const int right = std::min(x + width, other.x + other.width);
  const int bottom = std::min(y + height, other.y + other.height);
  if (right <= left || bottom <= top) return {left, top, 0, 0};
  return {left, top, right - left, bottom - top};
}

// ---------------------------------------------------------------------------

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

void CoverageBuffer::forget() {
  for (int ty = flagged_.top; ty < flagged_.bottom; ++ty)
    std::fill_n(tiles_.begin() + static_cast<std::ptrdiff_t>(tileIndex(flagged_.left, ty)),
                flagged_.right - flagged_.left, 0);
  flagged_ = {};
  if (firstRow_ < endRow_) {
    const auto from = static_cast<std::ptrdiff_t>(firstRow_ * words_),
               to = static_cast<std::ptrdiff_t>(endRow_ * words_);
    std::fill(usedCells_.begin() + from, usedCells_.begin() + to, 0);
    std::fill(fullCells_.begin() + from, fullCells_.begin() + to, 0);
    firstRow_ = endRow_ = 0;
  }
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
  flagged_ = {};
  if (firstRow_ < endRow_) {
    const auto from = static_cast<std::ptrdiff_t>(firstRow_ * words_),
               to = static_cast<std::ptrdiff_t>(endRow_ * words_);
    std::fill(usedCells_.begin() + from, usedCells_.begin() + to, 0);
    std::fill(fullCells_.begin() + from, fullCells_.begin() + to, 0);
    firstRow_ = endRow_ = 0;
  }
}

// ---------------------------------------------------------------------------

namespace {

// A share of 0 … 1 as a level of 0 … 255, rounded half away from zero:
// lround's result without the call (from a half up, adding a half is exact
// to the integer part).
std::uint8_t coverageLevel(double share) {
  const double level = share * 255.0;
  return level < 0.5 ? 0 : static_cast<std::uint8_t>(level + 0.5);
}

// Pixel columns whose centres lie within [from, to], within 0 … width.
// (The bound is taken first, so that a far bound costs nothing and casts
// safely; floor and ceiling by a cast, which the processor does inline.)
int firstColumnFrom(double from, int width) {
  const double v = std::clamp(from, -1.0, width + 1.0) - 0.5;
  const int i = static_cast<int>(v);
  return std::clamp(i + (i < v), 0, width);
}
int endColumnTo(double to, int width) {
  const double v = std::clamp(to, -1.0, width + 1.0) - 0.5;
  const int i = static_cast<int>(v);
  return std::clamp(i - (i > v) + 1, 0, width);
}

}  // namespace

namespace {

// The covered share of a pixel whose centre lies `d` from a ring's centre:
// how far it lies inside both edges, from none half a pixel outside to whole
// half a pixel inside (an `inner` not above zero: a disc).
double ringShare(double d, double outer, double inner) {
  const double c = std::clamp(outer - d + 0.5, 0.0, 1.0);
  return inner > 0 ? std::max(0.0, c + std::clamp(d - inner + 0.5, 0.0, 1.0) - 1.0) : c;
}

// The stretches of a ring's row of pixels, left to right, as column ranges:
// those whose every pixel is wholly covered, and those an edge crosses
// (their pixels are worked out one by one; some may stay clear).
struct RowSpan {
  int first, end;
  bool whole;
};
struct RingRow {
  RowSpan spans[6];
  int count = 0;
};

// The spans of the row whose centres lie `dy` from the ring's centre.
RingRow ringRow(double centreX, double dy, double outer, double inner, int width) {
  RingRow row;
  const bool hole = inner > 0;
  // The half-width of the ring's chord on the row at radius r: none when
  // the row passes the circle by.
  auto chord = [dy](double r) { return r > std::abs(dy) ? std::sqrt((r - dy) * (r + dy)) : -1.0; };
  const double reach = chord(outer + 0.5);  // beyond it no coverage
  if (reach < 0) return row;
  const double whole = chord(outer - 0.5);                   // within it the outer edge is passed
  const double clear = hole ? chord(inner - 0.5) : -1.0;     // within it, the hole
  const double holeEdge = hole ? chord(inner + 0.5) : -1.0;  // beyond it the inner edge is passed
  // Left to right: outer edge, whole band, inner edge, hole, inner edge, whole
  // band, outer edge, as the columns whose centres lie from one boundary
  // (`first`) and before the next, or after one (`past`) up to the next.
  auto first = [&](double x) { return firstColumnFrom(centreX + x, width); };
  auto past = [&](double x) { return endColumnTo(centreX + x, width); };
  auto span = [&](int a, int b, bool full) {
    if (a < b) row.spans[row.count++] = {a, b, full};
  };
  if (whole < 0) {  // the row only grazes the outer edge
    span(first(-reach), past(reach), false);
  } else if (holeEdge < 0) {  // the row passes outside the hole's edge
    span(first(-reach), first(-whole), false);
    span(first(-whole), past(whole), true);
    span(past(whole), past(reach), false);
  } else {
    span(first(-reach), first(-whole), false);
    span(first(-whole), first(-holeEdge), true);
    span(first(-holeEdge), clear < 0 ? past(holeEdge) : first(-clear), false);
    if (clear >= 0) span(past(clear), past(holeEdge), false);
    span(past(holeEdge), past(whole), true);
    span(past(whole), past(reach), false);
  }
  return row;
}

}  // namespace

void ringCoverage(std::uint8_t* data, std::ptrdiff_t stride, int width, int height, double centreX, double centreY,
                  double outer, double inner) {
  if (!(outer > 0) || width <= 0 || height <= 0) return;
  const int top = std::clamp(static_cast<int>(std::floor(centreY - outer - 1)), 0, height);
  const int bottom = std::clamp(static_cast<int>(std::ceil(centreY + outer + 1)), 0, height);
  for (int y = top; y < bottom; ++y) {
    const double dy = y + 0.5 - centreY;
    const RingRow spans = ringRow(centreX, dy, outer, inner, width);
    std::uint8_t* row = data + y * stride;
    for (int i = 0; i < spans.count; ++i) {
      const RowSpan& s = spans.spans[i];
      if (s.whole) {
        std::memset(row + s.first, 255, static_cast<std::size_t>(s.end - s.first));
        continue;
      }
      for (int x = s.first; x < s.end; ++x) {
        const double dx = x + 0.5 - centreX;
        row[x] = coverageLevel(ringShare(std::sqrt(dx * dx + dy * dy), outer, inner));
      }
    }
  }
}

void capsuleCoverage(std::uint8_t* data, std::ptrdiff_t stride, int width, int height, Point from, Point to,
                     double radius) {
  if (!(radius > 0) || width <= 0 || height <= 0) return;
  const double length = std::hypot(to.x - from.x, to.y - from.y);
  // The segment's direction (none for a dot: then only the end discs count).
  const double ux = length > 0 ? (to.x - from.x) / length : 0.0, uy = length > 0 ? (to.y - from.y) / length : 0.0;
  auto coverage = [&](int column, double py) {
    const double px = column + 0.5 - from.x, along = std::clamp(px * ux + py * uy, 0.0, length);
    const double ax = px - along * ux, ay = py - along * uy;
    return coverageLevel(std::clamp(radius - std::sqrt(ax * ax + ay * ay) + 0.5, 0.0, 1.0));
  };
  // The stretch of a row (at py from `from`) within r of the segment: the
  // shape is convex, so it is the hull of what the two end discs and the
  // band along the segment hold of the row; empty when lo > hi.
  struct Stretch {
    double lo = INFINITY, hi = -INFINITY;
    void take(double a, double b) { lo = std::min(lo, a), hi = std::max(hi, b); }
  };
  auto stretch = [&](double r, double py) {
    Stretch s;
    for (const Point end : {Point{0, 0}, Point{to.x - from.x, to.y - from.y}})
      if (r > std::abs(py - end.y)) {
        const double half = std::sqrt((r - (py - end.y)) * (r + (py - end.y)));
        s.take(end.x - half, end.x + half);
      }
    if (length > 0) {
      // Within r across the segment and between its ends along it: each a
      // linear condition on x, an interval (or all or nothing) of the row.
      double lo = -INFINITY, hi = INFINITY;
      auto within = [&](double slope, double offset, double low, double high) {  // low ≤ slope·x + offset ≤ high
        if (slope == 0) {
          if (offset < low || offset > high) lo = INFINITY, hi = -INFINITY;
          return;
        }
        const double a = (low - offset) / slope, b = (high - offset) / slope;
        lo = std::max(lo, std::min(a, b)), hi = std::min(hi, std::max(a, b));
      };
      within(-uy, ux * py, -r, r);
      within(ux, uy * py, 0.0, length);
      if (lo <= hi) s.take(lo, hi);
    }
    return s;
  };
  const double top = std::min(from.y, to.y) - radius - 1, bottom = std::max(from.y, to.y) + radius + 1;
  const int firstRow = std::clamp(static_cast<int>(std::floor(top)), 0, height);
  const int endRow = std::clamp(static_cast<int>(std::ceil(bottom)), 0, height);
  for (int y = firstRow; y < endRow; ++y) {
    const double py = y + 0.5 - from.y;
    const Stretch reach = stretch(radius + 0.5, py);  // beyond it no coverage
    if (reach.lo > reach.hi) continue;
    const Stretch whole = stretch(radius - 0.5, py);  // within it, whole coverage
    std::uint8_t* row = data + y * stride;
    const int a = firstColumnFrom(from.x + reach.lo, width), b = endColumnTo(from.x + reach.hi, width);
    int wa = b, wb = b;
    if (whole.lo <= whole.hi) {
      wa = std::clamp(firstColumnFrom(from.x + whole.lo, width), a, b);
      wb = std::clamp(endColumnTo(from.x + whole.hi, width), wa, b);
      std::memset(row + wa, 255, static_cast<std::size_t>(wb - wa));
    }
    for (int x = a; x < wa; ++x) row[x] = coverage(x, py);
    for (int x = wb; x < b; ++x) row[x] = coverage(x, py);
  }
}

void arcCoverage(std::uint8_t* data, std::ptrdiff_t stride, int width, int height, const ArcStroke& arc) {
  const double r = arc.radius, half = arc.halfWidth;
  if (!(half > 0) || !(r >= 0) || width <= 0 || height <= 0) return;
  const bool round = arc.roundCaps;
  // Worked as a sweep toward growing angles.
  const double start = arc.sweep < 0 ? arc.start + arc.sweep : arc.start, sweep = std::abs(arc.sweep);
  if (!round && !(sweep > 0)) return;  // butt ends of no length meet: nothing
  const double cx = arc.centre.x, cy = arc.centre.y, outer = r + half, inner = r - half;
  const Point us{std::cos(start), std::sin(start)}, ue{std::cos(start + sweep), std::sin(start + sweep)};
  const Point ps{cx + r * us.x, cy + r * us.y}, pe{cx + r * ue.x, cy + r * ue.y};  // the ends of the centre line
  // Signed distances from the lines of the two ends' radii, positive toward the sweep.
  auto fromStart = [&](double x, double y) { return us.x * y - us.y * x; };
  auto fromEnd = [&](double x, double y) { return x * ue.y - y * ue.x; };
  // Whether the direction (x, y) from the centre lies within the sweep: within
  // both radii's half-planes, or (past half a turn) either; a sweep of nothing
  // holds no direction (its round ends are two dots on one point).
  const bool wide = sweep > std::numbers::pi;
  auto within = [&](double x, double y) {
    const double a = fromStart(x, y), b = fromEnd(x, y);
    if (wide) return a >= 0 || b >= 0;
    // Facing at least one end rules out the far side when the two radii are (nearly) one line.
    return sweep > 0 && a >= 0 && b >= 0 && (us.x * x + us.y * y >= 0 || ue.x * x + ue.y * y >= 0);
  };
  // A pixel's share: within the sweep the ring's, past it a round end's (the
  // distance to the nearer end of the centre line); with butt ends the
  // ring's, cut by how far the centre lies inside the wedge between the two
  // radii, both its sides taken like the ring's two edges.
  auto share = [&](int column, double dy) {
    const double dx = column + 0.5 - cx, d = std::sqrt(dx * dx + dy * dy);
    if (round) {
      if (within(dx, dy)) return ringShare(d, outer, inner);
      const double x = column + 0.5, y = dy + cy;
      const double nearer = std::min((x - ps.x) * (x - ps.x) + (y - ps.y) * (y - ps.y),
                                     (x - pe.x) * (x - pe.x) + (y - pe.y) * (y - pe.y));
      return std::clamp(half - std::sqrt(nearer) + 0.5, 0.0, 1.0);
    }
    const double a = std::clamp(fromStart(dx, dy) + 0.5, 0.0, 1.0), b = std::clamp(fromEnd(dx, dy) + 0.5, 0.0, 1.0);
    const double wedge = wide ? std::min(1.0, a + b) : std::max(0.0, a + b - 1.0);
    return ringShare(d, outer, inner) * wedge;
  };

  // The rows the stroke reaches: its ends, and the top and bottom of the circle where the sweep passes them.
  double top = std::min(ps.y, pe.y), bottom = std::max(ps.y, pe.y);
  if (within(0, -1)) top = cy - r;
  if (within(0, 1)) bottom = cy + r;
  const int firstRow = std::clamp(static_cast<int>(std::floor(top - half - 1)), 0, height);
  const int endRow = std::clamp(static_cast<int>(std::ceil(bottom + half + 1)), 0, height);
  // Within the sweep a row is the ring's, and the sweep begins or ends only
  // on the ends' radii, which cross the ring within half the width and half
  // a pixel of each end of the centre line. Outside a zone a little wider
  // than that, each of the ring's stretches of a row lies wholly within the
  // sweep or wholly outside it; within it the pixels are worked out one by
  // one: along a pixel either side of the radius for butt ends, across the
  // rim of a round end (inside it the coverage is whole).
  constexpr double kNear = 1.0;
  const double zone = half + 0.5 + (round ? 0.25 : kNear);
  auto ringPixels = [&](std::uint8_t* row, int a, int b, double dy) {
    for (int x = a; x < b; ++x) {
      const double dx = x + 0.5 - cx;
      row[x] = std::max(row[x], coverageLevel(ringShare(std::sqrt(dx * dx + dy * dy), outer, inner)));
    }
  };
  for (int y = firstRow; y < endRow; ++y) {
    const double dy = y + 0.5 - cy;
    const RingRow ring = ringRow(cx, dy, outer, inner, width);
    if (ring.count == 0) continue;
    std::uint8_t* row = data + y * stride;
    struct Stretch {
      int first, end;
      bool whole;  // wholly covered; otherwise pixel by pixel
    } near[4];
    int nearCount = 0;
    auto take = [&](double from, double to, bool whole) {
      const int a = firstColumnFrom(from, width), b = endColumnTo(to, width);
      if (a < b) near[nearCount++] = {a, b, whole};
    };
    for (int end = 0; end < 2; ++end) {
      const Point p = end ? pe : ps, u = end ? ue : us;
      const double py = y + 0.5 - p.y;
      if (zone <= std::abs(py)) continue;
      const double across = std::sqrt((zone - py) * (zone + py));
      if (round) {
        take(p.x - across, p.x + across, false);
        const double inside = half - 0.5;
        if (inside > std::abs(py)) {
          const double chord = std::sqrt((inside - py) * (inside + py));
          take(p.x - chord, p.x + chord, true);
        }
      } else if (std::abs(u.y) * across > kNear) {  // where |u × (x, dy)| ≤ kNear, within the zone
        const double from = (u.x * dy - kNear) / u.y, to = (u.x * dy + kNear) / u.y;
        take(std::max(p.x - across, cx + std::min(from, to)), std::min(p.x + across, cx + std::max(from, to)), false);
      } else {
        take(p.x - across, p.x + across, false);
      }
    }
    if (nearCount == 0) {
      for (int i = 0; i < ring.count; ++i) {
        const RowSpan& span = ring.spans[i];
        if (!within(span.first + 0.5 - cx, dy)) continue;
        if (span.whole)
          std::memset(row + span.first, 255, static_cast<std::size_t>(span.end - span.first));
        else
          ringPixels(row, span.first, span.end, dy);
      }
      continue;
    }
    std::array<int, 2 * (6 + 4)> cuts{};
    int cutCount = 0;
    for (int i = 0; i < ring.count; ++i) cuts[cutCount++] = ring.spans[i].first, cuts[cutCount++] = ring.spans[i].end;
    for (int i = 0; i < nearCount; ++i) cuts[cutCount++] = near[i].first, cuts[cutCount++] = near[i].end;
    std::sort(cuts.begin(), cuts.begin() + cutCount);
    int span = 0;
    for (int i = 0; i + 1 < cutCount; ++i) {
      const int a = cuts[i], b = cuts[i + 1];
      if (a == b) continue;
      while (span < ring.count && ring.spans[span].end <= a) ++span;
      if (span == ring.count) break;
      if (ring.spans[span].first > a) continue;  // between the ring's stretches: clear
      bool whole = false, perPixel = false;
      for (int k = 0; k < nearCount; ++k)
        if (near[k].first <= a && a < near[k].end) (near[k].whole ? whole : perPixel) = true;
      if (whole) {
        std::memset(row + a, 255, static_cast<std::size_t>(b - a));
      } else if (perPixel) {
        for (int x = a; x < b; ++x) row[x] = std::max(row[x], coverageLevel(share(x, dy)));
      } else if (!within(a + 0.5 - cx, dy)) {
        continue;
      } else if (ring.spans[span].whole) {
        std::memset(row + a, 255, static_cast<std::size_t>(b - a));
      } else {
        ringPixels(row, a, b, dy);
      }
    }
  }
}

int ShadowBlur::boxWidth(double sigma) {
  if (!(sigma > 0)) return 0;
  const double width = std::floor(sigma * 3.0 * std::sqrt(2.0 * M_PI) / 4.0 + 0.5);
  return static_cast<int>(std::min(width, double{kMaxBoxWidth}));
}

int ShadowBlur::reach(double sigma) {
  const int d = boxWidth(sigma);
  if (d <= 1) return 0;
  return d % 2 ? 3 * (d / 2) : 3 * (d / 2) - 1;
}

ShadowBlur::Box ShadowBlur::Box::ofWidth(int width, int before) {
  Box box;
  box.before = before;
  box.after = width - 1 - before;
  box.half = static_cast<std::uint16_t>(width / 2);
  box.multiplier = static_cast<std::uint16_t>((65536 + width - 1) / width);
  return box;
}

std::vector<ShadowBlur::Kernels> ShadowBlur::kernels() {
  std::vector<Kernels> all;
#if VELMORA_X86
  if (hasAvx2()) all.push_back({"avx2", boxPassAvx2, transpose16PairAvx2});
  all.push_back({"sse2", boxPassSse2, transpose16PairSse2});
#endif
  all.push_back({"plain", boxPassPlain, transpose16PairPlain});
  return all;
}

ShadowBlur::ShadowBlur() : ShadowBlur(kernels().front()) {}

void ShadowBlur::blur(const CoverageBuffer& source, CoverageBuffer& target, double sigma) {
  const int d = boxWidth(sigma);
  if (d <= 1) {  // nothing to blur: the shadow is the coverage itself
    for (int ty = 0; ty < source.tilesDown(); ++ty)
      for (int tx = 0; tx < source.tilesAcross(); ++tx) {
        if (!source.used(tx, ty)) continue;
        for (int row = 0; row < kTile; ++row) {
          const std::ptrdiff_t at = (ty * kTile + row) * source.stride() + tx * kTile;
          std::memcpy(target.data() + at, source.data() + at, kTile);
        }
        target.markUsed(tx, ty);
      }
    return;
  }
  // An odd width centres all three boxes on the pixel; an even one shifts the
  // first half a pixel left, the second half a pixel right, and widens the third.
  Box boxes[3];
  if (d % 2) {
    boxes[0] = boxes[1] = boxes[2] = Box::ofWidth(d, d / 2);
  } else {
    boxes[0] = Box::ofWidth(d, d / 2);
    boxes[1] = Box::ofWidth(d, d / 2 - 1);
    boxes[2] = Box::ofWidth(d + 1, d / 2);
  }
  const int tileReach = (reach(sigma) + kTile - 1) / kTile;
  if (across_.tilesAcross() != source.tilesAcross() || across_.tilesDown() != source.tilesDown())
    across_.resize(source.width(), source.height());
  const std::size_t longest = static_cast<std::size_t>(std::max(source.width(), source.height())) * kLanes;
  if (lineA_.size() < longest) {
    lineA_.resize(longest);
    lineB_.resize(longest);
    lineIn_.resize(longest);
  }
  blurAcross(source, tileReach, boxes);
  blurDown(target, tileReach, boxes);
  across_.clear();
}

void ShadowBlur::threePasses(const std::uint8_t* source, std::ptrdiff_t sourceStride, std::uint8_t* target,
                             std::ptrdiff_t targetStride, int length, const Box (&boxes)[3]) {
  kernels_.pass(source, sourceStride, lineA_.data(), kLanes, length, boxes[0]);
  kernels_.pass(lineA_.data(), kLanes, lineB_.data(), kLanes, length, boxes[1]);
  kernels_.pass(lineB_.data(), kLanes, target, targetStride, length, boxes[2]);
}

// Rows go thirty-two at a time, two rows of tiles: each tile is transposed
// so that its sixteen rows lie side by side, the upper tile's in the first
// sixteen lanes of the line and the lower one's in the next, blurred as
// lanes, and transposed back. A tile reached in only one of the two rows is
// blurred in both: its zeros blur to zeros.
void ShadowBlur::blurAcross(const CoverageBuffer& source, int tileReach, const Box (&boxes)[3]) {
  const std::ptrdiff_t stride = source.stride(), below = kTile * stride;
  std::uint8_t* line = lineIn_.data();
  for (int ty = 0; ty < source.tilesDown(); ty += 2) {
    const std::uint8_t* rows = source.data() + ty * below;
    std::uint8_t* out = across_.data() + ty * below;
    auto run = [&](int first, int end) {
      auto block = [&](int tx) { return line + (tx - first) * kTile * kLanes; };
      for (int tx = first; tx < end; ++tx)
        kernels_.transposePair(rows + tx * kTile, rows + below + tx * kTile, stride, block(tx), block(tx) + kTile,
                               kLanes);
      threePasses(line, kLanes, line, kLanes, (end - first) * kTile, boxes);
      for (int tx = first; tx < end; ++tx) {
        kernels_.transposePair(block(tx), block(tx) + kTile, kLanes, out + tx * kTile, out + below + tx * kTile,
                               stride);
        across_.markUsed(tx, ty), across_.markUsed(tx, ty + 1);
      }
    };
    forEachReachedRun(
        source.tilesAcross(), tileReach, [&](int tx) { return source.used(tx, ty) || source.used(tx, ty + 1); }, run);
  }
}

// Columns go thirty-two at a time, two columns of tiles, straight down the
// buffer.
void ShadowBlur::blurDown(CoverageBuffer& target, int tileReach, const Box (&boxes)[3]) {
  const std::ptrdiff_t stride = target.stride();
  for (int tx = 0; tx < target.tilesAcross(); tx += 2) {
    forEachReachedRun(
        target.tilesDown(), tileReach, [&](int ty) { return across_.used(tx, ty) || across_.used(tx + 1, ty); },
        [&](int first, int end) {
          const std::ptrdiff_t at = first * kTile * stride + tx * kTile;
          threePasses(across_.data() + at, stride, target.data() + at, stride, (end - first) * kTile, boxes);
          for (int ty = first; ty < end; ++ty) target.markUsed(tx, ty), target.markUsed(tx + 1, ty);
        });
  }
}

}  // namespace velmora
