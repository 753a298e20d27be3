// The program as outside callers see it: exit statuses, messages and the
// JSON that `notify` and `request` print.
#include <gtest/gtest.h>

#include "VelmoraProcess.h"
#include "extension/NotificationViewController.h"
#include "host/Files.h"
#include "host/JsonForms.h"
#include "support/TestEnvironment.h"

namespace velmora::testing {
namespace {

using host::Json;
using host::readFile;

// The display slots in declaration order.
constexpr const char* kSlotNames =
    "ringsContainer ringsImage ringTextContainer sleepIndicator sleepGlyph bankIndicator bankGlyph "
    "sleepHeadingLabel sleepGoalLabel sleepTimeLabel bankHeadingLabel bankBalanceLabel bankTimeLabel starsLabel "
    "ringStatsContainer sleepRingIndicator qualityRingIndicator deepRingIndicator bpmRingIndicator "
    "sleepRingHeadingLabel qualityRingHeadingLabel deepRingHeadingLabel bpmRingHeadingLabel sleepRingResultLabel "
    "qualityRingResultLabel deepRingResultLabel bpmRingResultLabel";

struct StatusCase {
  const char* name;
  std::vector<std::string> args;
  int status;
  const char* message;  // a part of standard error, or of standard output when the status is 0
};

using Program = ProgramTest;

class ExitStatus : public ProgramTest, public ::testing::WithParamInterface<StatusCase> {};

TEST_P(ExitStatus, SaysWhatHappened) {
  const StatusCase& c = GetParam();
  const ProcessResult result = velmora(c.args);
  EXPECT_EQ(result.status, c.status) << result.err;
  const std::string& text = c.status == 0 ? result.out : result.err;
  EXPECT_NE(text.find(c.message), std::string::npos) << "stdout: " << result.out << "\nstderr: " << result.err;
  if (c.status != 0) {
    EXPECT_TRUE(result.out.empty()) << result.out;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Commands, ExitStatus,
    ::testing::Values(
        StatusCase{"noCommand", {}, 2, "give a command: the velmora commands are notify, request, defaults"},
        StatusCase{"unknownCommand", {"sleep"}, 2, "unknown command \"sleep\""},
        StatusCase{"unknownDefaultsVerb", {"defaults", "copy"}, 2, "the velmora defaults commands are read, write"},
        StatusCase{"badScale", {"--scale", "0", "notify", "BEDTIME"}, 2, "--scale: 0 is not a screen scale"},
        StatusCase{"categoryAndPayload", {"notify", "BEDTIME", "--payload", "p.json"}, 2, "not both"},
        StatusCase{"unknownOperation", {"request", "sleepNow"}, 2, "unknown operation \"sleepNow\"; valid operations:"},
        StatusCase{"unknownDomain", {"defaults", "read", "global"}, 2, "unknown domain \"global\""},
        StatusCase{"valueNotJson", {"defaults", "write", "shared", "name", "Ada"}, 2, "'\"Ada\"'"},
        StatusCase{"missingKey", {"defaults", "read", "shared", "foo"}, 1, "pair of (shared, foo) does not exist"},
        StatusCase{"deleteMissingKey", {"defaults", "delete", "standard", "Hue1"}, 1, "(standard, Hue1) does not"},
        StatusCase{"missingImport", {"defaults", "import", "shared", "/no.json"}, 1, "cannot read /no.json: No such"},
        StatusCase{"missingPayload", {"notify", "--payload", "/no.json"}, 1, "--payload: cannot read"},
        StatusCase{
            "pngUnwritable", {"notify", "BEDTIME", "--png", "/no/dir/n.png"}, 1, "--png: /no/dir/n.png: No such"},
        StatusCase{"version", {"--version"}, 0, "velmora 0."},
        StatusCase{"programHelp", {"--help"}, 0, "Usage: velmora [OPTIONS] SUBCOMMAND"},
        StatusCase{"notifyHelp", {"notify", "--help"}, 0, "Usage: velmora notify [OPTIONS] [CATEGORY]"},
        StatusCase{"requestHelp", {"request", "--help"}, 0, "Usage: velmora request [OPTIONS] OPERATION..."},
        StatusCase{"emptyDomainIsNoError", {"defaults", "read", "shared"}, 0, "{}"},
        StatusCase{"optionAfterCommand", {"defaults", "read", "shared", "--tz", "Asia/Seoul"}, 0, "{}"}),
    [](const auto& param) { return std::string(param.param.name); });

TEST_F(Program, NotifyPrintsAnUnknownCategorysSlotsAsCreated) {
  TestEnvironment env;
  env.resourcesDir = VELMORA_TEST_RESOURCES;
  const NotificationViewController created(env);
  const host::JsonForms forms(env.timeZone);

  for (const char* category : {"WAKEUP", "bedtime", "BEDTIME "}) {
    const ProcessResult result = velmora({"notify", category});
    ASSERT_EQ(result.status, 0) << result.err;
    const Json printed = Json::parse(result.out);
    EXPECT_EQ(printed["category"], category);
    std::string names;
    for (const auto& [name, slot] : printed["slots"].items()) {
      names += (names.empty() ? "" : " ") + name;
      EXPECT_EQ(slot, forms.toJson(created.slot(name))) << category << ": " << name;
    }
    EXPECT_EQ(names, kSlotNames) << category;
  }
}

TEST_F(Program, NotifyShowsTheBedtimeNoDataFaceOnAnEmptyStore) {
  const ProcessResult result = velmora({"notify", "BEDTIME"});
  ASSERT_EQ(result.status, 0) << result.err;
  const Json slots = Json::parse(result.out)["slots"];
  EXPECT_EQ(slots["sleepGlyph"]["text"], "h");
  EXPECT_EQ(slots["bankGlyph"]["text"], "\u2665");
  EXPECT_EQ(slots["sleepHeadingLabel"]["text"], "BED TIME");
  EXPECT_EQ(slots["sleepIndicator"]["backgroundColour"]["colour"]["rgba"], "#555555FF");
}

TEST_F(Program, NotifyRendersTheNotificationAndWritesTheSlotsImage) {
  const std::string watch = R"({"watchTrackDict": {"rawSleepTime": 25200.0, "rawSleepBankTime": 27000.0},
                                "velmoraConfig": {"requiredHours": 8.0}})";
  ASSERT_EQ(velmora({"defaults", "import", "shared", "-"}, watch).status, 0);
  const auto png = home() / "notification.png", images = home() / "images";
  const ProcessResult result =
      velmora({"--scale", "1", "notify", "TIMEASLEEP", "--png", png.string(), "--images", images.string()});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(readFile(png).substr(0, 8), "\x89PNG\r\n\x1a\n");
  const Json image = Json::parse(result.out)["slots"]["ringsImage"]["image"]["image"];
  EXPECT_EQ(image["file"], (images / "ringsImage.png").string());
  EXPECT_EQ(readFile(images / "ringsImage.png").substr(1, 3), "PNG");
}

TEST_F(Program, RequestRunsTheOperationsInOrderOnOneObject) {
  const std::string watch = R"({"watchTrackDict": {"rawSleepTime": 25200.0, "rawSleepBankTime": 27000.0}})";
  ASSERT_EQ(velmora({"defaults", "import", "shared", "-"}, watch).status, 0);
  const auto images = home() / "images";
  const ProcessResult result =
      velmora({"--scale", "1", "request", "requestSleepBankRings", "swiftSleepBankImage", "requestSleepBankForSwift",
               "requestSleepBankRings", "--images", images.string()});
  ASSERT_EQ(result.status, 0) << result.err;
  const Json calls = Json::parse(result.out);
  ASSERT_EQ(calls.size(), 4u);
  EXPECT_EQ(calls[0]["operation"], "requestSleepBankRings");
  EXPECT_EQ(calls[0]["result"]["ringsImage"]["image"]["width"], 280.0);
  EXPECT_EQ(calls[1]["result"]["image"]["file"], (images / "2-swiftSleepBankImage.png").string());
  EXPECT_TRUE(calls[2]["result"].is_null());
  // The image request left the one SleepMetricsUI of the run in widget mode.
  EXPECT_EQ(calls[3]["result"]["ringsImage"]["image"]["width"], 220.0);
  EXPECT_EQ(velmora({"defaults", "read", "shared", "Swift-HasData"}).out, "\"1\"\n");
}

TEST_F(Program, NotifyTakesTheCategoryOfAPayload) {
  const auto payload = file("payload.json", R"({"aps": {"alert": "Bed soon", "category": "NIGHTLY"}})");
  const ProcessResult result = velmora({"notify", "--payload", payload.string()});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(Json::parse(result.out)["category"], "NIGHTLY");

  const auto notAPayload = file("other.json", R"({"category": "BEDTIME"})");
  const ProcessResult refused = velmora({"notify", "--payload", notAPayload.string()});
  EXPECT_EQ(refused.status, 1);
  EXPECT_NE(refused.err.find("has no \"aps\" object"), std::string::npos) << refused.err;
}

}  // namespace
}  // namespace velmora::testing
