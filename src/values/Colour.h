#pragma once

#include <cstdint>
#include <string>

namespace velmora {

// Red, green, blue and alpha, each 0..1, not premultiplied.
struct RGBA {
  double red = 0, green = 0, blue = 0, alpha = 0;
  friend bool operator==(const RGBA&, const RGBA&) = default;
};

// A colour as the system makes them: hue (a fraction of a full turn),
// saturation, brightness and alpha. Grey system colours (black, white, dark
// grey, clear) are hue 0, saturation 0 with their white level as brightness.
struct Colour {
  double hue = 0, saturation = 0, brightness = 0, alpha = 1;

  static constexpr Colour hsba(double h, double s, double b, double a = 1.0) { return {h, s, b, a}; }
  static constexpr Colour white(double level, double a = 1.0) { return {0, 0, level, a}; }
  static constexpr Colour clearColor() { return white(0.0, 0.0); }
  static constexpr Colour blackColor() { return white(0.0); }
  static constexpr Colour whiteColor() { return white(1.0); }
  static constexpr Colour darkGrayColor() { return white(1.0 / 3.0); }
  static constexpr Colour lightGrayColor() { return white(2.0 / 3.0); }
  static constexpr Colour grayColor() { return white(0.5); }

  constexpr Colour colorWithAlphaComponent(double a) const { return {hue, saturation, brightness, a}; }

  // Exact hue/saturation/brightness to RGB conversion (hue wraps, components clamp to 0..1).
  RGBA rgba() const;
  // "#RRGGBBAA", each channel rounded to the nearest of 0..255.
  std::string hexRGBA() const;

  friend bool operator==(const Colour&, const Colour&) = default;
};

// An opaque colour from its hue in degrees, as the interface's colours are
// written, its saturation and its brightness.
constexpr Colour hsb(double degrees, double saturation, double brightness) {
  return Colour::hsba(degrees / 360.0, saturation, brightness);
}

}  // namespace velmora
