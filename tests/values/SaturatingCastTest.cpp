#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "values/SaturatingCast.h"
#include "values/Value.h"

namespace velmora {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr std::int64_t kMax64 = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin64 = std::numeric_limits<std::int64_t>::min();
constexpr int kMaxInt = std::numeric_limits<int>::max();
constexpr int kMinInt = std::numeric_limits<int>::min();

// A stored number read as a whole number: truncated, the nearest limit beyond the range, 0 for NaN; a text
// read as far as its leading integer goes (the platform's reading of "1e30" is 1), saturating too.
struct Case {
  const char* name;
  Value stored;
  std::int64_t asInteger;  // integerValue, integerForKey
  int asInt;               // intValue
};

class StoredNumberToInteger : public ::testing::TestWithParam<Case> {};

TEST_P(StoredNumberToInteger, IsDefinedForEveryNumber) {
  const Case& c = GetParam();
  EXPECT_EQ(c.stored.integerValue(), c.asInteger);
  EXPECT_EQ(c.stored.intValue(), c.asInt);
  EXPECT_EQ(MetricDictionary({{"key", c.stored}}).integerForKey("key"), c.asInteger);
  if (c.stored.kind() == Value::Kind::kDouble) {
    const double d = c.stored.doubleValue();
    EXPECT_EQ(saturatingCast<std::int64_t>(d), c.asInteger);
    EXPECT_EQ(saturatingCast<int>(d), c.asInt);
    EXPECT_EQ(saturatingCast<std::int64_t>(static_cast<float>(d)), c.asInteger) << "as a float";
  }
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, StoredNumberToInteger,
    ::testing::Values(
        Case{"notANumber", Value::real(std::nan("")), 0, 0}, Case{"infinity", Value::real(kInf), kMax64, kMaxInt},
        Case{"minusInfinity", Value::real(-kInf), kMin64, kMinInt}, Case{"huge", Value::real(1e30), kMax64, kMaxInt},
        Case{"hugeNegative", Value::real(-1e30), kMin64, kMinInt},
        Case{"twoToThe63", Value::real(9223372036854775808.0), kMax64, kMaxInt},
        Case{"minusTwoToThe63", Value::real(-9223372036854775808.0), kMin64, kMinInt},
        Case{"truncatedTowardZero", Value::real(-7.9), -7, -7},
        Case{"beyondInt", Value::real(3e9), 3'000'000'000, kMaxInt}, Case{"textOfAnExponent", Value("1e30"), 1, 1},
        Case{"textOfAFraction", Value("-7.9"), -7, -7}, Case{"textOfNoNumber", Value("abc"), 0, 0},
        Case{"textBeyondInt", Value("99999999999"), 99'999'999'999, kMaxInt},
        Case{"textBeyondInt64", Value("-99999999999999999999"), kMin64, kMinInt}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(SaturatingCast, NarrowsWholeNumbersToTheNearestLimit) {
  EXPECT_EQ(saturatingCast<int>(kMax64), kMaxInt);
  EXPECT_EQ(saturatingCast<int>(kMin64), kMinInt);
  EXPECT_EQ(saturatingCast<int>(std::int64_t{-21}), -21);
  EXPECT_EQ(saturatingCast<std::uint8_t>(-1), 0);
  EXPECT_EQ(saturatingCast<std::uint64_t>(-0.5), 0u);
  EXPECT_EQ(saturatingCast<int>(2147483520.0f), 2147483520) << "the largest float below 2^31 fits";
  EXPECT_EQ(saturatingCast<int>(2147483648.0f), kMaxInt);
}

}  // namespace
}  // namespace velmora
