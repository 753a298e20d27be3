// Files and streams the user gives the program are read whole, but never
// more than the input limit, and never by waiting on a FIFO that no one
// writes to. (Suites named *Bounded run under a time limit.)
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <sstream>
#include <streambuf>

#include "host/Files.h"
#include "store/AtomicFile.h"
#include "support/TestEnvironment.h"

namespace velmora::host {
namespace {

// A stream of zero bytes that never ends, as /dev/zero on standard input.
class EndlessZeros : public std::streambuf {
 protected:
  int_type underflow() override {
    setg(buffer_, buffer_, buffer_ + sizeof buffer_);
    return 0;
  }

 private:
  char buffer_[65536] = {};
};

std::string problemReading(const std::filesystem::path& file) {
  const Result<std::string> read = readFile(file);
  return read ? "read" : read.message();
}

TEST(InputFilesBounded, EveryKindOfFileReadsOrSaysWhyNot) {
  testing::TempDir dir;
  const auto fifo = dir.path() / "fifo";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  const auto text = dir.path() / "payload.json";
  ASSERT_TRUE(writeFile(text, R"({"aps": {}})"));
  const struct {
    const char* name;
    std::filesystem::path file;
    const char* outcome;  // "read", or a part of the error's message
  } cases[] = {
      {"regular file", text, "read"},
      {"FIFO without a writer", fifo, "read"},
      {"directory", dir.path(), "it is a directory"},
  };
  for (const auto& c : cases)
    EXPECT_NE(problemReading(c.file).find(c.outcome), std::string::npos) << c.name << ": " << problemReading(c.file);
  EXPECT_EQ(*readFile(text), R"({"aps": {}})");
  EXPECT_EQ(*readFile(fifo), "");
}

TEST(InputFilesBounded, StandardInputStopsAtTheLimit) {
  std::istringstream small("{}");
  EXPECT_EQ(*readStream(small, "standard input"), "{}");
  EndlessZeros zeros;
  std::istream endless(&zeros);
  EXPECT_EQ(readStream(endless, "standard input").message(),
            "standard input is larger than 64 MiB, more than any domain or payload holds");
}

// A regular file of exactly the limit is read; one byte more is refused before anything is read.
TEST(InputFilesBounded, TheLimitIsInclusive) {
  testing::TempDir dir;
  const auto file = dir.path() / "large.json";
  ASSERT_TRUE(writeFile(file, ""));
  std::filesystem::resize_file(file, kMaxInputBytes);
  EXPECT_EQ(readFile(file)->size(), kMaxInputBytes);
  std::filesystem::resize_file(file, kMaxInputBytes + 1);
  EXPECT_NE(problemReading(file).find("larger than"), std::string::npos);
}

}  // namespace
}  // namespace velmora::host
