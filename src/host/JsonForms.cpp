#include "host/JsonForms.h"

#include <glib.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "drawing/Image.h"
#include "text/IsoDate.h"

namespace velmora::host {

namespace {

// The tags of the one-member objects that stand for a value of another kind.
constexpr std::array<std::string_view, 6> kTags{"date", "data", "colour", "image", "uid", "dictionary"};

Json nonFinite(double number) {
  if (std::isnan(number)) return "NaN";
  return number > 0 ? "Infinity" : "-Infinity";
}

std::string base64(const std::vector<std::uint8_t>& bytes) {
  std::unique_ptr<gchar, decltype(&g_free)> text(g_base64_encode(bytes.data(), bytes.size()), &g_free);
  return text.get();
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

}  // namespace

bool isTaggedFormKey(std::string_view key) {
  for (std::string_view tag : kTags)
    if (key == tag) return true;
  return false;
}

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
  if (dictionary.size() == 1 && isTaggedFormKey(dictionary.begin()->first))
    return Json{{"dictionary", std::move(object)}};
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

}  // namespace velmora::host
