#pragma once

#include <memory>

#include "drawing/RunCaches.h"
#include "values/Environment.h"
#include "values/Lazy.h"

namespace velmora {

class FormatTools;
class UserDefaults;

// What a metric object works from: the run (its caches and settings), the
// SharedStore handle and a FormatTools. No object opens the store or makes
// the tools at creation: the request methods do, on first use, and both are
// kept for the object's life. GroupMetrics computes its records from them;
// SleepMetricsGraphics, and the presentation built on it, keep a set of their
// own.
class MetricSources {
 public:
  MetricSources(const MetricSources&) = delete;
  MetricSources& operator=(const MetricSources&) = delete;

 protected:
  // Keeps a reference to the run's caches, which must outlive it.
  explicit MetricSources(RunCaches& caches);
  ~MetricSources();

  // Opens the SharedStore unless it is open already.
  void openStore();
  FormatTools& formatTools();

  RunCaches& caches_;
  const Environment& env_;
  std::shared_ptr<UserDefaults> groupPrefs_;  // empty until openStore
  Lazy<FormatTools> formatTools_;
};

}  // namespace velmora
