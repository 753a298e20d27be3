#pragma once

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "extension/DisplaySlot.h"
#include "platform/Environment.h"

namespace velmora {

// Where and how a slot appears in the expanded notification: its frame in
// points inside its parent, and for labels the font and colour of the text.
struct SlotLayout {
  enum class Align { kLeft, kCentre, kRight };

  std::string parent;             // empty for a top-level slot
  std::array<double, 4> frame{};  // x, y, width, height
  double fontSize = 15.0;
  std::string fontWeight = "regular";  // "regular", "bold", "heavy"
  Align align = Align::kLeft;
  Colour textColour = Colour::whiteColor();
};

// The notification's interface file: the display slots in declaration order
// with their initial state as laid out, and their layout for rendering.
struct InterfaceDescription {
  std::array<double, 2> size{360, 320};
  Colour background = Colour::blackColor();
  std::vector<DisplaySlot> slots;  // every slot of the controller, in declaration order
  std::vector<SlotLayout> layout;  // parallel to `slots`

  // "NotificationInterface.json" of the bundle. A missing or malformed file
  // (reported through the environment's warning) gives every slot its plain
  // default state: shown, square, no colour, no text, no image.
  static InterfaceDescription load(const Environment& env);
  static InterfaceDescription parse(std::string_view json, std::string* error);
};

// The controller's slots, in declaration order, with their kinds.
const std::vector<std::pair<std::string, DisplaySlot::Kind>>& declaredSlots();

}  // namespace velmora
