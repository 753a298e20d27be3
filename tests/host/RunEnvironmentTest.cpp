#include <gtest/gtest.h>

#include "host/RunEnvironment.h"
#include "support/TestEnvironment.h"

namespace velmora::host {
namespace {

using velmora::testing::isoDate;
using velmora::testing::TempDir;

using Options = GlobalOptions;
using Variables = std::map<std::string, std::string, std::less<>>;

// A process with the given variables, a fixed clock, and Europe/Paris as the system's zone.
ProcessContext processWith(Variables variables, std::vector<std::string>* warnings = nullptr) {
  ProcessContext process;
  process.variables = std::move(variables);
  process.clock = [] { return isoDate("2025-03-01T12:00:00Z"); };
  process.systemTimeZone = [] { return std::string("Europe/Paris"); };
  process.executable = "/nonexistent/bin/velmora";
  if (warnings) process.warn = [warnings](std::string_view message) { warnings->emplace_back(message); };
  return process;
}

// Options with one of them given.
template <typename T, typename Given>
GlobalOptions given(std::optional<T> GlobalOptions::*option, Given value) {
  GlobalOptions options;
  options.*option = value;
  return options;
}

// What one part of the environment came out as.
std::string prefsDir(const Environment& env) { return env.prefsDir.string(); }
std::string timeZone(const Environment& env) { return env.timeZone; }
std::string locale(const Environment& env) { return env.locale; }
std::string languages(const Environment& env) {
  std::string list;
  for (const auto& language : env.languages) list += (list.empty() ? "" : ",") + language;
  return list;
}

// Each part of the environment comes from its option first, then the variables, then the default. An option
// that cannot be understood is a usage error that names it.
TEST(RunEnvironment, OptionFirstThenTheVariablesThenTheDefault) {
  const struct {
    const char* name;
    GlobalOptions options;
    Variables variables;
    std::string (*part)(const Environment& env);
    const char* expected;
  } cases[] = {
      {"prefs option", given(&Options::prefs, "/opt/p"), {{"VELMORA_PREFS", "/v"}}, prefsDir, "/opt/p"},
      {"VELMORA_PREFS", {}, {{"VELMORA_PREFS", "/v"}, {"XDG_CONFIG_HOME", "/x"}}, prefsDir, "/v"},
      {"XDG_CONFIG_HOME", {}, {{"XDG_CONFIG_HOME", "/x"}}, prefsDir, "/x/velmora"},
      {"relative XDG_CONFIG_HOME ignored", {}, {{"XDG_CONFIG_HOME", "x"}}, prefsDir, "/home/ada/.config/velmora"},
      {"empty is unset", {}, {{"VELMORA_PREFS", ""}}, prefsDir, "/home/ada/.config/velmora"},
      {"no locale", {}, {}, locale, "en_US"},
      {"LANG with codeset", {}, {{"LANG", "de_DE.UTF-8"}}, locale, "de_DE"},
      {"LC_TIME beats LANG", {}, {{"LANG", "de_DE"}, {"LC_TIME", "fr_FR.UTF-8"}}, locale, "fr_FR"},
      {"LC_ALL beats all", {}, {{"LC_ALL", "ko_KR.UTF-8"}, {"LC_TIME", "fr_FR"}}, locale, "ko_KR"},
      {"POSIX is English", {}, {{"LC_ALL", "C.UTF-8"}, {"LANG", "de_DE"}}, locale, "en_US"},
      {"locale option", given(&Options::locale, "en_GB@hours=h23"), {{"LC_ALL", "de_DE"}}, locale, "en_GB@hours=h23"},
      {"languages of the locale", {}, {{"LANG", "de_DE.UTF-8"}}, languages, "de-DE"},
      {"LANGUAGE", {}, {{"LANG", "de_DE"}, {"LANGUAGE", "ko_KR:en::de"}}, languages, "ko-KR,en,de"},
      {"languages option", given(&Options::languages, " ko , en_GB "), {{"LANGUAGE", "de"}}, languages, "ko,en-GB"},
      {"zone option", given(&Options::timeZone, "Asia/Seoul"), {{"TZ", "Europe/Berlin"}}, timeZone, "Asia/Seoul"},
      {"TZ name", {}, {{"TZ", ":Europe/Berlin"}}, timeZone, "Europe/Berlin"},
      {"TZ as a zone file", {}, {{"TZ", "/usr/share/zoneinfo/Asia/Tokyo"}}, timeZone, "Asia/Tokyo"},
      {"empty TZ is UTC", {}, {{"TZ", ""}}, timeZone, "UTC"},
      {"no TZ is the system zone", {}, {}, timeZone, "Europe/Paris"},
      {"bad zone", given(&Options::timeZone, "Mars/Olympus_Mons"), {}, timeZone, "--tz"},
      {"bad locale", given(&Options::locale, "qq_ZZ"), {}, locale, "--locale"},
      {"ill-formed locale keyword", given(&Options::locale, "en_US@calenda\x80=japanese"), {}, locale, "--locale"},
      {"ill-formed LANG", {}, {{"LANG", "en_Us=h23;x.UTF-8"}}, locale, "en_US"},
      {"no languages", given(&Options::languages, " , "), {}, languages, "--languages"},
      {"bad scale", given(&Options::scale, "5"), {}, timeZone, "--scale"},
      {"bad resources", given(&Options::resources, "/nonexistent"), {}, prefsDir, "--resources"},
  };
  for (const auto& c : cases) {
    Variables variables = c.variables;
    variables.emplace("HOME", "/home/ada");
    const Expected<Environment> env = makeEnvironment(c.options, processWith(variables));
    std::string got;
    if (env)
      got = c.part(*env);
    else if (env.outcome().kind() == ErrorKind::kUsage)
      got = env.message().substr(0, env.message().find(':'));  // the option named
    EXPECT_EQ(got, c.expected) << c.name << ": " << env.message();
  }
}

TEST(RunEnvironment, APosixTzRuleFallsBackOnTheSystemZoneWithAWarning) {
  std::vector<std::string> warnings;
  const ProcessContext process = processWith({{"HOME", "/h"}, {"TZ", "CET-1CEST,M3.5.0,M10.5.0/3"}}, &warnings);
  EXPECT_EQ(makeEnvironment({}, process)->timeZone, "Europe/Paris");
  EXPECT_EQ(warnings.size(), 1u);
}

TEST(RunEnvironment, NowhereToPutThePreferencesCannotBeDone) {
  EXPECT_EQ(makeEnvironment({}, processWith({})).outcome().kind(), ErrorKind::kCommand);
}

// The installed bundle sits beside the program's own directory, wherever the installation was moved; only a program
// in its build tree, with no such bundle, uses the source tree's.
TEST(RunEnvironment, ResourcesAreFoundFromTheProgramsOwnPlace) {
  TempDir tree;
  const auto build = tree.path() / "build", source = tree.path() / "source" / "resources";
  for (const auto& dir : {build, source}) std::filesystem::create_directories(dir);
  const struct {
    const char* name;
    std::filesystem::path executable;
    std::filesystem::path expected;
  } cases[] = {
      {"in the build tree", build / "velmora", source},
      {"a tool deeper in the build tree", build / "bench" / "velmora_bench", source},
      {"outside the build tree, nothing installed", tree.path() / "elsewhere" / "bin" / "velmora",
       tree.path() / "elsewhere" / "share" / "velmora"},
      {"a sibling whose name starts like the build tree's", tree.path() / "build2" / "velmora",
       tree.path() / "share" / "velmora"},
      {"unknown", "", ""},
  };
  for (const auto& c : cases) {
    ProcessContext process = processWith({{"HOME", "/h"}});
    process.executable = c.executable;
    process.buildTree = build;
    process.sourceResources = source;
    EXPECT_EQ(makeEnvironment({}, process)->resourcesDir, c.expected) << c.name;
  }
}

}  // namespace
}  // namespace velmora::host
