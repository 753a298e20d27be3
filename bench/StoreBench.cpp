// The preferences store on a large shared domain (about 1 MB, binary and
// XML: years of nightly records the main app keeps): a fresh handle's first
// read (stat, read, guard, parse, convert), a read on a handle whose file has
// not changed (stat and lookup), and one write through (lock, re-read check,
// serialise, write, fsync, rename, fsync of the directory), binary and XML.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "store/PropertyList.h"
#include "store/UserDefaults.h"

namespace velmora {
namespace {

// A store whose "history" holds one record per night, sized to ~1 MB.
MetricDictionary largeStore(PlistFormat format) {
  const int nights = format == PlistFormat::Binary ? 10000 : 1900;
  MetricDictionary history;
  for (int night = 0; night < nights; ++night) {
    const double seed = night * 0.618;
    history.setValue(
        "2008" + std::to_string(100000 + night),
        Value(MetricDictionary{
            {"timeAsleep", Value::real(25000 + (night * 977) % 7000 + seed)},
            {"bankBalance", Value::real(-3600 + (night * 131) % 7200 + seed)},
            {"requiredHours", Value::integer(8)},
            {"rawSynchTime", Value(Date::fromReferenceSeconds(600000000.0 + night * 86400.0 + seed))},
            {"heartRate", Value(Array{Value::integer(52 + night % 7), Value::integer(61), Value::integer(48)})},
            {"label", Value(std::to_string(night % 9) + ".5 hours")},
            {"quality", Value::real(seed - static_cast<int>(seed))},
            {"valid", Value::boolean(night % 5 != 0)},
        }));
  }
  return {
      {"velmoraConfig", Value(MetricDictionary{{"nightHour", Value::integer(21)}, {"requiredHours", Value::real(8)}})},
      {"history", Value(std::move(history))},
      {"Swift-HasData", Value("1")}};
}

struct BenchStore {
  explicit BenchStore(PlistFormat format, bool large = true) {
    dir = std::filesystem::temp_directory_path() / ("velmora-store-bench-" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    file = dir / "group.quorvane.Velmora.plist";
    const auto bytes = serializePropertyList(
        Value(large ? largeStore(format) : MetricDictionary{{"velmoraConfig", Value(MetricDictionary{})}}), format);
    size = bytes.size();
    std::FILE* out = std::fopen(file.c_str(), "wb");
    std::fwrite(bytes.data(), 1, bytes.size(), out);
    std::fclose(out);
  }
  ~BenchStore() { std::filesystem::remove_all(dir); }
  std::shared_ptr<UserDefaults> open() const {
    return std::make_shared<UserDefaults>(file, [](std::string_view) {});
  }

  std::filesystem::path dir, file;
  std::size_t size = 0;
};

void coldRead(benchmark::State& state, PlistFormat format) {
  const BenchStore store(format);
  for (auto _ : state) benchmark::DoNotOptimize(store.open()->objectForKey("velmoraConfig"));
  state.counters["fileKB"] = static_cast<double>(store.size) / 1024.0;
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * store.size));
}

void BM_ColdReadBinary(benchmark::State& state) { coldRead(state, PlistFormat::Binary); }
void BM_ColdReadXml(benchmark::State& state) { coldRead(state, PlistFormat::Xml); }

void BM_WarmObjectForKey(benchmark::State& state) {
  const BenchStore store(PlistFormat::Binary);
  const auto handle = store.open();
  handle->objectForKey("velmoraConfig");
  for (auto _ : state) benchmark::DoNotOptimize(handle->objectForKey("velmoraConfig"));
}

void setObject(benchmark::State& state, PlistFormat format, bool large) {
  const BenchStore store(format, large);
  const auto handle = store.open();
  std::int64_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(handle->setObject(Value::integer(++i), "cachedSleepBankUpdate"));
  state.counters["fileKB"] = static_cast<double>(store.size) / 1024.0;
}

void BM_SetObjectLargeStore(benchmark::State& state) { setObject(state, PlistFormat::Binary, true); }
void BM_SetObjectLargeXmlStore(benchmark::State& state) { setObject(state, PlistFormat::Xml, true); }
void BM_SetObjectSmallStore(benchmark::State& state) { setObject(state, PlistFormat::Binary, false); }

BENCHMARK(BM_ColdReadBinary)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ColdReadXml)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WarmObjectForKey)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SetObjectLargeStore)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SetObjectLargeXmlStore)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SetObjectSmallStore)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace velmora
