#pragma once

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "drawing/Fonts.h"
#include "extension/DisplaySlot.h"
#include "values/Environment.h"
#include "values/Status.h"

namespace velmora {

// Where and how a slot appears in the expanded notification: its frame in
// points inside its parent, and for labels how the text shows in it.
struct SlotLayout {
  std::string parent;             // empty for a top-level slot
  std::array<double, 4> frame{};  // x, y, width, height
  LabelStyle text{Font::systemFontOfSize(15)};
  Colour textColour = Colour::whiteColor();
};

// The notification's interface file: the display slots in declaration order
// with their initial state as laid out, and their layout for rendering.
struct InterfaceDescription {
  std::array<double, 2> size{360, 320};
  Colour background = Colour::blackColor();
  std::vector<DisplaySlot> slots;  // every slot of the controller, in declaration order
  std::vector<SlotLayout> layout;  // parallel to `slots`

  // A description that cannot be read or understood is a failure naming the
  // file and what is wrong. Without its interface file the extension cannot
  // show anything as it should, so nothing carries on with a stand-in.
  static constexpr const char* kFileName = "NotificationInterface.json";
  // The bundle's description.
  static Result<InterfaceDescription> load(const Environment& env);
  // A description from its JSON text.
  static Result<InterfaceDescription> parse(std::string_view json);
};

// The controller's slots, in declaration order, with their kinds.
const std::vector<std::pair<std::string, DisplaySlot::Kind>>& declaredSlots();

}  // namespace velmora
