#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "values/Date.h"

namespace velmora {

// Where a diagnostic line goes (standard error in the host, a buffer in tests).
using WarningSink = std::function<void(std::string_view message)>;

// The environment of one run: what the operating system would give the
// extension. The host fills it from its options and environment variables;
// tests fill it with a fixed instant, zone and locale. Nothing below reads the
// system clock, TZ or the process locale on its own.
struct Environment {
  Date now;                                  // the current instant, for the whole run
  std::string timeZone = "UTC";              // IANA name of the device's zone
  std::string locale = "en_US";              // ICU locale id for dates, numbers and duration words
  std::vector<std::string> languages{"en"};  // preferred languages, first first
  int scale = 3;                             // screen scale of images
  std::filesystem::path prefsDir;            // one property-list file per preferences domain
  std::filesystem::path resourcesDir;        // the bundle: string tables and pictures
  WarningSink warn;                          // empty: warnings go to standard error
  WarningSink log;                           // the system log, which holds no warnings; empty: standard error

  static constexpr std::string_view kSharedSuite = "group.quorvane.Velmora";
  static constexpr std::string_view kStandardDomain = "com.quorvane.Velmora.NotificationContent";

  // The property-list file that holds a preferences domain.
  std::filesystem::path preferencesFile(std::string_view domain) const;
  void warning(std::string_view message) const;
  // A sink that reports each distinct message once in the whole run, however
  // many objects and store handles come upon the same problem.
  WarningSink warningsOncePerRun() const;
  // A diagnostic line of the system log: information, never labelled a warning.
  void diagnostic(std::string_view message) const;

 private:
  mutable std::shared_ptr<std::unordered_set<std::string>> warned_;
};

}  // namespace velmora
