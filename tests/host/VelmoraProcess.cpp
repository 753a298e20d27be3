#include "VelmoraProcess.h"

#include <sys/wait.h>

#include <cstdio>

#include "host/Files.h"

namespace velmora::testing {

namespace {

std::string shellQuoted(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

}  // namespace

ProcessResult ProgramTest::velmora(const std::vector<std::string>& args, const std::string& input) const {
  TempDir io;
  const auto in = io.path() / "in", err = io.path() / "err";
  EXPECT_TRUE(host::writeFile(in, input));
  std::string command = "env -i HOME=" + shellQuoted(home().string()) + " TZ=Europe/Berlin LANG=C " +
                        shellQuoted(VELMORA_TEST_BINARY) + " --prefs " + shellQuoted(prefs().string()) +
                        " --now 2025-01-06T15:00:00+01:00 --resources " + shellQuoted(VELMORA_TEST_RESOURCES);
  for (const std::string& arg : args) command += " " + shellQuoted(arg);
  command += " <" + shellQuoted(in.string()) + " 2>" + shellQuoted(err.string());

  ProcessResult result;
  FILE* pipe = ::popen(command.c_str(), "r");
  if (!pipe) return result;
  char buffer[4096];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) result.out.append(buffer, n);
  const int wait = ::pclose(pipe);
  result.status = WIFEXITED(wait) ? WEXITSTATUS(wait) : -1;
  const Result<std::string> errors = host::readFile(err);
  result.err = errors ? *errors : errors.message();
  return result;
}

std::filesystem::path ProgramTest::file(const std::string& name, const std::string& contents) const {
  const auto path = home_.path() / name;
  EXPECT_TRUE(host::writeFile(path, contents));
  return path;
}

}  // namespace velmora::testing
