// `velmora defaults` over real preferences files, run as a separate process
// the way a person or a test script prepares data.
#include <gtest/gtest.h>

#include <functional>
#include <nlohmann/json.hpp>

#include "VelmoraProcess.h"
#include "host/Files.h"
#include "host/JsonForms.h"
#include "support/TestEnvironment.h"

namespace velmora::testing {
namespace {

// Every kind a domain holds. Exports are compared after parsing, where
// 28800.0 and 28800 still differ (a real against an integer).
constexpr const char* kEveryKind = R"({"text": "Schlafbank 🛌 \"quoted\"", "nanText": "NaN",
  "integer": 42, "negative": -7, "beyondDoubles": 9007199254740993,
  "real": 0.1, "wholeReal": 28800.0, "tinyReal": 1e-07, "negativeReal": -2.5, "yes": true, "no": false,
  "winterDate": {"date": "2025-01-06T22:30:00+01:00"},
  "summerDateWithMilliseconds": {"date": "2025-07-01T14:00:00.250+02:00"},
  "bytes": {"data": "AAEC/w=="},
  "array": [1, 2.5, "x", [], {"when": {"date": "2024-12-31T23:59:59+01:00"}, "flag": false}],
  "dictionary": {"b": {}, "a": [{"data": ""}]},
  "lookalike": {"dictionary": {"date": "not a date"}},
  "": "the empty key"})";

using Defaults = ProgramTest;

std::string canonical(const std::string& json) { return host::Json::parse(json).dump(); }

TEST_F(Defaults, ImportThenExportGivesBackEveryKindUnchanged) {
  const auto fixture = file("fixture.json", kEveryKind);
  const ProcessResult imported = velmora({"defaults", "import", "shared", fixture.string()});
  ASSERT_EQ(imported.status, 0) << imported.err;
  EXPECT_TRUE(std::filesystem::exists(prefs() / "group.quorvane.Velmora.plist"));

  const ProcessResult exported = velmora({"defaults", "export", "shared"});
  ASSERT_EQ(exported.status, 0) << exported.err;
  EXPECT_EQ(canonical(exported.out), canonical(kEveryKind));
  EXPECT_EQ(exported.err, "");
}

// A property list imports as well; an import that cannot be read leaves the domain as it was.
TEST_F(Defaults, ImportReadsAPropertyListAndABadImportChangesNothing) {
  const auto plist = file("app.plist", R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
  <key>requiredHours</key><real>7.5</real> <key>nightHour</key><integer>21</integer>
  <key>rawSynchTime</key><date>2025-01-06T06:15:00Z</date> <key>miles</key><true/> <key>blob</key><data>AAEC</data>
</dict></plist>)");
  ASSERT_EQ(velmora({"defaults", "import", "shared", plist.string()}).status, 0);
  for (const char* contents : {R"({"a": 1, "b": null})", R"({"a": 1,)", "[1, 2]"}) {
    const auto bad = file("bad.json", contents);
    const ProcessResult result = velmora({"defaults", "import", "shared", bad.string()});
    EXPECT_EQ(result.status, 1) << contents;
    EXPECT_NE(result.err.find(bad.string() + ": "), std::string::npos) << result.err;
  }
  EXPECT_EQ(velmora({"defaults", "export", "shared"}).out,
            "{\n  \"requiredHours\": 7.5,\n  \"nightHour\": 21,\n  \"rawSynchTime\": {\"date\": "
            "\"2025-01-06T07:15:00+01:00\"},\n  \"miles\": true,\n  \"blob\": {\"data\": \"AAEC\"}\n}\n");
}

// A domain whose file cannot be read or is no property list is not an empty
// domain: every verb fails with the reason, said once, and the file stays.
TEST_F(Defaults, UnreadableDomainFailsWithItsReason) {
  const auto plist = prefs() / "group.quorvane.Velmora.plist";
  const std::pair<const char*, std::function<void()>> states[] = {
      {"is not a regular file", [&] { std::filesystem::create_directories(plist); }},
      {"Too many levels of symbolic links", [&] { std::filesystem::create_symlink(plist, plist); }},
      {"not a valid property list", [&] { ASSERT_TRUE(host::writeFile(plist, "<plist><dict>")); }},
  };
  std::filesystem::create_directories(prefs());
  for (const auto& [reason, make] : states) {
    std::filesystem::remove_all(plist);
    make();
    for (const std::vector<std::string>& args : {std::vector<std::string>{"defaults", "read", "shared"},
                                                 {"defaults", "read", "shared", "bankDict"},
                                                 {"defaults", "export", "shared"},
                                                 {"defaults", "write", "shared", "a", "1"},
                                                 {"defaults", "delete", "shared"}}) {
      const ProcessResult result = velmora(args);
      EXPECT_EQ(result.status, 1) << reason << ": " << args[1];
      EXPECT_EQ(result.out, "") << reason << ": " << args[1];
      const auto at = result.err.find(reason);
      EXPECT_NE(at, std::string::npos) << result.err;
      EXPECT_EQ(result.err.find(reason, at + 1), std::string::npos) << "said twice: " << result.err;
    }
  }
  EXPECT_EQ(*host::readFile(plist), "<plist><dict>");
}

// JSON values and the platform defaults tool's typed forms store what it would store; each case writes the key
// "k" (or the named one) of the standard domain in turn, on what the cases before it left, and reads it back.
// Deleting a key, then the domain, leaves nothing to read.
TEST_F(Defaults, TypedWritesStoreWhatThePlatformToolWould) {
  const struct {
    std::vector<std::string> value;
    const char* read;  // the key's JSON form afterwards
    const char* key = "k";
  } cases[] = {
      {{"-string", "Ada Lovelace"}, R"("Ada Lovelace")"},
      {{"-string", "8"}, R"("8")"},
      {{"-string", "-int"}, R"("-int")"},
      {{"-int", "-7"}, "-7"},
      {{"-integer", "18446744073709551615"}, "18446744073709551615"},
      {{"-float", "8"}, "8.0"},
      {{"-float", "-1e-3"}, "-0.001"},
      {{"-bool", "YES"}, "true"},
      {{"-boolean", "false"}, "false"},
      {{"-date", "2025-01-06 21:30:00 +0000"}, R"({"date": "2025-01-06T22:30:00+01:00"})"},
      {{"-date", "2025-01-06T22:30:00.250+01:00"}, R"({"date": "2025-01-06T22:30:00.250+01:00"})"},
      {{"-data", "00ff1A"}, R"({"data": "AP8a"})"},
      {{"-array"}, "[]"},
      {{"-array", "a", "-int", "2", "-string", "-int", "-bool", "no"}, R"(["a", 2, "-int", false])"},
      {{"-dict", "name", "Ada", "hours", "-float", "7.5"}, R"({"name": "Ada", "hours": 7.5})"},
      {{"-dict", "date", "soon"}, R"({"dictionary": {"date": "soon"}})"},  // looks like a tagged form: kept apart
      {{"-array-add", "first"}, R"(["first"])", "list"},                   // a new key: a new array
      {{"-array-add", "second", "-int", "3"}, R"(["first", "second", 3])", "list"},
      {{"-dict-add", "a", "1"}, R"({"a": "1"})", "map"},
      {{"-dict-add", "b", "-int", "2", "a", "one"}, R"({"a": "one", "b": 2})", "map"},
      {{"-5"}, "-5"},  // JSON, as before: a negative number is no option
      {{"[1, 2.5]"}, "[1, 2.5]"},
      {{"true"}, "true"},
      {{"-0.25"}, "-0.25"},
      {{R"({"date": "2025-01-06T21:30:00Z"})"}, R"({"date": "2025-01-06T22:30:00+01:00"})"},
  };
  for (const auto& c : cases) {
    std::vector<std::string> args{"defaults", "write", "standard", c.key};
    args.insert(args.end(), c.value.begin(), c.value.end());
    const ProcessResult written = velmora(args);
    ASSERT_EQ(written.status, 0) << c.value.front() << ": " << written.err;
    EXPECT_EQ(velmora({"defaults", "read", "standard", c.key}).out, std::string(c.read) + "\n") << c.value.front();
  }
  EXPECT_TRUE(std::filesystem::exists(prefs() / "com.quorvane.Velmora.NotificationContent.plist"));
  EXPECT_FALSE(std::filesystem::exists(prefs() / "group.quorvane.Velmora.plist"));

  ASSERT_EQ(velmora({"defaults", "delete", "standard", "k"}).status, 0);
  EXPECT_EQ(velmora({"defaults", "read", "standard", "k"}).status, 1);
  EXPECT_EQ(velmora({"defaults", "read", "standard"}).out,
            "{\"list\": [\"first\", \"second\", 3], \"map\": {\"a\": \"one\", \"b\": 2}}\n");
  ASSERT_EQ(velmora({"defaults", "delete", "standard"}).status, 0);
  EXPECT_EQ(velmora({"defaults", "read", "standard"}).out, "{}\n");
}

// What no 64-bit integer, no finite real or no date holds is refused, naming the flag and the value, and the
// domain stays as it was; so is a value of the wrong shape.
TEST_F(Defaults, ValuesAPropertyListCannotHoldAreRefused) {
  ASSERT_EQ(velmora({"defaults", "write", "shared", "name", "-string", "Ada"}).status, 0);
  const std::string before = velmora({"defaults", "export", "shared"}).out;
  const auto wideImport = file("wide.json", R"({"a": [1, {"b": 99999999999999999999}]})");
  const struct {
    std::vector<std::string> args;
    int status;
    const char* message;
  } cases[] = {
      {{"write", "shared", "n", "99999999999999999999"},
       2,
       "99999999999999999999 is beyond the 64-bit integers a property list holds"},
      {{"write", "shared", "n", "[1, -9223372036854775809]"}, 2, "-9223372036854775809 is beyond the 64-bit"},
      {{"write", "shared", "n", "-int", "18446744073709551616"}, 2, "-int: 18446744073709551616 is beyond the 64-bit"},
      {{"import", "shared", wideImport.string()}, 1, ": 99999999999999999999 is beyond the 64-bit"},
      {{"write", "shared", "n", "-int", "1.5"}, 2, "-int: \"1.5\" is not an integer"},
      {{"write", "shared", "n", "-float", "nan"}, 2, "-float: \"nan\" is not a finite number"},
      {{"write", "shared", "n", "-float", "1e999"}, 2, "-float: \"1e999\" is beyond the range of reals"},
      {{"write", "shared", "n", "-bool", "maybe"}, 2, "-bool: \"maybe\" is not a boolean"},
      {{"write", "shared", "n", "-date", "yesterday"}, 2, "-date: \"yesterday\" is not a date"},
      {{"write", "shared", "n", "-date", "10000-01-01T00:00:00Z"}, 2, "-date: a property list holds dates of the"},
      {{"write", "shared", "n", "-data", "abc"}, 2, "-data: \"abc\" is not hexadecimal bytes"},
      {{"write", "shared", "n", "-string"}, 2, "-string: needs a value"},
      {{"write", "shared", "n", "-string", "a", "b"}, 2, "-string: takes one value"},
      {{"write", "shared", "n", "-dict", "a"}, 2, "-dict: a key has no value"},
      {{"write", "shared", "n", "-array", "-dict"}, 2, "-array: an item cannot be -dict"},
      {{"write", "shared", "n", "[1,", "2]"}, 2, "unexpected argument \"2]\""},  // JSON unquoted
      {{"write", "shared", "name", "-array-add", "x"}, 1, "the value of (shared, name) is a string, not an array"},
      {{"write", "shared", "name", "-dict-add", "x", "y"}, 1, "is a string, not a dictionary"},
  };
  for (const auto& c : cases) {
    std::vector<std::string> args{"defaults"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    const ProcessResult result = velmora(args);
    EXPECT_EQ(result.status, c.status) << c.message << ": " << result.err;
    EXPECT_NE(result.err.find(c.message), std::string::npos) << result.err;
  }
  EXPECT_EQ(velmora({"defaults", "export", "shared"}).out, before);
}

TEST_F(Defaults, ReadTypeRenameAndDomainsSpeakAsThePlatformTool) {
  const auto fixture = file("fixture.json", kEveryKind);
  ASSERT_EQ(velmora({"defaults", "import", "shared", fixture.string()}).status, 0);
  const std::pair<const char*, const char*> types[] = {
      {"text", "string"}, {"integer", "integer"}, {"beyondDoubles", "integer"},
      {"real", "float"},  {"yes", "boolean"},     {"winterDate", "date"},
      {"bytes", "data"},  {"array", "array"},     {"lookalike", "dictionary"},
  };
  for (const auto& [key, type] : types)
    EXPECT_EQ(velmora({"defaults", "read-type", "shared", key}).out, "Type is " + std::string(type) + "\n") << key;
  EXPECT_EQ(velmora({"defaults", "read-type", "shared", "nothing"}).err,
            "velmora: The domain/default pair of (shared, nothing) does not exist\n");

  ASSERT_EQ(velmora({"defaults", "rename", "shared", "real", "tenth"}).status, 0);
  EXPECT_EQ(velmora({"defaults", "read", "shared", "tenth"}).out, "0.1\n");
  EXPECT_EQ(velmora({"defaults", "read", "shared", "real"}).status, 1);
  ASSERT_EQ(velmora({"defaults", "rename", "shared", "tenth", "integer"}).status, 0);  // takes the place of another
  EXPECT_EQ(velmora({"defaults", "read", "shared", "integer"}).out, "0.1\n");
  const ProcessResult missing = velmora({"defaults", "rename", "shared", "real", "again"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err, "velmora: The domain/default pair of (shared, real) does not exist\n");

  EXPECT_EQ(velmora({"defaults", "domains"}).out,
            "shared\tgroup.quorvane.Velmora\t" + (prefs() / "group.quorvane.Velmora.plist").string() +
                "\nstandard\tcom.quorvane.Velmora.NotificationContent\t" +
                (prefs() / "com.quorvane.Velmora.NotificationContent.plist").string() + "\n");
}

// A domain exported as a property list imports back exactly, in its own format everything another writer left
// (a UID, an unsigned 64-bit integer, dates to the microsecond), which the JSON forms cannot carry back; in
// the other format what that format holds, and what it cannot hold is refused by name.
TEST_F(Defaults, PropertyListExportsImportBackExactly) {
  const auto shared = prefs() / "group.quorvane.Velmora.plist";
  std::filesystem::create_directories(prefs());
  const std::string python = R"(import datetime, plistlib, sys
value = {"uid": plistlib.UID(7), "top": 2**64 - 1, "when": datetime.datetime(2025, 1, 6, 21, 30, 0, 123456),
         "list": [0.1, "ü 🛌", {"deep": b"\x00\xff"}], "no": False}
open(sys.argv[1], "wb").write(plistlib.dumps(value, fmt=plistlib.FMT_BINARY, sort_keys=False)))";
  ASSERT_EQ(std::system(("python3 -c '" + python + "' '" + shared.string() + "'").c_str()), 0);
  const std::string json = velmora({"defaults", "export", "shared"}).out;
  ASSERT_NE(json.find(R"("uid": {"uid": 7})"), std::string::npos) << json;

  const auto binary = home() / "domain.bplist";
  ASSERT_EQ(velmora({"defaults", "export", "shared", binary.string(), "--format", "binary1"}).status, 0);
  EXPECT_TRUE(host::readFile(binary)->starts_with("bplist00"));
  const ProcessResult imported = velmora({"defaults", "import", "standard", binary.string()});
  ASSERT_EQ(imported.status, 0) << imported.err;
  EXPECT_EQ(velmora({"defaults", "export", "standard"}).out, json);
  EXPECT_EQ(velmora({"defaults", "import", "standard", "-"}, json).status, 1);  // the JSON forms refuse the UID

  const ProcessResult noUid = velmora({"defaults", "export", "shared", "--format", "xml1"});
  EXPECT_EQ(noUid.status, 1);
  EXPECT_EQ(noUid.err, "velmora: xml1: \"uid\" cannot be written: an XML property list has no form for a UID\n");

  // Without the UID, through XML and back into an XML store; XML keeps dates to the whole second.
  ASSERT_EQ(velmora({"defaults", "delete", "shared", "uid"}).status, 0);
  const auto xml = home() / "domain.plist", standard = prefs() / "com.quorvane.Velmora.NotificationContent.plist";
  ASSERT_EQ(velmora({"defaults", "export", "shared", xml.string(), "--format", "xml1"}).status, 0);
  ASSERT_TRUE(host::writeFile(standard, "<plist version=\"1.0\"><dict/></plist>"));
  ASSERT_EQ(velmora({"defaults", "import", "standard", xml.string()}).status, 0);
  EXPECT_TRUE(host::readFile(standard)->starts_with("<?xml"));
  std::string wholeSeconds = velmora({"defaults", "export", "shared"}).out;
  wholeSeconds.replace(wholeSeconds.find("22:30:00.123+01:00"), 18, "22:30:00+01:00");
  EXPECT_EQ(velmora({"defaults", "export", "standard"}).out, wholeSeconds);
  ASSERT_EQ(velmora({"defaults", "export", "standard", "-", "--format", "xml1"}).out, *host::readFile(xml));
}

}  // namespace
}  // namespace velmora::testing
