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

}  // namespace velmora::testing
