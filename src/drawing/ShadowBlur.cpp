#include "drawing/ShadowBlur.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "drawing/Avx2.h"

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
