#pragma once

// A realistic SharedStore for the benchmarks: a year of banked nights, the
// configuration, and last night's watch record, in a private directory
// removed afterwards. The clock stands at 15:00 on a Wednesday in Berlin.
#include <unistd.h>

#include <filesystem>
#include <string>

#include "drawing/RunCaches.h"
#include "format/FormatTools.h"
#include "store/UserDefaults.h"
#include "text/IsoDate.h"

namespace velmora {

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
    // Last night's blood oxygen, as the main app summarises it.
    bank.setValue("spO2Dict", Value(MetricDictionary{{"key", Value(tools.YYMMDD(env.now))},
                                                     {"averageSpO2", Value::real(95.6)},
                                                     {"minSpO2", Value::real(91)},
                                                     {"maxSpO2", Value::real(99)},
                                                     {"averageSpO27", Value::real(96.1)},
                                                     {"minSpO27", Value::real(90)},
                                                     {"maxSpO27", Value::real(99)}}));
    // Last night's readiness figures against their baselines.
    bank.setValue("readyDict", Value(MetricDictionary{{"key", Value(tools.YYMMDD(env.now))},
                                                      {"hrvAverage", Value::real(48)},
                                                      {"hrvTodayVal", Value::real(53)},
                                                      {"bpmAverage", Value::real(56)},
                                                      {"bpmTodayVal", Value::real(54)}}));
    auto store = UserDefaults::suite(env, Environment::kSharedSuite);
    store->setObject(Value(bank), "bankDict");
    store->setObject(Value(MetricDictionary{{"rawSynchTime", Value(env.now.dateByAddingTimeInterval(-28800))},
                                            {"rawSleepTime", Value::real(26784)},
                                            {"rawSleepBankTime", Value::real(25920)},
                                            {"rawRingRating", Value("0.93|1.08|0.81")},
                                            {"rawRingValues", Value("6120|5400|54")}}),
                     "watchTrackDict");
    store->setObject(Value(MetricDictionary{{"nightHour", Value::real(21)},
                                            {"minimumHours", Value::real(6)},
                                            {"maximumHours", Value::real(10)},
                                            {"requiredHours", Value::real(8)}}),
                     "velmoraConfig");
  }
  ~BenchStore() { std::filesystem::remove_all(dir); }
  std::filesystem::path dir;
  Environment env;
  RunCaches caches{env};
};

}  // namespace velmora
