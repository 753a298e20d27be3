#include "drawing/TextLine.h"

#include <pango/pangocairo.h>

#include <utility>

namespace velmora {

TextLine::TextLine(PangoLayout* layout, double scale, double ascent, double descent) : layout_(layout), scale_(scale) {
  if (!layout_) return;
  g_object_ref(layout_);
  PangoRectangle ink, logical;
  pango_layout_get_extents(layout_, &ink, &logical);
  auto scaled = [&](int pangoUnits) { return static_cast<double>(pangoUnits) / PANGO_SCALE * scale_; };
  const double top = scaled(pango_layout_get_baseline(layout_)) - ascent;
  size_ = {scaled(logical.width), ascent + descent};
  origin_ = {-scaled(logical.x), -top};
  ink_ = {scaled(ink.x - logical.x), scaled(ink.y) - top, scaled(ink.width), scaled(ink.height)};
  baseline_ = ascent;
  truncated_ = pango_layout_is_ellipsized(layout_);
}

TextLine::TextLine(const TextLine& other)
    : layout_(other.layout_),
      scale_(other.scale_),
      size_(other.size_),
      ink_(other.ink_),
      origin_(other.origin_),
      baseline_(other.baseline_),
      truncated_(other.truncated_) {
  if (layout_) g_object_ref(layout_);
}

TextLine& TextLine::operator=(TextLine other) noexcept {
  std::swap(layout_, other.layout_);
  std::swap(scale_, other.scale_);
  std::swap(size_, other.size_);
  std::swap(ink_, other.ink_);
  std::swap(origin_, other.origin_);
  std::swap(baseline_, other.baseline_);
  std::swap(truncated_, other.truncated_);
  return *this;
}

TextLine::~TextLine() {
  if (layout_) g_object_unref(layout_);
}

void TextLine::show(cairo_t* cr) const {
  if (!layout_ || size_.width <= 0) return;
  cairo_rel_move_to(cr, origin_.x, origin_.y);
  double x = 0, y = 0;
  cairo_get_current_point(cr, &x, &y);
  cairo_save(cr);
  cairo_translate(cr, x, y);
  cairo_scale(cr, scale_, scale_);
  cairo_move_to(cr, 0, 0);
  pango_cairo_show_layout(cr, layout_);
  cairo_restore(cr);
}

}  // namespace velmora
