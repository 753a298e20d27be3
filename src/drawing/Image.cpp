#include "drawing/Image.h"

#include <cairo.h>
#include <spng.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "drawing/PngWriter.h"
#include "drawing/RunCaches.h"
#include "text/Bundle.h"
#include "values/Environment.h"

namespace velmora {

namespace {

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};

// Every image holds premultiplied ARGB: drawn surfaces and read pictures alike.
Status writeSurfaceAsPng(cairo_surface_t* surface, const std::filesystem::path& file) {
  if (!surface || cairo_image_surface_get_format(surface) != CAIRO_FORMAT_ARGB32)
    return Status::failure("the image has no pixels");
  cairo_surface_flush(surface);
  std::unique_ptr<std::FILE, FileCloser> out(std::fopen(file.c_str(), "wb"));
  if (!out) return Status::failure(std::strerror(errno));
  const Status encoded =
      writeArgbAsPng(out.get(), cairo_image_surface_get_data(surface), cairo_image_surface_get_width(surface),
                     cairo_image_surface_get_height(surface), cairo_image_surface_get_stride(surface));
  if (!encoded) return encoded;
  if (std::fflush(out.get()) != 0 || std::ferror(out.get())) return Status::failure(std::strerror(errno));
  if (std::fclose(out.release()) != 0) return Status::failure(std::strerror(errno));
  return Status();
}

struct SpngFree {
  void operator()(spng_ctx* c) const { spng_ctx_free(c); }
};
struct SurfaceRelease {
  void operator()(cairo_surface_t* s) const { cairo_surface_destroy(s); }
};
using SurfacePtr = std::unique_ptr<cairo_surface_t, SurfaceRelease>;

constexpr std::uint32_t kLargestPictureSide = 16384;  // pixels; a larger picture is not read

// One straight RGBA pixel (R, G, B, A in memory: A in the top byte) as
// cairo's premultiplied ARGB: each channel times alpha over 255, rounded,
// which is exact for every alpha, 0 and 255 included.
inline std::uint32_t premultiplied(std::uint32_t p) {
  const std::uint32_t a = p >> 24;
  auto scaled = [a](std::uint32_t v) {
    const std::uint32_t t = v * a + 128;
    return (t + (t >> 8)) >> 8;
  };
  return a << 24 | scaled(p & 0xff) << 16 | scaled(p >> 8 & 0xff) << 8 | scaled(p >> 16 & 0xff);
}

#if defined(__SSE2__)
// Two pixels widened to sixteen-bit lanes (R, G, B, A each), premultiplied
// and turned to B, G, R, A: the multiplier is each pixel's alpha, with 255 in
// the alpha lane itself so that alpha comes through exactly.
inline __m128i premultipliedPair(__m128i rgba) {
  const __m128i alphaLane = _mm_set_epi16(255, 0, 0, 0, 255, 0, 0, 0);
  const __m128i alpha = _mm_or_si128(
      _mm_shufflehi_epi16(_mm_shufflelo_epi16(rgba, _MM_SHUFFLE(3, 3, 3, 3)), _MM_SHUFFLE(3, 3, 3, 3)), alphaLane);
  const __m128i t = _mm_add_epi16(_mm_mullo_epi16(rgba, alpha), _mm_set1_epi16(128));
  const __m128i scaled = _mm_srli_epi16(_mm_add_epi16(t, _mm_srli_epi16(t, 8)), 8);
  return _mm_shufflehi_epi16(_mm_shufflelo_epi16(scaled, _MM_SHUFFLE(3, 0, 1, 2)), _MM_SHUFFLE(3, 0, 1, 2));
}
#endif

// Straight RGBA pixels into premultiplied ARGB, in place.
void premultiplyInPlace(std::uint8_t* pixels, std::size_t count) {
  std::size_t i = 0;
#if defined(__SSE2__)
  const __m128i zero = _mm_setzero_si128();
  for (; i + 4 <= count; i += 4) {
    auto* at = reinterpret_cast<__m128i*>(pixels + 4 * i);
    const __m128i four = _mm_loadu_si128(at);
    _mm_storeu_si128(at, _mm_packus_epi16(premultipliedPair(_mm_unpacklo_epi8(four, zero)),
                                          premultipliedPair(_mm_unpackhi_epi8(four, zero))));
  }
#endif
  for (; i < count; ++i) {
    std::uint32_t p;
    std::memcpy(&p, pixels + 4 * i, sizeof p);
    p = premultiplied(p);
    std::memcpy(pixels + 4 * i, &p, sizeof p);
  }
}

// A picture's rendition, read from its PNG file: its size in points is its
// size in pixels over the rendition's scale.
ImageRef pngPicture(const std::filesystem::path& file, std::string_view name, int scale) {
  std::unique_ptr<std::FILE, FileCloser> in(std::fopen(file.c_str(), "rb"));
  // Every chunk's CRC is still checked; the second sum over the inflated
  // pixels costs a third of the reading and guards nothing more.
  std::unique_ptr<spng_ctx, SpngFree> png(spng_ctx_new(SPNG_CTX_IGNORE_ADLER32));
  if (!in || !png || spng_set_png_file(png.get(), in.get()) != 0) return nullptr;
  spng_set_image_limits(png.get(), kLargestPictureSide, kLargestPictureSide);
  spng_ihdr header{};
  std::size_t bytes = 0;
  if (spng_get_ihdr(png.get(), &header) != 0 || spng_decoded_image_size(png.get(), SPNG_FMT_RGBA8, &bytes) != 0)
    return nullptr;
  const int width = static_cast<int>(header.width), height = static_cast<int>(header.height);
  SurfacePtr surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height));
  // Rows of four bytes a pixel, back to back: RGBA as decoded, ARGB once premultiplied.
  if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS ||
      static_cast<std::size_t>(cairo_image_surface_get_stride(surface.get())) * header.height != bytes)
    return nullptr;
  std::uint8_t* pixels = cairo_image_surface_get_data(surface.get());
  if (spng_decode_image(png.get(), pixels, bytes, SPNG_FMT_RGBA8, SPNG_DECODE_TRNS) != 0) return nullptr;
  premultiplyInPlace(pixels, bytes / 4);
  cairo_surface_mark_dirty(surface.get());
  return std::make_shared<const Image>(static_cast<double>(width) / scale, static_cast<double>(height) / scale, scale,
                                       surface.get(), std::string(name));
}

}  // namespace

Image::Image(double widthPoints, double heightPoints, int scale, cairo_surface_t* surface, std::string name)
    : width_(widthPoints), height_(heightPoints), scale_(scale), surface_(surface), name_(std::move(name)) {
  if (surface_) cairo_surface_reference(surface_);
}

Image::~Image() {
  if (surface_) cairo_surface_destroy(surface_);
}

Status Image::writePng(const std::filesystem::path& file) const {
  return writeSurfaceAsPng(surface_, file).within(file.string());
}

class PictureCache {
 public:
  ImageRef& operator[](const std::string& key) { return pictures_[key]; }
  void releasePictures() { pictures_.clear(); }
  void missed(MissingPicture miss) {
    for (const MissingPicture& m : missing_)
      if (m.file == miss.file) return;
    missing_.push_back(std::move(miss));
  }
  const std::vector<MissingPicture>& missing() const { return missing_; }

 private:
  std::unordered_map<std::string, ImageRef> pictures_;
  std::vector<MissingPicture> missing_;
};

std::shared_ptr<PictureCache> makePictureCache() { return std::make_shared<PictureCache>(); }

class LayerCache {
 public:
  ImageRef layer(std::string_view key) {
    const auto it = std::find_if(layers_.begin(), layers_.end(), [key](const Layer& l) { return l.key == key; });
    if (it == layers_.end()) return nullptr;
    std::rotate(layers_.begin(), it, it + 1);  // the most recently used first
    return layers_.front().image;
  }
  bool askedBefore(std::string_view key) { return !asked_.emplace(key).second; }
  void keep(std::string_view key, ImageRef image) {
    cairo_surface_t* pixels = image ? image->surface() : nullptr;
    if (!pixels) return;
    const std::size_t bytes = static_cast<std::size_t>(cairo_image_surface_get_stride(pixels)) *
                              static_cast<std::size_t>(cairo_image_surface_get_height(pixels));
    if (bytes > kLayerBytes) return;
    std::size_t total = bytes;
    for (auto it = layers_.begin(); it != layers_.end();) {
      if (it->key == key || total + it->bytes > kLayerBytes) {
        it = layers_.erase(it);
      } else {
        total += it->bytes;
        ++it;
      }
    }
    layers_.insert(layers_.begin(), Layer{std::string(key), std::move(image), bytes});
  }

 private:
  struct Layer {
    std::string key;
    ImageRef image;
    std::size_t bytes;
  };
  std::vector<Layer> layers_;  // the most recently used first
  std::set<std::string, std::less<>> asked_;
};

std::shared_ptr<LayerCache> makeLayerCache() { return std::make_shared<LayerCache>(); }

ImageRef imageNamed(RunCaches& caches, std::string_view name) {
  // Kept by name and scale (a run may turn to another scale), and looked up
  // before the files are.
  const Environment& env = caches.environment();
  const Bundle& bundle = caches.bundle();
  std::string key(name);
  key.append(1, '\0').append(std::to_string(env.scale));
  ImageRef& kept = caches.pictures()[key];
  if (kept) return kept;
  // A picture that is missing or could not be read is looked for again next time.
  if (const auto picture = bundle.pathForPicture(name, env.scale)) {
    kept = pngPicture(picture->path, name, picture->scale);
    if (!kept) caches.pictures().missed({std::string(name), picture->path, "cannot be read as a PNG picture"});
  } else {
    caches.pictures().missed(
        {std::string(name), bundle.renditionFile(name, env.scale), "is missing: the bundle has no rendition of it"});
  }
  return kept;
}

std::vector<MissingPicture> missingPictures(RunCaches& caches) { return caches.pictures().missing(); }

void releasePictures(RunCaches& caches) { caches.pictures().releasePictures(); }

ImageRef keptLayer(RunCaches& caches, std::string_view key) { return caches.layers().layer(key); }

bool layerAskedBefore(RunCaches& caches, std::string_view key) { return caches.layers().askedBefore(key); }

void keepLayer(RunCaches& caches, std::string_view key, ImageRef layer) { caches.layers().keep(key, std::move(layer)); }

}  // namespace velmora
