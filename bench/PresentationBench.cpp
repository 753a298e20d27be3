// The two notification requests end to end, as the controller makes them, and
// the sleep rings and blood-oxygen requests of widgets and shortcuts: store
// read, the record (sleep bank, watch record or night summary), formatting,
// colours and the image at 280 points, scale 3. Cold: a new presentation
// object each time (the process's fonts and ICU data already loaded); warm:
// one object reused, as a widget host would.
#include <benchmark/benchmark.h>

#include "BenchStore.h"
#include "presentation/SleepMetricsUI.h"

namespace velmora {
namespace {

template <auto request>
void coldRequest(benchmark::State& state) {
  BenchStore store;
  for (auto _ : state) {
    SleepMetricsUI ui(store.caches);
    benchmark::DoNotOptimize((ui.*request)());
  }
}

template <auto request>
void warmRequest(benchmark::State& state) {
  BenchStore store;
  SleepMetricsUI ui(store.caches);
  (ui.*request)();
  for (auto _ : state) benchmark::DoNotOptimize((ui.*request)());
}

BENCHMARK(coldRequest<&SleepMetricsUI::requestLatestBedtime>)
    ->Name("BM_RequestLatestBedtimeCold")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(warmRequest<&SleepMetricsUI::requestLatestBedtime>)
    ->Name("BM_RequestLatestBedtimeWarm")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(coldRequest<&SleepMetricsUI::requestSleepBankRings>)
    ->Name("BM_RequestSleepBankRingsCold")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(warmRequest<&SleepMetricsUI::requestSleepBankRings>)
    ->Name("BM_RequestSleepBankRingsWarm")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(coldRequest<&SleepMetricsUI::requestQuality>)->Name("BM_RequestQualityCold")->Unit(benchmark::kMillisecond);
BENCHMARK(warmRequest<&SleepMetricsUI::requestQuality>)->Name("BM_RequestQualityWarm")->Unit(benchmark::kMillisecond);

BENCHMARK(coldRequest<&SleepMetricsUI::requestSpO2>)->Name("BM_RequestSpO2Cold")->Unit(benchmark::kMillisecond);
BENCHMARK(warmRequest<&SleepMetricsUI::requestSpO2>)->Name("BM_RequestSpO2Warm")->Unit(benchmark::kMillisecond);

BENCHMARK(coldRequest<&SleepMetricsUI::requestReadiness>)
    ->Name("BM_RequestReadinessCold")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(warmRequest<&SleepMetricsUI::requestReadiness>)
    ->Name("BM_RequestReadinessWarm")
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace velmora
