// The program as outside callers see it: exit statuses, messages and the
// JSON that `notify` and `request` print.
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "VelmoraProcess.h"
#include "extension/InterfaceDescription.h"
#include "extension/NotificationViewController.h"
#include "host/Files.h"
#include "host/JsonForms.h"
#include "host/Operations.h"
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

using Program = ProgramTest;

// Status 2 when the command line is wrong, 1 when the command cannot be done, both with the reason on standard
// error and nothing on standard output; 0 with the answer on standard output. One case per place that decides.
TEST_F(Program, ExitStatusAndMessageSayWhatHappened) {
  const std::string notAPayload = file("other.json", R"({"category": "BEDTIME"})").string();
  const struct {
    const char* name;
    std::vector<std::string> args;
    int status;
    const char* message;  // a part of standard error, or of standard output when the status is 0
  } cases[] = {
      {"no command", {}, 2, "give a command: the velmora commands are notify, request, defaults"},
      {"unknown defaults verb",
       {"defaults", "copy"},
       2,
       "the velmora defaults commands are read, read-type, write, rename, delete, import, export, domains"},
      {"bad scale", {"--scale", "0", "notify", "BEDTIME"}, 2, "--scale: \"0\" is not a screen scale"},
      {"scale not whole", {"--scale", "3.0", "notify", "BEDTIME"}, 2, "--scale: \"3.0\" is not a screen scale"},
      {"now with a long fraction",
       {"--now", "2025-01-06T22:30:00.5055555555555555555555555555555555555555+26", "notify", "BEDTIME"},
       2,
       "--now: \"2025-01-06T22:30:00.50555"},
      {"now after 9999", {"--now", "10000-01-01T00:00:00Z", "notify", "BEDTIME"}, 2, "outside the years 1 to 9999"},
      {"not a language", {"--languages", "de,123", "notify", "BEDTIME"}, 2, "--languages: \"123\" is not a language"},
      {"preferences in a file", {"--prefs", notAPayload, "notify", "BEDTIME"}, 2, "--prefs: \""},
      {"category and payload", {"notify", "BEDTIME", "--payload", "p.json"}, 2, "not both"},
      {"unknown operation", {"request", "sleepNow"}, 2, "unknown operation \"sleepNow\"; valid operations:"},
      {"operation mistyped",
       {"request", "requestQualty"},
       2,
       "unknown operation \"requestQualty\" (did you mean requestQuality?); valid operations:"},
      {"value not JSON", {"defaults", "write", "shared", "name", "Ada"}, 2, "'\"Ada\"'"},
      {"empty preferences directory", {"--prefs", "", "defaults", "read", "shared"}, 2, "--prefs: give a directory"},
      {"key not UTF-8", {"defaults", "write", "shared", "caf\xe9", "1"}, 2, "the key is not valid UTF-8"},
      {"date after 9999", {"defaults", "write", "shared", "d", R"({"date": "10000-01-01T00:00:00Z"})"}, 2, "1 to 9999"},
      {"delete a missing key", {"defaults", "delete", "standard", "Hue1"}, 1, "pair of (standard, Hue1) does not"},
      {"missing import", {"defaults", "import", "shared", "/no.json"}, 1, "cannot read /no.json: No such"},
      {"missing payload", {"notify", "--payload", "/no.json"}, 1, "--payload: cannot read"},
      {"payload without aps", {"notify", "--payload", notAPayload}, 1, "has no \"aps\" object"},
      {"endless payload", {"notify", "--payload", "/dev/zero"}, 1, "--payload: /dev/zero is larger than 64 MiB"},
      {"endless import", {"defaults", "import", "shared", "/dev/zero"}, 1, "/dev/zero is larger than 64 MiB"},
      {"PNG unwritable", {"notify", "BEDTIME", "--png", "/no/dir/n.png"}, 1, "--png: /no/dir/n.png: No such"},
      {"sheet without images",
       {"request", "GroupMetrics.requestOctane", "--sheet", "/no/s.png"},
       1,
       "--sheet: none of the operations gave an image"},
      {"version", {"--version"}, 0, "velmora 0."},
      {"help", {"--help"}, 0, "Usage: velmora [OPTIONS] COMMAND"},
      {"option after the command", {"defaults", "read", "shared", "--tz", "Asia/Seoul"}, 0, "{}"},
  };
  for (const auto& c : cases) {
    const ProcessResult result = velmora(c.args);
    EXPECT_EQ(result.status, c.status) << c.name << ": " << result.err;
    const std::string& text = c.status == 0 ? result.out : result.err;
    EXPECT_NE(text.find(c.message), std::string::npos) << c.name << ": " << result.out << result.err;
    if (c.status != 0) {
      EXPECT_EQ(result.out, "") << c.name;
    }
  }
}

// A command line the parser refuses is said in the program's own words: the option or argument as typed, in
// the order typed, with the nearest valid name when one is close, then where to find help.
TEST_F(Program, RefusedCommandLinesNameWhatWasTypedAndWhatWasMeant) {
  const struct {
    std::vector<std::string> args;
    std::string message;  // the whole first line of standard error, after "velmora: "
    const char* helpOf;   // the command whose --help the second line names
  } cases[] = {
      {{"notify", "BEDTIME", "--pgn", "x"}, "unknown option --pgn; did you mean --png?", "velmora notify"},
      {{"notify", "--pgn=x", "BEDTIME"}, "unknown option --pgn; did you mean --png?", "velmora notify"},
      {{"notify", "BEDTIME", "-png", "x"}, "unknown option -png; did you mean --png?", "velmora notify"},
      {{"--Scale", "2", "notify", "BEDTIME"}, "unknown option --Scale; did you mean --scale?", "velmora notify"},
      {{"--lang", "de", "notify", "BEDTIME"}, "unknown option --lang; did you mean --languages?", "velmora notify"},
      {{"defaults", "read", "shared", "--frobnicate"}, "unknown option --frobnicate", "velmora defaults read"},
      {{"request", "swiftSleepBankImage", "--png", "x"},
       "--png is an option of velmora notify, not of velmora request",
       "velmora request"},
      {{"--png", "x", "notify", "BEDTIME"},
       "--png is an option of velmora notify: give it after notify",
       "velmora notify"},
      {{"notfy", "BEDTIME"}, "unknown command \"notfy\"; did you mean notify?", "velmora"},
      {{"defaults", "read-typ", "shared", "k"},
       "unknown command \"read-typ\"; did you mean read-type?",
       "velmora defaults"},
      {{"defaults", "read", "shraed"},
       "unknown domain \"shraed\"; did you mean shared?; the domains are shared (group.quorvane.Velmora) and standard "
       "(com.quorvane.Velmora.NotificationContent)",
       "velmora defaults read"},
      {{"notify", "BEDTIME", "first", "second"},
       "unexpected arguments \"first\" \"second\" (usage: velmora notify [OPTIONS] [CATEGORY])",
       "velmora notify"},
      {{"defaults", "write", "shared"},
       "give the KEY (usage: velmora defaults write [OPTIONS] DOMAIN KEY [VALUE])",
       "velmora defaults write"},
      {{"--prefs"}, "--prefs needs a DIR", "velmora"},
      {{"notify", "BEDTIME", "--png"}, "--png needs a FILE", "velmora notify"},
      {{"--scale", "two", "notify", "BEDTIME"}, "--scale: \"two\" is not a screen scale from 1 to 4", "velmora notify"},
      {{"defaults", "export", "shared", "--format", "xml"},
       "--format: \"xml\" is not a format: json, xml1 or binary1",
       "velmora defaults export"},
      // Standard output carries the JSON: no image goes there, nor into a file called "-".
      {{"notify", "BEDTIME", "--png", "-"},
       "--png: \"-\" would be standard output, which carries the JSON; name a PNG file (./- for one called \"-\")",
       "velmora notify"},
      {{"request", "swiftSleepBankImage", "--sheet", "-"},
       "--sheet: \"-\" would be standard output, which carries the JSON; name a PNG file (./- for one called \"-\")",
       "velmora request"},
      {{"request", "swiftSleepBankImage", "--images", "-"},
       "--images: \"-\" would be standard output, which carries the JSON; name a directory (./- for one called \"-\")",
       "velmora request"},
  };
  for (const auto& c : cases) {
    const ProcessResult result = velmora(c.args);
    EXPECT_EQ(result.status, 2) << c.message;
    EXPECT_EQ(result.err, "velmora: " + c.message + "\nRun '" + c.helpOf + " --help' for usage.\n");
    EXPECT_EQ(result.out, "") << c.message;
  }
  EXPECT_FALSE(std::filesystem::exists(home() / "-"));
}

// Each line on standard error says what it is: a warning where something is wrong, a note where the program
// did what it was asked but the person may have meant something else, the system log's line where the
// extension logs; nothing is labelled a warning that is not one.
TEST_F(Program, DiagnosticsAreLabelledByWhatTheyAre) {
  const std::string bank = R"({"bankDict": {"20250106": 26400.0, "20250105": 27900.0, "requiredHours": 7.5,
                                            "medianWake": 36000.0}, "velmoraConfig": {"nightHour": 21}})";
  ASSERT_EQ(velmora({"defaults", "import", "shared", "-"}, bank).status, 0);
  const auto spoilt = home() / "spoilt" / "group.quorvane.Velmora.plist";
  std::filesystem::create_directories(spoilt.parent_path());
  ASSERT_TRUE(host::writeFile(spoilt, "<plist><dict>"));
  const struct {
    std::vector<std::string> args;
    std::string line;  // the start of the one line on standard error
  } cases[] = {
      {{"request", "swiftBedtimeImage"}, "velmora: log: 10:42PM\n"},
      {{"notify", "READINESS"}, "velmora: note: the extension does not handle the category \"READINESS\""},
      {{"notify", "bedtime"},
       "velmora: note: the extension does not handle the category \"bedtime\" (only BEDTIME and TIMEASLEEP; did you "
       "mean BEDTIME?)"},
      {{"--prefs", spoilt.parent_path().string(), "notify", "BEDTIME"},
       "velmora: warning: " + spoilt.string() + ": not a valid property list"},
  };
  for (const auto& c : cases) {
    const ProcessResult result = velmora(c.args);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(result.err.starts_with(c.line)) << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
  }
}

// A category the extension does not know leaves every slot as the interface created it; BEDTIME, here taken
// from a notification payload, shows the no-data face on an empty store. Either way the program prints the
// controller's slots in declaration order, and draws the notification.
TEST_F(Program, NotifyPrintsTheSlotsTheControllerHolds) {
  const auto payload = file("payload.json", R"({"aps": {"alert": "Bed soon", "category": "BEDTIME"}})");
  const std::pair<const char*, std::vector<std::string>> runs[] = {{"bedtime", {"notify", "bedtime"}},
                                                                   {"BEDTIME", {"notify", "--payload", payload}}};
  for (auto [category, args] : runs) {
    const auto png = home() / (std::string(category) + ".png");
    args.insert(args.end(), {"--png", png.string()});
    TestEnvironment env;
    NotificationViewController controller(env, *InterfaceDescription::load(env));
    controller.viewDidLoad();
    controller.didReceiveNotification({category});
    const ProcessResult result = velmora(args);
    ASSERT_EQ(result.status, 0) << result.err;
    const Json printed = Json::parse(result.out);
    EXPECT_EQ(printed["category"], category);
    std::string names;
    for (const auto& [name, slot] : printed["slots"].items()) {
      names += (names.empty() ? "" : " ") + name;
      const DisplaySlot* held = controller.slot(name);
      ASSERT_NE(held, nullptr) << name;
      EXPECT_EQ(slot, host::JsonForms(env.timeZone).toJson(*held)) << category << ": " << name;
    }
    EXPECT_EQ(names, kSlotNames) << category;
    EXPECT_TRUE(std::filesystem::exists(png)) << "the notification is drawn, whatever its category";
  }
}

TEST_F(Program, NotifyAndRequestDrawFromTheStoreAndWriteTheirImages) {
  const std::string watch = R"({"watchTrackDict": {"rawSleepTime": 25200.0, "rawSleepBankTime": 27000.0},
                                "velmoraConfig": {"requiredHours": 8.0}})";
  ASSERT_EQ(velmora({"defaults", "import", "shared", "-"}, watch).status, 0);
  const auto png = home() / "notification.png", images = home() / "images", more = home() / "more";
  const auto sheet = home() / "sheet.png";
  const ProcessResult notified =
      velmora({"--scale", "1", "notify", "TIMEASLEEP", "--png", png.string(), "--images", images.string()});
  ASSERT_EQ(notified.status, 0) << notified.err;
  EXPECT_EQ(readFile(png)->substr(0, 8), "\x89PNG\r\n\x1a\n");
  const Json image = Json::parse(notified.out)["slots"]["ringsImage"]["image"]["image"];
  EXPECT_EQ(image["file"], (images / "ringsImage.png").string());
  EXPECT_EQ(readFile(images / "ringsImage.png")->substr(1, 3), "PNG");

  const ProcessResult requested =
      velmora({"--scale", "1", "request", "requestSleepBankRings", "swiftSleepBankImage", "requestSleepBankForSwift",
               "requestSleepBankRings", "--images", more.string(), "--sheet", sheet.string()});
  ASSERT_EQ(requested.status, 0) << requested.err;
  const Json calls = Json::parse(requested.out);
  ASSERT_EQ(calls.size(), 4u);
  EXPECT_EQ(calls[0]["operation"], "requestSleepBankRings");
  EXPECT_EQ(calls[0]["result"]["ringsImage"]["image"]["width"], 280.0);
  EXPECT_EQ(calls[1]["result"]["image"]["file"], (more / "2-swiftSleepBankImage.png").string());
  EXPECT_EQ(readFile(sheet)->substr(1, 3), "PNG");
  EXPECT_TRUE(calls[2]["result"].is_null());
  // The image request left the one SleepMetricsUI of the run in widget mode.
  EXPECT_EQ(calls[3]["result"]["ringsImage"]["image"]["width"], 220.0);
  EXPECT_EQ(velmora({"defaults", "read", "shared", "Swift-HasData"}).out, "\"1\"\n");
}

// Every operation of the system, and the sheet, are in the help.
TEST_F(Program, HelpListsEveryRequestOperation) {
  const ProcessResult help = velmora({"request", "--help"});
  for (const host::Operation& operation : host::operations())
    EXPECT_NE(help.out.find("\n  " + std::string(operation.name) + "\n"), std::string::npos) << operation.name;
  EXPECT_NE(help.out.find("--sheet"), std::string::npos);
}

// Where the output would be wrong, nothing is written and the status is 1, naming the file at fault: a bundle
// without its interface description, or without a picture the images need.
TEST_F(Program, AnIncompleteBundleFailsLoudlyAndWritesNothing) {
  const std::string watch = R"({"watchTrackDict": {"rawSleepTime": 25200.0, "rawSleepBankTime": 27000.0}})";
  ASSERT_EQ(velmora({"defaults", "import", "shared", "-"}, watch).status, 0);
  const auto bundle = home() / "bundle";
  const auto interface = bundle / "NotificationInterface.json", backdrop = bundle / "pictures" / "RechargeBkg@3x.png";
  using Path = const std::filesystem::path&;
  const struct {
    const char* name;
    void (*spoil)(Path bundle);  // what is wrong with the bundle's copy
    std::vector<std::string> args;
    std::string message;
  } cases[] = {
      {"no interface description",
       [](Path b) { std::filesystem::remove(b / "NotificationInterface.json"); },
       {"notify", "BEDTIME"},
       interface.string() + ": the notification's interface description does not exist"},
      {"malformed interface description",
       [](Path b) { EXPECT_TRUE(host::writeFile(b / "NotificationInterface.json", "{\"slots\": 3")); },
       {"notify", "TIMEASLEEP"},
       interface.string() + ": not a valid interface description: "},
      {"picture missing",
       [](Path b) {
         for (int scale = 1; scale <= 4; ++scale)
           std::filesystem::remove(b / "pictures" / ("RechargeBkg@" + std::to_string(scale) + "x.png"));
       },
       {"notify", "TIMEASLEEP"},
       backdrop.string() + ": picture \"RechargeBkg.png\" is missing"},
      {"picture not a PNG",
       [](Path b) { EXPECT_TRUE(host::writeFile(b / "pictures" / "RechargeBkg@3x.png", "not a picture")); },
       {"notify", "TIMEASLEEP"},
       backdrop.string() + ": picture \"RechargeBkg.png\" cannot be read"},
      {"request without its picture",
       [](Path b) { EXPECT_TRUE(host::writeFile(b / "pictures" / "RechargeBkg@3x.png", "")); },
       {"request", "requestSleepBankRings"},
       backdrop.string() + ": picture \"RechargeBkg.png\" cannot be read"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::filesystem::remove_all(bundle);
    std::filesystem::copy(VELMORA_TEST_RESOURCES, bundle, std::filesystem::copy_options::recursive);
    c.spoil(bundle);
    const auto png = home() / "out.png", images = home() / "images";
    std::filesystem::remove(png);
    std::filesystem::remove_all(images);
    std::vector<std::string> args{"--resources", bundle.string()};
    args.insert(args.end(), c.args.begin(), c.args.end());
    args.insert(args.end(), {"--images", images.string()});
    if (c.args[0] == "notify") args.insert(args.end(), {"--png", png.string()});
    const ProcessResult result = velmora(args);
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_NE(result.err.find(c.message), std::string::npos) << result.err;
    EXPECT_FALSE(std::filesystem::exists(png));
    EXPECT_TRUE(!std::filesystem::exists(images) || std::filesystem::is_empty(images));
    EXPECT_EQ(result.out, "");
  }
}

}  // namespace
}  // namespace velmora::testing
