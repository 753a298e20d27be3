#pragma once

#include "values/Geometry.h"

typedef struct _cairo cairo_t;
typedef struct _PangoLayout PangoLayout;

namespace velmora {

// One line of text laid out in a font, ready to be measured and drawn.
// Copies share the layout.
class TextLine {
 public:
  TextLine() = default;
  // Shares `layout`, laid out at `scale` times smaller than the line's size
  // (the set lays every text out at one size); the line is `ascent` above
  // the baseline and `descent` below it, in points of the line's own size.
  TextLine(PangoLayout* layout, double scale, double ascent, double descent);
  TextLine(const TextLine& other);
  TextLine& operator=(TextLine other) noexcept;
  ~TextLine();

  // `sizeWithAttributes:`: the advance width and the line height, in points.
  Size size() const { return size_; }
  // Ink bounds relative to the top-left corner, in points (what a shadow of the text can reach).
  Rect inkBounds() const { return ink_; }
  // From the top of the line down to its baseline, in points.
  double baseline() const { return baseline_; }
  // Whether the tail of the text gave way to an ellipsis to fit a width.
  bool isTruncated() const { return truncated_; }
  // Paints the text with its top-left corner at the current point of `cr`,
  // in the source that `cr` has set.
  void show(cairo_t* cr) const;

 private:
  PangoLayout* layout_ = nullptr;
  double scale_ = 1.0;  // from the layout's size to the line's
  Size size_;
  Rect ink_;
  Point origin_;  // where the layout's own origin lies from the top-left corner
  double baseline_ = 0.0;
  bool truncated_ = false;
};

}  // namespace velmora
