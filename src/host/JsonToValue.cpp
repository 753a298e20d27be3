#include "host/JsonToValue.h"

#include <glib.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/JsonForms.h"
#include "store/PropertyList.h"
#include "text/IsoDate.h"

namespace velmora::host {

namespace {

// GLib's decoder skips what it does not understand, so the text is checked first.
std::optional<std::vector<std::uint8_t>> fromBase64(const std::string& text) {
  if (text.size() % 4 != 0) return std::nullopt;
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
  for (std::size_t i = 0; i < text.size() - padding; ++i) {
    const char c = text[i];
    const bool ok = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
    if (!ok) return std::nullopt;
  }
  if (text.empty()) return std::vector<std::uint8_t>{};
  gsize length = 0;
  std::unique_ptr<guchar, decltype(&g_free)> bytes(g_base64_decode(text.c_str(), &length), &g_free);
  return std::vector<std::uint8_t>(bytes.get(), bytes.get() + length);
}

// The reader keeps the place of each value, so that a failure can say where it is.
class Reader {
 public:
  Result<Value> value(const Json& json) {
    switch (json.type()) {
      case Json::value_t::string:
        return Value(json.get<std::string>());
      case Json::value_t::boolean:
        return Value::boolean(json.get<bool>());
      case Json::value_t::number_integer:
        return Value::integer(json.get<std::int64_t>());
      case Json::value_t::number_unsigned: {
        const auto n = json.get<std::uint64_t>();
        if (n > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
          return Value::wideInteger(std::to_string(n));  // an unsigned 64-bit integer, as property lists hold them
        return Value::integer(static_cast<std::int64_t>(n));
      }
      case Json::value_t::number_float:
        return Value::real(json.get<double>());
      case Json::value_t::array: {
        if (const Status deeper = enter(); !deeper) return deeper;
        Nested nested(*this);
        Array items;
        items.reserve(json.size());
        std::size_t index = 0;
        for (const Json& item : json) {
          Step step(*this, std::to_string(index++));
          Result<Value> read = value(item);
          if (!read) return read;
          items.push_back(*std::move(read));
        }
        return Value(std::move(items));
      }
      case Json::value_t::object:
        return object(json);
      case Json::value_t::null:
        return failure("null is not a value a preferences domain can hold");
      default:
        return failure("not a value a preferences domain can hold");
    }
  }

  Result<MetricDictionary> dictionary(const Json& json) {
    if (!json.is_object()) return failure("a preferences domain is a JSON object");
    if (const Status deeper = enter(); !deeper) return deeper;
    Nested nested(*this);
    std::vector<MetricDictionary::Entry> entries;
    entries.reserve(json.size());
    for (const auto& [key, item] : json.items()) {
      Step step(*this, key);
      Result<Value> read = value(item);
      if (!read) return read.status();
      entries.emplace_back(key, *std::move(read));
    }
    return MetricDictionary(std::move(entries));
  }

 private:
  // Keeps the reader's place while it is inside an array or object.
  struct Step {
    Step(Reader& r, const std::string& key) : reader(r), size(r.place_.size()) { reader.place_ += "/" + key; }
    ~Step() { reader.place_.resize(size); }
    Step(const Step&) = delete;
    Step& operator=(const Step&) = delete;
    Reader& reader;
    std::size_t size;
  };
  // One level deeper while it lives (`enter` has said the level may be entered).
  struct Nested {
    explicit Nested(Reader& r) : reader(r) { ++reader.depth_; }
    ~Nested() { --reader.depth_; }
    Nested(const Nested&) = delete;
    Nested& operator=(const Nested&) = delete;
    Reader& reader;
  };

  // Input nested deeper than a property list may be is refused, as the store refuses it.
  Status enter() const {
    if (depth_ + 1 > kMaxPlistDepth) return failure("nested deeper than " + std::to_string(kMaxPlistDepth) + " levels");
    return Status();
  }

  Result<Value> object(const Json& json) {
    if (json.size() == 1 && isTaggedFormKey(json.begin().key())) {
      const std::string& tag = json.begin().key();
      const Json& inner = json.begin().value();
      Step step(*this, tag);
      if (tag == "dictionary") {
        Result<MetricDictionary> read = dictionary(inner);
        if (!read) return read.status();
        return Value(*std::move(read));
      }
      if (tag == "date") {
        if (!inner.is_string()) return failure("a date is written {\"date\": \"2025-01-06T22:30:00+01:00\"}");
        const auto date = parseIsoDate(inner.get<std::string>());
        if (!date) return failure("\"" + inner.get<std::string>() + "\" is not an ISO 8601 instant with a zone offset");
        if (!date->isOnCalendar()) return failure("a property list holds dates of the years 1 to 9999 only");
        return Value(*date);
      }
      if (tag == "data") {
        if (!inner.is_string()) return failure("data is written {\"data\": \"<base64>\"}");
        auto bytes = fromBase64(inner.get<std::string>());
        if (!bytes) return failure("not valid base64 (standard alphabet, padded with '=', no line breaks)");
        return Value(Data{std::move(*bytes)});
      }
      if (tag == "uid")
        return failure(
            "a UID (an object reference of a keyed archive) is kept as another writer left it, never written");
      return failure("a " + tag + " cannot be stored in a preferences domain");
    }
    Result<MetricDictionary> read = dictionary(json);
    if (!read) return read.status();
    return Value(*std::move(read));
  }

  Status failure(const std::string& what) const {
    return Status::failure(place_.empty() ? what : place_ + ": " + what);
  }

  std::string place_;
  int depth_ = 0;
};

}  // namespace

Result<Value> valueFromJson(const Json& json) { return Reader().value(json); }

Result<MetricDictionary> dictionaryFromJson(const Json& json) { return Reader().dictionary(json); }

}  // namespace velmora::host
