// The operations as widget and shortcut callers reach them through `velmora request`, and the contact sheet of a
// run's images.
#include <gtest/gtest.h>

#include <fstream>

#include "VelmoraProcess.h"
#include "host/JsonForms.h"
#include "host/Operations.h"

namespace velmora::testing {
namespace {

using host::Json;

using Request = ProgramTest;

// The width of a PNG file, from its header.
std::uint32_t pngWidth(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  unsigned char header[24] = {};
  in.read(reinterpret_cast<char*>(header), sizeof header);
  return std::uint32_t{header[16]} << 24 | std::uint32_t{header[17]} << 16 | std::uint32_t{header[18]} << 8 |
         header[19];
}

// Whatever numbers the main app left, every operation answers with valid JSON: overflowing and unreadable
// parts read as infinity and 0, and a sleep time and goal both out of range make the sleep ring no number.
TEST_F(Request, OutOfRangeSleepRingsFiguresStillGiveTheRecordAndImages) {
  const std::string store = R"({"watchTrackDict": {"rawSynchTime": {"date": "2025-01-06T07:00:00+01:00"},
      "rawRingRating": "1e39|NaN|-inf", "rawRingValues": "1e39|NaN|-inf", "rawSleepTime": 1e308},
      "velmoraConfig": {"requiredHours": 1e308}})";
  ASSERT_EQ(velmora({"defaults", "import", "shared", "-"}, store).status, 0);
  const ProcessResult result =
      velmora({"--scale", "1", "request", "GroupMetrics.requestQuality", "requestQuality", "swiftSleepRingsImage",
               "swiftSleepRingsAccessoryImage", "requestQualityForSwift", "--images", (home() / "images").string()});
  ASSERT_EQ(result.status, 0) << result.err;
  const Json calls = Json::parse(result.out);
  ASSERT_EQ(calls.size(), 5u);
  const Json& record = calls[0]["result"];
  EXPECT_EQ(record["ringSleepPercent"], "NaN");
  EXPECT_EQ(record["ringQualityPercent"], "Infinity");
  EXPECT_EQ(record["ringDeepPercent"], 0.0);
  EXPECT_EQ(record["sleepRating"], "NaN");
  EXPECT_EQ(record["siriLabel"], "1 sleep ring closed. Today's sleep rating is nan%.");
  EXPECT_EQ(calls[1]["result"]["ringsImage"]["image"]["width"], 280.0);
  EXPECT_EQ(calls[2]["result"]["image"]["width"], 280.0);
  EXPECT_EQ(calls[3]["result"]["image"]["width"], 260.0);
  EXPECT_EQ(velmora({"defaults", "read", "shared", "Swift-ringBPMLabel"}).out, "\"0\"\n");
}

// Readiness, fuel and consistency figures out of every range still answer in valid JSON: an overflowing HRV is superb,
// a drift that overflows is later by what the formatter can say, and the images are drawn; all of them on one sheet.
TEST_F(Request, OutOfRangeReadinessFiguresAndTheContactSheet) {
  const std::string store = R"({"bankDict": {
      "readyDict": {"key": "20250108", "hrvTodayVal": 1e308, "hrvAverage": 50.0, "bpmTodayVal": "x", "bpmAverage": 60.0},
      "octaneDict": {"key": "20250108", "hrvTodayVal": 45.0, "hrvAverage": 1e308},
      "startDate": {"date": "2025-01-01T00:00:00+01:00"}, "averageBedtime": 1e308, "prevAverageBedtime": 81000.0}})";
  ASSERT_EQ(velmora({"defaults", "import", "shared", "-"}, store).status, 0);
  const std::filesystem::path sheet = home() / "sheet.png";
  const ProcessResult result =
      velmora({"--now", "2025-01-08T15:00:00+01:00", "--scale", "1", "request", "GroupMetrics.requestReadiness",
               "GroupMetrics.requestOctane", "GroupMetrics.requestConsistencyDict", "swiftReadinessImage",
               "swiftOctaneImage", "requestConsistency", "requestOctaneForSwift", "--sheet", sheet.string()});
  ASSERT_EQ(result.status, 0) << result.err;
  const Json calls = Json::parse(result.out);
  ASSERT_EQ(calls.size(), 7u);
  EXPECT_EQ(calls[0]["result"]["rating"], "Superb");
  EXPECT_EQ(calls[0]["result"]["wakingLabel"], "--");
  EXPECT_EQ(calls[1]["result"], Json()) << "no positive points";
  EXPECT_EQ(calls[2]["result"]["bedTrend"], "Infinity");
  EXPECT_EQ(calls[4]["result"]["image"]["name"], "WidgetWait");
  EXPECT_EQ(velmora({"defaults", "read", "shared", "Swift-hrvLabel"}).out, "\"--\"\n");
  // Three pictures: two to a row in a square of two cells' width.
  EXPECT_GT(pngWidth(sheet), 2 * 220u);

  const ProcessResult none = velmora({"request", "GroupMetrics.requestOctane", "--sheet", sheet.string()});
  EXPECT_EQ(none.status, 1);
  EXPECT_EQ(none.out, "");
  EXPECT_NE(none.err.find("--sheet: none of the operations gave an image"), std::string::npos) << none.err;
}

// Every operation of the system, and the sheet, are in the help.
TEST_F(Request, HelpListsEveryOperation) {
  const ProcessResult help = velmora({"request", "--help"});
  for (const host::Operation& operation : host::operations())
    EXPECT_NE(help.out.find("\n  " + std::string(operation.name) + "\n"), std::string::npos) << operation.name;
  EXPECT_NE(help.out.find("--sheet"), std::string::npos);
}

}  // namespace
}  // namespace velmora::testing
