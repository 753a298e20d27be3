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

struct PrefsCase {
  const char* name;
  std::optional<std::string> option;
  Variables variables;
  const char* dir;
};

class PreferencesDirectory : public ::testing::TestWithParam<PrefsCase> {};

TEST_P(PreferencesDirectory, FollowsTheChainOfOptionAndVariables) {
  GlobalOptions options;
  options.prefs = GetParam().option;
  EXPECT_EQ(makeEnvironment(options, processWith(GetParam().variables)).prefsDir, GetParam().dir);
}

INSTANTIATE_TEST_SUITE_P(
    Chain, PreferencesDirectory,
    ::testing::Values(
        PrefsCase{"optionFirst", "/opt/p", {{"VELMORA_PREFS", "/v"}, {"HOME", "/home/ada"}}, "/opt/p"},
        PrefsCase{"thenVelmoraPrefs", {}, {{"VELMORA_PREFS", "/v"}, {"XDG_CONFIG_HOME", "/x"}}, "/v"},
        PrefsCase{"thenXdgConfigHome", {}, {{"XDG_CONFIG_HOME", "/x"}, {"HOME", "/home/ada"}}, "/x/velmora"},
        PrefsCase{"relativeXdgIsIgnored",
                  {},
                  {{"XDG_CONFIG_HOME", "rel"}, {"HOME", "/home/ada"}},
                  "/home/ada/.config/velmora"},
        PrefsCase{
            "emptyVariablesAreUnset", {}, {{"VELMORA_PREFS", ""}, {"HOME", "/home/ada"}}, "/home/ada/.config/velmora"}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(PreferencesDirectory, NowhereToPutThemCannotBeDone) {
  EXPECT_THROW(makeEnvironment({}, processWith({})), CommandError);
}

struct LocaleCase {
  const char* name;
  std::optional<std::string> option;
  Variables variables;
  const char* locale;
  std::vector<std::string> languages;
};

class LocaleAndLanguages : public ::testing::TestWithParam<LocaleCase> {};

TEST_P(LocaleAndLanguages, ComeFromTheOptionElseTheVariables) {
  Variables variables = GetParam().variables;
  variables["HOME"] = "/home/ada";
  GlobalOptions options;
  options.locale = GetParam().option;
  const Environment env = makeEnvironment(options, processWith(variables));
  EXPECT_EQ(env.locale, GetParam().locale);
  EXPECT_EQ(env.languages, GetParam().languages);
}

INSTANTIATE_TEST_SUITE_P(
    Precedence, LocaleAndLanguages,
    ::testing::Values(
        LocaleCase{"nothingSet", {}, {}, "en_US", {"en-US"}},
        LocaleCase{"langWithCodeset", {}, {{"LANG", "de_DE.UTF-8"}}, "de_DE", {"de-DE"}},
        LocaleCase{"lcTimeBeatsLang", {}, {{"LANG", "de_DE.UTF-8"}, {"LC_TIME", "fr_FR.UTF-8"}}, "fr_FR", {"fr-FR"}},
        LocaleCase{"lcAllBeatsAll", {}, {{"LC_ALL", "ko_KR.UTF-8"}, {"LC_TIME", "fr_FR"}}, "ko_KR", {"ko-KR"}},
        LocaleCase{"posixIsEnglish", {}, {{"LC_ALL", "C.UTF-8"}, {"LANG", "de_DE"}}, "en_US", {"en-US"}},
        LocaleCase{"modifierDropped", {}, {{"LANG", "sr_RS.UTF-8@latin"}}, "sr_RS", {"sr-RS"}},
        LocaleCase{"optionBeatsVariables", "en_GB@hours=h23", {{"LC_ALL", "de_DE"}}, "en_GB@hours=h23", {"en-GB"}},
        LocaleCase{"languageList",
                   {},
                   {{"LANG", "de_DE.UTF-8"}, {"LANGUAGE", "ko_KR:en::de"}},
                   "de_DE",
                   {"ko-KR", "en", "de"}}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(LocaleAndLanguages, TheLanguagesOptionBeatsLanguage) {
  GlobalOptions options;
  options.languages = " ko , en_GB ";
  const Environment env = makeEnvironment(options, processWith({{"HOME", "/h"}, {"LANGUAGE", "de"}}));
  EXPECT_EQ(env.languages, (std::vector<std::string>{"ko", "en-GB"}));
}

struct ZoneCase {
  const char* name;
  std::optional<std::string> option;
  Variables variables;
  const char* zone;
  bool warned;
};

class TimeZone : public ::testing::TestWithParam<ZoneCase> {};

TEST_P(TimeZone, ComesFromTheOptionElseTzElseTheSystem) {
  Variables variables = GetParam().variables;
  variables["HOME"] = "/home/ada";
  GlobalOptions options;
  options.timeZone = GetParam().option;
  std::vector<std::string> warnings;
  EXPECT_EQ(makeEnvironment(options, processWith(variables, &warnings)).timeZone, GetParam().zone);
  EXPECT_EQ(!warnings.empty(), GetParam().warned);
}

INSTANTIATE_TEST_SUITE_P(
    Precedence, TimeZone,
    ::testing::Values(ZoneCase{"optionFirst", "Asia/Seoul", {{"TZ", "Europe/Berlin"}}, "Asia/Seoul", false},
                      ZoneCase{"tzName", {}, {{"TZ", "Europe/Berlin"}}, "Europe/Berlin", false},
                      ZoneCase{"tzWithColon", {}, {{"TZ", ":America/New_York"}}, "America/New_York", false},
                      ZoneCase{"tzAsZoneFile", {}, {{"TZ", "/usr/share/zoneinfo/Asia/Tokyo"}}, "Asia/Tokyo", false},
                      ZoneCase{"emptyTzIsUtc", {}, {{"TZ", ""}}, "UTC", false},
                      ZoneCase{"posixRuleFallsBack", {}, {{"TZ", "CET-1CEST,M3.5.0,M10.5.0/3"}}, "Europe/Paris", true},
                      ZoneCase{"noTz", {}, {}, "Europe/Paris", false}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(RunEnvironment, NowIsTheOptionElseTheClock) {
  const ProcessContext process = processWith({{"HOME", "/h"}});
  EXPECT_EQ(makeEnvironment({}, process).now, isoDate("2025-03-01T12:00:00Z"));
  GlobalOptions options;
  options.now = "2025-01-06T22:30:00.250+01:00";
  EXPECT_EQ(makeEnvironment(options, process).now, isoDate("2025-01-06T21:30:00.250Z"));
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
                      BadOptionCase{"nowWithoutZone", [](GlobalOptions& o) { o.now = "2025-01-06T22:30:00"; }, "--now"},
                      BadOptionCase{"zone", [](GlobalOptions& o) { o.timeZone = "Mars/Olympus_Mons"; }, "--tz"},
                      BadOptionCase{"locale", [](GlobalOptions& o) { o.locale = "qq_ZZ"; }, "--locale"},
                      BadOptionCase{"languages", [](GlobalOptions& o) { o.languages = " , "; }, "--languages"},
                      BadOptionCase{"scale", [](GlobalOptions& o) { o.scale = 5; }, "--scale"},
                      BadOptionCase{"resources", [](GlobalOptions& o) { o.resources = "/nonexistent"; },
                                    "--resources"}),
    [](const auto& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace velmora::host
