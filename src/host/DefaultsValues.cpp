#include "host/DefaultsValues.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>

#include "store/PlistCodec.h"
#include "text/IsoDate.h"

namespace velmora::host {

namespace {

enum class Kind { kString, kInteger, kFloat, kBoolean, kDate, kData, kArray, kArrayAdd, kDictionary, kDictionaryAdd };

struct Flag {
  std::string_view name;
  Kind kind;
};

constexpr std::array<Flag, 12> kFlags{{{"-string", Kind::kString},
                                       {"-int", Kind::kInteger},
                                       {"-integer", Kind::kInteger},
                                       {"-float", Kind::kFloat},
                                       {"-bool", Kind::kBoolean},
                                       {"-boolean", Kind::kBoolean},
                                       {"-date", Kind::kDate},
                                       {"-data", Kind::kData},
                                       {"-array", Kind::kArray},
                                       {"-array-add", Kind::kArrayAdd},
                                       {"-dict", Kind::kDictionary},
                                       {"-dict-add", Kind::kDictionaryAdd}}};

const Flag* findFlag(std::string_view word) {
  const auto it = std::find_if(kFlags.begin(), kFlags.end(), [&](const Flag& f) { return f.name == word; });
  return it == kFlags.end() ? nullptr : &*it;
}

bool isContainer(Kind kind) { return kind >= Kind::kArray; }

std::string quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

Status refusal(std::string_view flag, const std::string& what) {
  return Status::failure(std::string(flag) + ": " + what);
}

std::string lowered(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lower;
}

Result<Value> booleanFrom(std::string_view flag, std::string_view text) {
  const std::string word = lowered(text);
  if (word == "yes" || word == "true" || word == "1") return Value::boolean(true);
  if (word == "no" || word == "false" || word == "0") return Value::boolean(false);
  return refusal(flag, quoted(text) + " is not a boolean: give YES or NO (TRUE, FALSE, 1 and 0 work too)");
}

Result<Value> realFrom(std::string_view flag, std::string_view text) {
  double number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, ec] = std::from_chars(text.data(), end, number);
  if (ec == std::errc::result_out_of_range) return refusal(flag, quoted(text) + " is beyond the range of reals");
  if (ec != std::errc() || stop != end) return refusal(flag, quoted(text) + " is not a number, such as 7.5 or -1e-3");
  if (!std::isfinite(number))
    return refusal(flag, quoted(text) + " is not a finite number, which is all a property list can hold");
  return Value::real(number);
}

// The platform tool prints dates "2025-01-06 21:30:00 +0000"; as ISO 8601, "2025-01-06T21:30:00+00:00".
std::string isoFromPrintedDate(std::string_view text) {
  constexpr std::string_view kShape = "0000-00-00 00:00:00 +0000";
  if (text.size() != kShape.size()) return std::string(text);
  for (std::size_t i = 0; i < kShape.size(); ++i) {
    const bool digit = text[i] >= '0' && text[i] <= '9';
    const bool fits = kShape[i] == '0'   ? digit
                      : kShape[i] == '+' ? (text[i] == '+' || text[i] == '-')
                                         : text[i] == kShape[i];
    if (!fits) return std::string(text);
  }
  std::string iso(text.substr(0, 19));
  iso[10] = 'T';
  return iso + std::string(text.substr(20, 3)) + ":" + std::string(text.substr(23, 2));
}

Result<Value> dateFrom(std::string_view flag, std::string_view text) {
  const std::optional<Date> date = parseIsoDate(isoFromPrintedDate(text));
  if (!date)
    return refusal(flag, quoted(text) +
                             " is not a date: give an ISO 8601 instant with its offset, such as "
                             "2025-01-06T22:30:00+01:00, or 2025-01-06 21:30:00 +0000");
  if (!date->isOnCalendar()) return refusal(flag, "a property list holds dates of the years 1 to 9999 only");
  return Value(*date);
}

Result<Value> dataFrom(std::string_view flag, std::string_view text) {
  auto nibble = [](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  };
  Data data;
  if (text.size() % 2 != 0)
    return refusal(flag, quoted(text) + " is not hexadecimal bytes: it has an odd number of digits");
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const int high = nibble(text[i]), low = nibble(text[i + 1]);
    if (high < 0 || low < 0) return refusal(flag, quoted(text) + " is not hexadecimal bytes, such as 00ff1a");
    data.bytes.push_back(static_cast<std::uint8_t>(high * 16 + low));
  }
  return Value(std::move(data));
}

Result<Value> scalar(Kind kind, std::string_view flag, std::string_view text) {
  switch (kind) {
    case Kind::kString:
      if (!isValidUtf8(text)) return refusal(flag, "the text is not valid UTF-8");
      return Value(std::string(text));
    case Kind::kInteger: {
      if (auto integer = integerFromDigits(text)) return *integer;
      const bool digits = !text.empty() && text.find_first_not_of("+-0123456789") == std::string_view::npos;
      if (digits) return refusal(flag, beyond64BitsMessage(text));
      return refusal(flag, quoted(text) + " is not an integer, such as 42 or -7");
    }
    case Kind::kFloat:
      return realFrom(flag, text);
    case Kind::kBoolean:
      return booleanFrom(flag, text);
    case Kind::kDate:
      return dateFrom(flag, text);
    case Kind::kData:
      return dataFrom(flag, text);
    default:
      break;
  }
  return refusal(flag, "takes a single value");
}

// Reads the items of a container: texts, or single values after their own type flag.
class ItemReader {
 public:
  ItemReader(std::string_view container, std::span<const std::string> words) : container_(container), words_(words) {}

  bool done() const { return next_ == words_.size(); }

  Result<std::string> word() {
    if (done()) return refusal(container_, "a key has no value");
    return words_[next_++];
  }

  Result<Value> item() {
    const Result<std::string> first = word();
    if (!first) return first.status();
    const Flag* flag = findFlag(*first);
    if (!flag) return scalar(Kind::kString, container_, *first);
    if (isContainer(flag->kind))
      return refusal(container_, "an item cannot be " + std::string(flag->name) +
                                     "; write nested values as JSON, such as '[[1, 2], {}]'");
    if (done()) return refusal(flag->name, "needs a value");
    return scalar(flag->kind, flag->name, words_[next_++]);
  }

 private:
  std::string_view container_;
  std::span<const std::string> words_;
  std::size_t next_ = 0;
};

}  // namespace

bool isTypeFlag(std::string_view word) { return findFlag(word) != nullptr; }

std::vector<std::string> typeFlags() {
  std::vector<std::string> names;
  for (const Flag& flag : kFlags) names.emplace_back(flag.name);
  return names;
}

Result<TypedValue> typedValue(std::span<const std::string> words) {
  if (words.empty()) return Status::failure("give a value");
  const Flag* flag = findFlag(words.front());
  if (!flag) return Status::failure(quoted(words.front()) + " is no type flag");
  const std::span<const std::string> rest = words.subspan(1);
  if (!isContainer(flag->kind)) {
    if (rest.size() != 1)
      return refusal(flag->name, rest.empty() ? "needs a value" : "takes one value (quote a text with spaces in it)");
    Result<Value> value = scalar(flag->kind, flag->name, rest.front());
    if (!value) return value.status();
    return TypedValue{TypedValue::Merge::kReplace, *std::move(value)};
  }
  ItemReader reader(flag->name, rest);
  if (flag->kind == Kind::kArray || flag->kind == Kind::kArrayAdd) {
    Array items;
    while (!reader.done()) {
      Result<Value> item = reader.item();
      if (!item) return item.status();
      items.push_back(*std::move(item));
    }
    const auto merge = flag->kind == Kind::kArrayAdd ? TypedValue::Merge::kAppendToArray : TypedValue::Merge::kReplace;
    return TypedValue{merge, Value(std::move(items))};
  }
  MetricDictionary entries;
  while (!reader.done()) {
    const Result<std::string> key = reader.word();
    if (!key) return key.status();
    if (!isValidUtf8(*key)) return refusal(flag->name, "a key is not valid UTF-8");
    Result<Value> item = reader.item();
    if (!item) return item.status();
    entries.setObject(*key, *std::move(item));
  }
  const auto merge =
      flag->kind == Kind::kDictionaryAdd ? TypedValue::Merge::kAddToDictionary : TypedValue::Merge::kReplace;
  return TypedValue{merge, Value(std::move(entries))};
}

std::optional<Value> integerFromDigits(std::string_view text) {
  if (text.starts_with('+')) text.remove_prefix(1);
  if (text.empty() || text.starts_with('+')) return std::nullopt;
  const char* end = text.data() + text.size();
  std::int64_t number = 0;
  if (const auto [stop, ec] = std::from_chars(text.data(), end, number); ec == std::errc() && stop == end)
    return Value::integer(number);
  std::uint64_t unsignedNumber = 0;
  if (const auto [stop, ec] = std::from_chars(text.data(), end, unsignedNumber); ec == std::errc() && stop == end)
    return Value::wideInteger(std::to_string(unsignedNumber));
  return std::nullopt;
}

std::optional<std::string> integerBeyond64Bits(std::string_view json) {
  bool inText = false;
  for (std::size_t i = 0; i < json.size(); ++i) {
    const char c = json[i];
    if (inText) {
      if (c == '\\')
        ++i;
      else if (c == '"')
        inText = false;
      continue;
    }
    if (c == '"') {
      inText = true;
      continue;
    }
    if (c != '-' && (c < '0' || c > '9')) continue;
    const std::size_t end = std::min(json.find_first_not_of("+-.eE0123456789", i), json.size());
    const std::string_view literal = json.substr(i, end - i);
    i = end - 1;
    const std::string_view digits = literal.starts_with('-') ? literal.substr(1) : literal;
    const bool integer = !digits.empty() && digits.find_first_not_of("0123456789") == std::string_view::npos;
    if (integer && !integerFromDigits(literal)) return std::string(literal);
  }
  return std::nullopt;
}

std::string beyond64BitsMessage(std::string_view digits) {
  return std::string(digits) + " is beyond the 64-bit integers a property list holds (" +
         std::to_string(std::numeric_limits<std::int64_t>::min()) + " to " +
         std::to_string(std::numeric_limits<std::uint64_t>::max()) +
         "); write it with a decimal point to store it as a real";
}

}  // namespace velmora::host
