#pragma once

namespace velmora {

// Points and sizes of the drawing surface, in points (not pixels): origin at
// the top-left corner, x to the right, y downward.
struct Point {
  double x = 0, y = 0;
  friend bool operator==(const Point&, const Point&) = default;
};

struct Size {
  double width = 0, height = 0;
  friend bool operator==(const Size&, const Size&) = default;
};

struct Rect {
  double x = 0, y = 0, width = 0, height = 0;
  friend bool operator==(const Rect&, const Rect&) = default;
};

}  // namespace velmora
