#include "host/JsonForms.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/Image.h"
#include "platform/IsoDate.h"
#include "platform/PropertyList.h"

namespace velmora::host {

namespace {

// The members of the one-member objects that stand for a value of another
// kind. A stored dictionary that happens to look like one of them is written
// inside {"dictionary": ...} so that it reads back as a dictionary.
constexpr std::array<std::string_view, 6> kTags{"date", "data", "colour", "image", "uid", "dictionary"};

bool isTag(std::string_view key) {
  for (std::string_view tag : kTags)
    if (key == tag) return true;
  return false;
}

Json nonFinite(double number) {
  if (std::isnan(number)) return "NaN";
  return number > 0 ? "Infinity" : "-Infinity";
}

std::string base64(const std::vector<std::uint8_t>& bytes) {
  std::unique_ptr<gchar, decltype(&g_free)> text(g_base64_encode(bytes.data(), bytes.size()), &g_free);
  return text.get();
}

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

std::string joinPlace(std::string_view place, std::string_view step) {
  if (place.empty()) return std::string(step);
  std::string joined(place);
  joined += '-';
  joined += step;
  return joined;
}

Json colourJson(const Colour& colour) {
  Json c = Json::object();
  c["hue"] = doubleJson(colour.hue);
  c["saturation"] = doubleJson(colour.saturation);
  c["brightness"] = doubleJson(colour.brightness);
  c["alpha"] = doubleJson(colour.alpha);
  c["rgba"] = colour.hexRGBA();
  return Json{{"colour", std::move(c)}};
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
    if (json.size() == 1 && isTag(json.begin().key())) {
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

// Builds the document as the library's own reader does, but appends each
// member of an object rather than searching the members before it, which
// would make an object of n members cost n² steps. A hash set of member
// positions finds a repeated key: it keeps its first place and takes its
// last value, as the library's reader and the store do.
class DocumentBuilder : public nlohmann::json_sax<Json> {
 public:
  explicit DocumentBuilder(Json& root) : root_(root) {}

  bool null() override { return put(nullptr); }
  bool boolean(bool value) override { return put(value); }
  bool number_integer(number_integer_t value) override { return put(value); }
  bool number_unsigned(number_unsigned_t value) override { return put(value); }
  bool number_float(number_float_t value, const string_t&) override { return put(value); }
  bool string(string_t& value) override { return put(std::move(value)); }
  bool binary(binary_t& value) override { return put(std::move(value)); }

  bool start_object(std::size_t) override {
    // The members live on the heap, where moving their value leaves them.
    Json* object = place(Json::object());
    Json::object_t* members = &object->get_ref<Json::object_t&>();
    open_.push_back({object, Positions(0, KeyHash{members}, SameKey{members}), members});
    return true;
  }
  bool key(string_t& key) override {
    Open& object = open_.back();
    object.members->emplace_back(std::move(key), nullptr);
    const auto [at, fresh] = object.positions->insert(object.members->size() - 1);
    if (!fresh) object.members->pop_back();
    member_ = &object.members->begin()[static_cast<std::ptrdiff_t>(*at)].second;
    return true;
  }
  bool end_object() override { return close(); }
  bool start_array(std::size_t) override {
    open_.push_back({place(Json::array()), std::nullopt});
    return true;
  }
  bool end_array() override { return close(); }

  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception& error) override { throw error; }

 private:
  static const std::string& keyAt(const Json::object_t* members, std::size_t at) {
    return members->begin()[static_cast<std::ptrdiff_t>(at)].first;
  }
  // Positions in an object's members, hashed and compared by their keys.
  struct KeyHash {
    const Json::object_t* members;
    std::size_t operator()(std::size_t at) const { return std::hash<std::string>()(keyAt(members, at)); }
  };
  struct SameKey {
    const Json::object_t* members;
    bool operator()(std::size_t a, std::size_t b) const { return keyAt(members, a) == keyAt(members, b); }
  };
  using Positions = std::unordered_set<std::size_t, KeyHash, SameKey>;
  // An array, or an object with its members and their positions by key.
  struct Open {
    Json* value;
    std::optional<Positions> positions;
    Json::object_t* members = nullptr;
  };

  // Where the next value goes: the top, the end of the open array, or the
  // member whose key came last. No container grows while one inside it is
  // open, so the pointers on the stack stay valid.
  Json* place(Json value) {
    if (open_.empty()) {
      root_ = std::move(value);
      return &root_;
    }
    Json& container = *open_.back().value;
    if (container.is_array()) {
      auto& items = container.get_ref<Json::array_t&>();
      items.push_back(std::move(value));
      return &items.back();
    }
    *member_ = std::move(value);
    return member_;
  }
  template <typename T>
  bool put(T&& value) {
    place(Json(std::forward<T>(value)));
    return true;
  }
  bool close() {
    open_.pop_back();
    return true;
  }

  Json& root_;
  std::vector<Open> open_;
  Json* member_ = nullptr;
};

std::string numberText(double number) {
  std::array<char, 32> buffer;
  const auto [end, ec] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number);
  std::string text(buffer.data(), ec == std::errc() ? end : buffer.data());
  // Always a point or an exponent, so that a reader sees a real, not an integer.
  if (text.find_first_of(".e") == std::string::npos) text += ".0";
  return text;
}

// Appends a JSON string. Printable ASCII, by far the most common text, is
// copied as it stands; anything else goes through the library's escaping,
// which also replaces bytes that are not UTF-8.
void appendString(std::string& out, const std::string& text) {
  const bool plain =
      std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7f && c != '"' && c != '\\'; });
  if (!plain) {
    out += Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
    return;
  }
  out += '"';
  out += text;
  out += '"';
}

template <typename Integer>
void appendInteger(std::string& out, Integer number) {
  std::array<char, 24> buffer;
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number).ptr;
  out.append(buffer.data(), end);
}

// Writes JSON text: a container goes on one line when it fits within
// kLineWidth columns, else one member per line, indented by two spaces.
class Writer {
 public:
  static constexpr std::size_t kLineWidth = 100;

  void block(const Json& json, int depth) {
    if (!json.is_structured() || json.empty()) {
      scalarOrEmpty(json);
      return;
    }
    const std::size_t start = out.size();
    const std::size_t lineStart = out.rfind('\n') == std::string::npos ? 0 : out.rfind('\n') + 1;
    const std::size_t column = start - lineStart;
    if (column < kLineWidth && oneLine(json, start + (kLineWidth - column))) return;
    out.resize(start);

    const bool object = json.is_object();
    out += object ? "{\n" : "[\n";
    bool first = true;
    for (const auto& [key, item] : json.items()) {
      if (!first) out += ",\n";
      first = false;
      out.append(static_cast<std::size_t>(depth + 1) * 2, ' ');
      if (object) {
        appendString(out, key);
        out += ": ";
      }
      block(item, depth + 1);
    }
    out += '\n';
    out.append(static_cast<std::size_t>(depth) * 2, ' ');
    out += object ? '}' : ']';
  }

  std::string out;

 private:
  // False, leaving a partial line behind, as soon as the text would pass `limit`.
  bool oneLine(const Json& json, std::size_t limit) {
    if (!json.is_structured() || json.empty()) {
      scalarOrEmpty(json);
      return out.size() <= limit;
    }
    const bool object = json.is_object();
    out += object ? '{' : '[';
    bool first = true;
    for (const auto& [key, item] : json.items()) {
      if (!first) out += ", ";
      first = false;
      if (object) {
        appendString(out, key);
        out += ": ";
      }
      if (!oneLine(item, limit)) return false;
    }
    out += object ? '}' : ']';
    return out.size() <= limit;
  }

  void scalarOrEmpty(const Json& json) {
    switch (json.type()) {
      case Json::value_t::object:
        out += "{}";
        break;
      case Json::value_t::array:
        out += "[]";
        break;
      case Json::value_t::string:
        appendString(out, json.get_ref<const std::string&>());
        break;
      case Json::value_t::number_integer:
        appendInteger(out, json.get<std::int64_t>());
        break;
      case Json::value_t::number_unsigned:
        appendInteger(out, json.get<std::uint64_t>());
        break;
      case Json::value_t::number_float: {
        const double number = json.get<double>();
        out += std::isfinite(number) ? numberText(number) : nonFinite(number).dump();
        break;
      }
      case Json::value_t::boolean:
        out += json.get<bool>() ? "true" : "false";
        break;
      default:
        out += "null";
    }
  }
};

}  // namespace

Json floatJson(float number) {
  if (!std::isfinite(number)) return nonFinite(number);
  // The double nearest to the float's shortest decimal text has that same
  // text as its own shortest form, so the writer prints the float's digits.
  std::array<char, 32> buffer;
  const auto [end, ec] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number);
  *end = '\0';
  return std::strtod(buffer.data(), nullptr);
}

Json doubleJson(double number) {
  if (!std::isfinite(number)) return nonFinite(number);
  return number;
}

JsonForms::JsonForms(std::string_view timeZone) : dates_(std::make_shared<const IsoDateFormatter>(timeZone)) {}

// Places only name image files, so they are not built when no image is written.
std::string JsonForms::nestedPlace(std::string_view place, std::string_view step) const {
  return writeImage ? joinPlace(place, step) : std::string();
}

Json JsonForms::toJson(const Value& value, std::string_view place) const {
  switch (value.kind()) {
    case Value::Kind::kText:
      return *value.text();
    case Value::Kind::kInteger:
      return value.integerValue();
    case Value::Kind::kFloat:
      return floatJson(value.floatValue());
    case Value::Kind::kDouble:
      return doubleJson(value.doubleValue());
    case Value::Kind::kBoolean:
      return value.boolValue();
    case Value::Kind::kDate:
      // A date no calendar text can say (another writer's binary list may hold one).
      if (!value.date()->isOnCalendar()) return Json{{"date", nullptr}};
      return Json{{"date", dates_->format(*value.date())}};
    case Value::Kind::kNull:
      return nullptr;
    case Value::Kind::kUid:
      return Json{{"uid", value.uid()->number}};
    case Value::Kind::kWideInteger: {
      const std::string& digits = value.wideInteger()->digits;
      std::uint64_t n = 0;
      const auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), n);
      if (ec == std::errc() && end == digits.data() + digits.size()) return n;
      return doubleJson(value.doubleValue());  // beyond what a JSON reader takes as an integer
    }
    case Value::Kind::kData:
      return Json{{"data", base64(value.data()->bytes)}};
    case Value::Kind::kColour:
      return colourJson(*value.colour());
    case Value::Kind::kImage: {
      const Image* image = value.image();
      if (!image) return nullptr;
      Json i = Json::object();
      i["width"] = doubleJson(image->width());
      i["height"] = doubleJson(image->height());
      i["scale"] = image->scale();
      if (!image->name().empty()) i["name"] = image->name();
      if (writeImage) i["file"] = writeImage(*image, place);
      return Json{{"image", std::move(i)}};
    }
    case Value::Kind::kArray: {
      Json items = Json::array();
      std::size_t index = 0;
      for (const Value& item : *value.array())
        items.push_back(toJson(item, nestedPlace(place, std::to_string(index++))));
      return items;
    }
    case Value::Kind::kDictionary:
      return toJson(*value.dictionary(), place);
  }
  return nullptr;
}

Json JsonForms::toJson(const MetricDictionary& dictionary, std::string_view place) const {
  Json object = members(dictionary, place);
  if (dictionary.size() == 1 && isTag(dictionary.begin()->first)) return Json{{"dictionary", std::move(object)}};
  return object;
}

Json JsonForms::members(const MetricDictionary& dictionary, std::string_view place) const {
  Json object = Json::object();
  // The keys of a dictionary are distinct already: appending skips the
  // ordered map's search for an existing key, which would make large
  // dictionaries quadratic.
  auto& entries = object.get_ref<Json::object_t&>();
  entries.reserve(dictionary.size());
  for (const auto& [key, item] : dictionary) entries.emplace_back(key, toJson(item, nestedPlace(place, key)));
  return object;
}

Json JsonForms::toJson(const DisplaySlot& slot) const {
  Json json = Json::object();
  json["kind"] = kindName(slot.kind);
  json["hidden"] = slot.hidden;
  switch (slot.kind) {
    case DisplaySlot::Kind::kContainer:
    case DisplaySlot::Kind::kIndicator:
      json["cornerRadius"] = doubleJson(slot.cornerRadius);
      json["backgroundColour"] = slot.backgroundColour ? colourJson(*slot.backgroundColour) : Json(nullptr);
      break;
    case DisplaySlot::Kind::kLabel:
      json["text"] = slot.text ? Json(*slot.text) : Json(nullptr);
      break;
    case DisplaySlot::Kind::kImage:
      json["image"] = slot.image ? toJson(Value(slot.image), slot.name) : Json(nullptr);
      break;
  }
  return json;
}

Json parseJson(std::string_view text) {
  Json root;
  DocumentBuilder builder(root);
  Json::sax_parse(text, &builder);
  return root;
}

Value valueFromJson(const Json& json) { return Reader().value(json); }

MetricDictionary dictionaryFromJson(const Json& json) { return Reader().dictionary(json); }

std::string writeJson(const Json& json) {
  Writer writer;
  writer.block(json, 0);
  writer.out += '\n';
  return std::move(writer.out);
}

}  // namespace velmora::host
