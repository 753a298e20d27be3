#pragma once

// What the fuzz targets share. Each target is one file of this folder that
// defines LLVMFuzzerTestOneInput: built with clang and VELMORA_FUZZ it is a
// libFuzzer program; in every build it is also replayed over its committed
// seeds and regressions by Replay.cpp, as an ordinary test.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "values/Value.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace velmora::fuzz {

// A finding: says what is wrong on standard error and stops the process, so
// that libFuzzer keeps the input as a crash and the replay test fails.
[[noreturn]] void fail(std::string_view what);
inline void check(bool holds, std::string_view what) {
  if (!holds) fail(what);
}

inline std::string_view asText(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// Whether two values are the same, kind for kind; numbers bit for bit (so
// 0.0 differs from -0.0), but any NaN is the same as any other.
bool sameValue(const Value& a, const Value& b);
bool sameDictionary(const MetricDictionary& a, const MetricDictionary& b);
// Where two dictionaries first differ, in words, for a finding's message.
std::string firstDifference(const MetricDictionary& a, const MetricDictionary& b);

// A directory of this process for the files a target writes, on a RAM disk
// when the machine has one; made on first use, removed at exit.
const std::filesystem::path& scratchDirectory();

// The bytes of a file a replay was given, as the target's input. A target
// whose fixtures are kept in another form (the store's, as readable JSON)
// defines its own.
std::vector<std::uint8_t> fuzzInputFromFile(const std::filesystem::path& file, std::vector<std::uint8_t> bytes);

}  // namespace velmora::fuzz
