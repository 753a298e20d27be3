#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "host/JsonForms.h"
#include "platform/Image.h"
#include "support/TestEnvironment.h"

namespace velmora::host {
namespace {

using velmora::testing::isoDate;

std::string compact(const Json& json) { return json.dump(); }

struct WriteCase {
  const char* name;
  Value value;
  std::string text;
};

class WriteForms : public ::testing::TestWithParam<WriteCase> {};

TEST_P(WriteForms, FollowTheTableOfForms) {
  std::string text = writeJson(JsonForms("Europe/Berlin").toJson(GetParam().value));
  text.pop_back();  // the document's newline
  EXPECT_EQ(text, GetParam().text);
}

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
const MetricDictionary kInner{{"z", Value::integer(1)}, {"a", Value(Array{})}};

INSTANTIATE_TEST_SUITE_P(
    Kinds, WriteForms,
    ::testing::Values(
        WriteCase{"floatFraction", Value::number(0.9975f), "0.9975"},
        WriteCase{"floatWhole", Value::number(28800.0f), "28800.0"},
        WriteCase{"floatTiny", Value::number(1e-7f), "1e-07"}, WriteCase{"floatNaN", Value::number(kNaN), "\"NaN\""},
        WriteCase{"floatInfinity", Value::number(-std::numeric_limits<float>::infinity()), "\"-Infinity\""},
        WriteCase{"doubleTenth", Value::real(0.1), "0.1"}, WriteCase{"integer", Value::integer(-42), "-42"},
        WriteCase{"boolean", Value::boolean(true), "true"},
        WriteCase{"winterDate", Value(isoDate("2025-01-06T21:30:00Z")), R"({"date": "2025-01-06T22:30:00+01:00"})"},
        WriteCase{"summerDateWithMilliseconds", Value(isoDate("2025-07-01T12:00:00.250Z")),
                  R"({"date": "2025-07-01T14:00:00.250+02:00"})"},
        WriteCase{
            "colour", Value(Colour::hsba(0.5, 1.0, 1.0, 0.5)),
            R"({"colour": {"hue": 0.5, "saturation": 1.0, "brightness": 1.0, "alpha": 0.5, "rgba": "#00FFFF80"}})"},
        WriteCase{"drawnImage", Value(std::make_shared<const Image>(280.0, 280.0, 3, nullptr)),
                  R"({"image": {"width": 280.0, "height": 280.0, "scale": 3}})"},
        WriteCase{"namedPicture", Value(std::make_shared<const Image>(100.0, 50.0, 2, nullptr, "WidgetWait")),
                  R"({"image": {"width": 100.0, "height": 50.0, "scale": 2, "name": "WidgetWait"}})"},
        WriteCase{
            "nestedInOrderOnOneLine",
            Value(MetricDictionary{{"b", Value(Array{Value("x"), Value(kInner)})}, {"a", Value(MetricDictionary{})}}),
            R"({"b": ["x", {"z": 1, "a": []}], "a": {}})"},
        WriteCase{"widePastOneLine",
                  Value(MetricDictionary{{"words", Value(std::string(80, 'w'))}, {"short", Value(kInner)}}),
                  "{\n  \"words\": \"" + std::string(80, 'w') + "\",\n  \"short\": {\"z\": 1, \"a\": []}\n}"},
        WriteCase{"notUtf8Replaced", Value(std::string("a\xff")), "\"a\xEF\xBF\xBD\""}),
    [](const auto& param) { return std::string(param.param.name); });

// Significant digits of a number's text, without leading or trailing zeros.
std::size_t significantDigits(const std::string& text) {
  std::string digits;
  for (char c : text) {
    if (c == 'e') break;
    if (c >= '0' && c <= '9') digits += c;
  }
  const auto first = digits.find_first_not_of('0');
  return first == std::string::npos ? 0 : digits.find_last_not_of('0') - first + 1;
}

TEST(NumberForms, EveryFloatReadsBackFromTheFewestDigits) {
  std::mt19937 random(20250106);
  for (int i = 0; i < 200000; ++i) {
    const auto bits = static_cast<std::uint32_t>(random());
    float number;
    std::memcpy(&number, &bits, sizeof number);
    if (!std::isfinite(number)) continue;
    char shortest[32];
    *std::to_chars(shortest, shortest + sizeof shortest, number).ptr = '\0';
    std::string text = writeJson(floatJson(number));
    text.pop_back();
    ASSERT_EQ(std::strtof(text.c_str(), nullptr), number) << text;
    ASSERT_EQ(significantDigits(text), significantDigits(shortest)) << text << " for " << shortest;
  }
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

TEST(NestedForms, ADictionaryThatLooksLikeATaggedFormIsWrapped) {
  const MetricDictionary lookalike{{"date", Value("not a date")}};
  const Json json = JsonForms().toJson(lookalike);
  EXPECT_EQ(compact(json), R"({"dictionary":{"date":"not a date"}})");
  EXPECT_EQ(valueFromJson(json), Value(lookalike));
  // A whole domain is always a plain object of its keys.
  EXPECT_EQ(compact(JsonForms().members(lookalike)), R"({"date":"not a date"})");
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

struct ReadCase {
  const char* name;
  const char* json;
  Value value;
};

class ReadForms : public ::testing::TestWithParam<ReadCase> {};

TEST_P(ReadForms, GiveTheStoresKinds) { EXPECT_EQ(valueFromJson(Json::parse(GetParam().json)), GetParam().value); }

INSTANTIATE_TEST_SUITE_P(
    Kinds, ReadForms,
    ::testing::Values(
        ReadCase{"integer", "7", Value::integer(7)}, ReadCase{"point", "7.0", Value::real(7.0)},
        ReadCase{"boolean", "false", Value::boolean(false)},
        ReadCase{"date", R"({"date": "2025-01-06T22:30:00.500+01:00"})", Value(isoDate("2025-01-06T21:30:00.500Z"))},
        ReadCase{"data", R"({"data": "AAEC/w=="})", Value(Data{{0, 1, 2, 255}})},
        ReadCase{"array", R"([1, [2.5]])", Value(Array{Value::integer(1), Value(Array{Value::real(2.5)})})},
        ReadCase{"dictionary", R"({"b": {}, "a": "x"})",
                 Value(MetricDictionary{{"b", Value(MetricDictionary{})}, {"a", Value("x")}})}),
    [](const auto& param) { return std::string(param.param.name); });

struct RefusedCase {
  const char* name;
  std::string json;
  const char* message;  // a part of the error's text
};

class RefusedForms : public ::testing::TestWithParam<RefusedCase> {};

TEST_P(RefusedForms, SayWhereAndWhatIsWrong) {
  try {
    valueFromJson(Json::parse(GetParam().json));
    FAIL() << "accepted " << GetParam().json;
  } catch (const JsonFormError& error) {
    EXPECT_NE(std::string(error.what()).find(GetParam().message), std::string::npos) << error.what();
  }
}

INSTANTIATE_TEST_SUITE_P(
    Inputs, RefusedForms,
    ::testing::Values(RefusedCase{"null", R"({"a": [1, null]})", "/a/1: null"},
                      RefusedCase{"dateNotInstant", R"({"date": "yesterday"})", "not an ISO 8601 instant"},
                      RefusedCase{"badBase64", R"({"data": "AA=A"})", "not valid base64"},
                      RefusedCase{"colour", R"({"k": {"colour": {}}})", "/k/colour: a colour cannot be stored"},
                      RefusedCase{"hugeInteger", "18446744073709551615", "too large"},
                      RefusedCase{"tooDeep", std::string(600, '[') + std::string(600, ']'), "nested deeper than 512"}),
    [](const auto& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace velmora::host
