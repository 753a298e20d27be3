// The manual page and the bash completion the build makes from the command
// line: every command and option is in the page, and bash completes what the
// program takes at each place of a command line.
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "host/Documentation.h"
#include "host/Files.h"

namespace velmora::host {
namespace {

const std::filesystem::path kBuild = std::filesystem::path(VELMORA_TEST_BINARY).parent_path();

std::string output(const std::string& command) {
  std::string out;
  FILE* pipe = ::popen(command.c_str(), "r");
  if (!pipe) return out;
  char buffer[4096];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
  ::pclose(pipe);
  return out;
}

// What bash offers for the last word of `line` (a trailing space starts a new, empty word), from a script
// that sources the completion and calls it as bash does.
std::string completed(const std::filesystem::path& script, const std::string& line) {
  std::string out = output("bash '" + script.string() + "' '" + line + "' 2>&1");
  while (!out.empty() && out.back() == '\n') out.pop_back();
  return out;
}

TEST(Documentation, BashCompletesWhatTheProgramTakesWhereItTakesIt) {
  if (!VELMORA_TEST_DOCS) GTEST_SKIP() << "the build was configured with -DVELMORA_DOCS=OFF";
  const std::filesystem::path dir = std::filesystem::temp_directory_path() / "velmora-completion-dir";
  std::filesystem::create_directories(dir / "inner");
  const std::string d = dir.string();
  const auto script = dir / "complete.sh";
  ASSERT_TRUE(
      writeFile(script, "source '" + (kBuild / "velmora.bash").string() + "'\n" + R"(read -ra COMP_WORDS <<< "$1"
[[ $1 == *' ' ]] && COMP_WORDS+=('')
COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
_velmora
echo "${COMPREPLY[*]}"
)"));
  const struct {
    std::string line;
    std::string offered;
  } cases[] = {
      {"velmora ", "notify request defaults"},
      {"velmora --tz Europe/Berlin n", "notify"},                 // past an option and its value
      {"velmora --sc", "--scale"},                                // the program's options
      {"velmora notify ", "BEDTIME TIMEASLEEP"},                  // the categories the extension handles
      {"velmora notify BEDTIME --p", "--payload --png --prefs"},  // the command's and the program's
      {"velmora request swiftSleepBankImage GroupMetrics.requestQ",
       "GroupMetrics.requestQuality GroupMetrics.requestQualityForSwift"},  // every operation, again and again
      {"velmora defaults re", "read read-type rename"},
      {"velmora defaults write st", "standard"},
      {"velmora defaults write standard key -a", "-array -array-add"},  // the type flags begin with "-"
      {"velmora defaults write standard key -array -", ""},             // the words of a value, as they stand
      {"velmora defaults export shared --format ", "json xml1 binary1"},
      {"velmora --tz Asia/Seo", "Asia/Seoul"},
      {"velmora --prefs " + d + "/inn", d + "/inner"},  // a directory
      {"velmora --now ", ""},                           // an instant: nothing to offer
  };
  for (const auto& c : cases) EXPECT_EQ(completed(script, c.line), c.offered) << c.line;
  std::filesystem::remove_all(dir);
}

TEST(Documentation, TheManualPageHasEveryCommandAndOptionAndNoBuildPath) {
  if (!VELMORA_TEST_DOCS) GTEST_SKIP() << "the build was configured with -DVELMORA_DOCS=OFF";
  std::string page = *readFile(kBuild / "velmora.1");
  for (std::size_t at; (at = page.find("\\-")) != std::string::npos;) page.replace(at, 2, "-");
  EXPECT_NE(page.find(".SH NAME\nvelmora - expand a sleep tracker's notifications"), std::string::npos);
  EXPECT_EQ(page.find(VELMORA_TEST_RESOURCES), std::string::npos) << "the page names the source tree";

  const CommandLine commandLine("");
  std::function<void(const CLI::App&, const std::string&)> check = [&](const CLI::App& command,
                                                                       const std::string& path) {
    if (command.get_parent()) {
      EXPECT_NE(page.find(".SS \"" + path), std::string::npos) << path;
    }
    for (const CLI::Option* option : command.get_options())
      for (const std::string& name : option->get_lnames())
        EXPECT_NE(page.find("\\fB--" + name + "\\fR"), std::string::npos) << path << " --" << name;
    for (const CLI::App* sub : command.get_subcommands([](const CLI::App*) { return true; }))
      check(*sub, path + " " + sub->get_name());
  };
  check(commandLine.app(), "velmora");
  for (const char* section : {"EXAMPLES", "ENVIRONMENT", "\"EXIT STATUS\""})
    EXPECT_NE(page.find(".SH " + std::string(section)), std::string::npos) << section;
}

}  // namespace
}  // namespace velmora::host
