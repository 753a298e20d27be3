// `velmora defaults` over real preferences files, run as a separate process
// the way a person or a test script prepares data.
#include <gtest/gtest.h>

#include <functional>

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

  // Through a file and back through standard input as well.
  const auto copy = home() / "copy.json";
  ASSERT_EQ(velmora({"defaults", "export", "shared", copy.string()}).status, 0);
  ASSERT_EQ(velmora({"defaults", "import", "standard", "-"}, kEveryKind).status, 0);
  EXPECT_EQ(velmora({"defaults", "export", "standard", "-"}).out, exported.out);
  EXPECT_EQ(host::readFile(copy), exported.out);
}

TEST_F(Defaults, WriteReadAndDeleteOneKey) {
  ASSERT_EQ(velmora({"defaults", "write", "standard", "darkTheme6", "true"}).status, 0);
  ASSERT_EQ(velmora({"defaults", "write", "standard", "Hue1", "-0.25"}).status, 0);
  ASSERT_EQ(velmora({"defaults", "write", "standard", "start", R"({"date": "2025-01-06T21:30:00Z"})"}).status, 0);
  EXPECT_TRUE(std::filesystem::exists(prefs() / "com.quorvane.Velmora.NotificationContent.plist"));
  EXPECT_FALSE(std::filesystem::exists(prefs() / "group.quorvane.Velmora.plist"));

  EXPECT_EQ(velmora({"defaults", "read", "standard", "Hue1"}).out, "-0.25\n");
  EXPECT_EQ(velmora({"defaults", "read", "standard", "start"}).out, "{\"date\": \"2025-01-06T22:30:00+01:00\"}\n");

  ASSERT_EQ(velmora({"defaults", "delete", "standard", "Hue1"}).status, 0);
  EXPECT_EQ(velmora({"defaults", "read", "standard", "Hue1"}).status, 1);
  EXPECT_EQ(velmora({"defaults", "read", "standard"}).out,
            "{\"darkTheme6\": true, \"start\": {\"date\": \"2025-01-06T22:30:00+01:00\"}}\n");

  ASSERT_EQ(velmora({"defaults", "delete", "standard"}).status, 0);
  EXPECT_EQ(velmora({"defaults", "read", "standard"}).out, "{}\n");
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
      {"not a valid property list", [&] { host::writeFile(plist, "<plist><dict>"); }},
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
  EXPECT_EQ(host::readFile(plist), "<plist><dict>");
}

}  // namespace
}  // namespace velmora::testing
