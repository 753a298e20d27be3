// Runs a fuzz target over files, as a test: every file named on the command
// line and every file in the directories named (a directory that does not
// exist has nothing to replay). A target that finds a fault stops the
// program; the file it was given is the last one named on standard error.
#include <algorithm>
#include <cstdio>
#include <vector>

#include "FuzzSupport.h"
#include "store/AtomicFile.h"

namespace velmora::fuzz {

__attribute__((weak)) std::vector<std::uint8_t> fuzzInputFromFile(const std::filesystem::path&,
                                                                  std::vector<std::uint8_t> bytes) {
  return bytes;
}

}  // namespace velmora::fuzz

int main(int argc, char** argv) {
  using namespace velmora::fuzz;
  std::vector<std::filesystem::path> files;
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::path given = argv[i];
    std::error_code ec;
    if (std::filesystem::is_directory(given, ec)) {
      for (const auto& entry : std::filesystem::directory_iterator(given))
        if (entry.is_regular_file()) files.push_back(entry.path());
    } else if (std::filesystem::exists(given, ec)) {
      files.push_back(given);
    }
  }
  std::sort(files.begin(), files.end());
  for (const auto& file : files) {
    std::fprintf(stderr, "replaying %s\n", file.c_str());
    const std::vector<std::uint8_t> bytes = fuzzInputFromFile(file, velmora::readWholeFile(file).bytes);
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  }
  std::printf("%zu inputs replayed\n", files.size());
  return 0;
}
