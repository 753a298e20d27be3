#include "support/TestEnvironment.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>

#include "drawing/Image.h"
#include "text/IsoDate.h"

namespace velmora::testing {

TempDir::TempDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "velmora-test-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr)
    throw std::filesystem::filesystem_error("mkdtemp", std::error_code(errno, std::generic_category()));
  path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ec;
  std::filesystem::remove_all(path_, ec);
}

Date isoDate(std::string_view text) {
  auto date = parseIsoDate(text);
  EXPECT_TRUE(date.has_value()) << "not an ISO 8601 instant: " << text;
  return date.value_or(Date{});
}

TestEnvironment::TestEnvironment(std::string_view isoNow, std::string zone, std::string localeId)
    : RunCaches(static_cast<const Environment&>(*this)) {
  now = isoDate(isoNow);
  timeZone = std::move(zone);
  locale = std::move(localeId);
  languages = {"en"};
  scale = 3;
  prefsDir = dir_.path() / "prefs";
  resourcesDir = VELMORA_TEST_RESOURCES;
  warn = [this](std::string_view message) { warnings.emplace_back(message); };
  log = [this](std::string_view message) { logLines.emplace_back(message); };
}

std::vector<std::string> keysOf(const MetricDictionary& d) {
  std::vector<std::string> keys;
  for (const auto& [key, value] : d) keys.push_back(key);
  return keys;
}

std::vector<std::string> fields(std::string_view text) {
  std::vector<std::string> parts;
  for (std::size_t start = 0;;) {
    const std::size_t end = text.find('|', start);
    parts.emplace_back(text.substr(start, end - start));
    if (end == std::string_view::npos) return parts;
    start = end + 1;
  }
}

std::string textOf(const MetricDictionary& d, std::string_view key) {
  const std::string* text = d.textForKey(key);
  return text ? *text : "<absent>";
}

std::shared_ptr<UserDefaults> sharedStore(const Environment& env) {
  return UserDefaults::suite(env, Environment::kSharedSuite);
}

void putShared(const Environment& env, std::string_view key, Value value) {
  EXPECT_TRUE(sharedStore(env)->setObject(std::move(value), key)) << key;
}

double imageWidth(const std::optional<MetricDictionary>& d, std::string_view key) {
  const Value* value = d ? d->objectForKey(key) : nullptr;
  return value && value->image() ? value->image()->width() : -1;
}

void TestEnvironment::setNow(std::string_view isoNow) { now = isoDate(isoNow); }

}  // namespace velmora::testing
