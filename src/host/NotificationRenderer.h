#pragma once

#include <string>
#include <vector>

#include "drawing/RunCaches.h"
#include "extension/DisplaySlot.h"
#include "extension/InterfaceDescription.h"
#include "values/Environment.h"
#include "values/Value.h"

namespace velmora::host {

// Where a slot appears on the card: its frame in points from the card's
// top-left corner, and whether it shows (a hidden parent hides its children).
struct SlotPlacement {
  Rect frame;
  bool visible = false;
};

// The placement of every slot, parallel to `slots`: frames in the
// description are relative to their parent, and the content sits below the
// app's header line.
std::vector<SlotPlacement> placeSlots(const InterfaceDescription& layout, const std::vector<DisplaySlot>& slots);

// Draws the expanded notification as a person sees it: a dark card with the
// app's header line, then every visible slot where the interface description
// lays it out (containers and chips as rounded fills, labels as text, the
// image slot's picture), in declaration order so that later slots sit on top.
// The slots are the renderer's own: each image is let go once it is drawn.
ImageRef renderNotification(RunCaches& caches, const InterfaceDescription& layout, std::vector<DisplaySlot> slots);

// The system's word in the header for a notification that has just come
// ("now", "jetzt", "今"), in the device's language: the first preferred one,
// which the system's own texts follow whatever tables the bundle has.
std::string justNowText(const Environment& env);

}  // namespace velmora::host
