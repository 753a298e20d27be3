#pragma once

#include <optional>

#include "platform/Environment.h"
#include "platform/Value.h"

namespace velmora {

// The request and widget operations that turn metric records into display
// dictionaries. The bedtime and sleep-bank presentations are not built yet:
// until they are, both requests yield nothing, which the notification shows
// as its no-data face.
class SleepMetricsUI {
 public:
  explicit SleepMetricsUI(const Environment& env) : env_(env) {}

  std::optional<MetricDictionary> requestLatestBedtime() { return std::nullopt; }
  std::optional<MetricDictionary> requestSleepBankRings() { return std::nullopt; }

 private:
  [[maybe_unused]] const Environment& env_;
};

}  // namespace velmora
