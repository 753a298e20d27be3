#include "drawing/DrawingSurface.h"

#include <cairo.h>
#include <pixman.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>

#include "drawing/CoverageBuffer.h"
#include "drawing/PixelMemory.h"
#include "drawing/ShadowBlur.h"
#include "drawing/ShapeCoverage.h"

namespace velmora {

namespace {

constexpr int kLargestSide = 16384;  // pixels; beyond this a surface is not made
// Cairo keeps coordinates as fixed-point numbers that reach about 8 million
// device pixels either way; what the surface hands it stays well within.
constexpr double kSafeReach = 1 << 20;  // device pixels from the origin
// A stroke this wide (device pixels) covers all there is of any bitmap near
// its path; wider ones are drawn this wide, so that their outlines stay
// within cairo's reach too.
constexpr double kWidestStroke = 1 << 18;
// Longer than any path the surface strokes (points): a longer dash or gap
// looks the same.
constexpr double kLongestDash = 1e12;
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

// Whether a stroke of the path can have joins (whose miters reach beyond half
// the line width): a subpath that turns a corner between segments, or closes.
// Arcs come as chains of curves that meet smoothly.
bool hasCorners(const cairo_path_t* path) {
  double lastX = 0, lastY = 0;        // the current point
  double tangentX = 0, tangentY = 0;  // direction of the previous segment's end; zero at a subpath's start
  for (int i = 0; i < path->num_data; i += path->data[i].header.length) {
    const cairo_path_data_t* d = &path->data[i];
    double startX, startY, endX, endY;  // the new segment's tangents at its ends
    double x, y;
    switch (d->header.type) {
      case CAIRO_PATH_MOVE_TO:
        lastX = d[1].point.x, lastY = d[1].point.y;
        tangentX = tangentY = 0;
        continue;
      case CAIRO_PATH_CLOSE_PATH:
        return true;
      case CAIRO_PATH_LINE_TO:
        x = d[1].point.x, y = d[1].point.y;
        startX = endX = x - lastX, startY = endY = y - lastY;
        break;
      case CAIRO_PATH_CURVE_TO:
        x = d[3].point.x, y = d[3].point.y;
        startX = d[1].point.x - lastX, startY = d[1].point.y - lastY;
        endX = x - d[2].point.x, endY = y - d[2].point.y;
        break;
      default:
        return true;
    }
    if (tangentX != 0 || tangentY != 0) {
      const double cross = tangentX * startY - tangentY * startX;
      const double dot = tangentX * startX + tangentY * startY;
      const double lengths = std::hypot(tangentX, tangentY) * std::hypot(startX, startY);
      if (dot <= 0 || std::abs(cross) > 1e-3 * lengths) return true;
    }
    if (endX != 0 || endY != 0) tangentX = endX, tangentY = endY;
    lastX = x, lastY = y;
  }
  return false;
}

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

// The box holding an arc: its ends, and the circle's extremes that its sweep passes.
Box arcBounds(const SurfacePath::Arc& arc) {
  const double start = arc.sweep < 0 ? arc.start + arc.sweep : arc.start, sweep = std::abs(arc.sweep);
  auto at = [&](double angle) {
    return Point{arc.centre.x + arc.radius * std::cos(angle), arc.centre.y + arc.radius * std::sin(angle)};
  };
  const Point from = at(start), to = at(start + sweep);
  Box box{std::min(from.x, to.x), std::min(from.y, to.y), std::max(from.x, to.x), std::max(from.y, to.y)};
  const double quarter = M_PI / 2;
  for (int k = 0; k < 4; ++k) {
    const double past = std::fmod(std::fmod(k * quarter - start, 4 * quarter) + 4 * quarter, 4 * quarter);
    if (past > sweep) continue;
    const Point p = at(k * quarter);
    box = {std::min(box.left, p.x), std::min(box.top, p.y), std::max(box.right, p.x), std::max(box.bottom, p.y)};
  }
  return box;
}

}  // namespace

// ---------------------------------------------------------------------------
// Shadows are cast through 8-bit coverage buffers over a frame of pixels: the
// bitmap plus a margin wide enough for the shadow's blur and offset. An
// operation paints its coverage into the frame, the coverage is blurred into
// the shadow buffer, the shadow is composited at its offset, and the operation
// itself follows on top; a stroke or fill is tinted through the same coverage
// rather than rasterised twice. The buffers belong to the run and are left
// zero after every operation, so a new surface neither allocates nor clears
// them.

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

  // User-space bounds on the coverage context, as frame pixels (rounded out,
  // with a pixel to spare for antialiasing).
  PixelRect framePixels(double x1, double y1, double x2, double y2) const {
    cairo_user_to_device(coverageCr_, &x1, &y1);
    cairo_user_to_device(coverageCr_, &x2, &y2);
    const double limit = coverage_.width();
    auto pixel = [limit](double v) { return static_cast<int>(std::clamp(v, 0.0, limit)); };
    const int left = pixel(std::floor(std::min(x1, x2)) - 1), top = pixel(std::floor(std::min(y1, y2)) - 1);
    const int right = pixel(std::ceil(std::max(x1, x2)) + 1), bottom = pixel(std::ceil(std::max(y1, y2)) + 1);
    return {left, top, right - left, bottom - top};
  }

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
      states_(std::move(other.states_)) {}

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
    states_ = std::move(other.states_);
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
  if (shadow) {
    const double offset = std::max(std::abs(shadow->offset.width), std::abs(shadow->offset.height));
    by += ShadowBlur::reach(shadow->blur * scale_ / 2.0) / static_cast<double>(scale_) + offset;
  }
  return Box{0, 0, size_, size_}.outset(by);
}

const Shadow* DrawingSurface::castingShadow() const {
  const std::optional<Shadow>& shadow = states_.back().shadow;
  if (!shadow || !shadow->casts()) return nullptr;
  // Thrown further than the bitmap and its blur, a shadow falls wholly off
  // it (what could throw it back on lies that far off the bitmap, and is
  // not drawn).
  const double reach = (ShadowBlur::reach(shadow->blur * scale_ / 2.0) + 1.0) / scale_;
  if (std::abs(shadow->offset.width) > size_ + reach || std::abs(shadow->offset.height) > size_ + reach) return nullptr;
  return &*shadow;
}

// The run's shadow scratch, readied for a shadow: the frame must hold
// everything whose shadow can fall on the bitmap, or, for what casts none,
// the bitmap's pixels up to `reach` across and down.
ShadowScratch* DrawingSurface::scratchFor(const Shadow& shadow, int reach) {
  ShadowScratch& s = caches_->shadowScratch();
  const double dx = std::abs(shadow.offset.width) * scale_, dy = std::abs(shadow.offset.height) * scale_;
  const int needed = ShadowBlur::reach(shadow.blur * scale_ / 2.0) + static_cast<int>(std::ceil(std::max(dx, dy))) + 1;
  return s.prepare(std::clamp(reach, 1, pixelSide()), needed, scale_) ? &s : nullptr;
}

namespace {

// How a stroke is dashed: the pattern to walk (none: solid), and the share
// of the line a pattern finer than a pixel paints.
struct DashPlan {
  bool drawable = true;
  SurfacePath::Dash dash;
  double opacity = 1;

  DashPlan(const DrawingSurface::GState& g, double width, int scale) {
    if (g.dashLengths.empty()) return;
    double period = 0;
    for (double length : g.dashLengths) {
      if (!(length >= 0) || std::isinf(length)) {
        drawable = false;
        return;
      }
      dash.lengths.push_back(std::min(length, kLongestDash));
      period += dash.lengths.back();
    }
    if (period == 0 || !std::isfinite(g.dashPhase)) {  // no pattern to draw
      drawable = false;
      return;
    }
    std::vector<double>& lengths = dash.lengths;
    if (lengths.size() % 2) {  // an odd count takes two rounds to come back to a painted length
      lengths.insert(lengths.end(), lengths.begin(), lengths.end());
      period *= 2;
    }
    dash.offset = std::fmod(g.dashPhase, period);
    if (dash.offset < 0) dash.offset += period;
    if (period * scale < 1.0) {
      // Round caps reach half the width into the gap on either side.
      const double capped = g.lineCap == LineCap::kRound ? width : 0.0;
      double unpainted = 0;
      for (std::size_t i = 1; i < lengths.size(); i += 2) unpainted += std::max(0.0, lengths[i] - capped);
      opacity = 1.0 - unpainted / period;
      lengths.clear();
    }
  }
};

}  // namespace

void DrawingSurface::paintPath(bool stroke) {
  const GState& g = states_.back();
  const DashPlan plan = stroke ? DashPlan(g, g.lineWidth, scale_) : DashPlan({}, 0, 1);
  const bool widthDrawable = !stroke || (g.lineWidth >= 0 && std::isfinite(g.lineWidth));
  if (path_.empty() || !path_.drawable() || !widthDrawable || !plan.drawable || !prepareToPaint()) {
    path_.clear();
    return;
  }
  const double width = std::min(g.lineWidth, kWidestStroke / scale_);
  Colour colour = stroke ? g.strokeColour : g.fillColour;
  if (plan.opacity < 1.0) colour = colour.colorWithAlphaComponent(colour.rgba().alpha * plan.opacity);
  // Shapes rasterised here must lie where their pixel coordinates stay exact.
  const double safe = kSafeReach / scale_;
  auto near = [safe](Point p) { return std::abs(p.x) < safe && std::abs(p.y) < safe; };
  // A whole circle stroked covers a ring or a disc, whatever its cap: one on
  // the bitmap is rasterised here, its coverage worked out row by row; one
  // far beyond it is filled as that outline by cairo.
  SurfacePath::Ring ring{};
  bool rasteriseRing = false;
  if (const auto stroked = stroke && plan.dash.lengths.empty() ? path_.strokedRing(width) : std::nullopt) {
    stroke = false;
    ring = *stroked;
    rasteriseRing = ring.outer < safe && near(ring.centre);
    if (!rasteriseRing) path_.replaceWithStrokeOutline(width);
  }
  // So does a single segment stroked with round caps: the points within half
  // the width of it.
  std::optional<SurfacePath::Segment> segment;
  if (stroke && plan.dash.lengths.empty() && g.lineCap == LineCap::kRound && width > 0) {
    segment = path_.segment();
    if (segment && !(width < safe && near(segment->from) && near(segment->to))) segment.reset();
  }
  // The ring a ring or an arc stroked stays within, so that the coverage's
  // bookkeeping looks no further.
  const std::optional<SurfacePath::Ring> arc = stroke ? path_.strokedArcBand(width) : std::nullopt;
  const SurfacePath::Ring band = rasteriseRing ? ring : arc.value_or(SurfacePath::Ring{});
  const bool banded = (rasteriseRing || arc) && band.outer < safe && near(band.centre);
  // A single arc stroked (or each dash of one) is rasterised too, from the
  // distance to its centre line: round ends as the points within half the
  // width of the ends, butt ends cut along the ends' radii (drawn by cairo
  // when the ring's hole closes, where the radii meet within the stroke).
  std::optional<SurfacePath::Arc> arcStroke;
  if (arc && banded && width > 0 && (g.lineCap == LineCap::kRound || arc->inner * scale_ >= 2.0))
    arcStroke = path_.singleArc();
  auto setUp = [&](cairo_t* cr) {
    cairo_set_line_width(cr, width);
    cairo_set_line_cap(cr, g.lineCap == LineCap::kRound ? CAIRO_LINE_CAP_ROUND : CAIRO_LINE_CAP_BUTT);
  };
  // The path goes into cairo within what can show: the bitmap, with what a
  // stroke's width (at a mitred corner) and the shadow reach beyond it.
  const Shadow* shadow = castingShadow();
  const double strokeReach = stroke ? width / 2 * cairo_get_miter_limit(cr_) : 0.0;
  const Box visible = reachBox(shadow, strokeReach + 1.0 / scale_);
  const double tolerance = cairo_get_tolerance(cr_) / scale_;
  const bool dashed = !plan.dash.lengths.empty();
  auto appendPath = [&](cairo_t* cr, const SurfacePath::Dash* dash) {
    path_.appendTo(cr, {-safe, -safe, safe, safe}, visible, tolerance, !stroke, dash);
    path_.clear();
  };

  // Shadows, dashes and rings go through a coverage of their own. A shape
  // rasterised here with neither needs the frame only as far as it reaches
  // on the bitmap: a small one on a large bitmap (the icon on the
  // notification's card) takes a small frame, the pixels being the same.
  int frameReach = pixelSide();
  if (!shadow && !dashed && (rasteriseRing || segment || arcStroke)) {
    double right = 0, bottom = 0;
    auto reachTo = [&](double x, double y) {
      cairo_user_to_device(cr_, &x, &y);
      right = std::max(right, x), bottom = std::max(bottom, y);
    };
    if (segment) {
      for (const Point p : {segment->from, segment->to})
        for (const double dx : {-width / 2, width / 2})
          for (const double dy : {-width / 2, width / 2}) reachTo(p.x + dx, p.y + dy);
    } else {
      for (const double dx : {-band.outer, band.outer})
        for (const double dy : {-band.outer, band.outer}) reachTo(band.centre.x + dx, band.centre.y + dy);
    }
    frameReach = static_cast<int>(std::min(std::ceil(std::max(right, bottom)) + 2.0, static_cast<double>(frameReach)));
  }
  ShadowScratch* s = shadow || dashed || rasteriseRing || segment || arcStroke
                         ? scratchFor(shadow ? *shadow : Shadow{}, frameReach)
                         : nullptr;
  if (!s && rasteriseRing) {  // no memory for the coverage: cairo fills the outline
    path_.replaceWithStrokeOutline(width);
    rasteriseRing = false;
  }
  if (!s) segment.reset(), arcStroke.reset();
  if (!s) {
    setUp(cr_);
    appendPath(cr_, dashed ? &plan.dash : nullptr);
    setSource(cr_, colour);
    stroke ? cairo_stroke(cr_) : cairo_fill(cr_);
    return;
  }
  // The path's coverage, opaque: the shadow and the paint both come from it.
  cairo_t* cov = s->coverageCr();
  setUp(cov);
  cairo_set_source_rgba(cov, 0, 0, 0, 1);
  double x1, y1, x2, y2;
  if (rasteriseRing) {
    x1 = ring.centre.x - ring.outer, y1 = ring.centre.y - ring.outer;
    x2 = ring.centre.x + ring.outer, y2 = ring.centre.y + ring.outer;
    double cx = ring.centre.x, cy = ring.centre.y;
    cairo_user_to_device(cov, &cx, &cy);
    CoverageBuffer& buffer = s->coverage();
    ringCoverage(buffer.data(), buffer.stride(), buffer.width(), buffer.height(), cx, cy, ring.outer * scale_,
                 ring.inner * scale_);
    path_.clear();
  } else if (segment) {
    Point from = segment->from, to = segment->to;
    x1 = std::min(from.x, to.x) - width / 2, y1 = std::min(from.y, to.y) - width / 2;
    x2 = std::max(from.x, to.x) + width / 2, y2 = std::max(from.y, to.y) + width / 2;
    cairo_user_to_device(cov, &from.x, &from.y);
    cairo_user_to_device(cov, &to.x, &to.y);
    CoverageBuffer& buffer = s->coverage();
    capsuleCoverage(buffer.data(), buffer.stride(), buffer.width(), buffer.height(), from, to, width / 2 * scale_);
    path_.clear();
  } else if (arcStroke) {
    x1 = y1 = std::numeric_limits<double>::max(), x2 = y2 = std::numeric_limits<double>::lowest();
    CoverageBuffer& buffer = s->coverage();
    auto paintArc = [&](const SurfacePath::Arc& a) {
      const Box b = arcBounds(a).outset(width / 2);
      x1 = std::min(x1, b.left), y1 = std::min(y1, b.top), x2 = std::max(x2, b.right), y2 = std::max(y2, b.bottom);
      Point centre = a.centre;
      cairo_user_to_device(cov, &centre.x, &centre.y);
      arcCoverage(buffer.data(), buffer.stride(), buffer.width(), buffer.height(),
                  {centre, a.radius * scale_, width / 2 * scale_, a.start, a.sweep, g.lineCap == LineCap::kRound});
    };
    if (dashed) {
      SurfacePath::Dash dash = plan.dash;
      dash.arcEnded = paintArc;
      appendPath(cov, &dash);
      cairo_new_path(cov);
    } else {
      paintArc(*arcStroke);
      path_.clear();
    }
  } else if (dashed) {
    // Dash by dash, each stroked on its own: the pixels of the dashes drawn
    // one by one (cairo rasterises many subpaths in one stroke a little
    // differently), painted once through their coverage.
    x1 = y1 = std::numeric_limits<double>::max(), x2 = y2 = std::numeric_limits<double>::lowest();
    SurfacePath::Dash dash = plan.dash;
    dash.ended = [&] {
      double left, top, right, bottom;
      cairo_path_extents(cov, &left, &top, &right, &bottom);
      x1 = std::min(x1, left), y1 = std::min(y1, top), x2 = std::max(x2, right), y2 = std::max(y2, bottom);
      cairo_stroke(cov);
    };
    appendPath(cov, &dash);
    const double reach = width / 2 * cairo_get_miter_limit(cov);
    x1 -= reach, y1 -= reach, x2 += reach, y2 += reach;
  } else {
    appendPath(cov, nullptr);
    cairo_path_extents(cov, &x1, &y1, &x2, &y2);
    if (stroke) {
      cairo_path_t* path = cairo_copy_path(cov);
      const double reach = width / 2 * (hasCorners(path) ? cairo_get_miter_limit(cov) : 1.0);
      cairo_path_destroy(path);
      x1 -= reach, y1 -= reach, x2 += reach, y2 += reach;
    }
    stroke ? cairo_stroke(cov) : cairo_fill(cov);
  }
  CoverageBuffer& coverage = s->coverage();
  if (banded) {
    // Antialiasing reaches a pixel beyond the ring's edges; two to spare.
    double cx = band.centre.x, cy = band.centre.y;
    cairo_user_to_device(cov, &cx, &cy);
    const CoverageBuffer::Band pixels{cx, cy, band.inner * scale_ - 2.0, band.outer * scale_ + 2.0};
    if (x1 <= x2) coverage.findUsed(s->framePixels(x1, y1, x2, y2), &pixels);
  } else if (x1 <= x2) {
    coverage.findUsed(s->framePixels(x1, y1, x2, y2));
  }
  const double opacity = colour.rgba().alpha;
  if (shadow) castShadow(*s, *shadow, opacity, opacity >= 1.0);

  // The colour through the coverage; where the coverage is whole, a plain fill.
  const int m = s->margin();
  coverage.cellRuns(CoverageBuffer::Cells::kPartlyCovered, 0, s->runs());
  PixelRegion partly(s->runs(), -m, -m, false);
  compositeThrough(partly.get(), s->coverageSurface(), -m, -m, colour, 1.0);
  coverage.cellRuns(CoverageBuffer::Cells::kFull, 0, s->runs());
  PixelRegion whole(s->runs(), -m, -m, false);
  fillRegion(whole.get(), colour);
  coverage.clear();
}

// Composites `colour` through `mask`, placed with its origin at device pixel
// (maskX, maskY), within `region` (device pixels). Whole-pixel placements go
// straight to pixman, clipped to the region in one call; others through a
// cairo clip.
void DrawingSurface::compositeThrough(pixman_region32_t* region, cairo_surface_t* mask, double maskX, double maskY,
                                      const Colour& colour, double opacity) {
  const pixman_box32_t* extents = pixman_region32_extents(region);
  if (!pixman_region32_not_empty(region)) return;
  const RGBA c = colour.rgba();
  const double alpha = c.alpha * opacity;
  if (maskX == std::floor(maskX) && maskY == std::floor(maskY)) {
    cairo_surface_flush(bitmap_);
    const int side = cairo_image_surface_get_width(bitmap_);
    pixman_image_t* target = pixmanImageOf(bitmap_, PIXMAN_a8r8g8b8);
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
    cairo_surface_mark_dirty(bitmap_);
    return;
  }
  cairo_save(cr_);
  cairo_identity_matrix(cr_);
  int count = 0;
  const pixman_box32_t* boxes = pixman_region32_rectangles(region, &count);
  for (int i = 0; i < count; ++i)
    cairo_rectangle(cr_, boxes[i].x1, boxes[i].y1, boxes[i].x2 - boxes[i].x1, boxes[i].y2 - boxes[i].y1);
  cairo_clip(cr_);
  cairo_set_source_rgba(cr_, c.red, c.green, c.blue, alpha);
  cairo_mask_surface(cr_, mask, maskX, maskY);
  cairo_restore(cr_);
}

// Paints `colour` over every pixel of `region` (device pixels).
void DrawingSurface::fillRegion(pixman_region32_t* region, const Colour& colour) {
  const int side = cairo_image_surface_get_width(bitmap_);
  pixman_region32_intersect_rect(region, region, 0, 0, static_cast<unsigned>(side), static_cast<unsigned>(side));
  int count = 0;
  const pixman_box32_t* boxes = pixman_region32_rectangles(region, &count);
  if (count == 0) return;
  const RGBA c = colour.rgba();
  auto channel = [&c](double v) { return static_cast<std::uint16_t>(std::lround(v * c.alpha * 65535.0)); };
  const pixman_color_t premultiplied{channel(c.red), channel(c.green), channel(c.blue), channel(1.0)};
  cairo_surface_flush(bitmap_);
  pixman_image_t* target = pixmanImageOf(bitmap_, PIXMAN_a8r8g8b8);
  pixman_image_fill_boxes(c.alpha >= 1.0 ? PIXMAN_OP_SRC : PIXMAN_OP_OVER, target, &premultiplied, count, boxes);
  pixman_image_unref(target);
  cairo_surface_mark_dirty(bitmap_);
}

// Blurs the scratch's coverage and composites it as the shadow. Where the
// operation will cover its own shadow with whole opaque paint
// (`hiddenUnderFull`), the shadow is not composited at all.
void DrawingSurface::castShadow(ShadowScratch& s, const Shadow& shadow, double opacity, bool hiddenUnderFull) {
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
  compositeThrough(region.get(), s.shadowSurface(), dx - m, dy - m, shadow.colour, opacity);
  // The composite read only tiles this blur wrote (the grown cells lie within
  // the blur's reach), so the next blur may write over what is left.
  if (whole)
    s.shadow().forget();
  else
    s.shadow().clear();
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
  if (ShadowScratch* s = shadow ? scratchFor(*shadow) : nullptr) {
    cairo_t* cov = s->coverageCr();
    cairo_save(cov);
    draw(cov);
    cairo_restore(cov);
    cairo_new_path(cov);
    s->coverage().findUsed(s->framePixels(bounds.x, bounds.y, bounds.x + bounds.width, bounds.y + bounds.height));
    castShadow(*s, *shadow, 1.0, true);
    s->coverage().clear();
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
