#include <gtest/gtest.h>

#include "host/Errors.h"
#include "host/RunEnvironment.h"
#include "support/TestEnvironment.h"

namespace velmora::host {
namespace {

using velmora::testing::isoDate;
using velmora::testing::TempDir;

using Variables = std::map<std::string, std::string, std::less<>>;

// A process with the given variables, a fixed clock, and Europe/Paris as the system's zone.
ProcessContext processWith(Variables variables, std::vector<std::string>* warnings = nullptr) {
  ProcessContext process;
  process.variables = std::move(variables);
  process.clock = [] { return isoDate("2025-03-01T12:00:00Z"); };
  process.systemTimeZone = [] { return std::string("Europe/Paris"); };
  process.installedResources = "/nonexistent/share/velmora";
  if (warnings) process.warn = [warnings](std::string_view message) { warnings->emplace_back(message); };
  return process;
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

struct PrecedenceCase {
  const char* name;
  void (*set)(GlobalOptions& options);
  Variables variables;
  std::string (*part)(const Environment& env);
  const char* expected;
};

class Precedence : public ::testing::TestWithParam<PrecedenceCase> {};

TEST_P(Precedence, OptionFirstThenTheVariablesThenTheDefault) {
  const PrecedenceCase& c = GetParam();
  GlobalOptions options;
  if (c.set) c.set(options);
  Variables variables = c.variables;
  variables.emplace("HOME", "/home/ada");
  EXPECT_EQ(c.part(makeEnvironment(options, processWith(variables))), c.expected);
}

constexpr auto kNoOption = nullptr;

INSTANTIATE_TEST_SUITE_P(
    Environment, Precedence,
    ::testing::Values(
        PrecedenceCase{
            "prefsOption", [](GlobalOptions& o) { o.prefs = "/opt/p"; }, {{"VELMORA_PREFS", "/v"}}, prefsDir, "/opt/p"},
        PrecedenceCase{"velmoraPrefs", kNoOption, {{"VELMORA_PREFS", "/v"}, {"XDG_CONFIG_HOME", "/x"}}, prefsDir, "/v"},
        PrecedenceCase{"xdgConfigHome", kNoOption, {{"XDG_CONFIG_HOME", "/x"}}, prefsDir, "/x/velmora"},
        PrecedenceCase{
            "relativeXdgIgnored", kNoOption, {{"XDG_CONFIG_HOME", "x"}}, prefsDir, "/home/ada/.config/velmora"},
        PrecedenceCase{"emptyIsUnset", kNoOption, {{"VELMORA_PREFS", ""}}, prefsDir, "/home/ada/.config/velmora"},
        PrecedenceCase{"noLocale", kNoOption, {}, locale, "en_US"},
        PrecedenceCase{"langWithCodeset", kNoOption, {{"LANG", "de_DE.UTF-8"}}, locale, "de_DE"},
        PrecedenceCase{"lcTimeBeatsLang", kNoOption, {{"LANG", "de_DE"}, {"LC_TIME", "fr_FR.UTF-8"}}, locale, "fr_FR"},
        PrecedenceCase{"lcAllBeatsAll", kNoOption, {{"LC_ALL", "ko_KR.UTF-8"}, {"LC_TIME", "fr_FR"}}, locale, "ko_KR"},
        PrecedenceCase{"posixIsEnglish", kNoOption, {{"LC_ALL", "C.UTF-8"}, {"LANG", "de_DE"}}, locale, "en_US"},
        PrecedenceCase{"modifierDropped", kNoOption, {{"LANG", "sr_RS.UTF-8@latin"}}, locale, "sr_RS"},
        PrecedenceCase{"localeOption",
                       [](GlobalOptions& o) { o.locale = "en_GB@hours=h23"; },
                       {{"LC_ALL", "de_DE"}},
                       locale,
                       "en_GB@hours=h23"},
        PrecedenceCase{"languagesOfTheLocale", kNoOption, {{"LANG", "de_DE.UTF-8"}}, languages, "de-DE"},
        PrecedenceCase{
            "languageVariable", kNoOption, {{"LANG", "de_DE"}, {"LANGUAGE", "ko_KR:en::de"}}, languages, "ko-KR,en,de"},
        PrecedenceCase{"languagesOption",
                       [](GlobalOptions& o) { o.languages = " ko , en_GB "; },
                       {{"LANGUAGE", "de"}},
                       languages,
                       "ko,en-GB"},
        PrecedenceCase{"zoneOption",
                       [](GlobalOptions& o) { o.timeZone = "Asia/Seoul"; },
                       {{"TZ", "Europe/Berlin"}},
                       timeZone,
                       "Asia/Seoul"},
        PrecedenceCase{"tzName", kNoOption, {{"TZ", ":Europe/Berlin"}}, timeZone, "Europe/Berlin"},
        PrecedenceCase{"tzAsZoneFile", kNoOption, {{"TZ", "/usr/share/zoneinfo/Asia/Tokyo"}}, timeZone, "Asia/Tokyo"},
        PrecedenceCase{"emptyTzIsUtc", kNoOption, {{"TZ", ""}}, timeZone, "UTC"},
        PrecedenceCase{"noTzIsTheSystemZone", kNoOption, {}, timeZone, "Europe/Paris"}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(RunEnvironment, APosixTzRuleFallsBackOnTheSystemZoneWithAWarning) {
  std::vector<std::string> warnings;
  const ProcessContext process = processWith({{"HOME", "/h"}, {"TZ", "CET-1CEST,M3.5.0,M10.5.0/3"}}, &warnings);
  EXPECT_EQ(makeEnvironment({}, process).timeZone, "Europe/Paris");
  EXPECT_EQ(warnings.size(), 1u);
}

TEST(RunEnvironment, NowhereToPutThePreferencesCannotBeDone) {
  EXPECT_THROW(makeEnvironment({}, processWith({})), CommandError);
}

TEST(RunEnvironment, ResourcesAreTheSourceTreesWhenItExists) {
  TempDir source;
  ProcessContext process = processWith({{"HOME", "/h"}});
  EXPECT_EQ(makeEnvironment({}, process).resourcesDir, "/nonexistent/share/velmora");
  process.sourceResources = source.path();
  EXPECT_EQ(makeEnvironment({}, process).resourcesDir, source.path());
}

struct BadOptionCase {
  const char* name;
  void (*set)(GlobalOptions& options);
  const char* message;
};

class BadOptions : public ::testing::TestWithParam<BadOptionCase> {};

TEST_P(BadOptions, AreUsageErrorsNamingTheOption) {
  GlobalOptions options;
  GetParam().set(options);
  try {
    makeEnvironment(options, processWith({{"HOME", "/h"}}));
    FAIL() << "accepted";
  } catch (const UsageError& error) {
    EXPECT_NE(std::string(error.what()).find(GetParam().message), std::string::npos) << error.what();
  }
}

INSTANTIATE_TEST_SUITE_P(
    Options, BadOptions,
    ::testing::Values(BadOptionCase{"now", [](GlobalOptions& o) { o.now = "2025-01-06 22:30"; }, "--now"},
                      BadOptionCase{"zone", [](GlobalOptions& o) { o.timeZone = "Mars/Olympus_Mons"; }, "--tz"},
                      BadOptionCase{"locale", [](GlobalOptions& o) { o.locale = "qq_ZZ"; }, "--locale"},
                      BadOptionCase{"languages", [](GlobalOptions& o) { o.languages = " , "; }, "--languages"},
                      BadOptionCase{"scale", [](GlobalOptions& o) { o.scale = 5; }, "--scale"},
                      BadOptionCase{"resources", [](GlobalOptions& o) { o.resources = "/nonexistent"; },
                                    "--resources"}),
    [](const auto& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace velmora::host
