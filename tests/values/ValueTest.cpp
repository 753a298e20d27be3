#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "values/Value.h"

namespace velmora {
namespace {

struct LenientCase {
  const char* name;
  Value value;
  float asFloat;
  std::int64_t asInteger;
  bool asBool;
};

class LenientReaders : public ::testing::TestWithParam<LenientCase> {};

TEST_P(LenientReaders, ReadEveryKindWithoutFailing) {
  const LenientCase& c = GetParam();
  EXPECT_EQ(c.value.floatValue(), c.asFloat);
  EXPECT_EQ(c.value.integerValue(), c.asInteger);
  EXPECT_EQ(c.value.boolValue(), c.asBool);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, LenientReaders,
    ::testing::Values(LenientCase{"float", Value::number(7.75f), 7.75f, 7, true},
                      LenientCase{"negativeFloatTruncates", Value::number(-2.9f), -2.9f, -2, true},
                      LenientCase{"integer", Value::integer(21), 21.0f, 21, true},
                      LenientCase{"double", Value::real(0.5), 0.5f, 0, true},
                      LenientCase{"true", Value::boolean(true), 1.0f, 1, true},
                      LenientCase{"textLeadingNumber", Value("  12.5 hours"), 12.5f, 12, true},
                      LenientCase{"textSignedNumber", Value("-3e2x"), -300.0f, -3, true},
                      LenientCase{"textNoNumber", Value("abc"), 0.0f, 0, false},
                      LenientCase{"textYes", Value("YES"), 0.0f, 0, true},
                      LenientCase{"textZeroPaddedDigit", Value("007"), 7.0f, 7, true},
                      LenientCase{"textHexIsNotANumber", Value("0x1F"), 0.0f, 0, false},
                      LenientCase{"textInfinityIsNotANumber", Value("inf"), 0.0f, 0, false},
                      LenientCase{"date", Value(Date::fromUnixSeconds(1e9)), 0.0f, 0, false},
                      LenientCase{"colour", Value(Colour::whiteColor()), 0.0f, 0, false},
                      LenientCase{"array", Value(Array{Value::integer(1)}), 0.0f, 0, false},
                      LenientCase{"dictionary", Value(MetricDictionary{{"a", Value::integer(1)}}), 0.0f, 0, false},
                      LenientCase{"hugeDoubleSaturates", Value::real(1e300), std::numeric_limits<float>::infinity(),
                                  std::numeric_limits<std::int64_t>::max(), true},
                      LenientCase{"unsigned64Saturates", Value::wideInteger("18446744073709551615"), 1.8446744e19f,
                                  std::numeric_limits<std::int64_t>::max(), true},
                      LenientCase{"wideNegativeSaturates", Value::wideInteger("-100000000000000000000"), -1e20f,
                                  std::numeric_limits<std::int64_t>::min(), true},
                      LenientCase{"null", Value::null(), 0.0f, 0, false},
                      LenientCase{"uid", Value::uid(7), 0.0f, 0, false}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(LenientReaders, NotANumberReadsAsZeroInteger) {
  const Value nan = Value::real(std::nan(""));
  EXPECT_EQ(nan.integerValue(), 0);
  EXPECT_EQ(nan.intValue(), 0);
  EXPECT_FALSE(nan.boolValue());
  EXPECT_TRUE(std::isnan(nan.floatValue()));
}

TEST(MetricDictionary, SettingNoValueRemovesTheKey) {
  MetricDictionary d;
  d.setValue("a", Value::number(1.0f));
  d.setValue("b", Value("x"));
  d.setValue("a", std::nullopt);
  EXPECT_FALSE(d.contains("a"));
  EXPECT_EQ(d.size(), 1u);
  d.setValue("missing", std::nullopt);  // removing an absent key is harmless
  EXPECT_EQ(d.size(), 1u);
  d.setValue("image", Value(ImageRef()));  // an image that could not be drawn
  EXPECT_FALSE(d.contains("image"));
}

// A computed date no calendar names is no value: a record never carries one
// to show, publish or cache. A dictionary read from a file keeps what it holds.
TEST(MetricDictionary, ADateOffTheCalendarCountsAsNoValue) {
  const Date first = Date::fromUnixSeconds(Date::kFirstCalendarSeconds);
  const Date end = Date::fromUnixSeconds(Date::kEndCalendarSeconds);
  const struct {
    Date date;
    bool kept;
  } cases[] = {{first, true},
               {end.dateByAddingTimeInterval(-0.001), true},
               {first.dateByAddingTimeInterval(-0.001), false},
               {end, false},
               {Date::fromUnixSeconds(NAN), false},
               {Date::fromUnixSeconds(INFINITY), false},
               {Date::fromUnixSeconds(9.2e18), false}};
  for (const auto& c : cases) {
    MetricDictionary record{{"bedTime", Value(Date::fromUnixSeconds(0))}};
    record.setValue("bedTime", Value(c.date));
    EXPECT_EQ(record.contains("bedTime"), c.kept) << c.date.unixSeconds();
    const MetricDictionary read(std::vector<MetricDictionary::Entry>{{"d", Value(c.date)}});
    EXPECT_TRUE(read.contains("d")) << c.date.unixSeconds();
  }
}

TEST(MetricDictionary, AbsentKeysReadAsZero) {
  const MetricDictionary d{{"t", Value("9")}};
  EXPECT_EQ(d.floatForKey("nope"), 0.0f);
  EXPECT_FALSE(d.boolForKey("nope"));
  EXPECT_EQ(d.textForKey("nope"), nullptr);
  EXPECT_EQ(d.integerForKey("t"), 9);
  EXPECT_EQ(d.dictionaryForKey("t"), nullptr);
}

TEST(Value, EqualityLooksIntoArraysAndDictionaries) {
  EXPECT_EQ(Value(Array{Value("a"), Value::integer(2)}), Value(Array{Value("a"), Value::integer(2)}));
  EXPECT_NE(Value::integer(2), Value::number(2.0f));  // kinds differ
  EXPECT_NE(Value(MetricDictionary{{"a", Value::integer(1)}}), Value(MetricDictionary{{"a", Value::integer(2)}}));
  EXPECT_NE(Value(Array{Value("a")}), Value(Array{Value("b")}));  // same size, another item
}

struct HsbCase {
  Colour colour;
  const char* hex;
};
class ColourConversion : public ::testing::TestWithParam<HsbCase> {};
TEST_P(ColourConversion, HueSaturationBrightnessToRgb) { EXPECT_EQ(GetParam().colour.hexRGBA(), GetParam().hex); }
INSTANTIATE_TEST_SUITE_P(Colours, ColourConversion,
                         ::testing::Values(HsbCase{Colour::hsba(0, 1, 1), "#FF0000FF"},
                                           HsbCase{Colour::hsba(1.0 / 3.0, 1, 1), "#00FF00FF"},
                                           HsbCase{Colour::hsba(2.0 / 3.0, 1, 0.5, 0.5), "#00008080"},
                                           HsbCase{Colour::hsba(1.5, 1, 1), "#00FFFFFF"},
                                           HsbCase{Colour::darkGrayColor(), "#555555FF"},
                                           HsbCase{Colour::clearColor(), "#00000000"},
                                           HsbCase{Colour::hsba(193.0 / 360.0, 0.92, 0.10), "#02141AFF"}));

}  // namespace
}  // namespace velmora
