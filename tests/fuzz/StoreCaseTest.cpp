#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "FuzzSupport.h"
#include "StoreCase.h"

namespace velmora::fuzz {
namespace {

std::vector<std::uint8_t> randomBytes(std::mt19937& random, std::size_t size) {
  std::vector<std::uint8_t> bytes(size);
  for (auto& b : bytes) b = static_cast<std::uint8_t>(random());
  return bytes;
}

// Whatever the fuzzer made, a case kept in a file and encoded again is the case the fuzzer ran: a fault found
// is replayed as it was found, however the key list has grown since.
TEST(StoreCase, AKeptCaseIsTheCaseThatRan) {
  std::mt19937 random(15);
  for (std::size_t size : {0, 5, 40, 300, 4000, 4000, 4000, 4000}) {
    const StoreCase ran = decodeCase(randomBytes(random, size));
    const StoreCase kept = caseFromFile(caseToFile(ran));
    EXPECT_TRUE(sameCase(kept, ran)) << size;
    EXPECT_TRUE(sameCase(decodeCase(encodeCase(kept)), ran)) << size;
  }
}

// Stores hold what other writers leave, at the edges of every kind, and keys the system reads.
TEST(StoreCase, CasesReachEveryKindAndTheKeysTheSystemReads) {
  std::mt19937 random(6);
  std::vector<Value::Kind> kinds;
  std::vector<std::string> keys;
  auto collect = [&](const MetricDictionary& d, auto&& self) -> void {
    for (const auto& [key, value] : d) {
      keys.push_back(key);
      kinds.push_back(value.kind());
      if (const MetricDictionary* inner = value.dictionary()) self(*inner, self);
    }
  };
  for (int i = 0; i < 200; ++i) collect(decodeCase(randomBytes(random, 2000)).shared, collect);
  for (Value::Kind kind : {Value::Kind::kInteger, Value::Kind::kDouble, Value::Kind::kBoolean, Value::Kind::kText,
                           Value::Kind::kDate, Value::Kind::kData, Value::Kind::kArray, Value::Kind::kDictionary,
                           Value::Kind::kNull, Value::Kind::kUid, Value::Kind::kWideInteger})
    EXPECT_NE(std::count(kinds.begin(), kinds.end(), kind), 0) << static_cast<int>(kind);
  for (const char* key : {"watchTrackDict", "rawSleepTime", "bankDict", "velmoraConfig", "darkTheme6"})
    EXPECT_NE(std::count(keys.begin(), keys.end(), key), 0) << key;
  // Keys with a number in them ("WakeTime%d") come with numbers.
  EXPECT_TRUE(std::any_of(keys.begin(), keys.end(), [](const std::string& key) {
    return key.starts_with("WakeTime") && key.size() > 8 && key[8] >= '0' && key[8] <= '9';
  }));
}

TEST(StoreCase, ACaseOutsideTheGrammarIsSaidSo) {
  StoreCase c;
  c.timeZone = "Mars/Olympus_Mons";
  EXPECT_THROW(encodeCase(c), std::invalid_argument);
  EXPECT_THROW(caseFromFile(std::vector<std::uint8_t>{'x'}), std::invalid_argument);
}

}  // namespace
}  // namespace velmora::fuzz
