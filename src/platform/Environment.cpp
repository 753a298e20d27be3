#include "platform/Environment.h"

#include <iostream>

#include "platform/Bundle.h"

namespace velmora {

std::filesystem::path Environment::preferencesFile(std::string_view domain) const {
  return prefsDir / (std::string(domain) + ".plist");
}

const Bundle& Environment::bundle() const {
  if (!bundle_) bundle_ = std::make_shared<const Bundle>(resourcesDir, languages, warn);
  return *bundle_;
}

void Environment::warning(std::string_view message) const {
  if (warn)
    warn(message);
  else
    std::cerr << "velmora: warning: " << message << '\n';
}

void Environment::diagnostic(std::string_view message) const {
  if (warn)
    warn(message);
  else
    std::cerr << "velmora: " << message << '\n';
}

}  // namespace velmora
