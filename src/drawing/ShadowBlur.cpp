#include "drawing/ShadowBlur.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

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

// The thirty-two running sums of a pass, held as `Lanes::kSums` values of
// `Lanes::Sum`: sixteen-bit lanes that wrap. `Lanes` says how a row of bytes
// widens into them and how their means narrow back to bytes. These steps are
// written for any processor and always inlined, so that they are compiled as
// part of the kernel that uses them, for its processor.
template <typename Lanes>
struct RunningSums {
  using Sum = typename Lanes::Sum;
  Sum sums[Lanes::kSums];

  [[gnu::always_inline]] void add(const std::uint8_t* row) {
    Sum in[Lanes::kSums];
    Lanes::widen(row, in);
#pragma GCC unroll 8
    for (int k = 0; k < Lanes::kSums; ++k) sums[k] = static_cast<Sum>(sums[k] + in[k]);
  }
  [[gnu::always_inline]] void subtract(const std::uint8_t* row) {
    Sum out[Lanes::kSums];
    Lanes::widen(row, out);
#pragma GCC unroll 8
    for (int k = 0; k < Lanes::kSums; ++k) sums[k] = static_cast<Sum>(sums[k] - out[k]);
  }
  // One row enters and one leaves: their difference is formed apart from the
  // sums. The sums wrap, so this is the very same arithmetic, and each step
  // waits on one addition instead of two.
  [[gnu::always_inline]] void shift(const std::uint8_t* entering, const std::uint8_t* leaving) {
    Sum in[Lanes::kSums], out[Lanes::kSums];
    Lanes::widen(entering, in);
    Lanes::widen(leaving, out);
#pragma GCC unroll 8
    for (int k = 0; k < Lanes::kSums; ++k) sums[k] = static_cast<Sum>(sums[k] + static_cast<Sum>(in[k] - out[k]));
  }
};

// One box pass, written once for every width of vector. The means are
// narrowed by the pass itself, not by a step of `RunningSums`: the wide
// narrowing names AVX2 instructions, which only a function compiled for AVX2
// may inline. The pass starts on a cache line, so that how its loops fall
// into the processor's 64-byte fetch windows does not depend on the code
// before it (a shift of 112 bytes cost 6 %).
template <typename Lanes>
[[gnu::aligned(64)]] void boxPass(const std::uint8_t* source, std::ptrdiff_t sourceStride, std::uint8_t* target,
                                  std::ptrdiff_t targetStride, int length, const ShadowBlur::Box& box) {
  using Sum = typename Lanes::Sum;
  const auto multiplier = static_cast<Sum>(Sum{} + box.multiplier);
  RunningSums<Lanes> window;
  for (Sum& s : window.sums) s = static_cast<Sum>(Sum{} + box.half);  // the rounding rides along in the sums
  const std::uint8_t* entering = source;
  const std::uint8_t* leaving = source;
  const Stretches steps = Stretches::of(length, box);
  for (int i = 0; i < steps.primed; ++i, entering += sourceStride) window.add(entering);
  for (int i = 0; i < steps.entering; ++i, entering += sourceStride, target += targetStride) {
    window.add(entering);
    Lanes::narrow(window.sums, multiplier, target);
  }
  if (steps.both > 0) {
    window.add(entering);
    Lanes::narrow(window.sums, multiplier, target);
    entering += sourceStride, target += targetStride;
#pragma GCC unroll 2
    for (int i = 1; i < steps.both; ++i, entering += sourceStride, leaving += sourceStride, target += targetStride) {
      window.shift(entering, leaving);
      Lanes::narrow(window.sums, multiplier, target);
    }
    window.subtract(leaving);
    leaving += sourceStride;
  }
  for (int i = 0; i < steps.neither; ++i, target += targetStride) Lanes::narrow(window.sums, multiplier, target);
  for (int i = 0; i < steps.leaving; ++i, leaving += sourceStride, target += targetStride) {
    Lanes::narrow(window.sums, multiplier, target);
    window.subtract(leaving);
  }
}

// One lane at a time in plain C++, for any processor.
struct PlainLanes {
  using Sum = std::uint16_t;
  static constexpr int kSums = kLanes;
  static void widen(const std::uint8_t* row, Sum (&sums)[kSums]) { std::copy_n(row, kLanes, sums); }
  static void narrow(const Sum (&sums)[kSums], const Sum& multiplier, std::uint8_t* row) {
    for (int lane = 0; lane < kLanes; ++lane)
      row[lane] = static_cast<std::uint8_t>(std::min(255u, unsigned{sums[lane]} * multiplier >> 16));
  }
};

void transposePairPlain(const std::uint8_t* sourceA, const std::uint8_t* sourceB, std::ptrdiff_t sourceStride,
                        std::uint8_t* targetA, std::uint8_t* targetB, std::ptrdiff_t targetStride) {
  for (int i = 0; i < 16; ++i)
    for (int j = 0; j < 16; ++j) {
      targetA[j * targetStride + i] = sourceA[i * sourceStride + j];
      targetB[j * targetStride + i] = sourceB[i * sourceStride + j];
    }
}

#if VELMORA_X86

// A vector of `Element`s, `kBytes` long (a type of its own, so that the
// length may depend on a template's parameter).
template <typename Element, int kBytes>
struct VectorOf {
  typedef Element Type __attribute__((vector_size(kBytes)));
};

// Vectors of `kWidth` bytes, worked on as x86 does: in lanes of sixteen
// bytes, each interleaved, widened and packed on its own.
template <int kWidth>
struct VectorLanes {
  using Bytes = typename VectorOf<std::uint8_t, kWidth>::Type;
  using Sum = typename VectorOf<std::uint16_t, kWidth>::Type;
  static constexpr int kSums = 2 * kLanes / kWidth;

  // Element i of interleaving a with b: the low (or high) halves of each
  // sixteen-byte lane of the two, in elements of `size` bytes taken alternately.
  static constexpr int interleaved(int i, int size, bool high) {
    const int element = i % 16 / size;
    return i / 16 * 16 + (high ? 8 : 0) + element / 2 * size + i % size + (element % 2 ? kWidth : 0);
  }
  template <int kSize, bool kHigh, std::size_t... I>
  [[gnu::always_inline]] static void interleave(const Bytes& a, const Bytes& b, Bytes& to, std::index_sequence<I...>) {
    to = __builtin_shufflevector(a, b, interleaved(I, kSize, kHigh)...);
  }
  template <int kSize, bool kHigh>
  [[gnu::always_inline]] static void interleave(const Bytes& a, const Bytes& b, Bytes& to) {
    interleave<kSize, kHigh>(a, b, to, std::make_index_sequence<kWidth>());
  }

  // Each byte interleaved with a zero is its sixteen-bit value; `narrow`
  // packs the halves back in the same order.
  [[gnu::always_inline]] static void widen(const std::uint8_t* row, Sum (&sums)[kSums]) {
#pragma GCC unroll 8
    for (int k = 0; k < kSums; k += 2) {
      Bytes bytes, low, high;
      std::memcpy(&bytes, row + k * kWidth / 2, kWidth);
      interleave<1, false>(bytes, Bytes{}, low);
      interleave<1, true>(bytes, Bytes{}, high);
      sums[k] = __builtin_bit_cast(Sum, low);
      sums[k + 1] = __builtin_bit_cast(Sum, high);
    }
  }
  // The high half of each sum times the multiplier, packed to bytes with
  // saturation: the two instructions no vector operator spells.
  static void narrow(const Sum (&sums)[kSums], const Sum& multiplier, std::uint8_t* row);

  // Transposes two 16 × 16 blocks of bytes, one vector's blocks at a time
  // (a wide vector carries one block in each lane). Four rounds of
  // interleaving leave column j of a block in vector kBitReversed[j]; fully
  // unrolled, so that the thirty-two vectors stay in registers.
  static void transposePair(const std::uint8_t* sourceA, const std::uint8_t* sourceB, std::ptrdiff_t sourceStride,
                            std::uint8_t* targetA, std::uint8_t* targetB, std::ptrdiff_t targetStride) {
    using Block = typename VectorOf<std::uint8_t, 16>::Type;
    constexpr int kBitReversed[16] = {0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15};
    constexpr int kBlocks = kWidth / 16;
    const std::uint8_t* const sources[2] = {sourceA, sourceB};
    std::uint8_t* const targets[2] = {targetA, targetB};
    for (int first = 0; first < 2; first += kBlocks) {
      Bytes a[16], t[16];
#pragma GCC unroll 16
      for (int i = 0; i < 16; ++i) {
        Block rows[kBlocks];
        for (int b = 0; b < kBlocks; ++b) std::memcpy(&rows[b], sources[first + b] + i * sourceStride, 16);
        if constexpr (kBlocks == 1)
          a[i] = rows[0];
        else
          joined(rows[0], rows[1], a[i], std::make_index_sequence<kWidth>());
      }
      interleaveRound<1>(a, t), interleaveRound<2>(t, a), interleaveRound<4>(a, t), interleaveRound<8>(t, a);
#pragma GCC unroll 16
      for (int i = 0; i < 16; ++i)
        for (int b = 0; b < kBlocks; ++b)
          std::memcpy(targets[first + b] + kBitReversed[i] * targetStride,
                      reinterpret_cast<const std::uint8_t*>(&a[i]) + 16 * b, 16);
    }
  }
  template <int kSize>
  [[gnu::always_inline]] static void interleaveRound(const Bytes (&from)[16], Bytes (&to)[16]) {
#pragma GCC unroll 8
    for (int i = 0; i < 8; ++i) {
      interleave<kSize, false>(from[2 * i], from[2 * i + 1], to[i]);
      interleave<kSize, true>(from[2 * i], from[2 * i + 1], to[i + 8]);
    }
  }
  template <typename Block, std::size_t... I>
  [[gnu::always_inline]] static void joined(const Block& low, const Block& high, Bytes& to, std::index_sequence<I...>) {
    to = __builtin_shufflevector(low, high, I...);
  }
};

template <>
[[gnu::always_inline]] inline void VectorLanes<16>::narrow(const Sum (&sums)[kSums], const Sum& multiplier,
                                                           std::uint8_t* row) {
  const auto mean = [&](int k) {
    return _mm_mulhi_epu16(__builtin_bit_cast(__m128i, sums[k]), __builtin_bit_cast(__m128i, multiplier));
  };
#pragma GCC unroll 8
  for (int k = 0; k < kSums; k += 2)
    _mm_storeu_si128(reinterpret_cast<__m128i*>(row + 8 * k), _mm_packus_epi16(mean(k), mean(k + 1)));
}

// The wide kernels: the templates above compiled for AVX2, chosen at run time
// when the processor has it.
VELMORA_AVX2_BEGIN
template <>
[[gnu::always_inline]] inline void VectorLanes<32>::narrow(const Sum (&sums)[kSums], const Sum& multiplier,
                                                           std::uint8_t* row) {
  const auto mean = [&](int k) {
    return _mm256_mulhi_epu16(__builtin_bit_cast(__m256i, sums[k]), __builtin_bit_cast(__m256i, multiplier));
  };
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(row), _mm256_packus_epi16(mean(0), mean(1)));
}
template VELMORA_AVX2_TARGET void boxPass<VectorLanes<32>>(const std::uint8_t*, std::ptrdiff_t, std::uint8_t*,
                                                           std::ptrdiff_t, int, const ShadowBlur::Box&);
template VELMORA_AVX2_TARGET void VectorLanes<32>::transposePair(const std::uint8_t*, const std::uint8_t*,
                                                                 std::ptrdiff_t, std::uint8_t*, std::uint8_t*,
                                                                 std::ptrdiff_t);
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

struct ShadowBlur::Loops {
  void (*pass)(const std::uint8_t* source, std::ptrdiff_t sourceStride, std::uint8_t* target,
               std::ptrdiff_t targetStride, int length, const Box& box);
  void (*transposePair)(const std::uint8_t* sourceA, const std::uint8_t* sourceB, std::ptrdiff_t sourceStride,
                        std::uint8_t* targetA, std::uint8_t* targetB, std::ptrdiff_t targetStride);
};

// In the order of `Kernel`; none where this build has no code for it.
const ShadowBlur::Loops ShadowBlur::kLoops[3] = {
    {boxPass<PlainLanes>, transposePairPlain},
#if VELMORA_X86
    {boxPass<VectorLanes<16>>, VectorLanes<16>::transposePair},
    {boxPass<VectorLanes<32>>, VectorLanes<32>::transposePair},
#endif
};

bool ShadowBlur::runs(Kernel kernel) {
#if VELMORA_X86
  if (kernel == Kernel::kAvx2) return hasAvx2();
#endif
  return kLoops[static_cast<int>(kernel)].pass != nullptr;
}

ShadowBlur::ShadowBlur()
    : ShadowBlur(runs(Kernel::kAvx2)   ? Kernel::kAvx2
                 : runs(Kernel::kSse2) ? Kernel::kSse2
                                       : Kernel::kPlain) {}

ShadowBlur::ShadowBlur(Kernel kernel) : loops_(&kLoops[static_cast<int>(kernel)]) {}

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
  loops_->pass(source, sourceStride, lineA_.data(), kLanes, length, boxes[0]);
  loops_->pass(lineA_.data(), kLanes, lineB_.data(), kLanes, length, boxes[1]);
  loops_->pass(lineB_.data(), kLanes, target, targetStride, length, boxes[2]);
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
        loops_->transposePair(rows + tx * kTile, rows + below + tx * kTile, stride, block(tx), block(tx) + kTile,
                              kLanes);
      threePasses(line, kLanes, line, kLanes, (end - first) * kTile, boxes);
      for (int tx = first; tx < end; ++tx) {
        loops_->transposePair(block(tx), block(tx) + kTile, kLanes, out + tx * kTile, out + below + tx * kTile, stride);
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
