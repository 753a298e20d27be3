#pragma once

#include <cmath>
#include <optional>
#include <vector>

#include "values/Colour.h"
#include "values/Geometry.h"

namespace velmora {

// `CGLineCap`: the two caps the images use.
enum class LineCap { kButt = 0, kRound = 1 };

// A drop shadow: cast by everything painted while it is set. Offsets and blur
// are in points. A positive width moves the shadow right, a positive height
// moves it DOWN the image (the image's y axis), for every image alike. The
// blur is a Gaussian of standard deviation blur / 2.
struct Shadow {
  Size offset;
  double blur = 0.0;
  Colour colour = kDefaultColour;

  // `CGContextSetShadow`'s colour: black at one third opacity.
  static constexpr Colour kDefaultColour = Colour::white(0.0, 1.0 / 3.0);
  // A shadow whose colour is clear casts nothing, and so does one whose
  // offset or blur is no number (or infinite: it would fall nowhere).
  bool casts() const {
    return colour.rgba().alpha > 0.0 && std::isfinite(offset.width) && std::isfinite(offset.height) &&
           std::isfinite(blur);
  }
  friend bool operator==(const Shadow&, const Shadow&) = default;
};

// The graphics state of a drawing surface: what its painting operations paint
// with. Saved and restored as a whole; the path is not part of it.
struct GraphicsState {
  Colour strokeColour = Colour::blackColor();
  Colour fillColour = Colour::blackColor();
  double lineWidth = 1.0;
  LineCap lineCap = LineCap::kButt;
  std::vector<double> dashLengths;  // none: solid
  double dashPhase = 0.0;
  std::optional<Shadow> shadow;
};

}  // namespace velmora
