#include "support/StoreRecords.h"

#include <string>

#include "support/TestEnvironment.h"

namespace velmora::testing {

Value readinessSummary(double hrv, double hrvBaseline, double waking, double wakingBaseline, std::string_view key) {
  return Value(MetricDictionary{{"key", Value(std::string(key))},
                                {"hrvAverage", Value::real(hrvBaseline)},
                                {"hrvTodayVal", Value::real(hrv)},
                                {"bpmAverage", Value::real(wakingBaseline)},
                                {"bpmTodayVal", Value::real(waking)}});
}

void putBankNights(const Environment& env, const std::array<double, 7>& seconds, MetricDictionary extra) {
  for (std::size_t i = 0; i < seconds.size(); ++i)
    if (seconds[i] >= -1) extra.setValue("2025010" + std::to_string(i + 2), Value::real(seconds[i]));
  putShared(env, "bankDict", Value(std::move(extra)));
}

void putVitalSigns(const Environment& env, const VitalSummary& spO2, const VitalSummary& respRate, Value wristToday,
                   Value key, std::optional<Value> nightHour) {
  const auto summary = [&](const std::string& name, const VitalSummary& values) {
    MetricDictionary d{{"key", key}};
    const std::string keys[6] = {"average" + name,       "min" + name,       "max" + name,
                                 "average" + name + "7", "min" + name + "7", "max" + name + "7"};
    for (std::size_t i = 0; i < 6; ++i) d.setValue(keys[i], Value::real(values[i]));
    return Value(std::move(d));
  };
  MetricDictionary bank{{"spO2Dict", summary("SpO2", spO2)},
                        {"respRateDict", summary("RespRate", respRate)},
                        {"wristTempKey", key},
                        {"wristTempScore", Value::real(4.2)},
                        {"wristTempTodayValue", wristToday},
                        {"wristTempAverage28", Value::real(36.25)}};
  bank.setValue("nightHour", std::move(nightHour));
  putShared(env, "bankDict", Value(std::move(bank)));
}

}  // namespace velmora::testing
