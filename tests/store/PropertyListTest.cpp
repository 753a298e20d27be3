#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <fstream>
#include <limits>
#include <sstream>

#include "store/PlistTool.h"
#include "store/PropertyList.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::readBytes;
using testing::runPlistTool;
using testing::TempDir;

constexpr std::int64_t kInt64Max = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kInt64Min = std::numeric_limits<std::int64_t>::min();

MetricDictionary parseDictionary(std::span<const std::uint8_t> bytes) {
  const Result<PlistValue> read = parsePropertyList(bytes);
  EXPECT_TRUE(read.ok()) << read.message();
  const MetricDictionary* dictionary = read ? read->value.dictionary() : nullptr;
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
      // Unsigned integers above the signed range keep every digit.
      {"aboveInt64", Value::wideInteger("9223372036854775808")},
      {"uint64Max", Value::wideInteger("18446744073709551615")},
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
  const Result<PlistValue> read = parsePropertyList(readBytes(path));
  ASSERT_TRUE(read) << read.message();
  EXPECT_EQ(read->format, GetParam());
  const MetricDictionary& contents = *read->value.dictionary();

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
    // Integers only XML can write, beyond even the unsigned range: every digit, read as numbers saturating.
    EXPECT_EQ(*contents.objectForKey("hugeNegative"), Value::wideInteger("-100000000000000000000"));
    EXPECT_EQ(contents.integerForKey("hugePositive"), kInt64Max);
    EXPECT_EQ(contents.doubleForKey("hugePositive"), 1e20);
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
      {"uint64Max", Value::wideInteger("18446744073709551615"), "int 18446744073709551615"},
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
      // Four-digit years of the proleptic Gregorian calendar, from the first to the last.
      {"year1", Value(Date::fromReferenceSeconds(-63113904000.0)), "date -0x1.d63c37f000000p+35 0001-01-01T00:00:00"},
      {"year600", Value(Date::fromReferenceSeconds(-44206214400.0)), "date -0x1.495ca9a000000p+35 0600-03-01T00:00:00"},
      {"year9999", Value(Date::fromReferenceSeconds(252423993599.75)),
       "date 0x1.d62d23c7fe000p+37 9999-12-31T23:59:59.750000", "date 0x1.d62d23c7f8000p+37 9999-12-31T23:59:59"},
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

// ---- what the readers refuse -------------------------------------------------

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
      {"xmlMismatchedTags", bytesFrom("<plist><array><dict></array></dict></plist>"), "<dict> is not closed"},
      {"xmlKeyWithoutValue", bytesFrom("<plist><dict><key>a</key></dict></plist>"), "without its value"},
      {"xmlUnknownElement", bytesFrom("<plist><set/></plist>"), "unknown element <set>"},
      {"xmlNotAnInteger", bytesFrom("<plist><integer>12a</integer></plist>"), "not a valid integer"},
      {"xmlNotADate", bytesFrom("<plist><date>2025-02-30T00:00:00Z</date></plist>"), "not a valid date"},
      {"xmlNotBase64", bytesFrom("<plist><data>AA=A</data></plist>"), "not a valid data"},
      {"xmlUnknownEntity", bytesFrom("<plist><string>&nbsp;</string></plist>"), "unknown or malformed reference"},
      {"xmlTwoValues", bytesFrom("<plist><true/><false/></plist>"), "<plist> is not closed"},
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
      {"binaryKeyWithANul", binaryPlist({dict({1}, {2}), ascii(std::string("a\0b", 3)), integer(1)}), ""},
      {"binarySet", binaryPlist({{0xC1, 0x00, 0x01}, integer(1)}), "a kind the store does not read"},
      {"binaryFill", binaryPlist({array({1}), {0x0F}}), "malformed"},
      {"binaryReferenceBomb", binaryPlist(bomb), "expand"},
      {"binaryHonestSharing",
       binaryPlist({dict({1, 2, 3}, {4, 4, 4}), ascii("a"), ascii("b"), ascii("c"), dict({1}, {5}), integer(9)}), ""},
      {"binaryTruncated", truncated, "binary property list"},
      {"binaryTopObjectMissing", damaged(9, 0x7F), "top object"},
      {"binaryOffsetTableOutside", damaged(5, 0x7F), "offset table"},
      {"binaryLaterVersion", bytesFrom("bplist15" + std::string(64, '\0')), "version"},
  };
}

TEST(PlistReaders, RefuseWhatCannotBeReadSafely) {
  for (const GuardCase& c : guardCases()) {
    const Result<PlistValue> read = parsePropertyList(c.bytes);
    EXPECT_EQ(read.ok(), c.problem.empty()) << c.name << ": " << read.message();
    EXPECT_NE(read.message().find(c.problem), std::string::npos) << c.name << ": " << read.message();
  }
}

TEST(PropertyListText, ReadsAsValidUtf8) {
  // Read from a hostile binary file: what is no Unicode reads with U+FFFD (the file keeps it, see below).
  const Object unpairedSurrogate{0x63, 0x00, 'a', 0xD8, 0x00, 0x00, 'b'};
  EXPECT_EQ(parseDictionary(
                binaryPlist({dict({1, 2}, {3, 4}), ascii("lone"), ascii("high"), unpairedSurrogate, ascii("x\xff")})),
            (MetricDictionary{{"lone", Value("a\xef\xbf\xbd"
                                             "b")},
                              {"high", Value("x\xef\xbf\xbd")}}));
  // XML: references, CDATA, comments and line ends as an XML reader takes them; a NUL reference is a NUL.
  const std::string xml =
      "<plist><dict><key>t</key><string>a&#0;b&lt;&#x1F6CC;<![CDATA[<&>]]><!-- x -->\r\nz\r</string>"
      "<key>lone</key><string>&#xD800;</string></dict></plist>";
  EXPECT_EQ(parseDictionary(bytesFrom(xml)),
            (MetricDictionary{{"t", Value(std::string("a\0b<\xF0\x9F\x9B\x8C<&>\nz\n", 14))},
                              {"lone", Value("\xef\xbf\xbd")}}));
}

TEST(PropertyListWriting, RefusesWhatAReaderCouldNotTakeBack) {
  Value nested = Value::integer(1);
  for (int i = 0; i < kMaxPlistDepth; ++i) nested = Value(Array{nested});
  EXPECT_TRUE(parsePropertyList(serializePropertyList(nested, PlistFormat::Binary)).ok());
  EXPECT_TRUE(parsePropertyList(serializePropertyList(nested, PlistFormat::Xml)).ok());

  const struct {
    const char* name;
    Value value;
    std::optional<PlistFormat> only;  // refused in this format alone
    const char* problem;
  } cases[] = {
      {"colour", Value(Colour::whiteColor()), {}, "cannot hold a colour"},
      {"too deep", Value(Array{nested}), {}, "nested deeper than 512"},
      {"not UTF-8", Value(Array{Value("a\xc3(")}), {}, "not valid UTF-8"},
      {"key not UTF-8", Value(MetricDictionary{{"bad\xff", Value::integer(1)}}), {}, "not valid UTF-8"},
      {"NUL", Value(std::string("a\0b", 3)), PlistFormat::Xml, "character U+0000"},
      {"control", Value("\x1b[0m"), PlistFormat::Xml, "character U+001B"},
      {"non-character", Value("\xef\xbf\xbf"), PlistFormat::Xml, "character U+FFFF"},
      {"null", Value::null(), PlistFormat::Xml, "no form for null"},
      {"UID", Value::uid(3), PlistFormat::Xml, "no form for a UID"},
      {"beyond 128 bits", Value::wideInteger("-" + std::string(40, '9')), PlistFormat::Binary, "beyond 128 bits"},
      {"date off the calendar", Value(Date::fromUnixSeconds(INFINITY)), {}, "outside the years 1 to 9999"},
      {"date of no number, in a dictionary",
       Value(MetricDictionary{{"d", Value(Array{Value(Date::fromUnixSeconds(NAN))})}}),
       {},
       "1 to 9999"},
      {"date after 9999, in an array", Value(Array{Value(Date::fromReferenceSeconds(1e12))}), {}, "1 to 9999"},
      {"date before year 1", Value(Date::fromReferenceSeconds(-1e12)), {}, "1 to 9999"},
      {"date of 9.2e18", Value(Date::fromReferenceSeconds(9.2e18)), {}, "1 to 9999"},
  };
  for (const auto& c : cases) {
    for (PlistFormat format : {PlistFormat::Binary, PlistFormat::Xml}) {
      const Result<Value> stored = storedForm(c.value, format);
      const bool refused = !c.only || *c.only == format;
      EXPECT_EQ(stored.ok(), !refused) << c.name << " " << formatName(format);
      EXPECT_EQ(serializePropertyList(c.value, format).empty(), refused) << c.name << " " << formatName(format);
      if (refused) {
        EXPECT_NE(stored.message().find(c.problem), std::string::npos) << c.name << ": " << stored.message();
      } else {
        EXPECT_EQ(parsePropertyList(serializePropertyList(c.value, format))->value, *stored) << c.name;
      }
    }
  }
}

// ---- the lossless document ------------------------------------------------------

bool contains(const std::vector<std::uint8_t>& haystack, const std::vector<std::uint8_t>& needle) {
  return std::search(haystack.begin(), haystack.end(), needle.begin(), needle.end()) != haystack.end();
}

// Values of every kind another writer may leave, which this process has no
// use for: a write of one key of its own puts each back as it was, object for
// object and byte for byte.
TEST(PlistDocument, WritesBackWhatItDidNotSetByteForByte) {
  const Object uint64Max{0x14, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  const Object nulText{0x53, 'a', 0, 'b'};
  const Object uid{0x80, 0x05};
  const Object loneSurrogate{0x62, 0xD8, 0x00, 0x00, 'b'};
  const Object null{0x00};
  const Object float32{0x22, 0x3F, 0xC0, 0x00, 0x00};
  const Object negativeByte{0x13, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE};
  const Object farDate{0x33, 0x43, 0xE0, 0, 0, 0, 0, 0, 0};  // 2^63 seconds: no calendar names it
  const Object loneKey{0x61, 0xDC, 0x00};
  const std::vector<Object> leaves{uint64Max, nulText, uid, loneSurrogate, null, float32, negativeByte, farDate};
  std::vector<Object> objects{{}};  // the top dictionary comes first
  std::vector<std::size_t> keys, values;
  for (std::size_t i = 0; i < leaves.size(); ++i) {
    keys.push_back(objects.size());
    objects.push_back(i == leaves.size() - 1 ? loneKey : ascii("k" + std::to_string(i)));
    values.push_back(objects.size());
    objects.push_back(leaves[i]);
  }
  // One array shared by two entries stays one object.
  const std::size_t shared = objects.size();
  objects.push_back(array({values[0], values[1]}));
  for (const char* key : {"s1", "s2"}) {
    keys.push_back(objects.size());
    objects.push_back(ascii(key));
    values.push_back(shared);
  }
  objects[0] = dict(keys, values);
  const auto bytes = binaryPlist(objects);

  auto document = PlistDocument::read(bytes);
  ASSERT_TRUE(document) << document.message();
  const MetricDictionary before = document->contents();
  EXPECT_EQ(*before.objectForKey("k0"), Value::wideInteger("18446744073709551615"));
  EXPECT_EQ(*before.objectForKey("k1"), Value(std::string("a\0b", 3)));
  EXPECT_EQ(*before.objectForKey("k2"), Value::uid(5));
  EXPECT_EQ(before.objectForKey("k4")->kind(), Value::Kind::kNull);
  EXPECT_EQ(*before.objectForKey("k5"), Value::real(1.5));

  // A key of the same name as the lone-surrogate one, as it reads, is another key.
  document->set("\xef\xbf\xbd", Value::integer(1));
  document->set("k6", Value("replaced"));
  const auto written = document->write();
  for (const Object& leaf : leaves) {
    if (leaf != negativeByte) {
      EXPECT_TRUE(contains(written, leaf)) << "object " << int(leaf[0]) << " was changed";
    }
  }
  EXPECT_TRUE(contains(written, loneKey));
  EXPECT_FALSE(contains(written, negativeByte));

  MetricDictionary expected = before;
  expected.setValue("k6", Value("replaced"));
  expected.setValue("\xef\xbf\xbd", Value::integer(1));
  const Result<PlistValue> reread = parsePropertyList(written);
  ASSERT_TRUE(reread) << reread.message();
  EXPECT_EQ(*reread->value.dictionary(), expected);
  EXPECT_EQ(std::count(written.begin(), written.end(), 0xA2), 1) << "the shared array is written once";
}

TEST(PlistDocument, WritesBackAnXmlEntrysOwnText) {
  const std::vector<std::string> entries = {
      "<key>big</key><integer>100000000000000000000</integer>",
      "<key>minus</key>\n  <integer> -100000000000000000000 </integer>",
      "<key>hex</key><integer>0x10</integer>",
      "<key>fraction</key><date>2025-01-06T14:00:00.5Z</date>",
      "<key>nul</key><string>a&#0;b</string>",
      "<key>cdata</key><string><![CDATA[<&>]]><!-- note --></string>",
      "<key>deep</key><dict><key>x</key><array><real>1E3</real><true></true></array></dict>",
      "<key>keep</key><string>kept</string>",
  };
  std::string xml = "<?xml version=\"1.0\"?>\n<!-- the app's own -->\n<plist version=\"1.0\"><dict>";
  for (const std::string& entry : entries) xml += "\n\t" + entry;
  xml += "<key>keep</key><string>again</string>\n</dict></plist>\n";

  auto document = PlistDocument::read(bytesFrom(xml));
  ASSERT_TRUE(document) << document.message();
  const MetricDictionary before = document->contents();
  EXPECT_EQ(*before.objectForKey("big"), Value::wideInteger("100000000000000000000"));
  EXPECT_EQ(before.integerForKey("hex"), 16);
  EXPECT_EQ(before.dateForKey("fraction")->referenceSeconds(), 757864800.5);
  EXPECT_EQ(*before.textForKey("nul"), std::string("a\0b", 3));
  EXPECT_EQ(*before.textForKey("keep"), "again") << "a repeated key reads as its last value";

  document->set("added", Value(MetricDictionary{{"when", Value(Date::fromReferenceSeconds(0.75))}}));
  document->remove("keep");
  const auto written = document->write();
  const std::string text(written.begin(), written.end());
  for (std::size_t i = 0; i + 1 < entries.size(); ++i)
    EXPECT_NE(text.find(entries[i]), std::string::npos) << entries[i] << " in\n" << text;
  EXPECT_TRUE(text.starts_with("<?xml version=\"1.0\"?>\n<!-- the app's own -->")) << text;
  EXPECT_EQ(text.find("<key>keep</key>"), std::string::npos);
  EXPECT_NE(text.find("<key>added</key>\n\t<dict>\n\t\t<key>when</key>\n\t\t<date>2001-01-01T00:00:00Z</date>"),
            std::string::npos)
      << text;

  // The document describes what it wrote: a second write is the same file.
  PlistDocument again = *document;
  EXPECT_EQ(again.write(), written);
}

// Thousands of random stores of every kind Python writes: this process sets
// or removes one key, and Python reads every other value back unchanged.
TEST(PlistDocument, ChangesOneKeyAndPythonReadsEveryOtherValueUnchanged) {
  TempDir dir;
  runPlistTool({"random", dir.path().string(), "3000", "20250106"});
  std::ifstream cases(dir.path() / "cases");
  std::ifstream stores(dir.path() / "stores", std::ios::binary);
  std::ofstream written(dir.path() / "written", std::ios::binary);
  std::string name, action, hexKey;
  for (int index = 0; cases >> name >> action >> hexKey; ++index) {
    std::string key, length(8, '\0');
    for (std::size_t i = 0; i + 1 < hexKey.size(); i += 2)
      key += static_cast<char>(std::stoi(hexKey.substr(i, 2), nullptr, 16));
    stores.read(length.data(), 8);
    std::vector<std::uint8_t> bytes(std::stoul(length));
    stores.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    auto document = PlistDocument::read(std::move(bytes));
    ASSERT_TRUE(document) << name << ": " << document.message();
    if (action == "remove") {
      document->remove(key);
    } else {
      std::string kind;
      cases >> kind;
      const Value value = kind == "int"    ? Value::integer(index * 7 - 3)
                          : kind == "text" ? Value("velmora \u2713 " + std::to_string(index))
                          : kind == "real" ? Value::real(index / 7.0)
                          : kind == "date"
                              ? Value(Date::fromReferenceSeconds(757864800 + index * 1000.5))
                              : Value(MetricDictionary{{"n", Value::integer(index)},
                                                       {"list", Value(Array{Value::integer(index), Value("x")})}});
      const Result<Value> stored = storedEntry(key, value, document->format());
      ASSERT_TRUE(stored) << name << ": " << stored.message();
      document->set(key, *stored);
    }
    const auto& out = document->write();
    char header[9];
    std::snprintf(header, sizeof header, "%08zu", out.size());
    written.write(header, 8).write(reinterpret_cast<const char*>(out.data()), static_cast<std::streamsize>(out.size()));
  }
  written.close();
  EXPECT_EQ(runPlistTool({"verify", dir.path().string()}), "0 failed\n");
}

}  // namespace
}  // namespace velmora
