// The host's share of `velmora defaults export` and `import` on a domain of
// about 1 MB (ten years of nightly balances and 9,900 night records with
// dates): the JSON forms in both directions, and the store read beneath them.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "host/JsonForms.h"
#include "host/JsonText.h"
#include "host/JsonToValue.h"
#include "store/UserDefaults.h"

namespace velmora::host {
namespace {

MetricDictionary largeDomain() {
  MetricDictionary bank;
  const Date firstNight = Date::fromUnixSeconds(1451606400.0);  // 2016-01-01
  for (int day = 0; day < 3650; ++day) {
    // Distinct eight-digit keys, as many as ten years of nights.
    bank.setObject(std::to_string(20160101 + day), Value::real(20000.5 + (day * 7919) % 12000));
  }
  bank.setObject("requiredHours", Value::real(8.0));
  Array history;
  history.reserve(9900);
  for (int i = 0; i < 9900; ++i) {
    const Date start = firstNight.dateByAddingTimeInterval(i * 86400.0 + 81000.0);
    Array spo2;
    for (int k = 0; k < 12; ++k) spo2.push_back(Value::real(0.9 + 0.0071 * ((i + k) % 14)));
    history.push_back(Value(MetricDictionary{{"start", Value(start)},
                                             {"end", Value(start.dateByAddingTimeInterval(28800.0))},
                                             {"asleep", Value::real(26000.0 + i % 3000)},
                                             {"hr", Value::integer(45 + i % 25)},
                                             {"spo2", Value(std::move(spo2))},
                                             {"note", Value("night " + std::to_string(i))}}));
  }
  return MetricDictionary{{"bankDict", Value(std::move(bank))}, {"sleepHistory", Value(std::move(history))}};
}

const MetricDictionary& domain() {
  static const MetricDictionary kDomain = largeDomain();
  return kDomain;
}

void ExportForms(benchmark::State& state) {
  const JsonForms forms("Europe/Berlin");
  std::size_t bytes = 0;
  for (auto _ : state) {
    const std::string text = writeJson(forms.members(domain()));
    bytes = text.size();
    benchmark::DoNotOptimize(text.data());
  }
  state.counters["json_bytes"] = static_cast<double>(bytes);
}
BENCHMARK(ExportForms)->Unit(benchmark::kMillisecond);

void ImportForms(benchmark::State& state) {
  const std::string text = writeJson(JsonForms("Europe/Berlin").members(domain()));
  for (auto _ : state) {
    const Result<MetricDictionary> read = dictionaryFromJson(*parseJson(text));
    benchmark::DoNotOptimize(read->size());
  }
}
BENCHMARK(ImportForms)->Unit(benchmark::kMillisecond);

// One object of n members, as `defaults import` reads it: the time grows as n,
// not n² (an ordered map that searched its members for each new key took 39 s
// for 100,000 of them).
void ImportWideObject(benchmark::State& state) {
  std::string text = "{";
  for (std::int64_t i = 0; i < state.range(0); ++i)
    text += (i ? ", \"" : "\"") + std::to_string(1000000 + i) + "\": " + std::to_string(i) + ".5";
  text += "}";
  for (auto _ : state) {
    const Result<MetricDictionary> read = dictionaryFromJson(*parseJson(text));
    benchmark::DoNotOptimize(read->size());
  }
  state.SetComplexityN(state.range(0));
}
BENCHMARK(ImportWideObject)->RangeMultiplier(10)->Range(1000, 1000000)->Unit(benchmark::kMillisecond)->Complexity();

// What export reads before the forms: the domain's plist file through the store.
void ReadStore(benchmark::State& state) {
  const auto dir = std::filesystem::temp_directory_path() / ("velmora-bench-" + std::to_string(::getpid()));
  const auto file = dir / "group.quorvane.Velmora.plist";
  {
    UserDefaults writer(file, {});
    writer.replaceAll(domain());
  }
  state.counters["plist_bytes"] = static_cast<double>(std::filesystem::file_size(file));
  for (auto _ : state) {
    UserDefaults store(file, {});
    benchmark::DoNotOptimize(store.dictionaryRepresentation().size());
  }
  std::filesystem::remove_all(dir);
}
BENCHMARK(ReadStore)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace velmora::host
