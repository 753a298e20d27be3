#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "drawing/RunCaches.h"
#include "store/UserDefaults.h"
#include "values/Environment.h"
#include "values/Value.h"

namespace velmora::testing {

// A directory under the system's temporary directory, removed with its
// contents when the object goes.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// An environment with a fixed instant, zone and locale, an empty private
// preferences directory, the source tree's resources, and warnings and log
// lines collected instead of printed; and the caches of its run, so that a
// test hands the one object to what reads settings and to what draws.
class TestEnvironment : public Environment, public RunCaches {
 public:
  explicit TestEnvironment(std::string_view isoNow = "2025-01-06T15:00:00+01:00", std::string zone = "Europe/Berlin",
                           std::string localeId = "en_US");

  // Moves the clock of the run (e.g. to cross the night hour).
  void setNow(std::string_view isoNow);

  std::vector<std::string> warnings;
  std::vector<std::string> logLines;

 private:
  TempDir dir_;
};

// An instant from its ISO 8601 text; the test fails on a malformed text.
Date isoDate(std::string_view text);

// The keys of a dictionary in the order they were set.
std::vector<std::string> keysOf(const MetricDictionary& d);

// The "|"-separated fields of a text, for tables that give many short texts in one row.
std::vector<std::string> fields(std::string_view text);

// The text under `key`, or "<absent>" when the dictionary holds no text there.
std::string textOf(const MetricDictionary& d, std::string_view key);

// The SharedStore of the run, where the main app leaves its records.
std::shared_ptr<UserDefaults> sharedStore(const Environment& env);

// Sets `key` of the SharedStore; the test fails when the store cannot be written.
void putShared(const Environment& env, std::string_view key, Value value);

// The width in points of the image under `key` of a display dictionary; -1 without one.
double imageWidth(const std::optional<MetricDictionary>& d, std::string_view key = "ringsImage");

}  // namespace velmora::testing
