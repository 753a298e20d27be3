#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/Errors.h"
#include "values/Environment.h"

namespace velmora::host {

// The options every command accepts; each is empty when not given.
struct GlobalOptions {
  std::optional<std::string> prefs;
  std::optional<std::string> resources;
  std::optional<std::string> now;
  std::optional<std::string> timeZone;
  std::optional<std::string> locale;
  std::optional<std::string> languages;
  std::optional<std::string> scale;
};

// What the process was started with: its environment variables, the system
// clock and zone, and where the bundle can be found. current() reads the real
// ones; tests make their own.
struct ProcessContext {
  std::map<std::string, std::string, std::less<>> variables;
  std::function<Date()> clock;
  std::function<std::string()> systemTimeZone;
  std::filesystem::path executable;       // the program's own file; empty when it cannot be told
  std::filesystem::path buildTree;        // the tree the program was built in
  std::filesystem::path sourceResources;  // the source tree's resources/, for a program run from its build tree
  WarningSink warn;                       // empty: standard error
  WarningSink log;                        // lines of the system log, no warnings; empty: standard error

  static ProcessContext current();

  // The variable's value when it is set and not empty.
  std::optional<std::string> variable(std::string_view name) const;
};

// The bundle a run uses when --resources is not given: the one installed with
// the program, `../share/velmora` from its executable, wherever the
// installation was put; for a program run from its build tree that has none,
// the source tree's resources. Not checked: a command that needs the bundle
// says what is missing from it.
std::filesystem::path defaultResourcesDirectory(const ProcessContext& process);

// Fills the environment of a run from the options, falling back on the
// process's variables and the system (see the README for the precedence).
// Fails with a usage error for an option that cannot be understood, a
// command error when no preferences directory can be found.
Expected<Environment> makeEnvironment(const GlobalOptions& options, const ProcessContext& process);

// A POSIX locale name ("de_DE.UTF-8", "C") as an ICU locale id ("de_DE",
// "en_US"); empty when it names no locale.
std::string icuLocaleFromPosix(std::string_view posixName);

// A list of languages ("de_DE:en" from LANGUAGE, "ko,en" from --languages)
// as language tags ("de-DE", "en"), empty items dropped.
std::vector<std::string> languageTags(std::string_view list, char separator);

// Whether ICU knows the zone by this name.
bool isKnownTimeZone(std::string_view name);

}  // namespace velmora::host
