#pragma once

#include <optional>
#include <string>

#include "values/Colour.h"
#include "values/Value.h"

namespace velmora {

// One outlet of the notification's interface: a container or an indicator
// (a coloured chip) can be hidden, rounded and coloured; a label has a text;
// an image slot has an image.
struct DisplaySlot {
  enum class Kind { kContainer, kIndicator, kLabel, kImage };

  std::string name;
  Kind kind = Kind::kLabel;
  bool hidden = false;
  double cornerRadius = 0.0;
  std::optional<Colour> backgroundColour;  // containers and indicators
  std::optional<std::string> text;         // labels: no text vs. the empty text
  ImageRef image;                          // image slots

  friend bool operator==(const DisplaySlot&, const DisplaySlot&) = default;
};

// "container", "indicator", "label", "image".
const char* kindName(DisplaySlot::Kind kind);

}  // namespace velmora
