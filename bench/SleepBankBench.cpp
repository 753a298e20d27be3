// The sleep bank as the bedtime notification asks for it: a store with a
// realistic "bankDict" (a year of nights) and configuration, computed by a
// fresh GroupMetrics (cold: store parsed, formatters created) and by one that
// is reused (warm).
#include <benchmark/benchmark.h>

#include "BenchStore.h"
#include "metrics/GroupMetrics.h"

namespace velmora {
namespace {

void BM_RequestSleepBankCold(benchmark::State& state) {
  BenchStore store;
  for (auto _ : state) {
    GroupMetrics metrics(store.caches);
    benchmark::DoNotOptimize(metrics.requestSleepBank());
  }
}
BENCHMARK(BM_RequestSleepBankCold)->Unit(benchmark::kMicrosecond);

void BM_RequestSleepBankWarm(benchmark::State& state) {
  BenchStore store;
  GroupMetrics metrics(store.caches);
  metrics.requestSleepBank();
  for (auto _ : state) benchmark::DoNotOptimize(metrics.requestSleepBank());
}
BENCHMARK(BM_RequestSleepBankWarm)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace velmora
