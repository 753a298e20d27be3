#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "store/PropertyList.h"

// Python's property-list library, through tests/store/plist_tool.py: a
// second, independent writer and reader of the files the store keeps.
namespace velmora::testing {

inline std::string plistToolCommand(const std::vector<std::string>& args) {
  // Not __FILE__: a compiler cache may have made it relative to the build.
  const auto tool = std::filesystem::path(VELMORA_TEST_SOURCES) / "store" / "plist_tool.py";
  std::string command = "python3 '" + tool.string() + "'";
  for (const auto& arg : args) command += " '" + arg + "'";
  return command + " 2>&1";
}

// A run of the tool in the background; finish() waits and returns its output.
class PlistToolRun {
 public:
  explicit PlistToolRun(const std::vector<std::string>& args) : pipe_(::popen(plistToolCommand(args).c_str(), "r")) {}
  ~PlistToolRun() { finish(); }
  PlistToolRun(const PlistToolRun&) = delete;
  PlistToolRun& operator=(const PlistToolRun&) = delete;

  std::string finish() {
    std::string out;
    if (!pipe_) return out;
    std::array<char, 4096> buffer{};
    for (std::size_t n; (n = std::fread(buffer.data(), 1, buffer.size(), pipe_)) > 0;) out.append(buffer.data(), n);
    EXPECT_EQ(::pclose(std::exchange(pipe_, nullptr)), 0) << out;
    return out;
  }

 private:
  FILE* pipe_;
};

// The tool's name for a format, which also names the cases of a test run in each.
inline std::string formatName(PlistFormat format) { return format == PlistFormat::Binary ? "binary" : "xml"; }

inline std::string runPlistTool(const std::vector<std::string>& args) { return PlistToolRun(args).finish(); }

inline std::vector<std::uint8_t> readBytes(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void writeBytes(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline void writeText(const std::filesystem::path& path, const std::string& text) {
  writeBytes(path, std::vector<std::uint8_t>(text.begin(), text.end()));
}

}  // namespace velmora::testing
