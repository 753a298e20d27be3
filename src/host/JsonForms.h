#pragma once

#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>

#include "extension/DisplaySlot.h"
#include "platform/IsoDate.h"
#include "platform/Value.h"

namespace velmora::host {

// Objects keep the order in which their keys were set.
using Json = nlohmann::ordered_json;

// Writes an image met in the output as a PNG file and returns the path to
// name in its "file" member. `place` says where the image sits in the output
// ("ringsImage", "2-swiftSleepBankImage"), for the file's name. Throws
// CommandError when the file cannot be written.
using ImageWriter = std::function<std::string(const Image& image, std::string_view place)>;

// How values become JSON in this run.
class JsonForms {
 public:
  // Dates are written in `timeZone`.
  explicit JsonForms(std::string_view timeZone = "UTC");

  // Empty: images are described but not written.
  ImageWriter writeImage;

  // A value in its JSON form (the table of the host's documentation).
  Json toJson(const Value& value, std::string_view place = {}) const;
  Json toJson(const MetricDictionary& dictionary, std::string_view place = {}) const;
  // A whole preferences domain: always a plain object of its keys, even when
  // its one key looks like a tagged form.
  Json members(const MetricDictionary& dictionary, std::string_view place = {}) const;
  // One display slot: its kind, hidden flag and the properties of that kind.
  Json toJson(const DisplaySlot& slot) const;

 private:
  std::string nestedPlace(std::string_view place, std::string_view step) const;

  std::shared_ptr<const IsoDateFormatter> dates_;
};

// Single-precision numbers print as the shortest text that reads back to the
// same float ("0.9975", not 0.9975000023841858); doubles likewise as doubles.
// Not-a-number and the infinities become the texts "NaN", "Infinity", "-Infinity".
Json floatJson(float number);
Json doubleJson(double number);

// A JSON value that cannot be stored in a preferences domain; the message
// names the place ("/bankDict/20250106") and what is wrong.
struct JsonFormError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Reads a JSON document (RFC 8259), in time linear in its length. A key
// repeated in one object keeps its first place and its last value. Throws
// Json::exception (a parse_error saying where) when the text is not JSON.
Json parseJson(std::string_view text);

// The reverse, for what a preferences domain can hold: integers, reals,
// booleans, texts, {"date": ...}, {"data": ...}, arrays and dictionaries.
// Throws JsonFormError.
Value valueFromJson(const Json& json);
MetricDictionary dictionaryFromJson(const Json& json);

// The text of a JSON document, ending in a newline: arrays and objects that
// fit in 100 columns on one line, longer ones one member per line indented by
// two spaces. Numbers are written in their shortest exact form, which the
// JSON library's own printer does not always find.
std::string writeJson(const Json& json);

}  // namespace velmora::host
