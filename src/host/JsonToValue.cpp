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

// The reader keeps the place of each value, so that an error can say where it is.
class Reader {
 public:
  Value value(const Json& json) {
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
        Array items;
        items.reserve(json.size());
        Nested nested(*this);
        std::size_t index = 0;
        for (const Json& item : json) {
          Step step(*this, std::to_string(index++));
          items.push_back(value(item));
        }
        return Value(std::move(items));
      }
      case Json::value_t::object:
        return object(json);
      case Json::value_t::null:
        fail("null is not a value a preferences domain can hold");
      default:
        fail("not a value a preferences domain can hold");
    }
  }

  MetricDictionary dictionary(const Json& json) {
    if (!json.is_object()) fail("a preferences domain is a JSON object");
    Nested nested(*this);
    std::vector<MetricDictionary::Entry> entries;
    entries.reserve(json.size());
    for (const auto& [key, item] : json.items()) {
      Step step(*this, key);
      entries.emplace_back(key, value(item));
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
  // Input nested deeper than a property list may be is refused, as the store refuses it.
  struct Nested {
    explicit Nested(Reader& r) : reader(r) {
      if (++reader.depth_ > kMaxPlistDepth)
        reader.fail("nested deeper than " + std::to_string(kMaxPlistDepth) + " levels");
    }
    ~Nested() { --reader.depth_; }
    Nested(const Nested&) = delete;
    Nested& operator=(const Nested&) = delete;
    Reader& reader;
  };

  Value object(const Json& json) {
    if (json.size() == 1 && isTaggedFormKey(json.begin().key())) {
      const std::string& tag = json.begin().key();
      const Json& inner = json.begin().value();
      Step step(*this, tag);
      if (tag == "dictionary") return Value(dictionary(inner));
      if (tag == "date") {
        if (!inner.is_string()) fail("a date is written {\"date\": \"2025-01-06T22:30:00+01:00\"}");
        const auto date = parseIsoDate(inner.get<std::string>());
        if (!date) fail("\"" + inner.get<std::string>() + "\" is not an ISO 8601 instant with a zone offset");
        if (!date->isOnCalendar()) fail("a property list holds dates of the years 1 to 9999 only");
        return Value(*date);
      }
      if (tag == "data") {
        if (!inner.is_string()) fail("data is written {\"data\": \"<base64>\"}");
        auto bytes = fromBase64(inner.get<std::string>());
        if (!bytes) fail("not valid base64 (standard alphabet, padded with '=', no line breaks)");
        return Value(Data{std::move(*bytes)});
      }
      if (tag == "uid")
        fail("a UID (an object reference of a keyed archive) is kept as another writer left it, never written");
      fail("a " + tag + " cannot be stored in a preferences domain");
    }
    return Value(dictionary(json));
  }

  [[noreturn]] void fail(const std::string& what) const {
    throw JsonFormError(place_.empty() ? what : place_ + ": " + what);
  }

  std::string place_;
  int depth_ = 0;
};

}  // namespace

Value valueFromJson(const Json& json) { return Reader().value(json); }

MetricDictionary dictionaryFromJson(const Json& json) { return Reader().dictionary(json); }

}  // namespace velmora::host
