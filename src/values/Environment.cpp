#include "values/Environment.h"

#include <iostream>

namespace velmora {

std::filesystem::path Environment::preferencesFile(std::string_view domain) const {
  return prefsDir / (std::string(domain) + ".plist");
}

void Environment::warning(std::string_view message) const {
  if (warn)
    warn(message);
  else
    std::cerr << "velmora: warning: " << message << '\n';
}

WarningSink Environment::warningsOncePerRun() const {
  if (!warned_) warned_ = std::make_shared<std::unordered_set<std::string>>();
  return [warned = warned_, sink = warn](std::string_view message) {
    if (!warned->emplace(message).second) return;
    if (sink)
      sink(message);
    else
      std::cerr << "velmora: warning: " << message << '\n';
  };
}

void Environment::diagnostic(std::string_view message) const {
  if (log)
    log(message);
  else
    std::cerr << "velmora: log: " << message << '\n';
}

}  // namespace velmora
