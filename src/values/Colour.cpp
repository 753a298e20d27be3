#include "values/Colour.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace velmora {

namespace {
double clamp01(double v) { return std::isnan(v) ? 0.0 : std::clamp(v, 0.0, 1.0); }
}  // namespace

RGBA Colour::rgba() const {
  const double s = clamp01(saturation);
  const double v = clamp01(brightness);
  const double a = clamp01(alpha);
  double h = std::isfinite(hue) ? hue - std::floor(hue) : 0.0;  // wrap into [0, 1)
  if (s == 0.0) return {v, v, v, a};
  h *= 6.0;
  const int sector = static_cast<int>(std::floor(h)) % 6;
  const double f = h - std::floor(h);
  const double p = v * (1.0 - s);
  const double q = v * (1.0 - s * f);
  const double t = v * (1.0 - s * (1.0 - f));
  switch (sector) {
    case 0:
      return {v, t, p, a};
    case 1:
      return {q, v, p, a};
    case 2:
      return {p, v, t, a};
    case 3:
      return {p, q, v, a};
    case 4:
      return {t, p, v, a};
    default:
      return {v, p, q, a};
  }
}

std::string Colour::hexRGBA() const {
  const RGBA c = rgba();
  auto byte = [](double x) { return static_cast<unsigned>(std::lround(x * 255.0)); };
  char buf[10];
  std::snprintf(buf, sizeof buf, "#%02X%02X%02X%02X", byte(c.red), byte(c.green), byte(c.blue), byte(c.alpha));
  return buf;
}

}  // namespace velmora
