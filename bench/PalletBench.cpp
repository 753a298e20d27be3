// A Pallet is made for every screen and image. Making one reads the theme and
// the five hues: from the app's own defaults alone when they hold the hues,
// else also from the shared store, which is parsed whole (here with a year
// of nights in it, as the main app leaves it).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "palette/Pallet.h"
#include "store/UserDefaults.h"
#include "text/IsoDate.h"

namespace velmora {
namespace {

struct PalletStores {
  explicit PalletStores(bool huesInOwnDefaults) {
    dir = std::filesystem::temp_directory_path() / ("velmora-pallet-bench-" + std::to_string(::getpid()));
    env.now = *parseIsoDate("2025-01-08T15:00:00+01:00");
    env.prefsDir = dir;
    env.resourcesDir = VELMORA_BENCH_RESOURCES;
    env.warn = [](std::string_view) {};

    MetricDictionary bank;
    for (int day = 0; day < 365; ++day) bank.setValue("2024" + std::to_string(10000 + day), Value::real(25000 + day));
    auto shared = UserDefaults::suite(env, Environment::kSharedSuite);
    shared->setObject(Value(bank), "bankDict");
    auto own = UserDefaults::standard(env);
    own->setBool(true, "darkTheme6");
    for (int i = 1; i <= 5; ++i) {
      auto& store = huesInOwnDefaults ? *own : *shared;
      store.setObject(Value::number(static_cast<float>(40 * i)), "Hue" + std::to_string(i));
    }
  }
  ~PalletStores() { std::filesystem::remove_all(dir); }

  std::filesystem::path dir;
  Environment env;
  RunCaches caches{env};
};

void BM_PalletWithOwnHues(benchmark::State& state) {
  PalletStores stores(true);
  for (auto _ : state) {
    Pallet pallet(stores.caches);
    benchmark::DoNotOptimize(pallet.hue5());
  }
}
BENCHMARK(BM_PalletWithOwnHues)->Unit(benchmark::kMicrosecond);

void BM_PalletWithSharedHues(benchmark::State& state) {
  PalletStores stores(false);
  for (auto _ : state) {
    Pallet pallet(stores.caches);
    benchmark::DoNotOptimize(pallet.hue5());
  }
}
BENCHMARK(BM_PalletWithSharedHues)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace velmora
