#include "values/Value.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <unordered_map>

#include "values/SaturatingCast.h"

namespace velmora {

namespace {

constexpr std::size_t kArray = 9;
constexpr std::size_t kDictionary = 10;

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; }

// The leading decimal number of a text, as the platform's text-to-number
// readers take it: blanks skipped, then an optional sign, digits, a point and
// an exponent; nothing readable gives 0.
double leadingDouble(const std::string& s) {
  std::size_t i = 0;
  while (i < s.size() && isBlank(s[i])) ++i;
  const char* start = s.c_str() + i;
  // strtod also reads hexadecimal, "inf" and "nan"; the platform reads only decimals.
  std::size_t j = i;
  if (j < s.size() && (s[j] == '+' || s[j] == '-')) ++j;
  if (j >= s.size() || !(std::isdigit(static_cast<unsigned char>(s[j])) || s[j] == '.')) return 0.0;
  if (s.compare(j, 2, "0x") == 0 || s.compare(j, 2, "0X") == 0) return 0.0;
  char* end = nullptr;
  const double v = std::strtod(start, &end);
  return end == start ? 0.0 : v;
}

std::int64_t leadingInteger(const std::string& s) {
  std::size_t i = 0;
  while (i < s.size() && isBlank(s[i])) ++i;
  bool negative = false;
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) negative = s[i++] == '-';
  std::int64_t v = 0;
  constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
  for (; i < s.size() && std::isdigit(static_cast<unsigned char>(s[i])); ++i) {
    const int digit = s[i] - '0';
    if (v > (kMax - digit) / 10) return negative ? std::numeric_limits<std::int64_t>::min() : kMax;
    v = v * 10 + digit;
  }
  return negative ? -v : v;
}

// The platform's text-to-boolean reading: true when the text starts (after
// blanks, a sign and leading zeros) with Y, y, T, t or a digit 1-9.
bool leadingBool(const std::string& s) {
  std::size_t i = 0;
  while (i < s.size() && isBlank(s[i])) ++i;
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
  while (i < s.size() && s[i] == '0') ++i;
  if (i >= s.size()) return false;
  const char c = s[i];
  return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
}

}  // namespace

Value::Value(Array array) : v_(std::in_place_index<kArray>, std::make_shared<const Array>(std::move(array))) {}
Value::Value(MetricDictionary dictionary)
    : v_(std::in_place_index<kDictionary>, std::make_shared<const MetricDictionary>(std::move(dictionary))) {}

bool Value::isNumber() const {
  const Kind k = kind();
  return k == Kind::kFloat || k == Kind::kInteger || k == Kind::kDouble || k == Kind::kBoolean ||
         k == Kind::kWideInteger;
}

const Image* Value::image() const {
  const auto* p = std::get_if<ImageRef>(&v_);
  return p ? p->get() : nullptr;
}
ImageRef Value::imageRef() const {
  const auto* p = std::get_if<ImageRef>(&v_);
  return p ? *p : nullptr;
}
const Array* Value::array() const {
  const auto* p = std::get_if<kArray>(&v_);
  return p ? p->get() : nullptr;
}
const MetricDictionary* Value::dictionary() const {
  const auto* p = std::get_if<kDictionary>(&v_);
  return p ? p->get() : nullptr;
}

double Value::doubleValue() const {
  switch (kind()) {
    case Kind::kFloat:
      return std::get<float>(v_);
    case Kind::kInteger:
      return static_cast<double>(std::get<std::int64_t>(v_));
    case Kind::kDouble:
      return std::get<double>(v_);
    case Kind::kBoolean:
      return std::get<bool>(v_) ? 1.0 : 0.0;
    case Kind::kText:
      return leadingDouble(*text());
    case Kind::kWideInteger:
      return leadingDouble(wideInteger()->digits);
    default:
      return 0.0;
  }
}

float Value::floatValue() const { return static_cast<float>(doubleValue()); }

std::int64_t Value::integerValue() const {
  switch (kind()) {
    case Kind::kInteger:
      return std::get<std::int64_t>(v_);
    case Kind::kText:
      return leadingInteger(*text());
    default:
      return saturatingCast<std::int64_t>(doubleValue());
  }
}

int Value::intValue() const {
  switch (kind()) {
    case Kind::kInteger:
      return static_cast<int>(std::get<std::int64_t>(v_));  // keeps the low 32 bits
    case Kind::kText:
      return saturatingCast<int>(leadingInteger(*text()));  // the platform's reading saturates
    default:
      return saturatingCast<int>(doubleValue());
  }
}

bool Value::boolValue() const {
  switch (kind()) {
    case Kind::kText:
      return leadingBool(*text());
    case Kind::kInteger:
      return std::get<std::int64_t>(v_) != 0;
    default: {
      const double d = doubleValue();
      return d != 0.0 && !std::isnan(d);
    }
  }
}

bool operator==(const Value& a, const Value& b) {
  if (a.v_.index() != b.v_.index()) return false;
  switch (a.kind()) {
    case Value::Kind::kImage:
      return a.imageRef() == b.imageRef();
    case Value::Kind::kArray:
      return *a.array() == *b.array();
    case Value::Kind::kDictionary:
      return *a.dictionary() == *b.dictionary();
    default:
      return a.v_ == b.v_;
  }
}

MetricDictionary::MetricDictionary(std::initializer_list<Entry> entries) {
  for (const auto& [key, value] : entries) setValue(key, value);
}

MetricDictionary::MetricDictionary(std::vector<Entry> entries) {
  // Records are small: a scan finds repeats faster than a hash table is built.
  constexpr std::size_t kScanned = 16;
  if (entries.size() <= kScanned) {
    entries_.reserve(entries.size());
    for (auto& [key, value] : entries) assign(key, std::move(value));
    return;
  }
  entries_.reserve(entries.size());
  std::unordered_map<std::string_view, std::size_t> position;
  position.reserve(entries.size());
  for (auto& [key, value] : entries) {
    if (auto it = position.find(key); it != position.end()) {
      entries_[it->second].second = std::move(value);
    } else {
      entries_.emplace_back(std::move(key), std::move(value));
      // The view is of the stored key, which stays put: the vector never grows past its reserve.
      position.emplace(entries_.back().first, entries_.size() - 1);
    }
  }
}

const Value* MetricDictionary::objectForKey(std::string_view key) const {
  for (const auto& entry : entries_)
    if (entry.first == key) return &entry.second;
  return nullptr;
}

void MetricDictionary::setValue(std::string_view key, std::optional<Value> value) {
  // A date that names no moment, or an image that could not be made, is no value.
  if (value && value->date() && !value->date()->isOnCalendar()) value.reset();
  if (value && value->kind() == Value::Kind::kImage && !value->image()) value.reset();
  if (value) return assign(key, std::move(*value));
  auto it = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& e) { return e.first == key; });
  if (it != entries_.end()) entries_.erase(it);
}

void MetricDictionary::assign(std::string_view key, Value value) {
  auto it = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& e) { return e.first == key; });
  if (it != entries_.end())
    it->second = std::move(value);
  else
    entries_.emplace_back(std::string(key), std::move(value));
}

void MetricDictionary::removeObjectForKey(std::string_view key) { setValue(key, std::nullopt); }

float MetricDictionary::floatForKey(std::string_view key) const {
  const Value* v = objectForKey(key);
  return v ? v->floatValue() : 0.0f;
}
double MetricDictionary::doubleForKey(std::string_view key) const {
  const Value* v = objectForKey(key);
  return v ? v->doubleValue() : 0.0;
}
std::int64_t MetricDictionary::integerForKey(std::string_view key) const {
  const Value* v = objectForKey(key);
  return v ? v->integerValue() : 0;
}
bool MetricDictionary::boolForKey(std::string_view key) const {
  const Value* v = objectForKey(key);
  return v && v->boolValue();
}
const std::string* MetricDictionary::textForKey(std::string_view key) const {
  const Value* v = objectForKey(key);
  return v ? v->text() : nullptr;
}
const Date* MetricDictionary::dateForKey(std::string_view key) const {
  const Value* v = objectForKey(key);
  return v ? v->date() : nullptr;
}
const MetricDictionary* MetricDictionary::dictionaryForKey(std::string_view key) const {
  const Value* v = objectForKey(key);
  return v ? v->dictionary() : nullptr;
}

}  // namespace velmora
