#include "drawing/ShadowCaster.h"

#include <cairo.h>
#include <pixman.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "drawing/ShadowBlur.h"

namespace velmora {

namespace {

// The pixels of a cairo image surface, seen by pixman (flushed by the caller).
pixman_image_t* pixmanImageOf(cairo_surface_t* surface, pixman_format_code_t format) {
  return pixman_image_create_bits(
      format, cairo_image_surface_get_width(surface), cairo_image_surface_get_height(surface),
      reinterpret_cast<std::uint32_t*>(cairo_image_surface_get_data(surface)), cairo_image_surface_get_stride(surface));
}

// A set of device pixels, as pixman keeps them: rectangles in bands.
class PixelRegion {
 public:
  // Rectangles of frame pixels, moved by (dx, dy); `widen` adds a pixel
  // right and below, for a shadow placed between pixels.
  PixelRegion(const std::vector<PixelRect>& rects, int dx, int dy, bool widen) {
    std::vector<pixman_box32_t> boxes;
    boxes.reserve(rects.size());
    const int extra = widen ? 1 : 0;
    for (const PixelRect& r : rects)
      boxes.push_back({r.x + dx, r.y + dy, r.x + dx + r.width + extra, r.y + dy + r.height + extra});
    pixman_region32_init_rects(&region_, boxes.data(), static_cast<int>(boxes.size()));
  }
  ~PixelRegion() { pixman_region32_fini(&region_); }
  PixelRegion(const PixelRegion&) = delete;
  PixelRegion& operator=(const PixelRegion&) = delete;

  void subtract(const PixelRegion& other) { pixman_region32_subtract(&region_, &region_, &other.region_); }
  pixman_region32_t* get() { return &region_; }

 private:
  pixman_region32_t region_;
};

// Composites `colour` through `mask`, placed with its origin at device pixel
// (maskX, maskY), within `region` (device pixels) of the bitmap that `cr`
// paints. Whole-pixel placements go straight to pixman, clipped to the region
// in one call; others through a cairo clip.
void compositeThrough(cairo_surface_t* bitmap, cairo_t* cr, pixman_region32_t* region, cairo_surface_t* mask,
                      double maskX, double maskY, const Colour& colour, double opacity) {
  const pixman_box32_t* extents = pixman_region32_extents(region);
  if (!pixman_region32_not_empty(region)) return;
  const RGBA c = colour.rgba();
  const double alpha = c.alpha * opacity;
  if (maskX == std::floor(maskX) && maskY == std::floor(maskY)) {
    cairo_surface_flush(bitmap);
    const int side = cairo_image_surface_get_width(bitmap);
    pixman_image_t* target = pixmanImageOf(bitmap, PIXMAN_a8r8g8b8);
    pixman_image_set_clip_region32(target, region);
    pixman_image_t* coverage = pixmanImageOf(mask, PIXMAN_a8);
    auto channel = [alpha](double v) { return static_cast<std::uint16_t>(std::lround(v * alpha * 65535.0)); };
    const pixman_color_t premultiplied{channel(c.red), channel(c.green), channel(c.blue), channel(1.0)};
    pixman_image_t* source = pixman_image_create_solid_fill(&premultiplied);
    const int mx = static_cast<int>(maskX), my = static_cast<int>(maskY);
    const PixelRect box =
        PixelRect{extents->x1, extents->y1, extents->x2 - extents->x1, extents->y2 - extents->y1}.intersection(
            {0, 0, side, side});
    if (!box.empty())
      pixman_image_composite32(PIXMAN_OP_OVER, source, coverage, target, 0, 0, box.x - mx, box.y - my, box.x, box.y,
                               box.width, box.height);
    pixman_image_unref(source);
    pixman_image_unref(coverage);
    pixman_image_unref(target);
    cairo_surface_mark_dirty(bitmap);
    return;
  }
  cairo_save(cr);
  cairo_identity_matrix(cr);
  int count = 0;
  const pixman_box32_t* boxes = pixman_region32_rectangles(region, &count);
  for (int i = 0; i < count; ++i)
    cairo_rectangle(cr, boxes[i].x1, boxes[i].y1, boxes[i].x2 - boxes[i].x1, boxes[i].y2 - boxes[i].y1);
  cairo_clip(cr);
  cairo_set_source_rgba(cr, c.red, c.green, c.blue, alpha);
  cairo_mask_surface(cr, mask, maskX, maskY);
  cairo_restore(cr);
}

// Paints `colour` over every pixel of `region` (device pixels) of the bitmap.
void fillRegion(cairo_surface_t* bitmap, pixman_region32_t* region, const Colour& colour) {
  const int side = cairo_image_surface_get_width(bitmap);
  pixman_region32_intersect_rect(region, region, 0, 0, static_cast<unsigned>(side), static_cast<unsigned>(side));
  int count = 0;
  const pixman_box32_t* boxes = pixman_region32_rectangles(region, &count);
  if (count == 0) return;
  const RGBA c = colour.rgba();
  auto channel = [&c](double v) { return static_cast<std::uint16_t>(std::lround(v * c.alpha * 65535.0)); };
  const pixman_color_t premultiplied{channel(c.red), channel(c.green), channel(c.blue), channel(1.0)};
  cairo_surface_flush(bitmap);
  pixman_image_t* target = pixmanImageOf(bitmap, PIXMAN_a8r8g8b8);
  pixman_image_fill_boxes(c.alpha >= 1.0 ? PIXMAN_OP_SRC : PIXMAN_OP_OVER, target, &premultiplied, count, boxes);
  pixman_image_unref(target);
  cairo_surface_mark_dirty(bitmap);
}

}  // namespace

class ShadowScratch {
 public:
  ~ShadowScratch() { release(); }

  // Readies the frame for a bitmap of `side` pixels at `scale` with at least
  // `margin` pixels around it; false when the memory cannot be had.
  bool prepare(int side, int neededMargin, int scale) {
    if (neededMargin > margin_ || side + 2 * margin_ > coverage_.width() || !coverageCr_ ||
        cairo_status(coverageCr_) != CAIRO_STATUS_SUCCESS) {
      release();
      margin_ =
          (std::max(neededMargin, margin_) + CoverageBuffer::kTile - 1) / CoverageBuffer::kTile * CoverageBuffer::kTile;
      const int frame = std::max(side, largestSide_) + 2 * margin_;
      largestSide_ = std::max(side, largestSide_);
      coverage_.resize(frame, frame);
      shadow_.resize(frame, frame);
      if (!coverage_.data() || !shadow_.data()) return false;
      auto a8 = [](CoverageBuffer& buffer) {
        return cairo_image_surface_create_for_data(buffer.data(), CAIRO_FORMAT_A8, buffer.width(), buffer.height(),
                                                   static_cast<int>(buffer.stride()));
      };
      coverageSurface_ = a8(coverage_);
      shadowSurface_ = a8(shadow_);
      coverageCr_ = cairo_create(coverageSurface_);
      if (cairo_status(coverageCr_) != CAIRO_STATUS_SUCCESS) return false;
    }
    cairo_identity_matrix(coverageCr_);
    cairo_translate(coverageCr_, margin_, margin_);
    cairo_scale(coverageCr_, scale, scale);
    return true;
  }

  int margin() const { return margin_; }
  CoverageBuffer& coverage() { return coverage_; }
  CoverageBuffer& shadow() { return shadow_; }
  cairo_surface_t* coverageSurface() const { return coverageSurface_; }
  cairo_surface_t* shadowSurface() const { return shadowSurface_; }
  cairo_t* coverageCr() const { return coverageCr_; }
  ShadowBlur& blur() { return blur_; }
  std::vector<PixelRect>& runs() { return runs_; }

 private:
  void release() {
    if (coverageCr_) cairo_destroy(coverageCr_);
    if (coverageSurface_) cairo_surface_destroy(coverageSurface_);
    if (shadowSurface_) cairo_surface_destroy(shadowSurface_);
    coverageCr_ = nullptr;
    coverageSurface_ = shadowSurface_ = nullptr;
  }

  int margin_ = 0;       // pixels of frame left of and above the bitmap
  int largestSide_ = 0;  // of the bitmaps the frame has served
  CoverageBuffer coverage_, shadow_;
  cairo_surface_t* coverageSurface_ = nullptr;
  cairo_surface_t* shadowSurface_ = nullptr;
  cairo_t* coverageCr_ = nullptr;
  ShadowBlur blur_;
  std::vector<PixelRect> runs_;
};

std::shared_ptr<ShadowScratch> makeShadowScratch() { return std::make_shared<ShadowScratch>(); }

// ---------------------------------------------------------------------------

double ShadowCaster::reach(const Shadow& shadow, int scale) {
  const double offset = std::max(std::abs(shadow.offset.width), std::abs(shadow.offset.height));
  return ShadowBlur::reach(shadow.blur * scale / 2.0) / static_cast<double>(scale) + offset;
}

bool ShadowCaster::fallsOn(const Shadow& shadow, double size, int scale) {
  const double reach = (ShadowBlur::reach(shadow.blur * scale / 2.0) + 1.0) / scale;
  return !(std::abs(shadow.offset.width) > size + reach || std::abs(shadow.offset.height) > size + reach);
}

std::optional<ShadowCaster> ShadowCaster::ready(ShadowScratch& scratch, cairo_surface_t* bitmap, cairo_t* cr, int scale,
                                                const Shadow& shadow, int reach) {
  const double dx = std::abs(shadow.offset.width) * scale, dy = std::abs(shadow.offset.height) * scale;
  const int needed = ShadowBlur::reach(shadow.blur * scale / 2.0) + static_cast<int>(std::ceil(std::max(dx, dy))) + 1;
  if (!scratch.prepare(std::clamp(reach, 1, cairo_image_surface_get_width(bitmap)), needed, scale)) return std::nullopt;
  return ShadowCaster(scratch, bitmap, cr, scale);
}

cairo_t* ShadowCaster::coverageContext() const { return scratch_->coverageCr(); }

CoverageBuffer& ShadowCaster::coverage() const { return scratch_->coverage(); }

PixelRect ShadowCaster::framePixels(double x1, double y1, double x2, double y2) const {
  cairo_t* cov = scratch_->coverageCr();
  cairo_user_to_device(cov, &x1, &y1);
  cairo_user_to_device(cov, &x2, &y2);
  const double limit = scratch_->coverage().width();
  auto pixel = [limit](double v) { return static_cast<int>(std::clamp(v, 0.0, limit)); };
  const int left = pixel(std::floor(std::min(x1, x2)) - 1), top = pixel(std::floor(std::min(y1, y2)) - 1);
  const int right = pixel(std::ceil(std::max(x1, x2)) + 1), bottom = pixel(std::ceil(std::max(y1, y2)) + 1);
  return {left, top, right - left, bottom - top};
}

void ShadowCaster::castShadow(const Shadow& shadow, double opacity, bool hiddenUnderFull) {
  ShadowScratch& s = *scratch_;
  const double sigma = shadow.blur * scale_ / 2.0;  // the platform's blur radius, in pixels, is 2σ
  s.blur().blur(s.coverage(), s.shadow(), sigma);
  const double dx = shadow.offset.width * scale_, dy = shadow.offset.height * scale_;
  const int m = s.margin();
  const int grow = (ShadowBlur::reach(sigma) + CoverageBuffer::kCell - 1) / CoverageBuffer::kCell;
  s.coverage().cellRuns(CoverageBuffer::Cells::kUsed, grow, s.runs());
  const bool whole = dx == std::floor(dx) && dy == std::floor(dy);
  PixelRegion region(s.runs(), static_cast<int>(std::floor(dx)) - m, static_cast<int>(std::floor(dy)) - m, !whole);
  if (hiddenUnderFull) {
    s.coverage().cellRuns(CoverageBuffer::Cells::kFull, 0, s.runs());
    region.subtract(PixelRegion(s.runs(), -m, -m, false));
  }
  compositeThrough(bitmap_, cr_, region.get(), s.shadowSurface(), dx - m, dy - m, shadow.colour, opacity);
  // The composite read only tiles this blur wrote (the grown cells lie within
  // the blur's reach), so the next blur may write over what is left.
  if (whole)
    s.shadow().forget();
  else
    s.shadow().clear();
}

void ShadowCaster::paintThrough(const Colour& colour) {
  ShadowScratch& s = *scratch_;
  CoverageBuffer& coverage = s.coverage();
  const int m = s.margin();
  coverage.cellRuns(CoverageBuffer::Cells::kPartlyCovered, 0, s.runs());
  PixelRegion partly(s.runs(), -m, -m, false);
  compositeThrough(bitmap_, cr_, partly.get(), s.coverageSurface(), -m, -m, colour, 1.0);
  coverage.cellRuns(CoverageBuffer::Cells::kFull, 0, s.runs());
  PixelRegion whole(s.runs(), -m, -m, false);
  fillRegion(bitmap_, whole.get(), colour);
  coverage.clear();
}

void ShadowCaster::clear() { scratch_->coverage().clear(); }

}  // namespace velmora
