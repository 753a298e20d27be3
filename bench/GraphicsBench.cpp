// The notification images at their notification size, 280 points at scale 3
// (840 × 840 pixels), drawn by one object again and again as a long-lived
// widget host would: the fonts and the palette are warm, the surface is new
// each time, and from the third image on each starts from its kept layer
// (the *FromScratch ones let the layer go before every image).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string>

#include "graphics/SleepMetricsGraphics.h"
#include "store/UserDefaults.h"
#include "text/IsoDate.h"

namespace velmora {
namespace {

struct BenchEnvironment {
  BenchEnvironment() {
    dir = std::filesystem::temp_directory_path() / ("velmora-graphics-bench-" + std::to_string(::getpid()));
    env.now = *parseIsoDate("2025-01-06T20:00:00+01:00");
    env.timeZone = "Europe/Berlin";
    env.scale = 3;
    env.prefsDir = dir;
    env.resourcesDir = VELMORA_BENCH_RESOURCES;
    env.warn = [](std::string_view) {};
    UserDefaults::suite(env, Environment::kSharedSuite)
        ->setObject(Value(MetricDictionary{{"requiredHours", Value::real(8)}}), "velmoraConfig");
  }
  ~BenchEnvironment() { std::filesystem::remove_all(dir); }
  std::filesystem::path dir;
  Environment env;
  RunCaches caches{env};
};

// Makes the store handle reachable, as the presentation operations do before drawing.
class BenchGraphics : public SleepMetricsGraphics {
 public:
  explicit BenchGraphics(RunCaches& caches) : SleepMetricsGraphics(caches) { openStore(); }
};

// The image drawn again and again by one object; `fromScratch` lets the run's
// kept layers go before every image, so each costs what a run's first does
// (fonts and buffers warm), where otherwise later images start from their layer.
template <typename Draw>
void drawRepeatedly(benchmark::State& state, bool fromScratch, Draw draw) {
  BenchEnvironment bench;
  BenchGraphics graphics(bench.caches);
  draw(graphics);
  for (auto _ : state) {
    if (fromScratch) bench.caches.releaseLayers();
    benchmark::DoNotOptimize(draw(graphics));
  }
}

// Registers a drawing both ways: NAME for a timeline's later images, NAMEFromScratch for a run's first.
bool registerBothForms(const std::string& name, void (*draw)(benchmark::State&, bool)) {
  for (const bool fromScratch : {false, true})
    benchmark::RegisterBenchmark((name + (fromScratch ? "FromScratch" : "")).c_str(),
                                 [draw, fromScratch](benchmark::State& state) { draw(state, fromScratch); })
        ->Unit(benchmark::kMillisecond)
        ->Repetitions(5)
        ->ReportAggregatesOnly(true);
  return true;
}

void bedClock(benchmark::State& state, bool fromScratch) {
  const Date bedtime = *parseIsoDate("2025-01-06T22:30:00+01:00");
  const Date waketime = *parseIsoDate("2025-01-07T06:45:00+01:00");
  drawRepeatedly(state, fromScratch,
                 [&](BenchGraphics& g) { return g.drawTheBedClockWithSize(280.0f, bedtime, waketime); });
}
const bool kBedClockRegistered = registerBothForms("BM_BedClock", bedClock);

void BM_BedClockWithoutDates(benchmark::State& state) {
  BenchEnvironment bench;
  BenchGraphics graphics(bench.caches);
  graphics.drawTheBedClockWithSize(280.0f, std::nullopt, std::nullopt);
  for (auto _ : state) benchmark::DoNotOptimize(graphics.drawTheBedClockWithSize(280.0f, std::nullopt, std::nullopt));
}
BENCHMARK(BM_BedClockWithoutDates)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

void recharge(benchmark::State& state, bool fromScratch) {
  drawRepeatedly(state, fromScratch, [](BenchGraphics& g) { return g.drawTheRechargeWithSize(280.0f, 0.93f, 0.9f); });
}
const bool kRechargeRegistered = registerBothForms("BM_Recharge", recharge);

// Every ring with its shadowed tip and glyph, two of them past their target, and the rated disc.
void BM_SleepRings(benchmark::State& state) {
  BenchEnvironment bench;
  BenchGraphics graphics(bench.caches);
  graphics.drawSleepRingsWithSize(280.0f, 0.93f, 1.2f, 0.74f, 1.05f, 0.9f, false);
  for (auto _ : state)
    benchmark::DoNotOptimize(graphics.drawSleepRingsWithSize(280.0f, 0.93f, 1.2f, 0.74f, 1.05f, 0.9f, false));
}
BENCHMARK(BM_SleepRings)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

// The gauges with a night's figures: both ranges and the text for the two with bands.
using DrawGauge = ImageRef (SleepMetricsGraphics::*)(float, const MetricDictionary&);
void gauge(benchmark::State& state, DrawGauge draw, const MetricDictionary& dict) {
  BenchEnvironment bench;
  BenchGraphics graphics(bench.caches);
  (graphics.*draw)(280.0f, dict);
  for (auto _ : state) benchmark::DoNotOptimize((graphics.*draw)(280.0f, dict));
}

const MetricDictionary kSpO2Night{{"averageSpO2", Value::number(95.6f)}, {"minSpO2", Value::number(91.0f)},
                                  {"maxSpO2", Value::number(99.0f)},     {"averageSpO27", Value::number(96.1f)},
                                  {"minSpO27", Value::number(90.0f)},    {"maxSpO27", Value::number(99.0f)}};
const MetricDictionary kRespRateNight{
    {"averageRespRate", Value::number(14.2f)}, {"minRespRate", Value::number(12.1f)},
    {"maxRespRate", Value::number(17.8f)},     {"averageRespRate7", Value::number(14.9f)},
    {"minRespRate7", Value::number(11.6f)},    {"maxRespRate7", Value::number(18.4f)}};
const MetricDictionary kConsistencyNight{{"bedTrend", Value::number(-1200.0f)}, {"starsLabel", Value("20m")}};
const MetricDictionary kWristTempNight{{"wristTempScore", Value::number(3.97f)},
                                       {"wristTempDifLabel", Value("0.16\u00B0\u2197")}};

BENCHMARK_CAPTURE(gauge, SpO2, &SleepMetricsGraphics::drawSpO2GaugeWithSize, kSpO2Night)
    ->Name("BM_SpO2Gauge")
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK_CAPTURE(gauge, RespRate, &SleepMetricsGraphics::drawRespRateGaugeWithSize, kRespRateNight)
    ->Name("BM_RespRateGauge")
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK_CAPTURE(gauge, Consistency, &SleepMetricsGraphics::drawConsistencyGaugeWithSize, kConsistencyNight)
    ->Name("BM_ConsistencyGauge")
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK_CAPTURE(gauge, WristTemp, &SleepMetricsGraphics::drawWristTempGaugeWithSize, kWristTempNight)
    ->Name("BM_WristTempGauge")
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

// The readiness dial with its rating and the readiness figure, as the widget's request draws it.
void BM_ReadinessGauge(benchmark::State& state) {
  BenchEnvironment bench;
  BenchGraphics graphics(bench.caches);
  const std::optional<std::string> rating("Optimal");
  graphics.drawReadiRingsWithSize(280.0f, 1.25f, rating, 2);
  for (auto _ : state) benchmark::DoNotOptimize(graphics.drawReadiRingsWithSize(280.0f, 1.25f, rating, 2));
}
BENCHMARK(BM_ReadinessGauge)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

}  // namespace
}  // namespace velmora
