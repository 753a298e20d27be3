#include "store/PropertyList.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "store/BinaryPlist.h"
#include "store/XmlPlist.h"

namespace velmora {

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

  Result<Value> make(const Value& value, const std::string* key = nullptr) {
    std::optional<Value> stored;
    if (!key || text(*key)) stored = form(value, 0);
    if (!problem_.empty()) return Status::failure(std::move(problem_));
    if (!stored) return Status::failure(std::string("a property list cannot hold ") + kindName(value));
    return std::move(*stored);
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

Result<ParsedPlist> parse(std::span<const std::uint8_t> bytes, PlistFormat& format) {
  format = binary_plist::looksBinary(bytes) ? PlistFormat::Binary : PlistFormat::Xml;
  if (bytes.empty()) return Status::failure("the file is empty");
  return format == PlistFormat::Binary ? binary_plist::read(bytes) : xml_plist::read(bytes);
}

MetricDictionary dictionaryOf(const std::vector<PlistEntry>& entries) {
  std::vector<MetricDictionary::Entry> items;
  items.reserve(entries.size());
  for (const PlistEntry& e : entries) items.emplace_back(e.key, e.value);
  return MetricDictionary(std::move(items));
}

}  // namespace

Result<PlistValue> parsePropertyList(std::span<const std::uint8_t> bytes) {
  PlistFormat format = PlistFormat::Binary;
  Result<ParsedPlist> parsed = parse(bytes, format);
  if (!parsed) return parsed.status();
  if (parsed->isDictionary) return PlistValue{Value(dictionaryOf(parsed->entries)), format};
  return PlistValue{std::move(*parsed->value), format};
}

Result<Value> storedForm(const Value& value, PlistFormat format) { return StoredFormMaker(format).make(value); }

Result<Value> storedEntry(const std::string& key, const Value& value, PlistFormat format) {
  return StoredFormMaker(format).make(value, &key);
}

std::vector<std::uint8_t> serializePropertyList(const Value& value, PlistFormat format) {
  const Result<Value> stored = storedForm(value, format);
  if (!stored) return {};
  return format == PlistFormat::Binary ? binary_plist::write(*stored) : xml_plist::write(*stored);
}

Result<PlistDocument> PlistDocument::read(std::vector<std::uint8_t> bytes) {
  PlistDocument document;
  Result<ParsedPlist> parsed = parse(bytes, document.format_);
  if (!parsed) return Status::failure("not a valid property list (" + parsed.message() + ")");
  if (!parsed->isDictionary)
    return Status::failure(std::string("not a preferences file (its top level is ") + kindName(*parsed->value) +
                           ", not a dictionary)");
  document.bytes_ = std::make_shared<const std::vector<std::uint8_t>>(std::move(bytes));
  document.entries_ = std::move(parsed->entries);
  document.entriesBegin_ = parsed->entriesBegin;
  document.wrapped_ = parsed->wrapped;
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
