#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <sstream>

#include "PlistTool.h"
#include "platform/PropertyList.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::readBytes;
using testing::runPlistTool;
using testing::TempDir;

constexpr std::int64_t kInt64Max = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kInt64Min = std::numeric_limits<std::int64_t>::min();

MetricDictionary parseDictionary(std::span<const std::uint8_t> bytes) {
  const PlistReadResult read = parsePropertyList(bytes);
  EXPECT_TRUE(read.value.has_value()) << read.error;
  const MetricDictionary* dictionary = read.value ? read.value->dictionary() : nullptr;
  return dictionary ? *dictionary : MetricDictionary{};
}

bool sameBits(double a, double b) { return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b); }

std::string formatName(PlistFormat format) { return format == PlistFormat::Binary ? "binary" : "xml"; }

// ---- files written by another writer ---------------------------------------

struct ForeignCase {
  const char* key;
  Value value;
  std::optional<Value> xml = std::nullopt;  // where XML keeps less
};

const std::vector<ForeignCase>& foreignCases() {
  static const Value nested(
      MetricDictionary{{"list", Value(Array{Value::integer(1), Value(MetricDictionary{{"inner", Value(Array{})}})})},
                       {"emptyDict", Value(MetricDictionary{})}});
  static const std::vector<ForeignCase> cases = {
      {"integer", Value::integer(42)},
      {"negative", Value::integer(-7)},
      {"int64Max", Value::integer(kInt64Max)},
      {"int64Min", Value::integer(kInt64Min)},
      // Unsigned integers above the signed range saturate (not wrap to negative).
      {"aboveInt64", Value::integer(kInt64Max)},
      {"uint64Max", Value::integer(kInt64Max)},
      {"tenth", Value::real(0.1)},
      {"third", Value::real(1.0 / 3.0)},
      {"huge", Value::real(1e300)},
      {"tiny", Value::real(5e-324)},
      {"infinity", Value::real(INFINITY)},
      {"minusInfinity", Value::real(-INFINITY)},
      {"wholeReal", Value::real(28800.0)},
      {"yes", Value::boolean(true)},
      {"no", Value::boolean(false)},
      {"text", Value("ünï 🛌 <&> \"q\"")},
      {"empty", Value("")},
      // Binary dates are the writer's double; XML dates are whole seconds.
      {"now", Value(Date::fromReferenceSeconds(757864800.123456)), Value(Date::fromReferenceSeconds(757864800.0))},
      {"farFuture", Value(Date::fromReferenceSeconds(3124137600.25)), Value(Date::fromReferenceSeconds(3124137600.0))},
      {"farPast", Value(Date::fromReferenceSeconds(-3187296000.0))},
      {"justBefore2001", Value(Date::fromReferenceSeconds(-99.5)), Value(Date::fromReferenceSeconds(-100.0))},
      {"data", Value(Data{{0x00, 0x01, 0xFF}})},
      {"nested", nested},
  };
  return cases;
}

class ForeignFile : public ::testing::TestWithParam<PlistFormat> {};

TEST_P(ForeignFile, ReadsEveryKindAsPythonWroteIt) {
  TempDir dir;
  const auto path = dir.path() / "fixture.plist";
  runPlistTool({"fixture", formatName(GetParam()), path.string()});
  const PlistReadResult read = parsePropertyList(readBytes(path));
  ASSERT_TRUE(read.value) << read.error;
  EXPECT_EQ(read.format, GetParam());
  const MetricDictionary& contents = *read.value->dictionary();

  for (const ForeignCase& c : foreignCases()) {
    const Value* value = contents.objectForKey(c.key);
    ASSERT_NE(value, nullptr) << c.key;
    EXPECT_EQ(*value, GetParam() == PlistFormat::Xml && c.xml ? *c.xml : c.value) << c.key;
  }
  ASSERT_NE(contents.objectForKey("notANumber"), nullptr);
  EXPECT_TRUE(std::isnan(contents.objectForKey("notANumber")->doubleValue()));
  ASSERT_NE(contents.objectForKey("negativeZero"), nullptr);
  EXPECT_TRUE(sameBits(contents.objectForKey("negativeZero")->doubleValue(), -0.0));

  // The file's key order, not a sorted one.
  std::vector<std::string> keys;
  for (const auto& entry : contents) keys.push_back(entry.first);
  const auto z = std::find(keys.begin(), keys.end(), "zKeyOrder");
  ASSERT_NE(z, keys.end());
  EXPECT_EQ(*(z + 1), "aKeyOrder");
  EXPECT_EQ(keys.front(), "integer");

  if (GetParam() == PlistFormat::Xml) {
    // Integers only XML can write, beyond even the unsigned range, saturate too.
    EXPECT_EQ(contents.integerForKey("hugeNegative"), kInt64Min);
    EXPECT_EQ(contents.integerForKey("hugePositive"), kInt64Max);
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, ForeignFile, ::testing::Values(PlistFormat::Binary, PlistFormat::Xml),
                         [](const auto& param) { return formatName(param.param); });

// ---- files read by another reader -------------------------------------------

struct WrittenCase {
  const char* key;
  Value value;
  std::string line;      // Python's description of the value read back (empty: left out)
  std::string xml = {};  // where XML differs
};

const std::vector<WrittenCase>& writtenCases() {
  static const std::vector<WrittenCase> cases = {
      {"integer", Value::integer(-42), "int -42"},
      {"int64Min", Value::integer(kInt64Min), "int -9223372036854775808"},
      {"int64Max", Value::integer(kInt64Max), "int 9223372036854775807"},
      {"tenth", Value::real(0.1), "real 0x1.999999999999ap-4"},
      {"negativeZero", Value::real(-0.0), "real -0x0.0p+0"},
      {"notANumber", Value::real(NAN), "real nan"},
      {"infinity", Value::real(INFINITY), "real inf"},
      // A single-precision number is written as the double it widens to.
      {"float", Value::number(0.1f), "real 0x1.99999a0000000p-4"},
      {"true", Value::boolean(true), "bool true"},
      {"text", Value("ünï 🛌 <a & b>"), "text \\xfcn\\xef \\U0001f6cc <a & b>"},
      {"now", Value(Date::fromReferenceSeconds(757864800.123456)),
       "date 0x1.6960cb00fcd68p+29 2025-01-06T14:00:00.123456", "date 0x1.6960cb0000000p+29 2025-01-06T14:00:00"},
      {"farFuture", Value(Date::fromReferenceSeconds(3124137600.25)),
       "date 0x1.746d1d0080000p+31 2100-01-01T00:00:00.250000", "date 0x1.746d1d0000000p+31 2100-01-01T00:00:00"},
      {"justBefore2001", Value(Date::fromReferenceSeconds(-99.5)),
       "date -0x1.8e00000000000p+6 2000-12-31T23:58:20.500000", "date -0x1.9000000000000p+6 2000-12-31T23:58:20"},
      {"data", Value(Data{{0x00, 0x01, 0xFF}}), "data 0001ff"},
      {"colour", Value(Colour::whiteColor()), ""},
      {"list", Value(Array{Value::integer(1), Value(Colour::whiteColor()), Value("x")}), "array [int 1, text x]"},
      {"dict", Value(MetricDictionary{{"b", Value::integer(2)}, {"a", Value(Array{})}}),
       "dict {b: int 2, a: array []}"},
  };
  return cases;
}

class WrittenFile : public ::testing::TestWithParam<PlistFormat> {};

TEST_P(WrittenFile, ReadsInPythonAsWritten) {
  MetricDictionary contents;
  std::string expected;
  for (const WrittenCase& c : writtenCases()) {
    contents.setObject(c.key, c.value);
    const std::string& line = GetParam() == PlistFormat::Xml && !c.xml.empty() ? c.xml : c.line;
    if (!line.empty()) expected += std::string(c.key) + ": " + line + "\n";
  }
  TempDir dir;
  const auto path = dir.path() / "written.plist";
  testing::writeBytes(path, serializePropertyList(Value(contents), GetParam()));
  EXPECT_EQ(runPlistTool({"describe", path.string()}), expected);
}

INSTANTIATE_TEST_SUITE_P(Formats, WrittenFile, ::testing::Values(PlistFormat::Binary, PlistFormat::Xml),
                         [](const auto& param) { return formatName(param.param); });

TEST(PropertyListRoundTrip, EveryDoubleSurvivesXmlBitForBit) {
  std::mt19937_64 random(7);
  Array reals;
  for (double special : {-0.0, 0.0, 5e-324, 2.2250738585072014e-308, 1.7976931348623157e308, 9007199254740993.0, 1e23})
    reals.push_back(Value::real(special));
  for (int i = 0; i < 5000; ++i) {
    const double d = std::bit_cast<double>(random());
    if (!std::isnan(d)) reals.push_back(Value::real(d));
  }
  const PlistReadResult read = parsePropertyList(serializePropertyList(Value(reals), PlistFormat::Xml));
  ASSERT_TRUE(read.value && read.value->array());
  const Array& back = *read.value->array();
  ASSERT_EQ(back.size(), reals.size());
  for (std::size_t i = 0; i < reals.size(); ++i)
    ASSERT_TRUE(sameBits(back[i].doubleValue(), reals[i].doubleValue())) << reals[i].doubleValue();
}

TEST(PropertyListRoundTrip, DatesKeepTheirFormatsPrecision) {
  struct Case {
    double seconds;  // since 2001
    double xml;      // read back from XML; binary gives back the very same date
  };
  const Case cases[] = {
      {757864800.123456789, 757864800.0},
      {-0.25, -1.0},            // whole seconds round down, also before 2001
      {1e12, 252423993599.0},   // beyond year 9999: held at its last second in XML
      {-1e12, -63113904000.0},  // before year 1: held at its first
  };
  for (const Case& c : cases) {
    const Date date = Date::fromReferenceSeconds(c.seconds);
    const MetricDictionary in{{"d", Value(date)}};
    const MetricDictionary binary = parseDictionary(serializePropertyList(Value(in), PlistFormat::Binary));
    const MetricDictionary xml = parseDictionary(serializePropertyList(Value(in), PlistFormat::Xml));
    ASSERT_NE(binary.dateForKey("d"), nullptr);
    ASSERT_NE(xml.dateForKey("d"), nullptr);
    EXPECT_TRUE(sameBits(binary.dateForKey("d")->seconds, date.seconds)) << c.seconds;
    EXPECT_TRUE(sameBits(xml.dateForKey("d")->referenceSeconds(), c.xml)) << c.seconds;
  }
  // A date that is not a number has no XML text: it is left out.
  const MetricDictionary nan{{"d", Value(Date{NAN})}, {"k", Value::integer(1)}};
  EXPECT_FALSE(parseDictionary(serializePropertyList(Value(nan), PlistFormat::Xml)).contains("d"));
}

// ---- what the guard keeps from the library ----------------------------------

std::vector<std::uint8_t> bytesFrom(const std::string& s) { return {s.begin(), s.end()}; }

std::string nestedXml(int levels, const std::string& decoy = "") {
  std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">";
  for (int i = 0; i < levels; ++i) xml += (i % 2 ? "<array>" : "<dict><key>k</key>") + decoy;
  xml += "<integer>1</integer>";
  for (int i = levels - 1; i >= 0; --i) xml += i % 2 ? "</array>" : "</dict>";
  return xml + "</plist>";
}

// Binary property lists object by object (1-byte counts, 2-byte references,
// 4-byte offsets), for shapes no writer makes.
using Object = std::vector<std::uint8_t>;
Object container(std::uint8_t type, const std::vector<std::size_t>& refs, std::size_t count) {
  Object o{static_cast<std::uint8_t>(type << 4 | 0xF), 0x10, static_cast<std::uint8_t>(count)};
  for (std::size_t r : refs) o.insert(o.end(), {static_cast<std::uint8_t>(r >> 8), static_cast<std::uint8_t>(r)});
  return o;
}
Object array(const std::vector<std::size_t>& refs) { return container(0xA, refs, refs.size()); }
Object dict(std::vector<std::size_t> keys, const std::vector<std::size_t>& values) {
  const std::size_t count = keys.size();
  keys.insert(keys.end(), values.begin(), values.end());
  return container(0xD, keys, count);
}
Object integer(std::uint8_t v) { return {0x10, v}; }
Object ascii(const std::string& s) {
  Object o(1 + s.size(), static_cast<std::uint8_t>(0x50 | s.size()));
  std::copy(s.begin(), s.end(), o.begin() + 1);
  return o;
}

std::vector<std::uint8_t> binaryPlist(const std::vector<Object>& objects) {
  std::vector<std::uint8_t> out = bytesFrom("bplist00"), table;
  for (const Object& o : objects) {
    for (int shift = 24; shift >= 0; shift -= 8) table.push_back(static_cast<std::uint8_t>(out.size() >> shift));
    out.insert(out.end(), o.begin(), o.end());
  }
  const std::size_t tableOffset = out.size();
  out.insert(out.end(), table.begin(), table.end());
  std::vector<std::uint8_t> trailer(32, 0);
  trailer[6] = 4;
  trailer[7] = 2;
  for (int i = 0; i < 8; ++i) {
    trailer[8 + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(objects.size() >> (56 - 8 * i));
    trailer[24 + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(tableOffset >> (56 - 8 * i));
  }
  out.insert(out.end(), trailer.begin(), trailer.end());
  return out;
}

// Arrays nested `levels` deep around one integer.
std::vector<std::uint8_t> nestedBinary(std::size_t levels) {
  std::vector<Object> objects;
  for (std::size_t i = 0; i < levels; ++i) objects.push_back(array({i + 1}));
  objects.push_back(integer(1));
  return binaryPlist(objects);
}

struct GuardCase {
  const char* name;
  std::vector<std::uint8_t> bytes;
  std::string problem;  // a part of the reason given; empty: the file reads
};

std::vector<GuardCase> guardCases() {
  std::vector<Object> bomb;  // 2^60 leaves: 60 arrays that each hold the next one twice
  for (std::size_t i = 0; i < 60; ++i) bomb.push_back(array({i + 1, i + 1}));
  bomb.push_back(integer(1));
  std::string emptyContainers;
  for (int i = 0; i < 5000; ++i) emptyContainers += "<dict/><array/>";
  auto truncated = nestedBinary(3);
  truncated.pop_back();
  auto damaged = [](std::size_t fromEnd, std::uint8_t byte) {
    auto bytes = nestedBinary(3);
    bytes[bytes.size() - fromEnd] = byte;
    return bytes;
  };
  return {
      {"xmlAtTheDepthCap", bytesFrom(nestedXml(kMaxPlistDepth)), ""},
      {"xmlOneLevelTooDeep", bytesFrom(nestedXml(kMaxPlistDepth + 1)), "nested deeper than 512 levels"},
      {"xmlFarTooDeep", bytesFrom(nestedXml(300000)), "nested deeper than 512 levels"},
      // Closing tags inside comments are not closing tags.
      {"xmlDecoyClosingTags", bytesFrom(nestedXml(kMaxPlistDepth + 1, "<!-- </dict></array> -->")), "nested deeper"},
      {"xmlEmptyContainersOpenNothing", bytesFrom("<plist><array>" + emptyContainers + "</array></plist>"), ""},
      {"xmlQuotedBracketInAttribute", bytesFrom("<plist version=\"1>0\"><array><true/></array></plist>"), ""},
      {"xmlMismatchedTags", bytesFrom("<plist><array><dict></array></dict></plist>"), "does not match"},
      {"xmlInternalSubset", bytesFrom("<!DOCTYPE plist [<!ENTITY a \"aaaa\">]><plist><string>&a;</string></plist>"),
       "internal subset"},
      {"xmlUnterminatedComment", bytesFrom("<plist><!-- <array>"), "unterminated"},
      {"xmlNotAPlist", bytesFrom("hello"), "not a well-formed XML property list"},
      {"emptyFile", {}, "empty"},
      {"binaryAtTheDepthCap", nestedBinary(kMaxPlistDepth), ""},
      {"binaryOneLevelTooDeep", nestedBinary(kMaxPlistDepth + 1), "nested deeper than 512 levels"},
      {"binaryFarTooDeep", nestedBinary(60000), "nested deeper than 512 levels"},
      {"binarySelfReference", binaryPlist({array({0})}), "cycle"},
      {"binaryCycleThroughADictionary", binaryPlist({dict({1}, {2}), ascii("k"), array({3, 0}), integer(1)}), "cycle"},
      {"binaryReferenceOutOfRange", binaryPlist({array({1, 7}), integer(1)}), "does not exist"},
      {"binaryKeyNotAString", binaryPlist({dict({1}, {1}), integer(1)}), "key that is not a string"},
      {"binaryKeyWithANul", binaryPlist({dict({1}, {2}), ascii(std::string("a\0b", 3)), integer(1)}), "NUL"},
      {"binaryReferenceBomb", binaryPlist(bomb), "expand"},
      {"binaryHonestSharing",
       binaryPlist({dict({1, 2, 3}, {4, 4, 4}), ascii("a"), ascii("b"), ascii("c"), dict({1}, {5}), integer(9)}), ""},
      {"binaryTruncated", truncated, "binary property list"},
      {"binaryTopObjectMissing", damaged(9, 0x7F), "top object"},
      {"binaryOffsetTableOutside", damaged(5, 0x7F), "offset table"},
      {"binaryLaterVersion", bytesFrom("bplist15" + std::string(64, '\0')), "version"},
  };
}

TEST(PlistGuard, RejectsWhatTheLibraryCannotSafelyParse) {
  for (const GuardCase& c : guardCases()) {
    const PlistReadResult read = parsePropertyList(c.bytes);
    EXPECT_EQ(read.value.has_value(), c.problem.empty()) << c.name << ": " << read.error;
    EXPECT_NE(read.error.find(c.problem), std::string::npos) << c.name << ": " << read.error;
  }
}

TEST(PropertyListText, AlwaysValidUtf8) {
  // Written: ill-formed sequences in keys and texts become U+FFFD.
  const MetricDictionary in{{"bad\xff", Value("a\xc3(b")}};
  const MetricDictionary expected{{"bad\xef\xbf\xbd", Value("a\xef\xbf\xbd(b")}};
  for (PlistFormat format : {PlistFormat::Binary, PlistFormat::Xml})
    EXPECT_EQ(parseDictionary(serializePropertyList(Value(in), format)), expected) << formatName(format);
  // Read from a hostile binary file.
  const Object unpairedSurrogate{0x63, 0x00, 'a', 0xD8, 0x00, 0x00, 'b'};
  EXPECT_EQ(parseDictionary(
                binaryPlist({dict({1, 2}, {3, 4}), ascii("lone"), ascii("high"), unpairedSurrogate, ascii("x\xff")})),
            (MetricDictionary{{"lone", Value("ab")},  // the library drops an unpaired surrogate
                              {"high", Value("x\xef\xbf\xbd")}}));
}

// Random damage to valid files: every result is a value or an error, never a crash.
TEST(PlistGuard, SurvivesRandomDamage) {
  const MetricDictionary sample{
      {"a", Value::integer(1)},
      {"list", Value(Array{Value::real(2.5), Value("x"), Value(MetricDictionary{{"t", Value::boolean(true)}})})},
      {"when", Value(Date::fromReferenceSeconds(1e8))},
      {"ünï", Value(Data{{1, 2, 3}})}};
  std::mt19937 random(11);
  for (PlistFormat format : {PlistFormat::Binary, PlistFormat::Xml}) {
    const auto valid = serializePropertyList(Value(sample), format);
    int parsed = 0;
    for (int round = 0; round < 1500; ++round) {
      auto bytes = valid;
      for (int m = 0, n = 1 + static_cast<int>(random() % 6); m < n; ++m) {
        const auto at = bytes.begin() + static_cast<std::ptrdiff_t>(random() % bytes.size());
        switch (random() % 3) {
          case 0:
            *at = static_cast<std::uint8_t>(random());
            break;
          case 1:
            bytes.erase(at);
            break;
          default:
            bytes.insert(at, static_cast<std::uint8_t>(random()));
        }
      }
      const PlistReadResult read = parsePropertyList(bytes);
      EXPECT_NE(read.value.has_value(), !read.error.empty());
      parsed += read.value.has_value();
    }
    EXPECT_GT(parsed, 0) << "no damaged file read at all: the damage does not reach the parser";
  }
}

TEST(PropertyListWriting, RefusesWhatCannotBeReadBack) {
  Value nested = Value::integer(1);
  for (int i = 0; i < kMaxPlistDepth; ++i) nested = Value(Array{nested});
  for (PlistFormat format : {PlistFormat::Binary, PlistFormat::Xml}) {
    EXPECT_TRUE(parsePropertyList(serializePropertyList(nested, format)).value) << formatName(format);
    EXPECT_TRUE(serializePropertyList(Value(Array{nested}), format).empty());
    EXPECT_TRUE(serializePropertyList(Value(Colour::whiteColor()), format).empty());
  }
}

}  // namespace
}  // namespace velmora
