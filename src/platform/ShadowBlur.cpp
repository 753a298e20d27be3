#include "platform/ShadowBlur.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define VELMORA_X86 1
#endif

namespace velmora {

namespace {

constexpr int kTile = CoverageBuffer::kTile;
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

void boxPassSse2(const std::uint8_t* source, std::ptrdiff_t sourceStride, std::uint8_t* target,
                 std::ptrdiff_t targetStride, int length, const ShadowBlur::Box& box) {
  const Stretches steps = Stretches::of(length, box);
  const __m128i zero = _mm_setzero_si128();
  const __m128i half = _mm_set1_epi16(static_cast<short>(box.half));
  const __m128i multiplier = _mm_set1_epi16(static_cast<short>(box.multiplier));
  __m128i low = half, high = half;  // the rounding rides along in the sums
  const std::uint8_t* entering = source;
  const std::uint8_t* leaving = source;
  auto enter = [&] {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(entering));
    low = _mm_add_epi16(low, _mm_unpacklo_epi8(v, zero));
    high = _mm_add_epi16(high, _mm_unpackhi_epi8(v, zero));
    entering += sourceStride;
  };
  auto leave = [&] {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(leaving));
    low = _mm_sub_epi16(low, _mm_unpacklo_epi8(v, zero));
    high = _mm_sub_epi16(high, _mm_unpackhi_epi8(v, zero));
    leaving += sourceStride;
  };
  auto write = [&] {
    const __m128i meanLow = _mm_mulhi_epu16(low, multiplier);
    const __m128i meanHigh = _mm_mulhi_epu16(high, multiplier);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(target), _mm_packus_epi16(meanLow, meanHigh));
    target += targetStride;
  };
  for (int i = 0; i < steps.primed; ++i) enter();
  for (int i = 0; i < steps.entering; ++i) enter(), write();
#pragma GCC unroll 2
  for (int i = 0; i < steps.both; ++i) enter(), write(), leave();
  for (int i = 0; i < steps.neither; ++i) write();
  for (int i = 0; i < steps.leaving; ++i) write(), leave();
}

// The wide passes, chosen at run time when the processor has AVX2. Each
// compiler is told in its own way, and clang's attribute also reaches the
// lambdas inside.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2")
#endif
void boxPassAvx2(const std::uint8_t* source, std::ptrdiff_t sourceStride, std::uint8_t* target,
                 std::ptrdiff_t targetStride, int length, const ShadowBlur::Box& box) {
  const Stretches steps = Stretches::of(length, box);
  const __m256i half = _mm256_set1_epi16(static_cast<short>(box.half));
  const __m256i multiplier = _mm256_set1_epi16(static_cast<short>(box.multiplier));
  __m256i sum = half;  // the rounding rides along in the sum
  const std::uint8_t* entering = source;
  const std::uint8_t* leaving = source;
  auto enter = [&] {
    sum = _mm256_add_epi16(sum, _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(entering))));
    entering += sourceStride;
  };
  auto leave = [&] {
    sum = _mm256_sub_epi16(sum, _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(leaving))));
    leaving += sourceStride;
  };
  auto write = [&] {
    const __m256i mean = _mm256_mulhi_epu16(sum, multiplier);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(target),
                     _mm_packus_epi16(_mm256_castsi256_si128(mean), _mm256_extracti128_si256(mean, 1)));
    target += targetStride;
  };
  for (int i = 0; i < steps.primed; ++i) enter();
  for (int i = 0; i < steps.entering; ++i) enter(), write();
#pragma GCC unroll 2
  for (int i = 0; i < steps.both; ++i) enter(), write(), leave();
  for (int i = 0; i < steps.neither; ++i) write();
  for (int i = 0; i < steps.leaving; ++i) write(), leave();
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
#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif

void transpose16PairSse2(const std::uint8_t* sourceA, const std::uint8_t* sourceB, std::ptrdiff_t sourceStride,
                         std::uint8_t* targetA, std::uint8_t* targetB, std::ptrdiff_t targetStride) {
  transpose16(sourceA, sourceStride, targetA, targetStride);
  transpose16(sourceB, sourceStride, targetB, targetStride);
}

bool hasAvx2() { return __builtin_cpu_supports("avx2"); }
ShadowBlur::BoxPass bestBoxPass() { return hasAvx2() ? boxPassAvx2 : boxPassSse2; }
ShadowBlur::TransposePair bestTransposePair() { return hasAvx2() ? transpose16PairAvx2 : transpose16PairSse2; }

#else  // portable fallback

void transpose16(const std::uint8_t* source, std::ptrdiff_t sourceStride, std::uint8_t* target,
                 std::ptrdiff_t targetStride) {
  for (int i = 0; i < 16; ++i)
    for (int j = 0; j < 16; ++j) target[j * targetStride + i] = source[i * sourceStride + j];
}

void boxPassScalar(const std::uint8_t* source, std::ptrdiff_t sourceStride, std::uint8_t* target,
                   std::ptrdiff_t targetStride, int length, const ShadowBlur::Box& box) {
  const Stretches steps = Stretches::of(length, box);
  std::uint16_t sum[16];
  std::fill_n(sum, 16, box.half);  // the rounding rides along in the sums
  const std::uint8_t* entering = source;
  const std::uint8_t* leaving = source;
  auto enter = [&] {
    for (int lane = 0; lane < 16; ++lane) sum[lane] = static_cast<std::uint16_t>(sum[lane] + entering[lane]);
    entering += sourceStride;
  };
  auto leave = [&] {
    for (int lane = 0; lane < 16; ++lane) sum[lane] = static_cast<std::uint16_t>(sum[lane] - leaving[lane]);
    leaving += sourceStride;
  };
  auto write = [&] {
    for (int lane = 0; lane < 16; ++lane)
      target[lane] = static_cast<std::uint8_t>(std::min(255u, (sum[lane] * box.multiplier) >> 16));
    target += targetStride;
  };
  for (int i = 0; i < steps.primed; ++i) enter();
  for (int i = 0; i < steps.entering; ++i) enter(), write();
#pragma GCC unroll 2
  for (int i = 0; i < steps.both; ++i) enter(), write(), leave();
  for (int i = 0; i < steps.neither; ++i) write();
  for (int i = 0; i < steps.leaving; ++i) write(), leave();
}

void transpose16Pair(const std::uint8_t* sourceA, const std::uint8_t* sourceB, std::ptrdiff_t sourceStride,
                     std::uint8_t* targetA, std::uint8_t* targetB, std::ptrdiff_t targetStride) {
  transpose16(sourceA, sourceStride, targetA, targetStride);
  transpose16(sourceB, sourceStride, targetB, targetStride);
}

ShadowBlur::BoxPass bestBoxPass() { return boxPassScalar; }
ShadowBlur::TransposePair bestTransposePair() { return transpose16Pair; }

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
  tilesAcross_ = std::max(0, (width + kTile - 1) / kTile);
  tilesDown_ = std::max(0, (height + kTile - 1) / kTile);
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
}

void CoverageBuffer::findUsed(PixelRect area) {
  area = area.intersection({0, 0, width(), height()});
  if (area.empty()) return;
  // A tile's width of cells at a time, sixteen bytes to a row.
  const int cx0 = area.x / kTile * kCellsPerTile, cx1 = (area.x + area.width + kTile - 1) / kTile * kCellsPerTile;
  const int cy0 = area.y / kCell, cy1 = (area.y + area.height + kCell - 1) / kCell;
  const std::uint8_t* base = data();
  int top = cy1, bottom = cy0;
  for (int cy = cy0; cy < cy1; ++cy) {
    for (int cx = cx0; cx < cx1; cx += kCellsPerTile) {
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
        tiles_[tileIndex((cx + k) / kCellsPerTile, cy / kCellsPerTile)] = 1;
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
  std::fill(tiles_.begin(), tiles_.end(), 0);
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
  for (int ty = 0; ty < tilesDown_; ++ty) {
    for (int tx = 0; tx < tilesAcross_;) {
      if (!used(tx, ty)) {
        ++tx;
        continue;
      }
      const int first = tx;
      while (tx < tilesAcross_ && used(tx, ty)) tiles_[tileIndex(tx++, ty)] = 0;
      for (int row = 0; row < kTile; ++row)
        std::memset(base + (ty * kTile + row) * stride() + first * kTile, 0,
                    static_cast<std::size_t>((tx - first) * kTile));
    }
  }
  if (firstRow_ < endRow_) {
    const auto from = static_cast<std::ptrdiff_t>(firstRow_ * words_),
               to = static_cast<std::ptrdiff_t>(endRow_ * words_);
    std::fill(usedCells_.begin() + from, usedCells_.begin() + to, 0);
    std::fill(fullCells_.begin() + from, fullCells_.begin() + to, 0);
    firstRow_ = endRow_ = 0;
  }
}

// ---------------------------------------------------------------------------

void ringCoverage(std::uint8_t* data, std::ptrdiff_t stride, int width, int height, double centreX, double centreY,
                  double outer, double inner) {
  if (!(outer > 0) || width <= 0 || height <= 0) return;
  const bool hole = inner > 0;
  // The half-width of the ring's chord on a row whose centre lies dy from
  // the ring's, at radius r: none when the row passes the circle by.
  auto chord = [](double r, double dy) { return r > std::abs(dy) ? std::sqrt((r - dy) * (r + dy)) : -1.0; };
  // Pixel columns whose centres lie within [from, to].
  auto firstColumn = [&](double from) { return std::clamp(static_cast<int>(std::ceil(from - 0.5)), 0, width); };
  auto endColumn = [&](double to) { return std::clamp(static_cast<int>(std::floor(to - 0.5)) + 1, 0, width); };
  auto coverage = [&](int column, double dy) {
    const double dx = column + 0.5 - centreX;
    const double d = std::sqrt(dx * dx + dy * dy);
    double c = std::clamp(outer - d + 0.5, 0.0, 1.0);
    if (hole) c = std::max(0.0, c + std::clamp(d - inner + 0.5, 0.0, 1.0) - 1.0);
    return static_cast<std::uint8_t>(std::lround(c * 255.0));
  };
  const int top = std::clamp(static_cast<int>(std::floor(centreY - outer - 1)), 0, height);
  const int bottom = std::clamp(static_cast<int>(std::ceil(centreY + outer + 1)), 0, height);
  for (int y = top; y < bottom; ++y) {
    const double dy = y + 0.5 - centreY;
    const double reach = chord(outer + 0.5, dy);  // beyond it no coverage
    if (reach < 0) continue;
    std::uint8_t* row = data + y * stride;
    const double whole = chord(outer - 0.5, dy);                   // within it the outer edge is passed
    const double clear = hole ? chord(inner - 0.5, dy) : -1.0;     // within it, the hole
    const double holeEdge = hole ? chord(inner + 0.5, dy) : -1.0;  // beyond it the inner edge is passed
    // Left to right: outer edge, whole band, inner edge, hole, inner edge, whole band, outer edge.
    auto span = [&](double from, double to, bool full) {
      const int a = firstColumn(from), b = endColumn(to);
      if (a >= b) return;
      if (full)
        std::memset(row + a, 255, static_cast<std::size_t>(b - a));
      else
        for (int x = a; x < b; ++x) row[x] = coverage(x, dy);
    };
    const double cx = centreX;
    if (whole < 0) {  // the row only grazes the outer edge
      span(cx - reach, cx + reach, false);
      continue;
    }
    if (holeEdge < 0) {  // the row passes outside the hole's edge
      span(cx - reach, std::nextafter(cx - whole, -INFINITY), false);
      span(cx - whole, cx + whole, true);
      span(std::nextafter(cx + whole, INFINITY), cx + reach, false);
      continue;
    }
    span(cx - reach, std::nextafter(cx - whole, -INFINITY), false);
    span(cx - whole, std::nextafter(cx - holeEdge, -INFINITY), true);
    span(cx - holeEdge, clear < 0 ? cx + holeEdge : std::nextafter(cx - clear, -INFINITY), false);
    if (clear >= 0) span(std::nextafter(cx + clear, INFINITY), cx + holeEdge, false);
    span(std::nextafter(cx + holeEdge, INFINITY), cx + whole, true);
    span(std::nextafter(cx + whole, INFINITY), cx + reach, false);
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

ShadowBlur::ShadowBlur() : pass_(bestBoxPass()), transposePair_(bestTransposePair()) {}

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
  const std::size_t longest = static_cast<std::size_t>(std::max(source.width(), source.height())) * kTile;
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
  pass_(source, sourceStride, lineA_.data(), kTile, length, boxes[0]);
  pass_(lineA_.data(), kTile, lineB_.data(), kTile, length, boxes[1]);
  pass_(lineB_.data(), kTile, target, targetStride, length, boxes[2]);
}

// Rows go sixteen at a time: each run of tiles is transposed so that the
// sixteen rows lie side by side, blurred as lanes, and transposed back.
void ShadowBlur::blurAcross(const CoverageBuffer& source, int tileReach, const Box (&boxes)[3]) {
  const std::ptrdiff_t stride = source.stride();
  std::uint8_t* line = lineIn_.data();
  for (int ty = 0; ty < source.tilesDown(); ++ty) {
    const std::uint8_t* rows = source.data() + ty * kTile * stride;
    std::uint8_t* out = across_.data() + ty * kTile * stride;
    auto run = [&](int first, int end) {
      auto block = [&](int tx) { return line + (tx - first) * kTile * kTile; };
      int tx = first;
      for (; tx + 1 < end; tx += 2)
        transposePair_(rows + tx * kTile, rows + (tx + 1) * kTile, stride, block(tx), block(tx + 1), kTile);
      if (tx < end) transpose16(rows + tx * kTile, stride, block(tx), kTile);
      threePasses(line, kTile, line, kTile, (end - first) * kTile, boxes);
      for (tx = first; tx + 1 < end; tx += 2)
        transposePair_(block(tx), block(tx + 1), kTile, out + tx * kTile, out + (tx + 1) * kTile, stride);
      if (tx < end) transpose16(block(tx), kTile, out + tx * kTile, stride);
      for (tx = first; tx < end; ++tx) across_.markUsed(tx, ty);
    };
    forEachReachedRun(
        source.tilesAcross(), tileReach, [&](int tx) { return source.used(tx, ty); }, run);
  }
}

// Columns go sixteen at a time, straight down the buffer.
void ShadowBlur::blurDown(CoverageBuffer& target, int tileReach, const Box (&boxes)[3]) {
  const std::ptrdiff_t stride = target.stride();
  for (int tx = 0; tx < target.tilesAcross(); ++tx) {
    forEachReachedRun(
        target.tilesDown(), tileReach, [&](int ty) { return across_.used(tx, ty); },
        [&](int first, int end) {
          const std::ptrdiff_t at = first * kTile * stride + tx * kTile;
          threePasses(across_.data() + at, stride, target.data() + at, stride, (end - first) * kTile, boxes);
          for (int ty = first; ty < end; ++ty) target.markUsed(tx, ty);
        });
  }
}

}  // namespace velmora
