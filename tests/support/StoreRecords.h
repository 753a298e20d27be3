#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "values/Environment.h"
#include "values/Value.h"

namespace velmora::testing {

// Records as the main app leaves them in the SharedStore, for runs on Wednesday 8 January 2025.

// Wednesday 8 January 2025, 15:00 in Berlin: the current night began on the 7th at 21:00 and ends on the
// morning of the 8th, so its summaries carry the key of the 8th.
inline constexpr const char* kAfternoon = "2025-01-08T15:00:00+01:00";
inline constexpr const char* kTonight = "20250108";

// A night's readiness (or fuel) summary: the HRV and the waking heart rate with their baselines, under a night key.
Value readinessSummary(double hrv, double hrvBaseline, double waking, double wakingBaseline,
                       std::string_view key = "20250108");

// "bankDict" with the seconds slept in the nights ending on the 2nd to the 8th (below -1 leaves a night out) and
// any extra keys.
void putBankNights(const Environment& env, const std::array<double, 7>& seconds, MetricDictionary extra = {});

// A vital sign's average, minimum and maximum last night, and the same over seven nights.
using VitalSummary = std::array<double, 6>;

// "bankDict" with the blood-oxygen and breathing summaries and a wrist temperature of `wristToday` (its score 4.2,
// its baseline 36.25), all under one night key, and the bank's own night hour if given.
void putVitalSigns(const Environment& env, const VitalSummary& spO2, const VitalSummary& respRate,
                   Value wristToday = Value::real(36.5), Value key = Value("20250108"),
                   std::optional<Value> nightHour = std::nullopt);

}  // namespace velmora::testing
