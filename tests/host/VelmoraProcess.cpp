#include "VelmoraProcess.h"

#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <iterator>

#include "support/TestEnvironment.h"

namespace velmora::testing {

namespace {

std::string shellQuoted(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

}  // namespace

ProcessResult runVelmora(const std::vector<std::string>& args, const std::filesystem::path& home,
                         const std::string& input) {
  TempDir io;
  std::ofstream(io.path() / "in", std::ios::binary) << input;
  std::string command =
      "env -i HOME=" + shellQuoted(home.string()) + " TZ=Europe/Berlin LANG=C " + shellQuoted(VELMORA_TEST_BINARY);
  for (const std::string& arg : args) command += " " + shellQuoted(arg);
  command += " <" + shellQuoted((io.path() / "in").string()) + " 2>" + shellQuoted((io.path() / "err").string());

  ProcessResult result;
  FILE* pipe = ::popen(command.c_str(), "r");
  if (!pipe) return result;
  char buffer[4096];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) result.out.append(buffer, n);
  const int wait = ::pclose(pipe);
  result.status = WIFEXITED(wait) ? WEXITSTATUS(wait) : -1;
  std::ifstream err(io.path() / "err", std::ios::binary);
  result.err.assign(std::istreambuf_iterator<char>(err), {});
  return result;
}

ProcessResult ProgramTest::velmora(const std::vector<std::string>& args, const std::string& input) const {
  std::vector<std::string> all{"--prefs",     prefs().string(),      "--now", "2025-01-06T15:00:00+01:00",
                               "--resources", VELMORA_TEST_RESOURCES};
  all.insert(all.end(), args.begin(), args.end());
  return runVelmora(all, home_.path(), input);
}

std::filesystem::path ProgramTest::file(const std::string& name, const std::string& contents) const {
  const auto path = home_.path() / name;
  std::ofstream(path, std::ios::binary) << contents;
  return path;
}

}  // namespace velmora::testing
