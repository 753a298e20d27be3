#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <limits>
#include <random>
#include <thread>

#include "PlistTool.h"
#include "platform/PropertyList.h"
#include "platform/UserDefaults.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::readBytes;
using testing::runPlistTool;
using testing::writeBytes;
using testing::writeText;

std::string formatName(PlistFormat format) { return format == PlistFormat::Binary ? "binary" : "xml"; }

bool isBinaryFile(const std::filesystem::path& path) {
  const auto bytes = readBytes(path);
  return bytes.size() > 6 && std::string(bytes.begin(), bytes.begin() + 6) == "bplist";
}

mode_t permissions(const std::filesystem::path& path) {
  struct stat st {};
  EXPECT_EQ(::stat(path.c_str(), &st), 0) << path;
  return st.st_mode & 07777;
}

class UserDefaultsTest : public ::testing::Test {
 protected:
  std::filesystem::path sharedFile() const { return env.preferencesFile(Environment::kSharedSuite); }
  std::shared_ptr<UserDefaults> shared() const { return UserDefaults::suite(env, Environment::kSharedSuite); }
  void prepareDirectory() const { std::filesystem::create_directories(env.prefsDir); }

  testing::TestEnvironment env;
};

TEST_F(UserDefaultsTest, MissingDomainReadsEmptyAndTheFirstWriteCreatesIt) {
  EXPECT_EQ(UserDefaults::standard(env)->file(), env.prefsDir / "com.quorvane.Velmora.NotificationContent.plist");
  const auto store = shared();
  EXPECT_EQ(store->file(), env.prefsDir / "group.quorvane.Velmora.plist");
  EXPECT_FALSE(store->objectForKey("darkTheme6"));
  EXPECT_FALSE(std::filesystem::exists(env.prefsDir)) << "reading must not create anything";

  ASSERT_TRUE(store->setBool(true, "darkTheme6"));
  EXPECT_TRUE(isBinaryFile(sharedFile()));
  EXPECT_EQ(permissions(sharedFile()), 0600u);
  EXPECT_TRUE(std::filesystem::exists(sharedFile().string() + ".lock"));
  EXPECT_TRUE(shared()->boolForKey("darkTheme6"));
  EXPECT_TRUE(env.warnings.empty());
}

class UserDefaultsFormat : public UserDefaultsTest, public ::testing::WithParamInterface<PlistFormat> {};

TEST_P(UserDefaultsFormat, WritesKeepTheFileItsFormatModeAndOtherKeys) {
  prepareDirectory();
  runPlistTool({"fixture", formatName(GetParam()), sharedFile().string()});
  ::chmod(sharedFile().c_str(), 0640);
  // Integers beyond the signed 64-bit range read saturated, and are written back so.
  std::string before = runPlistTool({"describe", sharedFile().string()});
  for (const auto& [from, to] : {std::pair{"int 18446744073709551615", "int 9223372036854775807"},
                                 {"int 9223372036854775808", "int 9223372036854775807"},
                                 {"int -100000000000000000000", "int -9223372036854775808"},
                                 {"int 100000000000000000000", "int 9223372036854775807"}}) {
    if (const auto at = before.find(from); at != std::string::npos) before.replace(at, std::strlen(from), to);
  }

  const auto store = shared();
  ASSERT_TRUE(store->setObject(Value::integer(7), "added"));
  EXPECT_EQ(isBinaryFile(sharedFile()), GetParam() == PlistFormat::Binary);
  EXPECT_EQ(permissions(sharedFile()), 0640u);
  // Everything Python wrote reads back in Python as it was, with the new key last.
  EXPECT_EQ(runPlistTool({"describe", sharedFile().string()}), before + "added: int 7\n");

  ASSERT_TRUE(store->removeObjectForKey("added"));
  EXPECT_EQ(runPlistTool({"describe", sharedFile().string()}), before);
  EXPECT_TRUE(env.warnings.empty());
}

// What the main app may leave, written by another property-list writer: every number reads as a whole
// number that is defined, NaN as 0 and the rest saturating.
TEST_P(UserDefaultsFormat, IntegersOfStoredNumbersAreDefinedForNaNInfinitiesAndHugeValues) {
  prepareDirectory();
  runPlistTool({"fixture", formatName(GetParam()), sharedFile().string()});
  constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max(),
                         kMin = std::numeric_limits<std::int64_t>::min();
  const std::pair<const char*, std::int64_t> expected[] = {
      {"notANumber", 0}, {"infinity", kMax},   {"minusInfinity", kMin}, {"huge", kMax},      {"tiny", 0},
      {"third", 0},      {"wholeReal", 28800}, {"aboveInt64", kMax},    {"uint64Max", kMax}, {"negative", -7},
      {"text", 0},       {"missing", 0},
  };
  const auto store = shared();
  for (const auto& [key, value] : expected) EXPECT_EQ(store->integerForKey(key), value) << key;
  EXPECT_TRUE(env.warnings.empty());
}

// Another process writes keys of its own while this one writes others, both
// under the sidecar lock: no key of either may be lost.
TEST_P(UserDefaultsFormat, ConcurrentWriterLosesNoKey) {
  prepareDirectory();
  writeBytes(sharedFile(), serializePropertyList(Value(MetricDictionary{}), GetParam()));

  constexpr int kRounds = 300;
  testing::PlistToolRun python({"writer", sharedFile().string(), "py", std::to_string(kRounds)});
  const auto store = shared();
  for (int i = 0; i < kRounds; ++i) ASSERT_TRUE(store->setObject(Value::integer(i), "c" + std::to_string(i)));
  python.finish();

  const MetricDictionary contents = shared()->dictionaryRepresentation();
  EXPECT_EQ(contents.size(), 2u * kRounds);
  for (int i = 0; i < kRounds; ++i) {
    EXPECT_EQ(contents.integerForKey("c" + std::to_string(i)), i);
    EXPECT_EQ(contents.integerForKey("py" + std::to_string(i)), i);
    ASSERT_TRUE(contents.contains("py" + std::to_string(i))) << i;
  }
  EXPECT_EQ(isBinaryFile(sharedFile()), GetParam() == PlistFormat::Binary);
  EXPECT_TRUE(env.warnings.empty());
}

INSTANTIATE_TEST_SUITE_P(Formats, UserDefaultsFormat, ::testing::Values(PlistFormat::Binary, PlistFormat::Xml),
                         [](const auto& param) { return formatName(param.param); });

TEST_F(UserDefaultsTest, ReadsSeeWhatOtherProcessesWrite) {
  const auto store = shared();
  EXPECT_FALSE(store->objectForKey("py0"));
  prepareDirectory();
  runPlistTool({"writer", sharedFile().string(), "py", "1"});
  EXPECT_EQ(store->integerForKey("py0"), 0);
  EXPECT_TRUE(store->objectForKey("py0"));
  runPlistTool({"writer", sharedFile().string(), "py", "2"});
  EXPECT_EQ(store->integerForKey("py1"), 1);
}

TEST_F(UserDefaultsTest, EachHandleWritesOnlyItsOwnChanges) {
  const auto first = shared();
  const auto second = shared();
  ASSERT_TRUE(first->setObject("one", "a"));
  EXPECT_EQ(second->dictionaryRepresentation().size(), 1u);  // second now holds {a}
  ASSERT_TRUE(first->setObject("two", "b"));
  ASSERT_TRUE(second->setObject("three", "c"));  // must not bring back a stale view without b
  ASSERT_TRUE(first->removeObjectForKey("a"));
  ASSERT_TRUE(second->setObject("four", "d"));  // must not bring back a

  const MetricDictionary expected{{"b", Value("two")}, {"c", Value("three")}, {"d", Value("four")}};
  EXPECT_EQ(shared()->dictionaryRepresentation(), expected);
  EXPECT_EQ(first->dictionaryRepresentation(), expected);
}

TEST_F(UserDefaultsTest, SeveralKeysGoInOneWriteOrNotAtAll) {
  const auto store = shared();
  ASSERT_TRUE(store->setObject("old", "a"));
  ASSERT_TRUE(store->setObjects(MetricDictionary{{"a", Value("new")}, {"b", Value::integer(2)}}));
  EXPECT_EQ(shared()->dictionaryRepresentation(), (MetricDictionary{{"a", Value("new")}, {"b", Value::integer(2)}}));
  // A value the file cannot hold refuses the whole change.
  EXPECT_FALSE(store->setObjects(MetricDictionary{{"c", Value("kept out")}, {"d", Value(Colour::whiteColor())}}));
  EXPECT_FALSE(shared()->objectForKey("c"));
}

struct StoredCase {
  const char* name;
  Value written;
  std::optional<Value> read;  // nothing: refused, and the key keeps its old value
};

TEST_F(UserDefaultsTest, ValuesReadBackAsTheFileHoldsThem) {
  Value deep = Value::integer(1);
  for (int i = 0; i < kMaxPlistDepth + 1; ++i) deep = Value(Array{deep});
  const StoredCase cases[] = {
      {"float", Value::number(0.1f), Value::real(static_cast<double>(0.1f))},
      {"date", Value(Date{1736172000.123456}), Value(Date{1736172000.123456})},
      {"text", Value(std::string("nul\0cut", 7)), Value("nul")},  // the library's texts end at a NUL
      {"colour", Value(Colour::whiteColor()), std::nullopt},
      {"tooDeep", deep, std::nullopt},
      {"dictionaryWithColour", Value(MetricDictionary{{"c", Value(Colour::whiteColor())}, {"n", Value::integer(3)}}),
       Value(MetricDictionary{{"n", Value::integer(3)}})},
  };
  const auto store = shared();
  for (const StoredCase& c : cases) {
    ASSERT_TRUE(store->setObject("old", c.name));
    env.warnings.clear();
    EXPECT_EQ(store->setObject(c.written, c.name), c.read.has_value()) << c.name;
    const Value expected = c.read.value_or(Value("old"));
    EXPECT_EQ(store->objectForKey(c.name), expected) << c.name;
    EXPECT_EQ(shared()->objectForKey(c.name), expected) << c.name << " as another handle reads the file";
    EXPECT_EQ(env.warnings.size(), c.read ? 0u : 1u) << c.name;
  }
}

struct CorruptCase {
  const char* name;
  std::vector<std::uint8_t> bytes;
  const char* problem;  // part of the warning
};

std::vector<std::uint8_t> bytesFrom(const std::string& s) { return {s.begin(), s.end()}; }

std::vector<CorruptCase> corruptCases() {
  auto truncated = serializePropertyList(Value(MetricDictionary{{"a", Value::integer(1)}}), PlistFormat::Binary);
  truncated.resize(truncated.size() - 3);
  std::string deep = "<plist>";
  for (int i = 0; i < 600; ++i) deep += "<array>";
  return {
      {"garbage", bytesFrom("not a plist at all"), "not a well-formed XML property list"},
      {"empty", {}, "empty"},
      {"truncatedBinary", truncated, "binary property list"},
      {"topLevelArray", serializePropertyList(Value(Array{Value::integer(1)}), PlistFormat::Xml),
       "top level is an array"},
      {"tooDeep", bytesFrom(deep), "nested deeper than 512 levels"},
  };
}

TEST_F(UserDefaultsTest, CorruptFileReadsEmptyIsReportedOnceAndIsNeverWritten) {
  prepareDirectory();
  for (const CorruptCase& c : corruptCases()) {
    writeBytes(sharedFile(), c.bytes);
    env.warnings.clear();
    const auto store = shared();
    EXPECT_FALSE(store->objectForKey("a")) << c.name;
    EXPECT_TRUE(store->dictionaryRepresentation().empty()) << c.name;
    EXPECT_FALSE(store->setObject(Value::integer(2), "a")) << c.name;
    EXPECT_FALSE(store->removeObjectForKey("a")) << c.name;
    EXPECT_FALSE(store->replaceAll({{"a", Value::integer(3)}})) << c.name;
    EXPECT_EQ(readBytes(sharedFile()), c.bytes) << c.name << ": the bytes must stay as they were";
    ASSERT_EQ(env.warnings.size(), 1u) << c.name;
    EXPECT_NE(env.warnings[0].find(sharedFile().string()), std::string::npos) << env.warnings[0];
    EXPECT_NE(env.warnings[0].find(c.problem), std::string::npos) << env.warnings[0];
  }

  // Another corrupt state is reported again; a repaired file is used again.
  const auto store = shared();
  writeText(sharedFile(), "still broken");
  env.warnings.clear();
  EXPECT_FALSE(store->objectForKey("a"));
  writeText(sharedFile(), "broken differently");
  EXPECT_FALSE(store->objectForKey("a"));
  EXPECT_EQ(env.warnings.size(), 2u);
  writeBytes(sharedFile(), serializePropertyList(Value(MetricDictionary{{"a0", Value::integer(0)}}), PlistFormat::Xml));
  EXPECT_TRUE(store->setObject(Value::integer(1), "b"));
  EXPECT_EQ(store->integerForKey("b"), 1);
  EXPECT_TRUE(store->objectForKey("a0"));
  EXPECT_EQ(env.warnings.size(), 2u);
}

TEST_F(UserDefaultsTest, UnwritableLocationFailsWithTheSystemsReason) {
  // The preferences directory would have to be made inside a regular file.
  const auto blocker = env.prefsDir.parent_path() / "blocker";
  writeText(blocker, "x");
  UserDefaults store(blocker / "prefs" / "domain.plist", env.warn);
  EXPECT_FALSE(store.objectForKey("a"));
  EXPECT_TRUE(env.warnings.empty()) << "an unreachable file reads as an empty domain";

  EXPECT_FALSE(store.setObject(Value::integer(1), "a"));
  ASSERT_EQ(env.warnings.size(), 1u);
  EXPECT_NE(env.warnings[0].find("domain.plist"), std::string::npos) << env.warnings[0];
  EXPECT_NE(env.warnings[0].find("Not a directory"), std::string::npos) << env.warnings[0];
}

// A writer killed at any moment (here with SIGKILL, in a child that writes
// without pause) leaves either the old file or the new one, never a broken
// one, and never loses what was written before.
TEST_F(UserDefaultsTest, WriterKilledMidWriteLeavesAWholeFile) {
  const auto store = shared();
  // A large value makes each write long enough for kills to land inside it.
  ASSERT_TRUE(store->setObject(Value(Data{std::vector<std::uint8_t>(256 * 1024, 0x5A)}), "ballast"));

  std::mt19937 random(3);
  std::filesystem::path temporary = sharedFile();
  temporary += ".tmp";
  int killedMidWrite = 0;
  // A loaded machine may kill many children before they reach a write: go on
  // (within bounds, giving each child longer) until kills have landed inside one.
  for (int round = 0; round < 100 || (killedMidWrite < 3 && round < 400); ++round) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      UserDefaults writer(sharedFile(), [](std::string_view) {});
      for (std::int64_t i = 0;; ++i) writer.setObject(Value::integer(i), "child");
    }
    std::this_thread::sleep_for(std::chrono::microseconds(random() % (4000 + 100 * static_cast<unsigned>(round))));
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    killedMidWrite += std::filesystem::exists(temporary);

    const PlistReadResult read = parsePropertyList(readBytes(sharedFile()));
    ASSERT_TRUE(read.value && read.value->dictionary()) << "round " << round << ": " << read.error;
    const MetricDictionary& contents = *read.value->dictionary();
    ASSERT_TRUE(contents.contains("ballast"));
    int parentKeys = 0;
    for (const auto& entry : contents) parentKeys += entry.first.starts_with("parent");
    ASSERT_EQ(parentKeys, round) << "a key of an earlier round was lost";
    if (round > 0) {
      ASSERT_EQ(contents.integerForKey("parent" + std::to_string(round - 1)), round - 1);
    }
    ASSERT_TRUE(store->setObject(Value::integer(round), "parent" + std::to_string(round)));
  }
  EXPECT_GT(killedMidWrite, 0) << "no kill landed inside a write";
  EXPECT_TRUE(env.warnings.empty());
}

}  // namespace
}  // namespace velmora
