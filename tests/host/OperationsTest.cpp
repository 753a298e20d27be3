// The request operations in-process: every name `velmora request` serves, and
// JSON that stays valid whatever numbers the main app left.
#include <gtest/gtest.h>

#include <limits>
#include <sstream>

#include "host/JsonForms.h"
#include "host/Operations.h"
#include "platform/UserDefaults.h"
#include "support/TestEnvironment.h"

namespace velmora::host {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

const std::vector<std::string> kVitalSignOperations = {"requestSpO2",
                                                       "requestRespRate",
                                                       "requestWristTemp",
                                                       "swiftSpO2Image",
                                                       "swiftRespRateImage",
                                                       "swiftWristTempImage",
                                                       "requestSpO2ForSwift",
                                                       "requestRespRateForSwift",
                                                       "GroupMetrics.requestSpO2",
                                                       "GroupMetrics.requestRespRate",
                                                       "GroupMetrics.requestWristTemp"};

// Every value of the night's summaries the same absurd number; the requests answer in JSON all the same.
TEST(OperationsTest, VitalSignsAnswerInJsonWhateverTheNumbers) {
  for (const std::string& name : kVitalSignOperations) EXPECT_TRUE(findOperation(name)) << name;

  testing::TestEnvironment env("2025-01-08T15:00:00+01:00");
  env.scale = 1;
  for (const double absurd : {kNaN, kInf, -kInf, 1e308, -1e308}) {
    MetricDictionary spO2{{"key", Value("20250108")}}, resp{{"key", Value("20250108")}};
    for (const char* key : {"averageSpO2", "minSpO2", "maxSpO2", "averageSpO27", "minSpO27", "maxSpO27"})
      spO2.setValue(key, Value::real(absurd));
    for (const char* key :
         {"averageRespRate", "minRespRate", "maxRespRate", "averageRespRate7", "minRespRate7", "maxRespRate7"})
      resp.setValue(key, Value::real(absurd));
    ASSERT_TRUE(UserDefaults::suite(env, Environment::kSharedSuite)
                    ->setObject(Value(MetricDictionary{{"spO2Dict", Value(spO2)},
                                                       {"respRateDict", Value(resp)},
                                                       {"wristTempKey", Value("20250108")},
                                                       {"wristTempScore", Value::real(absurd)},
                                                       {"wristTempTodayValue", Value::real(absurd)},
                                                       {"wristTempAverage28", Value::real(36.2)}}),
                                "bankDict"));
    std::ostringstream out;
    runRequest(kVitalSignOperations, std::nullopt, env, out);
    const Json calls = Json::parse(out.str());  // throws on invalid JSON
    ASSERT_EQ(calls.size(), kVitalSignOperations.size()) << absurd;
    // Blood oxygen and breathing keep their records; the wrist has one only for a positive temperature.
    EXPECT_TRUE(calls[0]["result"].is_object()) << absurd;
    EXPECT_TRUE(calls[8]["result"]["averageSpO2"].is_string()) << absurd << ": not finite in single precision";
    EXPECT_EQ(calls[10]["result"].is_object(), absurd > 0) << absurd;
  }
}

}  // namespace
}  // namespace velmora::host
