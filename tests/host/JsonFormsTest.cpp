#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "drawing/Image.h"
#include "host/JsonForms.h"
#include "host/JsonText.h"

namespace velmora::host {
namespace {

std::string compact(const Json& json) { return json.dump(); }

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// The written forms of what a preferences domain cannot hold: single-precision numbers (as their shortest decimal
// text, and those that are not finite), colours, images, texts that are not UTF-8. What a domain holds, and the layout
// of long documents, the defaults commands show.
TEST(WriteForms, FollowTheTableOfForms) {
  const struct {
    const char* name;
    Value value;
    std::string text;
  } cases[] = {
      {"float NaN", Value::number(kNaN), "\"NaN\""},
      // A finite float as its shortest decimal text, never the digits of the double it widens to.
      {"float", Value::number(0.1f), "0.1"},
      {"whole float", Value::number(8.0f), "8.0"},
      {"tiny float", Value::number(1e-7f), "1e-07"},
      {"float infinity", Value::number(-std::numeric_limits<float>::infinity()), "\"-Infinity\""},
      {"colour", Value(Colour::hsba(0.5, 1.0, 1.0, 0.5)),
       R"({"colour": {"hue": 0.5, "saturation": 1.0, "brightness": 1.0, "alpha": 0.5, "rgba": "#00FFFF80"}})"},
      {"drawn image", Value(std::make_shared<const Image>(280.0, 280.0, 3, nullptr)),
       R"({"image": {"width": 280.0, "height": 280.0, "scale": 3}})"},
      {"named picture", Value(std::make_shared<const Image>(100.0, 50.0, 2, nullptr, "WidgetWait")),
       R"({"image": {"width": 100.0, "height": 50.0, "scale": 2, "name": "WidgetWait"}})"},
      {"nested in order on one line",
       Value(MetricDictionary{
           {"b", Value(Array{Value("x"), Value(MetricDictionary{{"z", Value::integer(1)}, {"a", Value(Array{})}})})},
           {"a", Value(MetricDictionary{})}}),
       R"({"b": ["x", {"z": 1, "a": []}], "a": {}})"},
      {"not UTF-8 replaced", Value(std::string("a\xff")), "\"a\xEF\xBF\xBD\""},
      // Kinds only another writer leaves in a store.
      {"null", Value::null(), "null"},
      {"UID", Value::uid(12), R"({"uid": 12})"},
      {"unsigned 64-bit", Value::wideInteger("18446744073709551615"), "18446744073709551615"},
      {"beyond 64 bits", Value::wideInteger("-100000000000000000000"), "-1e+20"},
      {"lookalike of a UID", Value(MetricDictionary{{"uid", Value::integer(1)}}), R"({"dictionary": {"uid": 1}})"},
      // Dates: proleptic Gregorian in the run's zone, offsets to the second; a
      // local year outside 1 to 9999 in UTC; a date no calendar names as null.
      {"Berlin's local mean time", Value(Date::fromUnixSeconds(-2524521600.0)),
       R"({"date": "1890-01-01T00:53:28+00:53:28"})"},
      {"before the Gregorian reform", Value(Date::fromUnixSeconds(-30610224000.0)),
       R"({"date": "1000-01-01T00:53:28+00:53:28"})"},
      {"the last moment", Value(Date::fromUnixSeconds(Date::kEndCalendarSeconds - 0.5)),
       R"({"date": "9999-12-31T23:59:59.500+00:00"})"},
      {"infinite", Value(Date::fromUnixSeconds(INFINITY)), R"({"date": null})"},
      {"year 5828963", Value(Date::fromUnixSeconds(1.8e14)), R"({"date": null})"},
  };
  for (const auto& c : cases) {
    std::string text = writeJson(JsonForms("Europe/Berlin").toJson(c.value));
    text.pop_back();  // the document's newline
    EXPECT_EQ(text, c.text) << c.name;
  }
  // A dictionary that looks like a tagged form is written wrapped (the defaults round trip shows it), but a
  // whole domain is always a plain object of its keys.
  EXPECT_EQ(compact(JsonForms().members({{"date", Value("not a date")}})), R"({"date":"not a date"})");
}

TEST(ImageForm, NamesTheFileWrittenAfterThePlaceOfTheImage) {
  const auto drawn = std::make_shared<const Image>(280.0, 280.0, 3, nullptr);
  JsonForms forms;
  std::vector<std::string> places;
  forms.writeImage = [&places](const Image&, std::string_view place) {
    places.emplace_back(place);
    return "/out/" + std::string(place) + ".png";
  };
  const MetricDictionary record{{"rings", Value(Array{Value(drawn), Value(drawn)})}};
  const Json json = forms.toJson(Value(record), "1-request");
  EXPECT_EQ(places, (std::vector<std::string>{"1-request-rings-0", "1-request-rings-1"}));
  EXPECT_EQ(json["rings"][1]["image"]["file"], "/out/1-request-rings-1.png");
}

TEST(SlotForms, ShowOnlyTheirKindsProperties) {
  const JsonForms forms;
  DisplaySlot label;
  label.kind = DisplaySlot::Kind::kLabel;
  EXPECT_EQ(compact(forms.toJson(label)), R"({"kind":"label","hidden":false,"text":null})");
  label.text = "";
  EXPECT_EQ(compact(forms.toJson(label)), R"({"kind":"label","hidden":false,"text":""})");

  DisplaySlot chip;
  chip.kind = DisplaySlot::Kind::kIndicator;
  chip.hidden = true;
  chip.cornerRadius = 10.0;
  chip.backgroundColour = Colour::clearColor();
  EXPECT_EQ(compact(forms.toJson(chip)),
            R"({"kind":"indicator","hidden":true,"cornerRadius":10.0,"backgroundColour":{"colour":{"hue":0.0,)"
            R"("saturation":0.0,"brightness":0.0,"alpha":0.0,"rgba":"#00000000"}}})");
}

}  // namespace
}  // namespace velmora::host
