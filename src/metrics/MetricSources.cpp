#include "metrics/MetricSources.h"

#include "format/FormatTools.h"
#include "store/UserDefaults.h"

namespace velmora {

MetricSources::MetricSources(RunCaches& caches) : caches_(caches), env_(caches.environment()) {}
MetricSources::~MetricSources() = default;

void MetricSources::openStore() {
  if (!groupPrefs_) groupPrefs_ = UserDefaults::suite(env_, Environment::kSharedSuite);
}

FormatTools& MetricSources::formatTools() { return formatTools_.get(env_); }

}  // namespace velmora
