#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <functional>
#include <random>
#include <thread>

#include "store/PlistTool.h"
#include "store/PropertyList.h"
#include "store/UserDefaults.h"
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
  std::filesystem::path lockPath() const { return sharedFile().string() + ".lock"; }

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
  // Every value, integers beyond 64 bits and date fractions too, goes back as Python wrote it.
  const std::string before = runPlistTool({"describe", sharedFile().string()});

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
  const StoredCase cases[] = {
      {"float", Value::number(0.1f), Value::real(static_cast<double>(0.1f))},
      {"date", Value(Date::fromUnixSeconds(1736172000.123456)), Value(Date::fromUnixSeconds(1736172000.123456))},
      {"colour", Value(Colour::whiteColor()), std::nullopt},
      {"nanDateInAnArray", Value(Array{Value(Date::fromUnixSeconds(NAN))}), std::nullopt},
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
  // A key that is not UTF-8 could never be read by the name given.
  env.warnings.clear();
  EXPECT_FALSE(store->setObject(Value::integer(1), "caf\xe9"));
  ASSERT_EQ(env.warnings.size(), 1u);
  EXPECT_NE(env.warnings[0].find("not valid UTF-8"), std::string::npos) << env.warnings[0];
}

// A store that is no property list, or cannot be read at all, reads as empty; callers that must tell it from
// an empty domain ask. It is reported once in the run, naming the file and the reason, and is never written.
TEST_F(UserDefaultsTest, UnusableStoreReadsEmptyIsReportedOnceAndIsNeverWritten) {
  prepareDirectory();
  auto bytes = [this](std::vector<std::uint8_t> contents) { return [=, this] { writeBytes(sharedFile(), contents); }; };
  auto text = [&](const std::string& t) { return bytes({t.begin(), t.end()}); };
  auto truncated = serializePropertyList(Value(MetricDictionary{{"a", Value::integer(1)}}), PlistFormat::Binary);
  truncated.resize(truncated.size() - 3);
  std::string deep = "<plist>";
  for (int i = 0; i < 600; ++i) deep += "<array>";
  const std::pair<const char*, std::function<void()>> cases[] = {
      {"not a well-formed XML property list", text("not a plist at all")},
      {"empty", bytes({})},
      {"binary property list", bytes(truncated)},
      {"top level is an array", bytes(serializePropertyList(Value(Array{Value::integer(1)}), PlistFormat::Xml))},
      {"nested deeper than 512 levels", text(deep)},
      {"is not a regular file", [&] { std::filesystem::create_directory(sharedFile()); }},
      {"Too many levels of symbolic links", [&] { std::filesystem::create_symlink(sharedFile(), sharedFile()); }},
  };
  for (const auto& [reason, make] : cases) {
    std::filesystem::remove_all(sharedFile());
    make();
    const auto before = std::filesystem::is_regular_file(std::filesystem::symlink_status(sharedFile()))
                            ? readBytes(sharedFile())
                            : std::vector<std::uint8_t>{};
    env.warnings.clear();
    const auto store = shared(), other = shared();
    ASSERT_FALSE(store->status().ok()) << reason;
    EXPECT_NE(store->status().message().find(reason), std::string::npos) << store->status().message();
    EXPECT_TRUE(env.warnings.empty()) << "asking reports nothing";
    EXPECT_FALSE(store->objectForKey("a")) << reason;
    EXPECT_TRUE(other->dictionaryRepresentation().empty()) << reason;
    EXPECT_FALSE(store->setObject(Value::integer(2), "a")) << reason;
    EXPECT_FALSE(other->removeObjectForKey("a")) << reason;
    EXPECT_FALSE(store->replaceAll({{"a", Value::integer(3)}})) << reason;
    if (std::filesystem::is_regular_file(std::filesystem::symlink_status(sharedFile()))) {
      EXPECT_EQ(readBytes(sharedFile()), before) << reason << ": the bytes must stay as they were";
    }
    ASSERT_EQ(env.warnings.size(), 1u) << reason;
    EXPECT_NE(env.warnings[0].find(sharedFile().string() + ": "), std::string::npos) << env.warnings[0];
    EXPECT_NE(env.warnings[0].find(reason), std::string::npos) << env.warnings[0];
  }
  std::filesystem::remove_all(sharedFile());
  EXPECT_TRUE(shared()->status().ok()) << "a missing file is an empty domain";

  // Another corrupt state is reported again, the same one once in the run, by
  // however many handles; a repaired file is used again.
  const auto store = shared();
  writeText(sharedFile(), "<plist><integer>x</integer></plist>");
  env.warnings.clear();
  EXPECT_FALSE(store->objectForKey("a"));
  EXPECT_FALSE(shared()->objectForKey("a"));
  writeText(sharedFile(), "<plist><dict>broken differently</dict></plist>");
  EXPECT_FALSE(store->objectForKey("a"));
  EXPECT_FALSE(shared()->objectForKey("a"));
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

// A store kept elsewhere and linked into the preferences: writes go through
// the link to its target, and the link stays.
TEST_F(UserDefaultsTest, LinkedStoreIsWrittenThroughToItsTarget) {
  prepareDirectory();
  testing::TempDir elsewhere;
  const auto target = elsewhere.path() / "real.plist";
  std::filesystem::create_symlink(std::filesystem::relative(elsewhere.path() / "chain.plist", env.prefsDir),
                                  sharedFile());  // relative, through a second link
  std::filesystem::create_symlink(target, elsewhere.path() / "chain.plist");
  runPlistTool({"fixture", "xml", target.string()});
  const std::string before = runPlistTool({"describe", target.string()});

  const auto store = shared();
  EXPECT_EQ(store->integerForKey("integer"), 42);
  ASSERT_TRUE(store->setObject(Value::integer(7), "added"));
  EXPECT_TRUE(std::filesystem::is_symlink(sharedFile()));
  EXPECT_EQ(runPlistTool({"describe", target.string()}), before + "added: int 7\n");
  EXPECT_TRUE(std::filesystem::is_regular_file(lockPath()));
  EXPECT_EQ(shared()->integerForKey("added"), 7);
  EXPECT_TRUE(env.warnings.empty());
}

// A lock file replaced by a link would have this process create or lock a
// file anywhere: it is refused, and nothing is written.
TEST_F(UserDefaultsTest, LockThatIsALinkIsNotFollowed) {
  prepareDirectory();
  testing::TempDir elsewhere;
  const auto victim = elsewhere.path() / "victim";
  std::filesystem::create_symlink(victim, lockPath());
  EXPECT_FALSE(shared()->setObject(Value::integer(1), "a"));
  EXPECT_FALSE(std::filesystem::exists(victim));
  EXPECT_FALSE(std::filesystem::exists(sharedFile()));
  ASSERT_EQ(env.warnings.size(), 1u);
  EXPECT_NE(env.warnings[0].find("is a symbolic link"), std::string::npos) << env.warnings[0];
}

// A full disk, a quota, a file-size limit: the write fails with the system's
// reason, and the store keeps its old contents.
TEST_F(UserDefaultsTest, FailedWriteSaysWhatTheSystemSaid) {
  const auto store = shared();
  ASSERT_TRUE(store->setObject(Value::integer(1), "a"));
  struct rlimit old {};
  ::getrlimit(RLIMIT_FSIZE, &old);
  const auto previous = std::signal(SIGXFSZ, SIG_IGN);
  struct rlimit small = old;
  small.rlim_cur = 4096;
  ::setrlimit(RLIMIT_FSIZE, &small);
  const bool written = store->setObject(Value(Data{std::vector<std::uint8_t>(8192, 1)}), "big");
  ::setrlimit(RLIMIT_FSIZE, &old);
  std::signal(SIGXFSZ, previous);
  EXPECT_FALSE(written);
  ASSERT_EQ(env.warnings.size(), 1u);
  EXPECT_NE(env.warnings[0].find("File too large"), std::string::npos) << env.warnings[0];
  EXPECT_EQ(shared()->dictionaryRepresentation(), (MetricDictionary{{"a", Value::integer(1)}}));
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

    const Result<PlistValue> read = parsePropertyList(readBytes(sharedFile()));
    ASSERT_TRUE(read && read->value.dictionary()) << "round " << round << ": " << read.message();
    const MetricDictionary& contents = *read->value.dictionary();
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
