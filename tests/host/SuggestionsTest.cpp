// The name a person meant: slips of one or two characters find their name,
// other words find none.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "host/Suggestions.h"

namespace velmora::host {
namespace {

TEST(Suggestions, SlipsOfTheFingersFindTheNameOtherWordsNone) {
  const std::vector<std::string> options{"--help",      "--png",    "--payload", "--images",   "--prefs",
                                         "--languages", "--locale", "--scale",   "--resources"};
  const std::vector<std::string> commands{"read", "read-type", "write", "rename", "delete", "domains"};
  const struct {
    const char* typed;
    const std::vector<std::string>& names;
    std::optional<std::string> meant;
  } cases[] = {
      {"--pn", options, "--png"},         // one dropped
      {"--pngg", options, "--png"},       // one added
      {"--PNG", options, "--png"},        // letter case
      {"-png", options, "--png"},         // dashes are no letters
      {"--imgaes", options, "--images"},  // a swap in a longer name
      {"--l", options, std::nullopt},     // too short to begin one name
      {"--res", options, "--resources"},  // the one name it begins
      {"--png", options, std::nullopt},   // a valid name is no slip
      {"raed", commands, "read"},        {"remane", commands, "rename"},
      {"copy", commands, std::nullopt},  {"re", commands, std::nullopt},  // begins three names
      {"", commands, std::nullopt},
  };
  for (const auto& c : cases) EXPECT_EQ(nearestName(c.typed, c.names), c.meant) << c.typed;
}

}  // namespace
}  // namespace velmora::host
