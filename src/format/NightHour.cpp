// The night hour lives in the extension's own standard defaults, apart from
// the shared store's copies, and is read afresh on every use.

#include "format/FormatTools.h"
#include "store/UserDefaults.h"

namespace velmora {

std::int64_t FormatTools::nightHour() {
  constexpr std::int64_t kDefaultNightHour = 21;
  if (!standardDefaults_) standardDefaults_ = UserDefaults::standard(env_);
  const std::optional<Value> stored = standardDefaults_->objectForKey("nightHour11");
  return stored ? stored->integerValue() : kDefaultNightHour;
}

}  // namespace velmora
