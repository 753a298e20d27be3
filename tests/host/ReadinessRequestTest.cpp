// Readiness, fuel and consistency as widget and shortcut callers reach them through `velmora request`, and the
// contact sheet of a run's images.
#include <gtest/gtest.h>

#include <fstream>

#include "VelmoraProcess.h"
#include "host/JsonForms.h"
#include "host/Operations.h"

namespace velmora::testing {
namespace {

using host::Json;

using ReadinessRequest = ProgramTest;

// The width of a PNG file, from its header.
std::uint32_t pngWidth(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  unsigned char header[24] = {};
  in.read(reinterpret_cast<char*>(header), sizeof header);
  return std::uint32_t{header[16]} << 24 | std::uint32_t{header[17]} << 16 | std::uint32_t{header[18]} << 8 |
         header[19];
}

// Figures out of every range still answer in valid JSON: an overflowing HRV is superb, a drift that overflows is
// later by what the formatter can say, and the images are drawn; all of them on one sheet.
TEST_F(ReadinessRequest, OutOfRangeFiguresAndTheContactSheet) {
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
TEST_F(ReadinessRequest, HelpListsEveryOperation) {
  const ProcessResult help = velmora({"request", "--help"});
  for (const host::Operation& operation : host::operations())
    EXPECT_NE(help.out.find("\n  " + std::string(operation.name) + "\n"), std::string::npos) << operation.name;
  EXPECT_NE(help.out.find("--sheet"), std::string::npos);
}

}  // namespace
}  // namespace velmora::testing
