#pragma once

#include <array>
#include <string_view>

#include "platform/Environment.h"
#include "platform/Value.h"

namespace velmora::testing {

// Records as the main app leaves them in the SharedStore, for runs on Wednesday 8 January 2025.

// A night's readiness (or fuel) summary: the HRV and the waking heart rate with their baselines, under a night key.
Value readinessSummary(double hrv, double hrvBaseline, double waking, double wakingBaseline,
                       std::string_view key = "20250108");

// "bankDict" with the seconds slept in the nights ending on the 2nd to the 8th (below -1 leaves a night out) and
// any extra keys.
void putBankNights(const Environment& env, const std::array<double, 7>& seconds, MetricDictionary extra = {});

}  // namespace velmora::testing
