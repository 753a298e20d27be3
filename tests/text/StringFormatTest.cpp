#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "text/StringFormat.h"

namespace velmora {
namespace {

TEST(StringWithFormat, ObjectsIntegersAndPercent) {
  const std::string* none = nullptr;
  EXPECT_EQ(stringWithFormat("%@ slept %d%%", {"Ann", 87}), "Ann slept 87%");
  EXPECT_EQ(stringWithFormat("Swift-%@Compact", {"Bank"}), "Swift-BankCompact");
  EXPECT_EQ(stringWithFormat("[%@]", {none}), "[(null)]");
  EXPECT_EQ(stringWithFormat("[%@]", {}), "[(null)]");  // a missing argument is no object
  EXPECT_EQ(stringWithFormat("%ld weeks ", {3L}), "3 weeks ");
  EXPECT_EQ(stringWithFormat("%i|%5d|%-4d|", {-7, 42, 5}), "-7|   42|5   |");
  EXPECT_EQ(stringWithFormat("%2$@ %1$@", {"world", "hello"}), "hello world");
  EXPECT_EQ(stringWithFormat("5%! 5%", {}), "5%! 5%");  // a "%" that starts no conversion stands as written
}

TEST(StringWithFormat, IntegerConversionsReadTheWidthTheyName) {
  const long long big = (1LL << 32) + 5;
  EXPECT_EQ(stringWithFormat("%d", {big}), "5");  // "%d" reads 32 bits
  EXPECT_EQ(stringWithFormat("%ld", {big}), "4294967301");
  EXPECT_EQ(stringWithFormat("%d", {7.9}), "7");  // a number where a whole number was asked
  EXPECT_EQ(stringWithFormat("%d", {"12"}), "0");
}

TEST(StringWithFormat, NumbersAsObjectsDescribeThemselves) {
  EXPECT_EQ(stringWithFormat("%@", {7.5f}), "7.5");
  EXPECT_EQ(stringWithFormat("%@", {0.1f}), "0.1");
  EXPECT_EQ(stringWithFormat("%@", {0.1}), "0.1");
  EXPECT_EQ(stringWithFormat("%@", {21}), "21");
}

// printf rounds the exact binary value: ties that are exact go to even,
// values just below a tie go down.
struct RealCase {
  const char* format;
  double value;
  const char* plain;
  const char* german;
};

class RealConversions : public ::testing::TestWithParam<RealCase> {};

TEST_P(RealConversions, RoundAsPrintfAndTakeTheLocaleSeparator) {
  const RealCase& c = GetParam();
  EXPECT_EQ(stringWithFormat(c.format, {c.value}), c.plain);
  EXPECT_EQ(localizedStringWithFormat("de_DE", c.format, {c.value}), c.german);
  EXPECT_EQ(localizedStringWithFormat("en_US", c.format, {c.value}), c.plain);
}

INSTANTIATE_TEST_SUITE_P(Cases, RealConversions,
                         ::testing::Values(RealCase{"%.2f", 0.125, "0.12", "0,12"},   // exact tie: even
                                           RealCase{"%.2f", 0.375, "0.38", "0,38"},   // exact tie: even
                                           RealCase{"%.2f", 1.005, "1.00", "1,00"},   // 1.00499999… in binary
                                           RealCase{"%.02f", 2.675, "2.67", "2,67"},  // 2.67499999…
                                           RealCase{"%.0f", 0.5, "0", "0"},           // tie to even
                                           RealCase{"%.0f", 1.5, "2", "2"},           //
                                           RealCase{"%.0f", 2.5, "2", "2"},           //
                                           RealCase{"%.0f", -0.4, "-0", "-0"},        //
                                           RealCase{"%.1f", 12345.65, "12345.6",
                                                    "12345,6"},  // 12345.6499…, no grouping
                                           RealCase{"%f", 1.0 / 3, "0.333333", "0,333333"},  //
                                           RealCase{"{\"%.2f%%\"}", 7.0, "{\"7.00%\"}", "{\"7,00%\"}"}));

// Not-a-number and infinities print as the platform's printf prints them: "nan" with no sign whatever its
// sign bit (glibc would print "-nan"), infinities signed; both pad with spaces to the width, ignore the
// precision and take no decimal separator. A whole-number conversion given one prints it the same way.
struct NonFiniteCase {
  const char* format;
  double value;
  const char* printed;
};

class NonFiniteNumbers : public ::testing::TestWithParam<NonFiniteCase> {};

TEST_P(NonFiniteNumbers, PrintAsThePlatformPrintsThem) {
  const NonFiniteCase& c = GetParam();
  EXPECT_EQ(stringWithFormat(c.format, {c.value}), c.printed) << c.format << " of " << c.value;
  EXPECT_EQ(localizedStringWithFormat("de_DE", c.format, {c.value}), c.printed) << c.format << " of " << c.value;
  if (static_cast<double>(static_cast<float>(c.value)) == c.value || std::isnan(c.value)) {
    EXPECT_EQ(stringWithFormat(c.format, {static_cast<float>(c.value)}), c.printed) << c.format << " of a float";
  }
}

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
const double kNegativeNaN = std::copysign(kNaN, -1.0);  // what 0.0 / 0.0 gives on x86

INSTANTIATE_TEST_SUITE_P(
    Formats, NonFiniteNumbers,
    ::testing::Values(NonFiniteCase{"%f", kNaN, "nan"}, NonFiniteCase{"%f", kNegativeNaN, "nan"},
                      NonFiniteCase{"%.0f%% of goal", kNegativeNaN, "nan% of goal"}, NonFiniteCase{"%.1f", kInf, "inf"},
                      NonFiniteCase{"%.2f", -kInf, "-inf"}, NonFiniteCase{"%e", -kInf, "-inf"},
                      NonFiniteCase{"%g", kNegativeNaN, "nan"}, NonFiniteCase{"%F", kNegativeNaN, "NAN"},
                      NonFiniteCase{"%E", kInf, "INF"}, NonFiniteCase{"%+f", kNegativeNaN, "nan"},
                      NonFiniteCase{"%+f", kInf, "+inf"}, NonFiniteCase{"% f", kNaN, "nan"},
                      NonFiniteCase{"% f", kInf, " inf"}, NonFiniteCase{"[%6.1f]", kNegativeNaN, "[   nan]"},
                      NonFiniteCase{"[%-6f]", -kInf, "[-inf  ]"}, NonFiniteCase{"[%06.1f]", kInf, "[   inf]"},
                      NonFiniteCase{"%d", kNegativeNaN, "nan"}, NonFiniteCase{"%d", -kInf, "-inf"},
                      NonFiniteCase{"[%5ld]", kInf, "[  inf]"}, NonFiniteCase{"%@", kNegativeNaN, "nan"},
                      NonFiniteCase{"%@", -kInf, "-inf"},
                      // Finite, but beyond what the conversion reads: the nearest limit.
                      NonFiniteCase{"%d", 3e9, "2147483647"}, NonFiniteCase{"%ld", -1e30, "-9223372036854775808"}),
    [](const ::testing::TestParamInfo<NonFiniteCase>& param) { return "Case" + std::to_string(param.index); });

TEST(LocalizedStringWithFormat, OnlyRealNumbersTakeTheSeparator) {
  EXPECT_EQ(localizedStringWithFormat("de_DE", "%@: %d, %.1f", {"a.b", 1000, 2.25f}), "a.b: 1000, 2,2");
  EXPECT_EQ(localizedStringWithFormat("fr_FR", "%.1f", {-3.25}), "-3,2");
}

TEST(ReplacingOccurrences, ReplacesEveryHitLeftToRight) {
  EXPECT_EQ(replacingOccurrences("Baseline Waking BPM", " ", ""), "BaselineWakingBPM");
  EXPECT_EQ(replacingOccurrences("aaa", "aa", "b"), "ba");
  EXPECT_EQ(replacingOccurrences("2 days", "2", ""), " days");
  EXPECT_EQ(replacingOccurrences("abc", "", "x"), "abc");
}

}  // namespace
}  // namespace velmora
