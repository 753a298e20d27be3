#include "host/JsonText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <unordered_set>
#include <utility>
#include <vector>

namespace velmora::host {

namespace {

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

  // Stops the reader, keeping what the library says is wrong without its
  // "[json.exception.parse_error.101] " prefix.
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception& error) override {
    std::string_view text = error.what();
    if (text.starts_with("[json.exception.")) {
      if (const auto end = text.find("] "); end != std::string_view::npos) text.remove_prefix(end + 2);
    }
    error_ = text;
    return false;
  }
  const std::string& error() const { return error_; }

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
  std::string error_;
};

// A number that is not finite, as the value forms write one (see doubleJson).
const char* nonFiniteText(double number) {
  if (std::isnan(number)) return "\"NaN\"";
  return number > 0 ? "\"Infinity\"" : "\"-Infinity\"";
}

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
    const std::string indent(static_cast<std::size_t>(depth + 1) * 2, ' ');
    members(json, ",\n" + indent, indent, [&](const Json& item) {
      block(item, depth + 1);
      return true;
    });
    out += '\n';
    out.append(static_cast<std::size_t>(depth) * 2, ' ');
    out += object ? '}' : ']';
  }

  std::string out;

 private:
  // Writes a container's members: `lead` before the first, `between` before
  // each later one, an object's key before its value, and the value by
  // `item`, which stops the writing by returning false.
  template <typename WriteItem>
  bool members(const Json& json, const std::string& between, const std::string& lead, WriteItem item) {
    bool first = true;
    for (const auto& [key, value] : json.items()) {
      out += first ? lead : between;
      first = false;
      if (json.is_object()) {
        appendString(out, key);
        out += ": ";
      }
      if (!item(value)) return false;
    }
    return true;
  }

  // False, leaving a partial line behind, as soon as the text would pass `limit`.
  bool oneLine(const Json& json, std::size_t limit) {
    if (!json.is_structured() || json.empty()) {
      scalarOrEmpty(json);
      return out.size() <= limit;
    }
    const bool object = json.is_object();
    out += object ? '{' : '[';
    if (!members(json, ", ", "", [&](const Json& item) { return oneLine(item, limit); })) return false;
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
        out += std::isfinite(number) ? numberText(number) : nonFiniteText(number);
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

Result<Json> parseJson(std::string_view text) {
  Json root;
  DocumentBuilder builder(root);
  if (!Json::sax_parse(text, &builder)) return Status::failure(builder.error());
  return root;
}

std::string writeJson(const Json& json) {
  Writer writer;
  writer.block(json, 0);
  writer.out += '\n';
  return std::move(writer.out);
}

}  // namespace velmora::host
