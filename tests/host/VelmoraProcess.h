#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/TestEnvironment.h"

namespace velmora::testing {

// What one run of the built `velmora` program did.
struct ProcessResult {
  int status = -1;
  std::string out, err;
};

// Tests that run the built program on their own preferences, at a fixed instant, with only HOME,
// TZ=Europe/Berlin and LANG=C in its environment.
class ProgramTest : public ::testing::Test {
 protected:
  ProcessResult velmora(const std::vector<std::string>& args, const std::string& input = {}) const;
  const std::filesystem::path& home() const { return home_.path(); }
  std::filesystem::path prefs() const { return home_.path() / "prefs"; }
  // Writes a file of the test's own and returns its path.
  std::filesystem::path file(const std::string& name, const std::string& contents) const;

 private:
  TempDir home_;
};

}  // namespace velmora::testing
