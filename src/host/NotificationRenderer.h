#pragma once

#include <vector>

#include "extension/DisplaySlot.h"
#include "extension/InterfaceDescription.h"
#include "platform/Environment.h"
#include "platform/Value.h"

namespace velmora::host {

// Draws the expanded notification as a person sees it: a dark card with the
// app's header line, then every visible slot where the interface description
// lays it out (containers and chips as rounded fills, labels as text, the
// image slot's picture), in declaration order so that later slots sit on top.
ImageRef renderNotification(const Environment& env, const InterfaceDescription& layout,
                            const std::vector<DisplaySlot>& slots);

}  // namespace velmora::host
