#include "platform/Image.h"

#include <cairo.h>
#include <librsvg/rsvg.h>
#include <spng.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/Bundle.h"
#include "platform/Environment.h"

namespace velmora {

namespace {

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
struct SpngFree {
  void operator()(spng_ctx* c) const { spng_ctx_free(c); }
};
struct SurfaceRelease {
  void operator()(cairo_surface_t* s) const { cairo_surface_destroy(s); }
};
using SurfacePtr = std::unique_ptr<cairo_surface_t, SurfaceRelease>;

int pixels(double points, int scale) { return static_cast<int>(std::ceil(points * scale - 1e-9)); }

// A picture played back (or a bitmap resampled) into new ARGB pixels of
// width × height, scaled by (sx, sy).
SurfacePtr playedBack(cairo_surface_t* surface, int width, int height, double sx, double sy) {
  SurfacePtr pixels(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height));
  if (cairo_surface_status(pixels.get()) != CAIRO_STATUS_SUCCESS) return pixels;
  cairo_t* cr = cairo_create(pixels.get());
  cairo_scale(cr, sx, sy);
  cairo_set_source_surface(cr, surface, 0, 0);
  cairo_paint(cr);
  cairo_destroy(cr);
  cairo_surface_flush(pixels.get());
  return pixels;
}

// The picture as an image surface of its pixels: an image surface as it is,
// a recording played back at the image's scale.
SurfacePtr rasterised(cairo_surface_t* surface, double width, double height, int scale) {
  if (cairo_surface_get_type(surface) == CAIRO_SURFACE_TYPE_IMAGE &&
      cairo_image_surface_get_format(surface) == CAIRO_FORMAT_ARGB32) {
    cairo_surface_flush(surface);
    return SurfacePtr(cairo_surface_reference(surface));
  }
  return playedBack(surface, pixels(width, scale), pixels(height, scale), scale, scale);
}

// Un-premultiplies ARGB rows into straight RGBA bytes, one row at a time,
// so that encoding needs one row of extra memory rather than a second image.
class StraightRgbaRows {
 public:
  explicit StraightRgbaRows(int width) : row_(static_cast<std::size_t>(width) * 4) {
    reciprocal_[0] = 0;
    for (std::uint32_t a = 1; a < 256; ++a) reciprocal_[a] = (255u * 65536u + a / 2) / a;  // 255 / a, 16.16
  }

  const std::vector<std::uint8_t>& convert(const std::uint32_t* argb) {
    std::uint8_t* out = row_.data();
    for (std::size_t x = 0; x < row_.size() / 4; ++x, out += 4) {
      const std::uint32_t p = argb[x];
      const std::uint32_t a = p >> 24;
      std::uint32_t r = (p >> 16) & 0xff, g = (p >> 8) & 0xff, b = p & 0xff;
      if (a != 255 && a != 0) {
        const std::uint32_t k = reciprocal_[a];
        r = std::min(255u, (r * k + 32768) >> 16);
        g = std::min(255u, (g * k + 32768) >> 16);
        b = std::min(255u, (b * k + 32768) >> 16);
      }
      out[0] = static_cast<std::uint8_t>(r);
      out[1] = static_cast<std::uint8_t>(g);
      out[2] = static_cast<std::uint8_t>(b);
      out[3] = static_cast<std::uint8_t>(a);
    }
    return row_;
  }

 private:
  std::uint32_t reciprocal_[256];
  std::vector<std::uint8_t> row_;
};

bool endsWithIgnoringCase(const std::string& text, std::string_view suffix) {
  if (text.size() < suffix.size()) return false;
  return std::equal(suffix.begin(), suffix.end(), text.end() - static_cast<std::ptrdiff_t>(suffix.size()),
                    [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == b; });
}

// An SVG picture, recorded as drawn at its natural size (its width and
// height, else its view box).
ImageRef svgPicture(const std::filesystem::path& file, std::string_view name, int scale) {
  GError* error = nullptr;
  RsvgHandle* handle = rsvg_handle_new_from_file(file.c_str(), &error);
  if (!handle) {
    if (error) g_error_free(error);
    return nullptr;
  }
  double width = 0, height = 0;
  if (!rsvg_handle_get_intrinsic_size_in_pixels(handle, &width, &height)) {
    gboolean hasWidth, hasHeight, hasViewBox;
    RsvgLength w, h;
    RsvgRectangle viewBox;
    rsvg_handle_get_intrinsic_dimensions(handle, &hasWidth, &w, &hasHeight, &h, &hasViewBox, &viewBox);
    if (hasViewBox) width = viewBox.width, height = viewBox.height;
  }
  ImageRef image;
  if (width > 0 && height > 0) {
    cairo_rectangle_t extents{0, 0, width, height};
    SurfacePtr recording(cairo_recording_surface_create(CAIRO_CONTENT_COLOR_ALPHA, &extents));
    cairo_t* cr = cairo_create(recording.get());
    const RsvgRectangle viewport{0, 0, width, height};
    const bool drawn = rsvg_handle_render_document(handle, cr, &viewport, &error);
    cairo_destroy(cr);
    if (drawn) image = std::make_shared<const Image>(width, height, scale, recording.get(), std::string(name));
  }
  if (error) g_error_free(error);
  g_object_unref(handle);
  return image;
}

// A PNG picture: one point per pixel.
ImageRef pngPicture(const std::filesystem::path& file, std::string_view name) {
  SurfacePtr surface(cairo_image_surface_create_from_png(file.c_str()));
  if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) return nullptr;
  return std::make_shared<const Image>(cairo_image_surface_get_width(surface.get()),
                                       cairo_image_surface_get_height(surface.get()), 1, surface.get(),
                                       std::string(name));
}

}  // namespace

Image::Image(double widthPoints, double heightPoints, int scale, cairo_surface_t* surface, std::string name)
    : width_(widthPoints), height_(heightPoints), scale_(scale), surface_(surface), name_(std::move(name)) {
  if (surface_) cairo_surface_reference(surface_);
}

Image::~Image() {
  if (surface_) cairo_surface_destroy(surface_);
  if (playedBack_) cairo_surface_destroy(playedBack_);
}

cairo_surface_t* Image::pixelsOfSize(int width, int height) const {
  if (!surface_ || width <= 0 || height <= 0) return nullptr;
  auto ofSize = [width, height](cairo_surface_t* pixels) {
    return cairo_image_surface_get_width(pixels) == width && cairo_image_surface_get_height(pixels) == height;
  };
  if (cairo_surface_get_type(surface_) == CAIRO_SURFACE_TYPE_IMAGE) {
    cairo_surface_flush(surface_);
    return ofSize(surface_) ? surface_ : nullptr;
  }
  if (playedBack_ && ofSize(playedBack_)) return playedBack_;
  if (!(width_ > 0 && height_ > 0)) return nullptr;
  SurfacePtr pixels = playedBack(surface_, width, height, width / width_, height / height_);
  if (cairo_surface_status(pixels.get()) != CAIRO_STATUS_SUCCESS) return nullptr;
  if (playedBack_) cairo_surface_destroy(playedBack_);
  playedBack_ = pixels.release();
  return playedBack_;
}

bool Image::writePng(const std::filesystem::path& file, std::string* error) const {
  auto fail = [&](std::string message) {
    if (error) *error = file.string() + ": " + std::move(message);
    return false;
  };
  if (!surface_) return fail("the image has no pixels");
  SurfacePtr raster = rasterised(surface_, width_, height_, scale_);
  if (cairo_surface_status(raster.get()) != CAIRO_STATUS_SUCCESS) return fail("the image cannot be rasterised");

  std::unique_ptr<std::FILE, FileCloser> out(std::fopen(file.c_str(), "wb"));
  if (!out) return fail(std::strerror(errno));
  std::unique_ptr<spng_ctx, SpngFree> png(spng_ctx_new(SPNG_CTX_ENCODER));
  if (!png) return fail("out of memory");
  // Fast deflate without row filters: most of an image is clear or flat
  // colour, where filters gain little and cost much.
  spng_set_png_file(png.get(), out.get());
  spng_set_option(png.get(), SPNG_IMG_COMPRESSION_LEVEL, 2);
  spng_set_option(png.get(), SPNG_FILTER_CHOICE, SPNG_DISABLE_FILTERING);
  spng_ihdr header{};
  header.width = static_cast<std::uint32_t>(cairo_image_surface_get_width(raster.get()));
  header.height = static_cast<std::uint32_t>(cairo_image_surface_get_height(raster.get()));
  header.bit_depth = 8;
  header.color_type = SPNG_COLOR_TYPE_TRUECOLOR_ALPHA;
  spng_set_ihdr(png.get(), &header);
  if (int rc = spng_encode_image(png.get(), nullptr, 0, SPNG_FMT_PNG, SPNG_ENCODE_PROGRESSIVE | SPNG_ENCODE_FINALIZE))
    return fail(spng_strerror(rc));
  StraightRgbaRows rows(static_cast<int>(header.width));
  const unsigned char* data = cairo_image_surface_get_data(raster.get());
  const int stride = cairo_image_surface_get_stride(raster.get());
  for (std::uint32_t y = 0; y < header.height; ++y) {
    const auto& row =
        rows.convert(reinterpret_cast<const std::uint32_t*>(data + static_cast<std::ptrdiff_t>(y) * stride));
    const int rc = spng_encode_row(png.get(), row.data(), row.size());
    if (rc != 0 && rc != SPNG_EOI) return fail(spng_strerror(rc));
  }
  png.reset();
  if (std::fflush(out.get()) != 0 || std::ferror(out.get())) return fail(std::strerror(errno));
  std::FILE* closing = out.release();
  if (std::fclose(closing) != 0) return fail(std::strerror(errno));
  return true;
}

class PictureCache {
 public:
  ImageRef& operator[](const std::string& key) { return pictures_[key]; }

 private:
  std::unordered_map<std::string, ImageRef> pictures_;
};

std::shared_ptr<PictureCache> makePictureCache() { return std::make_shared<PictureCache>(); }

ImageRef imageNamed(const Environment& env, std::string_view name) {
  const auto file = env.bundle().pathForPicture(name);
  if (!file) return nullptr;
  // Keyed by the file as well as the name: copies of an environment share
  // their cache, and may have other bundles or scales.
  std::string key = file->string();
  key.append(1, '\0').append(name).append(1, '\0').append(std::to_string(env.scale));
  ImageRef& kept = env.pictures()[key];
  if (!kept)  // a picture that could not be read is tried again next time
    kept = endsWithIgnoringCase(file->string(), ".svg") ? svgPicture(*file, name, env.scale) : pngPicture(*file, name);
  return kept;
}

}  // namespace velmora
