#pragma once

#include "graphics/SleepMetricsGraphics.h"

namespace velmora::testing {

// Opens up what the presentation operations do around the drawing: the palette, the store, widget mode.
class Graphics : public SleepMetricsGraphics {
 public:
  using SleepMetricsGraphics::openStore;
  using SleepMetricsGraphics::pallet;
  using SleepMetricsGraphics::SleepMetricsGraphics;
  void enterWidgetMode() { setWidgetFlags(true, false); }
};

}  // namespace velmora::testing
