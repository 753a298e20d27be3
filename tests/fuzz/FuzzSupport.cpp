#include "FuzzSupport.h"

#include <unistd.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "host/JsonForms.h"
#include "host/JsonText.h"

namespace velmora::fuzz {

void fail(std::string_view what) {
  std::fprintf(stderr, "\nfuzz finding: %.*s\n", static_cast<int>(what.size()), what.data());
  std::fflush(stderr);
  std::abort();
}

namespace {

bool sameNumber(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b) || (std::isnan(a) && std::isnan(b));
}

bool sameArray(const Array& a, const Array& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (!sameValue(a[i], b[i])) return false;
  return true;
}

}  // namespace

bool sameValue(const Value& a, const Value& b) {
  if (a.kind() != b.kind()) return false;
  switch (a.kind()) {
    case Value::Kind::kFloat:
    case Value::Kind::kDouble:
      return sameNumber(a.doubleValue(), b.doubleValue());
    case Value::Kind::kDate:
      return sameNumber(a.date()->referenceSeconds(), b.date()->referenceSeconds());
    case Value::Kind::kArray:
      return sameArray(*a.array(), *b.array());
    case Value::Kind::kDictionary:
      return sameDictionary(*a.dictionary(), *b.dictionary());
    default:
      return a == b;
  }
}

bool sameDictionary(const MetricDictionary& a, const MetricDictionary& b) {
  if (a.size() != b.size()) return false;
  for (auto i = a.begin(), j = b.begin(); i != a.end(); ++i, ++j)
    if (i->first != j->first || !sameValue(i->second, j->second)) return false;
  return true;
}

std::string firstDifference(const MetricDictionary& a, const MetricDictionary& b) {
  const host::JsonForms forms;
  auto shown = [&](const Value& v) {
    std::string text = host::writeJson(forms.toJson(v));
    text.pop_back();  // its line end
    return text;
  };
  auto i = a.begin();
  auto j = b.begin();
  for (; i != a.end() && j != b.end(); ++i, ++j) {
    if (i->first != j->first) return "key \"" + i->first + "\" where the other has \"" + j->first + "\"";
    if (!sameValue(i->second, j->second))
      return "\"" + i->first + "\": " + shown(i->second) + " and " + shown(j->second);
  }
  if (i != a.end()) return "\"" + i->first + "\" only in the first";
  if (j != b.end()) return "\"" + j->first + "\" only in the second";
  return "none";
}

const std::filesystem::path& scratchDirectory() {
  static const std::filesystem::path directory = [] {
    std::error_code ec;
    const std::filesystem::path base =
        std::filesystem::is_directory("/dev/shm", ec) ? "/dev/shm" : std::filesystem::temp_directory_path();
    std::string pattern = (base / "velmora-fuzz-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) fail("cannot make a scratch directory under " + base.string());
    std::atexit([] { std::filesystem::remove_all(scratchDirectory()); });
    return std::filesystem::path(pattern);
  }();
  return directory;
}

}  // namespace velmora::fuzz
