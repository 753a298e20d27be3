#include "values/Environment.h"

#include <iostream>

#include "values/Diagnostics.h"

namespace velmora {

std::filesystem::path Environment::preferencesFile(std::string_view domain) const {
  return prefsDir / (std::string(domain) + ".plist");
}

void Environment::warning(std::string_view message) const {
  if (warn)
    warn(message);
  else
    printDiagnostic(std::cerr, Diagnostic::kWarning, message);
}

WarningSink Environment::warningsOncePerRun() const {
  if (!warned_) warned_ = std::make_shared<std::unordered_set<std::string>>();
  return [warned = warned_, sink = warn](std::string_view message) {
    if (!warned->emplace(message).second) return;
    if (sink)
      sink(message);
    else
      printDiagnostic(std::cerr, Diagnostic::kWarning, message);
  };
}

void Environment::diagnostic(std::string_view message) const {
  if (log)
    log(message);
  else
    printDiagnostic(std::cerr, Diagnostic::kLog, message);
}

}  // namespace velmora
