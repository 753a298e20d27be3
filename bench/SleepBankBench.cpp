// The sleep bank as the bedtime notification asks for it: a store with a
// realistic "bankDict" (a year of nights) and configuration, computed by a
// fresh GroupMetrics (cold: store parsed, formatters created) and by one that
// is reused (warm).
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <memory>

#include "format/FormatTools.h"
#include "metrics/GroupMetrics.h"
#include "platform/IsoDate.h"
#include "platform/UserDefaults.h"

namespace velmora {
namespace {

struct BenchStore {
  BenchStore() {
    dir = std::filesystem::temp_directory_path() / ("velmora-bench-" + std::to_string(::getpid()));
    env.now = *parseIsoDate("2025-01-08T15:00:00+01:00");
    env.timeZone = "Europe/Berlin";
    env.prefsDir = dir;
    env.resourcesDir = VELMORA_BENCH_RESOURCES;
    env.warn = [](std::string_view) {};
    FormatTools tools(env);
    MetricDictionary bank;
    for (int day = 0; day < 365; ++day)
      bank.setValue(tools.YYMMDD(env.now.dateByAddingTimeInterval(-86400.0 * day)),
                    Value::real(25000 + (day * 977) % 7000));
    bank.setValue("requiredHours", Value::real(8));
    bank.setValue("medianWake", Value::real(36000));
    bank.setValue("averageEfficiency", Value::real(88));
    auto store = UserDefaults::suite(env, Environment::kSharedSuite);
    store->setObject(Value(bank), "bankDict");
    store->setObject(Value(MetricDictionary{{"nightHour", Value::real(21)},
                                            {"minimumHours", Value::real(6)},
                                            {"maximumHours", Value::real(10)},
                                            {"requiredHours", Value::real(8)}}),
                     "velmoraConfig");
  }
  ~BenchStore() { std::filesystem::remove_all(dir); }
  std::filesystem::path dir;
  Environment env;
};

void BM_RequestSleepBankCold(benchmark::State& state) {
  BenchStore store;
  for (auto _ : state) {
    GroupMetrics metrics(store.env);
    benchmark::DoNotOptimize(metrics.requestSleepBank());
  }
}
BENCHMARK(BM_RequestSleepBankCold)->Unit(benchmark::kMicrosecond);

void BM_RequestSleepBankWarm(benchmark::State& state) {
  BenchStore store;
  GroupMetrics metrics(store.env);
  metrics.requestSleepBank();
  for (auto _ : state) benchmark::DoNotOptimize(metrics.requestSleepBank());
}
BENCHMARK(BM_RequestSleepBankWarm)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace velmora
