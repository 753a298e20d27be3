#include "drawing/DrawingSurface.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>

#include "drawing/PathPainter.h"
#include "drawing/PixelMemory.h"
#include "drawing/ShadowCaster.h"

namespace velmora {

namespace {

constexpr int kLargestSide = 16384;  // pixels; beyond this a surface is not made
// Cairo's fixed-point step: a device pixel over 256.
constexpr double kLeastStep = 1.0 / 256;

void setSource(cairo_t* cr, const Colour& colour, double opacity = 1.0) {
  const RGBA c = colour.rgba();
  cairo_set_source_rgba(cr, c.red, c.green, c.blue, c.alpha * opacity);
}

bool finite(double a) { return std::isfinite(a); }
template <typename... More>
bool finite(double a, More... more) {
  return std::isfinite(a) && finite(more...);
}

// A transparent ARGB bitmap whose pixels live in PixelMemory owned by the
// surface; when the surface goes, its memory goes back to the run's pool (if
// the run is still there) for a later bitmap.
cairo_surface_t* createBitmap(int side, const std::shared_ptr<PixelPool>& pool) {
  struct Pixels {
    std::unique_ptr<PixelMemory> memory;
    std::weak_ptr<PixelPool> pool;
  };
  const int stride = cairo_format_stride_for_width(CAIRO_FORMAT_ARGB32, side);
  auto pixels = std::make_unique<Pixels>(
      Pixels{pool->take(static_cast<std::size_t>(stride) * static_cast<std::size_t>(side)), pool});
  if (!pixels->memory->data()) return nullptr;
  cairo_surface_t* surface =
      cairo_image_surface_create_for_data(pixels->memory->data(), CAIRO_FORMAT_ARGB32, side, side, stride);
  static constexpr cairo_user_data_key_t kPixelsKey{};
  auto release = [](void* p) {
    std::unique_ptr<Pixels> gone(static_cast<Pixels*>(p));
    if (const auto keeper = gone->pool.lock()) keeper->giveBack(std::move(gone->memory));
  };
  if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS ||
      cairo_surface_set_user_data(surface, &kPixelsKey, pixels.get(), release) != CAIRO_STATUS_SUCCESS) {
    cairo_surface_destroy(surface);
    return nullptr;
  }
  pixels.release();  // the surface owns them now
  return surface;
}

}  // namespace

DrawingSurface DrawingSurface::beginImageContext(RunCaches& caches, double size, int scale) {
  return DrawingSurface(caches, size, scale > 0 ? scale : caches.environment().scale);
}

DrawingSurface::DrawingSurface(RunCaches& caches, double size, int scale)
    : caches_(&caches), size_(size), scale_(std::max(1, scale)) {
  if (!(size > 0) || size * scale_ > kLargestSide) return;
  bitmap_ = createBitmap(pixelSide(), caches.pixelPool());
  if (!bitmap_) return;
  cr_ = cairo_create(bitmap_);
  cairo_scale(cr_, scale_, scale_);
}

DrawingSurface::DrawingSurface(DrawingSurface&& other) noexcept
    : caches_(other.caches_),
      size_(other.size_),
      scale_(other.scale_),
      bitmap_(std::exchange(other.bitmap_, nullptr)),
      cr_(std::exchange(other.cr_, nullptr)),
      shared_(other.shared_),
      untouched_(other.untouched_),
      path_(std::move(other.path_)),
      states_(std::exchange(other.states_, {GState{}})) {}

DrawingSurface& DrawingSurface::operator=(DrawingSurface&& other) noexcept {
  if (this != &other) {
    end();
    caches_ = other.caches_;
    size_ = other.size_;
    scale_ = other.scale_;
    bitmap_ = std::exchange(other.bitmap_, nullptr);
    cr_ = std::exchange(other.cr_, nullptr);
    shared_ = other.shared_;
    untouched_ = other.untouched_;
    path_ = std::move(other.path_);
    states_ = std::exchange(other.states_, {GState{}});
  }
  return *this;
}

DrawingSurface::~DrawingSurface() { end(); }

int DrawingSurface::pixelSide() const { return static_cast<int>(std::ceil(size_ * scale_ - 1e-9)); }

void DrawingSurface::end() {
  if (cr_) cairo_destroy(cr_);
  if (bitmap_) cairo_surface_destroy(bitmap_);
  cr_ = nullptr;
  bitmap_ = nullptr;
}

ImageRef DrawingSurface::getImage() {
  if (!cr_) return nullptr;
  cairo_surface_flush(bitmap_);
  shared_ = true;
  return std::make_shared<const Image>(size_, size_, scale_, bitmap_);
}

// An image was taken from the bitmap: give the surface a copy of its own
// before painting, so that the image stays as it was.
//
// A context that cairo has put in an error state (it would ignore all
// drawing from then on) is replaced by a fresh one on the same bitmap.
bool DrawingSurface::prepareToPaint() {
  if (!cr_) return false;
  untouched_ = false;
  if (cairo_status(cr_) != CAIRO_STATUS_SUCCESS) {
    cairo_destroy(cr_);
    cr_ = cairo_create(bitmap_);
    cairo_scale(cr_, scale_, scale_);
  }
  if (!shared_) return true;
  cairo_surface_t* copy = createBitmap(pixelSide(), caches_->pixelPool());
  if (!copy) return false;
  const int bytes = cairo_image_surface_get_stride(bitmap_) * cairo_image_surface_get_height(bitmap_);
  std::memcpy(cairo_image_surface_get_data(copy), cairo_image_surface_get_data(bitmap_),
              static_cast<std::size_t>(bytes));
  cairo_surface_mark_dirty(copy);
  cairo_t* cr = cairo_create(copy);
  cairo_scale(cr, scale_, scale_);
  cairo_destroy(cr_);
  cairo_surface_destroy(bitmap_);  // the image keeps its own reference
  cr_ = cr;
  bitmap_ = copy;
  shared_ = false;
  return true;
}

// --- state -----------------------------------------------------------------

void DrawingSurface::setLineCap(LineCap cap) { states_.back().lineCap = cap; }

void DrawingSurface::setLineWidth(double width) { states_.back().lineWidth = width; }

void DrawingSurface::setStrokeColor(const Colour& colour) { states_.back().strokeColour = colour; }
void DrawingSurface::setFillColor(const Colour& colour) { states_.back().fillColour = colour; }

void DrawingSurface::setLineDash(double phase, std::vector<double> lengths) {
  states_.back().dashPhase = phase;
  states_.back().dashLengths = std::move(lengths);
}

void DrawingSurface::setShadow(Size offset, double blur) { setShadowWithColor(offset, blur, Shadow::kDefaultColour); }

void DrawingSurface::setShadowWithColor(Size offset, double blur, const Colour& colour) {
  Shadow shadow;
  shadow.offset = offset;
  shadow.blur = blur < 0 ? 0.0 : blur;
  shadow.colour = colour;
  states_.back().shadow = shadow;
}

void DrawingSurface::saveGState() { states_.push_back(states_.back()); }

void DrawingSurface::restoreGState() {
  if (states_.size() > 1) states_.pop_back();
}

// --- path ------------------------------------------------------------------

void DrawingSurface::moveToPoint(double x, double y) {
  if (cr_) path_.moveTo({x, y});
}

void DrawingSurface::addLineToPoint(double x, double y) {
  if (cr_) path_.lineTo({x, y});
}

void DrawingSurface::addArc(double x, double y, double radius, double startAngle, double endAngle, int clockwise) {
  if (cr_) path_.arc({x, y}, radius, startAngle, endAngle, clockwise);
}

void DrawingSurface::closePath() {
  if (cr_) path_.close();
}

// --- painting --------------------------------------------------------------

void DrawingSurface::strokePath() { paintPath(true); }
void DrawingSurface::fillPath() { paintPath(false); }

Box DrawingSurface::reachBox(const Shadow* shadow, double by) const {
  if (shadow) by += ShadowCaster::reach(*shadow, scale_);
  return Box{0, 0, size_, size_}.outset(by);
}

const Shadow* DrawingSurface::castingShadow() const {
  const std::optional<Shadow>& shadow = states_.back().shadow;
  if (!shadow || !shadow->casts() || !ShadowCaster::fallsOn(*shadow, size_, scale_)) return nullptr;
  return &*shadow;
}

std::optional<ShadowCaster> DrawingSurface::casterFor(const Shadow& shadow, int reach) {
  ShadowScratch& s = caches_->shadowScratch();
  return ShadowCaster::ready(s, bitmap_, cr_, scale_, shadow, reach);
}

void DrawingSurface::paintPath(bool stroke) {
  PathPainter painter(path_, states_.back(), stroke, scale_);
  if (!painter.drawable() || !prepareToPaint()) {
    path_.clear();
    return;
  }
  // The path goes into cairo within what can show: the bitmap, with what a
  // stroke's width (at a mitred corner) and the shadow reach beyond it.
  const Shadow* shadow = castingShadow();
  const Box visible = reachBox(shadow, painter.outlineReach(cr_) + 1.0 / scale_);
  const double tolerance = cairo_get_tolerance(cr_) / scale_;
  std::optional<ShadowCaster> caster;
  if (painter.needsCoverage(shadow))
    caster = casterFor(shadow ? *shadow : Shadow{}, painter.frameReach(cr_, pixelSide(), shadow));
  if (caster)
    painter.paintThrough(*caster, shadow, visible, tolerance);
  else
    painter.paintWithCairo(cr_, visible, tolerance);
}

// Text and pictures keep their own colours: their shadow comes from a
// coverage of their own, and they are painted on top as they are.
// Drawing whose bounds lie wholly beyond what can show is left out.
template <typename Draw>
void DrawingSurface::paintWithShadow(Rect bounds, Draw draw) {
  const Shadow* shadow = castingShadow();
  if (!finite(bounds.x, bounds.y, bounds.width, bounds.height) ||
      !reachBox(shadow, 0).meets({bounds.x, bounds.y, bounds.x + bounds.width, bounds.y + bounds.height}) ||
      !prepareToPaint())
    return;
  if (std::optional<ShadowCaster> caster = shadow ? casterFor(*shadow) : std::nullopt) {
    cairo_t* cov = caster->coverageContext();
    cairo_save(cov);
    draw(cov);
    cairo_restore(cov);
    cairo_new_path(cov);
    caster->coverage().findUsed(
        caster->framePixels(bounds.x, bounds.y, bounds.x + bounds.width, bounds.y + bounds.height));
    caster->castShadow(*shadow, 1.0, true);
    caster->clear();
  }
  cairo_save(cr_);
  draw(cr_);
  cairo_restore(cr_);
  cairo_new_path(cr_);
}

// --- layers ----------------------------------------------------------------

// A bitmap with nothing painted on it yet takes the pixels of a picture of
// its very size as they are: painted over clear, they would come out the same.
bool DrawingSurface::copyOntoClear(cairo_surface_t* picture) {
  if (!cr_ || !untouched_ || shared_ || cairo_image_surface_get_format(picture) != CAIRO_FORMAT_ARGB32 ||
      cairo_image_surface_get_width(picture) != cairo_image_surface_get_width(bitmap_) ||
      cairo_image_surface_get_height(picture) != cairo_image_surface_get_height(bitmap_) ||
      cairo_image_surface_get_stride(picture) != cairo_image_surface_get_stride(bitmap_))
    return false;
  prepareToPaint();
  cairo_surface_flush(picture);
  cairo_surface_flush(bitmap_);
  std::memcpy(cairo_image_surface_get_data(bitmap_), cairo_image_surface_get_data(picture),
              static_cast<std::size_t>(cairo_image_surface_get_stride(picture)) *
                  static_cast<std::size_t>(cairo_image_surface_get_height(picture)));
  cairo_surface_mark_dirty(bitmap_);
  return true;
}

void DrawingSurface::drawLayer(std::string_view key, const std::function<void(DrawingSurface&)>& draw) {
  if (!cr_) return;
  char side[32];
  std::snprintf(side, sizeof side, "%.17g@%dx ", size_, scale_);
  const std::string kept = side + std::string(key);
  if (const ImageRef image = keptLayer(*caches_, kept)) {
    if (copyOntoClear(image->surface()) || !prepareToPaint()) return;
    cairo_save(cr_);
    cairo_identity_matrix(cr_);
    cairo_set_source_surface(cr_, image->surface(), 0, 0);
    cairo_paint(cr_);
    cairo_restore(cr_);
    return;
  }
  const bool again = layerAskedBefore(*caches_, kept);
  saveGState();
  draw(*this);
  restoreGState();
  // The second image of a kind keeps its layer for the third and later ones.
  // What pictures the layer drew are in it now: the run lets the pictures it
  // has read go (a later image reads again any it still needs), so that a
  // backdrop is not kept twice.
  if (again) {
    keepLayer(*caches_, kept, getImage());
    releasePictures(*caches_);
  }
}

// --- text and pictures -----------------------------------------------------

Size DrawingSurface::sizeWithAttributes(std::string_view text, const TextAttributes& attributes) const {
  return caches_->fonts().sizeWithAttributes(text, attributes);
}

void DrawingSurface::drawAtPoint(std::string_view text, Point point, const TextAttributes& attributes) {
  if (!cr_ || !finite(point.x, point.y)) return;
  paintLine(caches_->fonts().line(text, attributes.font), point, attributes.foregroundColour,
            attributes.backgroundColour);
}

void DrawingSurface::drawLine(const TextLine& line, Point point, const Colour& colour) {
  if (!cr_ || !finite(point.x, point.y)) return;
  paintLine(line, point, colour, Colour::clearColor());
}

void DrawingSurface::paintLine(const TextLine& line, Point point, const Colour& foreground, const Colour& backdrop) {
  const Size size = line.size();
  if (size.width <= 0) return;
  const bool background = backdrop.rgba().alpha > 0;
  Rect bounds{point.x + line.inkBounds().x, point.y + line.inkBounds().y, line.inkBounds().width,
              line.inkBounds().height};
  if (background) {
    const double right = std::max(bounds.x + bounds.width, point.x + size.width);
    const double bottom = std::max(bounds.y + bounds.height, point.y + size.height);
    bounds.x = std::min(bounds.x, point.x);
    bounds.y = std::min(bounds.y, point.y);
    bounds.width = right - bounds.x;
    bounds.height = bottom - bounds.y;
  }
  paintWithShadow(bounds, [&](cairo_t* cr) {
    if (background) {
      setSource(cr, backdrop);
      cairo_rectangle(cr, point.x, point.y, size.width, size.height);
      cairo_fill(cr);
    }
    setSource(cr, foreground);
    cairo_move_to(cr, point.x, point.y);
    line.show(cr);
    cairo_new_path(cr);
  });
}

void DrawingSurface::drawInRect(const Image& image, Rect rect) {
  cairo_surface_t* picture = image.surface();
  if (!picture || !finite(rect.x, rect.y, rect.width, rect.height) || rect.width <= 0 || rect.height <= 0) return;
  const double width = cairo_image_surface_get_width(picture), height = cairo_image_surface_get_height(picture);
  // A picture squeezed below cairo's least step, or magnified past the
  // largest bitmap from one of its pixels, has nothing that can be drawn.
  const double across = rect.width * scale_, down = rect.height * scale_;
  if (width <= 0 || height <= 0 || across < kLeastStep || down < kLeastStep || across > kLargestSide * width ||
      down > kLargestSide * height)
    return;
  // A rectangle on whole pixels that holds the picture's pixels exactly (a
  // rendition at its natural size, an image of this scale) takes them one to
  // one, with nothing resampled.
  const Rect pixels{rect.x * scale_, rect.y * scale_, rect.width * scale_, rect.height * scale_};
  auto near = [](double v, double to) { return std::abs(v - to) < 1e-6; };
  if (near(pixels.x, std::round(pixels.x)) && near(pixels.y, std::round(pixels.y)) && near(pixels.width, width) &&
      near(pixels.height, height)) {
    if (std::round(pixels.x) == 0 && std::round(pixels.y) == 0 && !castingShadow() && copyOntoClear(picture)) return;
    paintWithShadow(rect, [&](cairo_t* cr) {
      double x = rect.x, y = rect.y;
      cairo_user_to_device(cr, &x, &y);
      cairo_identity_matrix(cr);
      cairo_set_source_surface(cr, picture, std::round(x), std::round(y));
      cairo_paint(cr);
    });
    return;
  }
  paintWithShadow(rect, [&](cairo_t* cr) {
    cairo_translate(cr, rect.x, rect.y);
    cairo_scale(cr, rect.width / width, rect.height / height);
    cairo_set_source_surface(cr, picture, 0, 0);
    // Bilinear sampling is exact enough down to half size and many times
    // cheaper than the convolution cairo runs for its "good" filter.
    const bool gentle = pixels.width * 2 >= width && pixels.height * 2 >= height;
    cairo_pattern_set_filter(cairo_get_source(cr), gentle ? CAIRO_FILTER_BILINEAR : CAIRO_FILTER_GOOD);
    // A clipped paint lets pixman composite the whole scaled picture in one
    // pass, where filling a rectangle goes span by span.
    cairo_rectangle(cr, 0, 0, width, height);
    cairo_clip(cr);
    cairo_paint(cr);
  });
}

}  // namespace velmora
