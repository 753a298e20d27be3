#pragma once

// The drawing object with what the presentation operations do around the
// drawing opened up, for the graphics tests.

#include "graphics/SleepMetricsGraphics.h"

namespace velmora::testing {

class OpenGraphics : public SleepMetricsGraphics {
 public:
  using SleepMetricsGraphics::openStore;
  using SleepMetricsGraphics::pallet;
  using SleepMetricsGraphics::SleepMetricsGraphics;
  void enterWidgetMode() { setWidgetFlags(true, false); }
};

}  // namespace velmora::testing
