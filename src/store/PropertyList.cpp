#include "store/PropertyList.h"

#include <unicode/unistr.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "store/BinaryPlist.h"
#include "store/XmlPlist.h"

namespace velmora {

// ---- helpers shared by the formats ------------------------------------------------------

std::optional<Int128> int128FromDigits(std::string_view digits) {
  const bool negative = !digits.empty() && digits[0] == '-';
  if (negative) digits.remove_prefix(1);
  if (digits.empty()) return std::nullopt;
  constexpr auto kMax = static_cast<UInt128>(~UInt128{0} >> 1);  // 2^127 - 1
  UInt128 v = 0;
  for (char c : digits) {
    if (c < '0' || c > '9') return std::nullopt;
    const auto digit = static_cast<unsigned>(c - '0');
    if (v > (kMax + (negative ? 1 : 0) - digit) / 10) return std::nullopt;
    v = v * 10 + digit;
  }
  return negative ? static_cast<Int128>(~v + 1) : static_cast<Int128>(v);
}

std::string digitsOf(Int128 value) {
  const bool negative = value < 0;
  auto magnitude = negative ? ~static_cast<UInt128>(value) + 1 : static_cast<UInt128>(value);
  std::string digits;
  do {
    digits += static_cast<char>('0' + static_cast<int>(magnitude % 10));
    magnitude /= 10;
  } while (magnitude != 0);
  if (negative) digits += '-';
  std::reverse(digits.begin(), digits.end());
  return digits;
}

Value integerValue(Int128 value) {
  if (value >= std::numeric_limits<std::int64_t>::min() && value <= std::numeric_limits<std::int64_t>::max())
    return Value::integer(static_cast<std::int64_t>(value));
  return Value::wideInteger(digitsOf(value));
}

bool isValidUtf8(std::string_view text) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const auto* end = p + text.size();
  while (p < end) {
    const unsigned char c = *p;
    if (c < 0x80) {
      ++p;
      continue;
    }
    int length = 0;
    unsigned char low = 0x80, high = 0xBF;  // the range of the second byte
    if (c >= 0xC2 && c <= 0xDF) {
      length = 2;
    } else if (c >= 0xE0 && c <= 0xEF) {
      length = 3;
      if (c == 0xE0) low = 0xA0;
      if (c == 0xED) high = 0x9F;  // no surrogates
    } else if (c >= 0xF0 && c <= 0xF4) {
      length = 4;
      if (c == 0xF0) low = 0x90;
      if (c == 0xF4) high = 0x8F;
    } else {
      return false;
    }
    if (end - p < length || p[1] < low || p[1] > high) return false;
    for (int i = 2; i < length; ++i)
      if (p[i] < 0x80 || p[i] > 0xBF) return false;
    p += length;
  }
  return true;
}

std::string validUtf8(std::string_view text) {
  if (isValidUtf8(text)) return std::string(text);
  std::string valid;
  // (A text beyond 2 GiB, which no property list holds, is cut there.)
  const auto length = static_cast<std::int32_t>(std::min<std::size_t>(text.size(), INT32_MAX));
  icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), length)).toUTF8String(valid);
  return valid;
}

void appendUtf8(std::string& out, char32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

namespace {

const char* kindName(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::kArray:
      return "an array";
    case Value::Kind::kColour:
      return "a colour";
    case Value::Kind::kImage:
      return "an image";
    case Value::Kind::kDate:
      return "a date";
    case Value::Kind::kText:
      return "a text";
    case Value::Kind::kData:
      return "data";
    case Value::Kind::kDictionary:
      return "a dictionary";
    case Value::Kind::kNull:
      return "null";
    case Value::Kind::kUid:
      return "a UID";
    default:
      return "a number";
  }
}

// The first character XML 1.0 cannot carry in a valid UTF-8 text, if any.
std::optional<std::string> unwritableInXml(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    char hex[8];
    if (c < 0x20 && c != '\t' && c != '\n' && c != '\r') {
      std::snprintf(hex, sizeof hex, "U+%04X", c);
      return hex;
    }
    if (c == 0xEF && i + 2 < text.size() && static_cast<unsigned char>(text[i + 1]) == 0xBF &&
        static_cast<unsigned char>(text[i + 2]) >= 0xBE)
      return static_cast<unsigned char>(text[i + 2]) == 0xBE ? "U+FFFE" : "U+FFFF";
  }
  return std::nullopt;
}

class StoredFormMaker {
 public:
  explicit StoredFormMaker(PlistFormat format) : format_(format) {}

  StoredForm make(const Value& value, const std::string* key = nullptr) {
    StoredForm result;
    if (!key || text(*key)) result.value = form(value, 0);
    if (!problem_.empty()) {
      result.value.reset();
      result.problem = std::move(problem_);
    } else if (!result.value) {
      result.problem = std::string("a property list cannot hold ") + kindName(value);
    }
    return result;
  }

 private:
  bool text(std::string_view t) {
    if (!isValidUtf8(t)) {
      problem_ = "a text or key is not valid UTF-8";
      return false;
    }
    if (format_ == PlistFormat::Xml)
      if (auto c = unwritableInXml(t)) {
        problem_ = "an XML property list cannot hold the character " + *c;
        return false;
      }
    return true;
  }

  // The value's stored form; nothing when it is left out (or, with problem_
  // set, when the whole value cannot be written).
  std::optional<Value> form(const Value& value, int depth) {
    switch (value.kind()) {
      case Value::Kind::kFloat:
        return Value::real(value.doubleValue());
      case Value::Kind::kInteger:
      case Value::Kind::kDouble:
      case Value::Kind::kBoolean:
      case Value::Kind::kData:
        return value;
      case Value::Kind::kWideInteger:
        if (format_ == PlistFormat::Binary && !int128FromDigits(value.wideInteger()->digits)) {
          problem_ = "a binary property list cannot hold an integer beyond 128 bits";
          return std::nullopt;
        }
        return value;
      case Value::Kind::kText:
        if (!text(*value.text())) return std::nullopt;
        return value;
      case Value::Kind::kDate: {
        const Date date = *value.date();
        if (!date.isOnCalendar()) {
          problem_ = "a property list holds no date outside the years 1 to 9999";
          return std::nullopt;
        }
        if (format_ == PlistFormat::Binary) return value;
        // Whole seconds, as the text holds them; its zero has no sign.
        const double seconds = std::floor(date.referenceSeconds());
        return Value(Date::fromReferenceSeconds(seconds == 0 ? 0.0 : seconds));
      }
      case Value::Kind::kNull:
      case Value::Kind::kUid:
        if (format_ == PlistFormat::Xml) {
          problem_ = std::string("an XML property list has no form for ") + kindName(value);
          return std::nullopt;
        }
        return value;
      case Value::Kind::kArray: {
        if (!deeper(depth)) return std::nullopt;
        Array items;
        items.reserve(value.array()->size());
        for (const Value& item : *value.array()) {
          if (auto stored = form(item, depth + 1)) items.push_back(std::move(*stored));
          if (!problem_.empty()) return std::nullopt;
        }
        return Value(std::move(items));
      }
      case Value::Kind::kDictionary: {
        if (!deeper(depth)) return std::nullopt;
        std::vector<MetricDictionary::Entry> entries;
        entries.reserve(value.dictionary()->size());
        for (const auto& [key, item] : *value.dictionary()) {
          if (!text(key)) return std::nullopt;
          if (auto stored = form(item, depth + 1)) entries.emplace_back(key, std::move(*stored));
          if (!problem_.empty()) return std::nullopt;
        }
        return Value(MetricDictionary(std::move(entries)));
      }
      case Value::Kind::kColour:
      case Value::Kind::kImage:
        break;
    }
    return std::nullopt;
  }

  bool deeper(int depth) {
    if (depth < kMaxPlistDepth) return true;
    problem_ = "nested deeper than " + std::to_string(kMaxPlistDepth) + " levels";
    return false;
  }

  PlistFormat format_;
  std::string problem_;
};

ParsedPlist parse(std::span<const std::uint8_t> bytes, PlistFormat& format) {
  format = binary_plist::looksBinary(bytes) ? PlistFormat::Binary : PlistFormat::Xml;
  if (bytes.empty()) {
    ParsedPlist empty;
    empty.error = "the file is empty";
    return empty;
  }
  return format == PlistFormat::Binary ? binary_plist::read(bytes) : xml_plist::read(bytes);
}

MetricDictionary dictionaryOf(const std::vector<PlistEntry>& entries) {
  std::vector<MetricDictionary::Entry> items;
  items.reserve(entries.size());
  for (const PlistEntry& e : entries) items.emplace_back(e.key, e.value);
  return MetricDictionary(std::move(items));
}

}  // namespace

PlistReadResult parsePropertyList(std::span<const std::uint8_t> bytes) {
  PlistReadResult result;
  ParsedPlist parsed = parse(bytes, result.format);
  if (!parsed.error.empty())
    result.error = std::move(parsed.error);
  else if (parsed.isDictionary)
    result.value = Value(dictionaryOf(parsed.entries));
  else
    result.value = std::move(parsed.value);
  return result;
}

StoredForm storedForm(const Value& value, PlistFormat format) { return StoredFormMaker(format).make(value); }

StoredForm storedEntry(const std::string& key, const Value& value, PlistFormat format) {
  return StoredFormMaker(format).make(value, &key);
}

std::vector<std::uint8_t> serializePropertyList(const Value& value, PlistFormat format) {
  const StoredForm stored = storedForm(value, format);
  if (!stored.value) return {};
  return format == PlistFormat::Binary ? binary_plist::write(*stored.value) : xml_plist::write(*stored.value);
}

std::optional<PlistDocument> PlistDocument::read(std::vector<std::uint8_t> bytes, std::string& error) {
  PlistDocument document;
  ParsedPlist parsed = parse(bytes, document.format_);
  if (!parsed.error.empty()) {
    error = "not a valid property list (" + parsed.error + ")";
    return std::nullopt;
  }
  if (!parsed.isDictionary) {
    error = std::string("not a preferences file (its top level is ") + kindName(*parsed.value) + ", not a dictionary)";
    return std::nullopt;
  }
  document.bytes_ = std::make_shared<const std::vector<std::uint8_t>>(std::move(bytes));
  document.entries_ = std::move(parsed.entries);
  document.entriesBegin_ = parsed.entriesBegin;
  document.wrapped_ = parsed.wrapped;
  return document;
}

MetricDictionary PlistDocument::contents() const { return dictionaryOf(entries_); }

void PlistDocument::set(const std::string& key, Value value) {
  auto matches = [&](const PlistEntry& e) { return e.exactKey && e.key == key; };
  const auto first = std::find_if(entries_.begin(), entries_.end(), matches);
  if (first == entries_.end()) {
    entries_.push_back({key, true, std::move(value), std::nullopt});
    return;
  }
  first->value = std::move(value);
  first->source.reset();
  entries_.erase(std::remove_if(first + 1, entries_.end(), matches), entries_.end());
}

void PlistDocument::remove(std::string_view key) {
  std::erase_if(entries_, [&](const PlistEntry& e) { return e.exactKey && e.key == key; });
}

void PlistDocument::assign(const MetricDictionary& contents) {
  entries_.clear();
  entries_.reserve(contents.size());
  for (const auto& [key, value] : contents) entries_.push_back({key, true, value, std::nullopt});
}

const std::vector<std::uint8_t>& PlistDocument::write() {
  static const std::vector<std::uint8_t> kNothing;
  const SourceFile source{bytes_ ? std::span<const std::uint8_t>(*bytes_) : std::span<const std::uint8_t>(kNothing),
                          entriesBegin_, wrapped_};
  WrittenPlist written =
      format_ == PlistFormat::Binary ? binary_plist::write(source, entries_) : xml_plist::write(source, entries_);
  for (std::size_t i = 0; i < entries_.size(); ++i) entries_[i].source = written.placed[i];
  bytes_ = std::make_shared<const std::vector<std::uint8_t>>(std::move(written.bytes));
  entriesBegin_ = written.entriesBegin;
  wrapped_ = written.wrapped;
  return *bytes_;
}

}  // namespace velmora
