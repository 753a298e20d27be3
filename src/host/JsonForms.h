#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "extension/DisplaySlot.h"
#include "host/Json.h"
#include "text/IsoDate.h"
#include "values/Value.h"

namespace velmora::host {

// Writes an image met in the output as a PNG file and returns the path to
// name in its "file" member. `place` says where the image sits in the output
// ("ringsImage", "2-swiftSleepBankImage"), for the file's name. A writer
// that fails keeps the failure for its owner to ask (ImageDirectory::status).
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

// The members of the one-member objects that stand for a value of another
// kind ("date", "data", "colour", "image", "uid", "dictionary"). A stored
// dictionary that happens to look like one of them is written inside
// {"dictionary": ...} so that it reads back as a dictionary.
bool isTaggedFormKey(std::string_view key);

}  // namespace velmora::host
