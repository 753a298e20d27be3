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
  Value binary;  // what the key reads as from the binary fixture
  Value xml;     // and from the XML one, where the format keeps less
};

const std::vector<ForeignCase>& foreignCases() {
  static const std::vector<ForeignCase> cases = {
      {"integer", Value::integer(42), Value::integer(42)},
      {"negative", Value::integer(-7), Value::integer(-7)},
      {"int64Max", Value::integer(kInt64Max), Value::integer(kInt64Max)},
      {"int64Min", Value::integer(kInt64Min), Value::integer(kInt64Min)},
      // Unsigned integers above the signed range saturate (not wrap to negative).
      {"aboveInt64", Value::integer(kInt64Max), Value::integer(kInt64Max)},
      {"uint64Max", Value::integer(kInt64Max), Value::integer(kInt64Max)},
      {"tenth", Value::real(0.1), Value::real(0.1)},
      {"third", Value::real(1.0 / 3.0), Value::real(1.0 / 3.0)},
      {"huge", Value::real(1e300), Value::real(1e300)},
      {"tiny", Value::real(5e-324), Value::real(5e-324)},
      {"infinity", Value::real(INFINITY), Value::real(INFINITY)},
      {"minusInfinity", Value::real(-INFINITY), Value::real(-INFINITY)},
      {"wholeReal", Value::real(28800.0), Value::real(28800.0)},
      {"yes", Value::boolean(true), Value::boolean(true)},
      {"no", Value::boolean(false), Value::boolean(false)},
      {"text", Value("ünï 🛌 <&> \"q\""), Value("ünï 🛌 <&> \"q\"")},
      {"empty", Value(""), Value("")},
      // Binary dates are the writer's double, bit for bit; XML dates are whole seconds.
      {"now", Value(Date::fromReferenceSeconds(757864800.123456)), Value(Date::fromReferenceSeconds(757864800.0))},
      {"farFuture", Value(Date::fromReferenceSeconds(3124137600.25)), Value(Date::fromReferenceSeconds(3124137600.0))},
      {"farPast", Value(Date::fromReferenceSeconds(-3187296000.0)), Value(Date::fromReferenceSeconds(-3187296000.0))},
      {"justBefore2001", Value(Date::fromReferenceSeconds(-99.5)), Value(Date::fromReferenceSeconds(-100.0))},
      {"data", Value(Data{{0x00, 0x01, 0xFF}}), Value(Data{{0x00, 0x01, 0xFF}})},
      {"nested",
       Value(MetricDictionary{
           {"list", Value(Array{Value::integer(1), Value(MetricDictionary{{"inner", Value(Array{})}})})},
           {"emptyDict", Value(MetricDictionary{})}}),
       Value(MetricDictionary{
           {"list", Value(Array{Value::integer(1), Value(MetricDictionary{{"inner", Value(Array{})}})})},
           {"emptyDict", Value(MetricDictionary{})}})},
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
    EXPECT_EQ(*value, GetParam() == PlistFormat::Binary ? c.binary : c.xml) << c.key;
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
  std::string binary;  // Python's description of the value read back (empty: left out)
  std::string xml;
};

const std::vector<WrittenCase>& writtenCases() {
  static const std::vector<WrittenCase> cases = {
      {"integer", Value::integer(-42), "int -42", "int -42"},
      {"int64Min", Value::integer(kInt64Min), "int -9223372036854775808", "int -9223372036854775808"},
      {"int64Max", Value::integer(kInt64Max), "int 9223372036854775807", "int 9223372036854775807"},
      {"tenth", Value::real(0.1), "real 0x1.999999999999ap-4", "real 0x1.999999999999ap-4"},
      {"third", Value::real(1.0 / 3.0), "real 0x1.5555555555555p-2", "real 0x1.5555555555555p-2"},
      {"negativeZero", Value::real(-0.0), "real -0x0.0p+0", "real -0x0.0p+0"},
      {"notANumber", Value::real(NAN), "real nan", "real nan"},
      {"infinity", Value::real(INFINITY), "real inf", "real inf"},
      // A single-precision number is written as the double it widens to.
      {"float", Value::number(0.1f), "real 0x1.99999a0000000p-4", "real 0x1.99999a0000000p-4"},
      {"true", Value::boolean(true), "bool true", "bool true"},
      {"text", Value("ünï 🛌"), "text \\xfcn\\xef \\U0001f6cc", "text \\xfcn\\xef \\U0001f6cc"},
      {"escapes", Value("<a & b>"), "text <a & b>", "text <a & b>"},
      {"now", Value(Date::fromReferenceSeconds(757864800.123456)),
       "date 0x1.6960cb00fcd68p+29 2025-01-06T14:00:00.123456", "date 0x1.6960cb0000000p+29 2025-01-06T14:00:00"},
      {"farFuture", Value(Date::fromReferenceSeconds(3124137600.25)),
       "date 0x1.746d1d0080000p+31 2100-01-01T00:00:00.250000", "date 0x1.746d1d0000000p+31 2100-01-01T00:00:00"},
      {"justBefore2001", Value(Date::fromReferenceSeconds(-99.5)),
       "date -0x1.8e00000000000p+6 2000-12-31T23:58:20.500000", "date -0x1.9000000000000p+6 2000-12-31T23:58:20"},
      {"data", Value(Data{{0x00, 0x01, 0xFF}}), "data 0001ff", "data 0001ff"},
      {"colour", Value(Colour::whiteColor()), "", ""},
      {"list", Value(Array{Value::integer(1), Value(Colour::whiteColor()), Value("x")}), "array [int 1, text x]",
       "array [int 1, text x]"},
      {"dict", Value(MetricDictionary{{"b", Value::integer(2)}, {"a", Value(Array{})}}), "dict {b: int 2, a: array []}",
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
    const std::string& line = GetParam() == PlistFormat::Binary ? c.binary : c.xml;
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

TEST(PropertyListRoundTrip, IllFormedTextsBecomeValidUtf8) {
  const MetricDictionary in{{"bad\xff", Value("a\xc3(b\xed\xa0\x80")}};
  for (PlistFormat format : {PlistFormat::Binary, PlistFormat::Xml}) {
    const MetricDictionary out = parseDictionary(serializePropertyList(Value(in), format));
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out.begin()->first, "bad\xef\xbf\xbd");
    ASSERT_NE(out.textForKey("bad\xef\xbf\xbd"), nullptr);
    EXPECT_EQ(*out.textForKey("bad\xef\xbf\xbd"), "a\xef\xbf\xbd(b\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd");
  }
}

// ---- what the guard keeps from the library ----------------------------------

std::string nestedXml(int levels, const std::string& decoy = "") {
  std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">";
  for (int i = 0; i < levels; ++i) xml += (i % 2 ? "<array>" : "<dict><key>k</key>") + decoy;
  xml += "<integer>1</integer>";
  for (int i = levels - 1; i >= 0; --i) xml += i % 2 ? "</array>" : "</dict>";
  return xml + "</plist>";
}

// Binary property lists object by object, for shapes no writer makes:
// 2-byte references, 4-byte offsets.
class BinaryBuilder {
 public:
  std::size_t add(std::vector<std::uint8_t> object) {
    objects_.push_back(std::move(object));
    return objects_.size() - 1;
  }
  static std::vector<std::uint8_t> container(std::uint8_t type, const std::vector<std::size_t>& refs,
                                             std::size_t count) {
    std::vector<std::uint8_t> o;
    if (count < 15) {
      o.push_back(static_cast<std::uint8_t>(type << 4 | count));
    } else {
      o.insert(o.end(), {static_cast<std::uint8_t>(type << 4 | 0xF), 0x11, static_cast<std::uint8_t>(count >> 8),
                         static_cast<std::uint8_t>(count)});
    }
    for (std::size_t r : refs) o.insert(o.end(), {static_cast<std::uint8_t>(r >> 8), static_cast<std::uint8_t>(r)});
    return o;
  }
  static std::vector<std::uint8_t> array(const std::vector<std::size_t>& refs) {
    return container(0xA, refs, refs.size());
  }
  static std::vector<std::uint8_t> dict(const std::vector<std::size_t>& keys, const std::vector<std::size_t>& values) {
    std::vector<std::size_t> refs = keys;
    refs.insert(refs.end(), values.begin(), values.end());
    return container(0xD, refs, keys.size());
  }
  static std::vector<std::uint8_t> integer(std::uint8_t v) { return {0x10, v}; }
  static std::vector<std::uint8_t> ascii(const std::string& s) {
    std::vector<std::uint8_t> o(1 + s.size(), static_cast<std::uint8_t>(0x50 | s.size()));
    std::copy(s.begin(), s.end(), o.begin() + 1);
    return o;
  }
  static std::vector<std::uint8_t> utf16(const std::u16string& s) {
    std::vector<std::uint8_t> o{static_cast<std::uint8_t>(0x60 | s.size())};
    for (char16_t c : s) o.insert(o.end(), {static_cast<std::uint8_t>(c >> 8), static_cast<std::uint8_t>(c)});
    return o;
  }

  std::vector<std::uint8_t> build(std::size_t top = 0) const {
    std::vector<std::uint8_t> out{'b', 'p', 'l', 'i', 's', 't', '0', '0'};
    std::vector<std::size_t> offsets;
    for (const auto& o : objects_) {
      offsets.push_back(out.size());
      out.insert(out.end(), o.begin(), o.end());
    }
    const std::size_t table = out.size();
    for (std::size_t off : offsets)
      for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<std::uint8_t>(off >> shift));
    std::vector<std::uint8_t> trailer(32, 0);
    trailer[6] = 4;
    trailer[7] = 2;
    for (int i = 0; i < 8; ++i) {
      trailer[8 + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(objects_.size() >> (56 - 8 * i));
      trailer[16 + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(top >> (56 - 8 * i));
      trailer[24 + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(table >> (56 - 8 * i));
    }
    out.insert(out.end(), trailer.begin(), trailer.end());
    return out;
  }

 private:
  std::vector<std::vector<std::uint8_t>> objects_;
};

// Arrays nested `levels` deep around one integer.
std::vector<std::uint8_t> nestedBinary(std::size_t levels) {
  BinaryBuilder b;
  for (std::size_t i = 0; i < levels; ++i) b.add(BinaryBuilder::array({i + 1}));
  b.add(BinaryBuilder::integer(1));
  return b.build();
}

struct GuardCase {
  const char* name;
  std::vector<std::uint8_t> bytes;
  std::string problem;  // a part of the reason given; empty: the file reads
};

std::vector<std::uint8_t> bytesFrom(const std::string& s) { return {s.begin(), s.end()}; }

std::vector<GuardCase> guardCases() {
  std::vector<GuardCase> cases;
  cases.push_back({"xmlAtTheDepthCap", bytesFrom(nestedXml(kMaxPlistDepth)), ""});
  cases.push_back({"xmlOneLevelTooDeep", bytesFrom(nestedXml(kMaxPlistDepth + 1)), "nested deeper than 512 levels"});
  cases.push_back({"xmlFarTooDeep", bytesFrom(nestedXml(300000)), "nested deeper than 512 levels"});
  // Closing tags inside comments and CDATA are not closing tags.
  cases.push_back(
      {"xmlDecoyClosingTags", bytesFrom(nestedXml(kMaxPlistDepth + 1, "<!-- </dict></array> -->")), "nested deeper"});
  cases.push_back({"xmlEmptyContainersOpenNothing",
                   bytesFrom("<plist>" + std::string(5000, ' ') + "<array>" +
                             [] {
                               std::string s;
                               for (int i = 0; i < 5000; ++i) s += "<dict/><array/>";
                               return s;
                             }() +
                             "</array></plist>"),
                   ""});
  cases.push_back(
      {"xmlQuotedBracketInAttribute", bytesFrom("<plist version=\"1>0\"><array><true/></array></plist>"), ""});
  cases.push_back({"xmlMismatchedTags", bytesFrom("<plist><array><dict></array></dict></plist>"), "does not match"});
  cases.push_back({"xmlStrayClosingTag", bytesFrom("<plist><array></array></array></plist>"), "does not match"});
  cases.push_back({"xmlInternalSubset",
                   bytesFrom("<!DOCTYPE plist [<!ENTITY a \"aaaa\">]><plist><string>&a;</string></plist>"),
                   "internal subset"});
  cases.push_back({"xmlUnterminatedComment", bytesFrom("<plist><!-- <array>"), "unterminated"});
  cases.push_back({"xmlNotAPlist", bytesFrom("hello"), "not a well-formed XML property list"});
  cases.push_back({"emptyFile", {}, "empty"});

  cases.push_back({"binaryAtTheDepthCap", nestedBinary(kMaxPlistDepth), ""});
  cases.push_back({"binaryOneLevelTooDeep", nestedBinary(kMaxPlistDepth + 1), "nested deeper than 512 levels"});
  cases.push_back({"binaryFarTooDeep", nestedBinary(60000), "nested deeper than 512 levels"});
  {
    BinaryBuilder b;  // an array that holds itself
    b.add(BinaryBuilder::array({0}));
    cases.push_back({"binarySelfReference", b.build(), "cycle"});
  }
  {
    BinaryBuilder b;  // a dictionary whose value leads back to it
    b.add(BinaryBuilder::dict({1}, {2}));
    b.add(BinaryBuilder::ascii("k"));
    b.add(BinaryBuilder::array({3, 0}));
    b.add(BinaryBuilder::integer(1));
    cases.push_back({"binaryCycleThroughTwoObjects", b.build(), "cycle"});
  }
  {
    BinaryBuilder b;
    b.add(BinaryBuilder::array({1, 7}));
    b.add(BinaryBuilder::integer(1));
    cases.push_back({"binaryReferenceOutOfRange", b.build(), "does not exist"});
  }
  {
    BinaryBuilder b;
    b.add(BinaryBuilder::dict({1}, {1}));
    b.add(BinaryBuilder::integer(1));
    cases.push_back({"binaryKeyNotAString", b.build(), "key that is not a string"});
  }
  {
    BinaryBuilder b;  // 2^60 leaves through 60 arrays that each hold the next one twice
    for (std::size_t i = 0; i < 60; ++i) b.add(BinaryBuilder::array({i + 1, i + 1}));
    b.add(BinaryBuilder::integer(1));
    cases.push_back({"binaryReferenceBomb", b.build(), "expand"});
  }
  {
    BinaryBuilder b;  // honest sharing: one dictionary under three keys
    const std::size_t shared = 4;
    b.add(BinaryBuilder::dict({1, 2, 3}, {shared, shared, shared}));
    b.add(BinaryBuilder::ascii("a"));
    b.add(BinaryBuilder::ascii("b"));
    b.add(BinaryBuilder::ascii("c"));
    b.add(BinaryBuilder::dict({1}, {5}));
    b.add(BinaryBuilder::integer(9));
    cases.push_back({"binarySharedDictionary", b.build(), ""});
  }
  {
    auto truncated = nestedBinary(3);
    truncated.resize(truncated.size() - 1);
    cases.push_back({"binaryTruncated", truncated, "binary property list"});
  }
  {
    auto wrongTop = nestedBinary(3);
    wrongTop[wrongTop.size() - 9] = 0x7F;  // top object far past the end
    cases.push_back({"binaryTopObjectMissing", wrongTop, "top object"});
  }
  {
    auto farTable = nestedBinary(3);
    farTable[farTable.size() - 5] = 0x7F;  // offset table far past the end
    cases.push_back({"binaryOffsetTableOutside", farTable, "offset table"});
  }
  cases.push_back({"binaryLaterVersion", bytesFrom("bplist15" + std::string(64, '\0')), "version"});
  return cases;
}

TEST(PlistGuard, RejectsWhatTheLibraryCannotSafelyParse) {
  for (const GuardCase& c : guardCases()) {
    const PlistReadResult read = parsePropertyList(c.bytes);
    if (c.problem.empty()) {
      EXPECT_TRUE(read.value.has_value()) << c.name << ": " << read.error;
    } else {
      EXPECT_FALSE(read.value.has_value()) << c.name;
      EXPECT_NE(read.error.find(c.problem), std::string::npos) << c.name << ": " << read.error;
    }
  }
}

TEST(PlistGuard, SharedObjectsReadAsCopies) {
  BinaryBuilder b;
  b.add(BinaryBuilder::dict({1, 2}, {3, 3}));
  b.add(BinaryBuilder::ascii("a"));
  b.add(BinaryBuilder::ascii("b"));
  b.add(BinaryBuilder::array({4, 4}));
  b.add(BinaryBuilder::integer(5));
  const MetricDictionary contents = parseDictionary(b.build());
  const Value shared(Array{Value::integer(5), Value::integer(5)});
  EXPECT_EQ(contents, (MetricDictionary{{"a", shared}, {"b", shared}}));
}

TEST(PlistGuard, HostileStringsReadAsValidUtf8) {
  BinaryBuilder b;
  b.add(BinaryBuilder::dict({1, 2}, {3, 4}));
  b.add(BinaryBuilder::ascii("lone"));
  b.add(BinaryBuilder::ascii("high"));
  b.add(BinaryBuilder::utf16({u'a', char16_t(0xD800), u'b'}));  // an unpaired surrogate
  b.add(BinaryBuilder::ascii("x\xff"));                         // not ASCII at all
  const MetricDictionary contents = parseDictionary(b.build());
  ASSERT_NE(contents.textForKey("lone"), nullptr);
  ASSERT_NE(contents.textForKey("high"), nullptr);
  EXPECT_EQ(*contents.textForKey("lone"), "ab");  // the library drops an unpaired surrogate
  EXPECT_EQ(*contents.textForKey("high"), "x\xef\xbf\xbd");
}

// Random damage to valid files: every result is a value or an error, never a crash.
TEST(PlistGuard, SurvivesRandomDamage) {
  MetricDictionary sample{
      {"a", Value::integer(1)},
      {"list", Value(Array{Value::real(2.5), Value("x"), Value(MetricDictionary{{"t", Value::boolean(true)}})})},
      {"when", Value(Date::fromReferenceSeconds(1e8))},
      {"data", Value(Data{{1, 2, 3}})},
      {"ünï", Value("🛌")}};
  std::mt19937 random(11);
  for (PlistFormat format : {PlistFormat::Binary, PlistFormat::Xml}) {
    const auto valid = serializePropertyList(Value(sample), format);
    int parsed = 0;
    for (int round = 0; round < 1500; ++round) {
      auto bytes = valid;
      for (int m = 0, n = 1 + static_cast<int>(random() % 6); m < n; ++m) {
        const std::size_t at = random() % bytes.size();
        switch (random() % 3) {
          case 0:
            bytes[at] = static_cast<std::uint8_t>(random());
            break;
          case 1:
            bytes.erase(bytes.begin() + static_cast<std::ptrdiff_t>(at));
            break;
          default:
            bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(at), static_cast<std::uint8_t>(random()));
        }
      }
      const PlistReadResult read = parsePropertyList(bytes);
      EXPECT_NE(read.value.has_value(), !read.error.empty());
      parsed += read.value.has_value();
    }
    EXPECT_GT(parsed, 0) << "no damaged file read at all: the damage is not exercising the parser";
  }
}

TEST(PropertyListWriting, RefusesWhatCannotBeReadBack) {
  auto nested = [](int levels) {
    Value v = Value::integer(1);
    for (int i = 0; i < levels; ++i) v = Value(Array{v});
    return v;
  };
  for (PlistFormat format : {PlistFormat::Binary, PlistFormat::Xml}) {
    const auto atCap = serializePropertyList(nested(kMaxPlistDepth), format);
    EXPECT_TRUE(parsePropertyList(atCap).value.has_value()) << formatName(format);
    EXPECT_TRUE(serializePropertyList(nested(kMaxPlistDepth + 1), format).empty());
    EXPECT_TRUE(serializePropertyList(Value(Colour::whiteColor()), format).empty());
  }
}

}  // namespace
}  // namespace velmora
