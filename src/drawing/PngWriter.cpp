#include "drawing/PngWriter.h"

#include <isa-l/crc.h>
#include <isa-l/igzip_lib.h>

#include "drawing/Avx2.h"

#if defined(__x86_64__)
#include <immintrin.h>
#elif defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

namespace velmora {

namespace {

// What the C library says of the write that just failed.
Status systemFailure() { return Status::failure(std::strerror(errno)); }

inline void straightPixel(std::uint32_t p, std::uint8_t* out) {
  const std::uint32_t a = p >> 24;
  std::uint32_t r = (p >> 16) & 0xff, g = (p >> 8) & 0xff, b = p & 0xff;
  if (a != 255 && a != 0) {
    // c × 255 / a, rounded halves up.
    auto straight = [a](std::uint32_t c) { return std::min(255u, (c * 510 + a) / (2 * a)); };
    r = straight(r), g = straight(g), b = straight(b);
  }
  out[0] = static_cast<std::uint8_t>(r);
  out[1] = static_cast<std::uint8_t>(g);
  out[2] = static_cast<std::uint8_t>(b);
  out[3] = static_cast<std::uint8_t>(a);
}

#if defined(__SSE2__)
// Four pixels at a time in single precision: a channel times 255 is exact,
// and so is its correctly rounded quotient by alpha wherever it matters (a
// quotient is a whole number and a half, or at least a 255th away from one),
// so adding a half and truncating rounds as the integer form does.
inline __m128i straightFour(__m128i argb) {
  const __m128i byte = _mm_set1_epi32(0xff);
  const __m128i alpha = _mm_srli_epi32(argb, 24);
  // Alpha 0 (nothing to divide by) and 255 (nothing to undo) keep their
  // channels: most of an image is clear or opaque, so four such pixels only
  // have their red and blue swapped.
  const __m128i keep = _mm_or_si128(_mm_cmpeq_epi32(alpha, _mm_setzero_si128()), _mm_cmpeq_epi32(alpha, byte));
  const __m128i greenAlpha = _mm_and_si128(argb, _mm_set1_epi32(static_cast<int>(0xff00ff00u)));
  const __m128i red = _mm_and_si128(_mm_srli_epi32(argb, 16), byte), blue = _mm_and_si128(argb, byte);
  if (_mm_movemask_epi8(keep) == 0xffff) return _mm_or_si128(greenAlpha, _mm_or_si128(red, _mm_slli_epi32(blue, 16)));
  // Alpha 0 is divided by 1 (and its channels kept): a division by zero would
  // make not-a-numbers, which some processors handle slowly.
  const __m128 divisor = _mm_max_ps(_mm_cvtepi32_ps(alpha), _mm_set1_ps(1.0f));
  auto straight = [&](__m128i c) {
    const __m128 quotient = _mm_div_ps(_mm_mul_ps(_mm_cvtepi32_ps(c), _mm_set1_ps(255.0f)), divisor);
    const __m128 q = _mm_min_ps(_mm_add_ps(quotient, _mm_set1_ps(0.5f)), _mm_set1_ps(255.0f));
    return _mm_or_si128(_mm_and_si128(keep, c), _mm_andnot_si128(keep, _mm_cvttps_epi32(q)));
  };
  const __m128i green = _mm_and_si128(_mm_srli_epi32(argb, 8), byte);
  // R, G, B, A in memory: red in the low byte.
  return _mm_or_si128(_mm_or_si128(straight(red), _mm_slli_epi32(straight(green), 8)),
                      _mm_or_si128(_mm_slli_epi32(straight(blue), 16), _mm_slli_epi32(alpha, 24)));
}
#endif

#if defined(__x86_64__)
// Eight pixels at a time where the processor has AVX2: the images are mostly
// clear or opaque, whose eight pixels need only their red and blue swapped,
// one shuffle; eight with any other alpha go four at a time as above.
// Returns how many pixels it did.
VELMORA_AVX2_BEGIN
int straightEights(const std::uint32_t* argb, std::uint8_t* rgba, int width) {
  const __m256i swapRedBlue = _mm256_setr_epi8(2, 1, 0, 3, 6, 5, 4, 7, 10, 9, 8, 11, 14, 13, 12, 15, 2, 1, 0, 3, 6, 5,
                                               4, 7, 10, 9, 8, 11, 14, 13, 12, 15);
  const __m256i alphaBits = _mm256_set1_epi32(static_cast<int>(0xff000000u));
  int x = 0;
  for (; x + 8 <= width; x += 8) {
    const __m256i p = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(argb + x));
    const __m256i alpha = _mm256_and_si256(p, alphaBits);
    const __m256i kept =
        _mm256_or_si256(_mm256_cmpeq_epi32(alpha, _mm256_setzero_si256()), _mm256_cmpeq_epi32(alpha, alphaBits));
    if (_mm256_movemask_epi8(kept) == -1) {
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(rgba + 4 * x), _mm256_shuffle_epi8(p, swapRedBlue));
    } else {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(rgba + 4 * x), straightFour(_mm256_castsi256_si128(p)));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(rgba + 4 * x + 16), straightFour(_mm256_extracti128_si256(p, 1)));
    }
  }
  return x;
}
VELMORA_AVX2_END
const bool kHasAvx2 = hasAvx2();
#endif

constexpr std::uint8_t kSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
// Rows handed to the compressor at a time, and the most compressed bytes in one IDAT chunk.
constexpr int kRowsAtATime = 16;
constexpr std::size_t kChunkBytes = 1 << 16;

void putBigEndian(std::uint8_t* at, std::uint32_t v) {
  at[0] = static_cast<std::uint8_t>(v >> 24);
  at[1] = static_cast<std::uint8_t>(v >> 16);
  at[2] = static_cast<std::uint8_t>(v >> 8);
  at[3] = static_cast<std::uint8_t>(v);
}

bool writeChunk(std::FILE* out, const char (&type)[5], const std::uint8_t* data, std::size_t length) {
  std::uint8_t head[8];
  putBigEndian(head, static_cast<std::uint32_t>(length));
  std::memcpy(head + 4, type, 4);
  std::uint32_t crc = crc32_gzip_refl(0, head + 4, 4);
  if (length) crc = crc32_gzip_refl(crc, data, length);
  std::uint8_t tail[4];
  putBigEndian(tail, crc);
  return std::fwrite(head, 1, 8, out) == 8 && (length == 0 || std::fwrite(data, 1, length, out) == length) &&
         std::fwrite(tail, 1, 4, out) == 4;
}

}  // namespace

void straightRgbaRow(const std::uint32_t* argb, std::uint8_t* rgba, int width) {
  int x = 0;
#if defined(__x86_64__)
  if (kHasAvx2) x = straightEights(argb, rgba, width);
#endif
#if defined(__SSE2__)
  for (; x + 4 <= width; x += 4)
    _mm_storeu_si128(reinterpret_cast<__m128i*>(rgba + 4 * x),
                     straightFour(_mm_loadu_si128(reinterpret_cast<const __m128i*>(argb + x))));
#endif
  for (; x < width; ++x) straightPixel(argb[x], rgba + 4 * x);
}

Status writeArgbAsPng(std::FILE* out, const std::uint8_t* pixels, int width, int height, int stride) {
  if (width <= 0 || height <= 0) return Status::failure("the image has no pixels");
  if (std::fwrite(kSignature, 1, sizeof kSignature, out) != sizeof kSignature) return systemFailure();
  std::uint8_t header[13] = {};
  putBigEndian(header, static_cast<std::uint32_t>(width));
  putBigEndian(header + 4, static_cast<std::uint32_t>(height));
  header[8] = 8;  // bits per channel
  header[9] = 6;  // truecolour with alpha; deflate, no interlace
  if (!writeChunk(out, "IHDR", header, sizeof header)) return systemFailure();

  // Deflate of the fastest kind, without row filters: most of an image is
  // clear or flat colour, which this compresses as small as zlib's fast
  // levels at a fraction of the time; filters would cost more than they gain.
  auto stream = std::make_unique<isal_zstream>();
  isal_deflate_init(stream.get());
  std::vector<std::uint8_t> levelBuffer(ISAL_DEF_LVL2_DEFAULT);
  stream->level = 2;
  stream->level_buf = levelBuffer.data();
  stream->level_buf_size = static_cast<std::uint32_t>(levelBuffer.size());
  stream->gzip_flag = IGZIP_ZLIB;
  stream->flush = NO_FLUSH;

  const std::size_t rowBytes = 1 + 4 * static_cast<std::size_t>(width);
  std::vector<std::uint8_t> rows(rowBytes * kRowsAtATime);
  std::vector<std::uint8_t> compressed(kChunkBytes);
  for (int y = 0; y < height;) {
    const int count = std::min(kRowsAtATime, height - y);
    for (int i = 0; i < count; ++i, ++y) {
      std::uint8_t* row = rows.data() + rowBytes * static_cast<std::size_t>(i);
      row[0] = 0;  // no filter
      straightRgbaRow(reinterpret_cast<const std::uint32_t*>(pixels + static_cast<std::ptrdiff_t>(y) * stride), row + 1,
                      width);
    }
    stream->next_in = rows.data();
    stream->avail_in = static_cast<std::uint32_t>(rowBytes * static_cast<std::size_t>(count));
    stream->end_of_stream = y == height ? 1 : 0;
    do {
      stream->next_out = compressed.data();
      stream->avail_out = static_cast<std::uint32_t>(compressed.size());
      if (isal_deflate(stream.get()) != COMP_OK) return Status::failure("the pixels could not be compressed");
      const std::size_t produced = compressed.size() - stream->avail_out;
      if (produced && !writeChunk(out, "IDAT", compressed.data(), produced)) return systemFailure();
    } while (stream->avail_in > 0 || (stream->end_of_stream && stream->internal_state.state != ZSTATE_END));
  }
  if (!writeChunk(out, "IEND", nullptr, 0)) return systemFailure();
  return Status();
}

}  // namespace velmora
