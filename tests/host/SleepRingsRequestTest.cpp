// The sleep rings operations as widget and shortcut callers reach them through `velmora request`.
#include <gtest/gtest.h>

#include "VelmoraProcess.h"
#include "host/JsonForms.h"

namespace velmora::testing {
namespace {

using host::Json;

using SleepRingsRequest = ProgramTest;

// Whatever numbers the main app left, every operation answers with valid JSON: overflowing and unreadable
// parts read as infinity and 0, and a sleep time and goal both out of range make the sleep ring no number.
TEST_F(SleepRingsRequest, OutOfRangeStoreValuesStillGiveTheRecordAndImages) {
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

TEST_F(SleepRingsRequest, HelpListsTheOperations) {
  const ProcessResult help = velmora({"request", "--help"});
  for (const char* name :
       {"requestQuality", "requestQualityForSwift", "swiftSleepRingsImage", "swiftSleepRingsAccessoryImage",
        "GroupMetrics.requestQuality", "GroupMetrics.requestQualityForSwift"})
    EXPECT_NE(help.out.find(std::string("\n  ") + name + "\n"), std::string::npos) << name;
}

}  // namespace
}  // namespace velmora::testing
