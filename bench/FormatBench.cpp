// Cost of FormatTools: what the first notification of a process pays (a new
// object, its first duration and clock time) and what each later call costs.

#include <benchmark/benchmark.h>

#include <filesystem>

#include "format/FormatTools.h"
#include "text/IsoDate.h"
#include "text/StringFormat.h"

namespace velmora {
namespace {

Environment formattingEnvironment(const char* locale = "en_GB") {
  Environment env;
  env.now = parseIsoDate("2025-01-08T22:15:00+00:00").value_or(Date{});
  env.timeZone = "Europe/London";
  env.locale = locale;
  return env;
}

// The very first use in the process, when the locale data are loaded too.
// Registered first, so that it runs before anything has warmed the data.
void BM_FirstUseInProcess(benchmark::State& state) {
  const Environment env = formattingEnvironment();
  for (auto _ : state) {
    FormatTools tools(env);
    benchmark::DoNotOptimize(tools.formattedTimeInterval(27000));
    benchmark::DoNotOptimize(tools.dayTime(env.now));
  }
}
BENCHMARK(BM_FirstUseInProcess)->Iterations(1)->Unit(benchmark::kMicrosecond);

// A new FormatTools with its first duration and clock time, once the
// process has loaded the locale data.
void BM_FirstUse(benchmark::State& state) {
  const Environment env = formattingEnvironment();
  for (auto _ : state) {
    FormatTools tools(env);
    benchmark::DoNotOptimize(tools.formattedTimeInterval(27000));
    benchmark::DoNotOptimize(tools.dayTime(env.now));
  }
}
BENCHMARK(BM_FirstUse)->Unit(benchmark::kMicrosecond);

void BM_FormattedTimeIntervalWarm(benchmark::State& state) {
  const Environment env = formattingEnvironment();
  FormatTools tools(env);
  tools.formattedTimeInterval(0);
  double seconds = 27000;
  for (auto _ : state) {
    benchmark::DoNotOptimize(tools.formattedTimeInterval(seconds));
    seconds += 60;
  }
}
BENCHMARK(BM_FormattedTimeIntervalWarm);

void BM_DayTimeWarm(benchmark::State& state) {
  const Environment env = formattingEnvironment();
  FormatTools tools(env);
  tools.dayTime(env.now);
  for (auto _ : state) benchmark::DoNotOptimize(tools.dayTime(env.now));
}
BENCHMARK(BM_DayTimeWarm);

// Alternating patterns on the shared output formatter, as a record does.
void BM_DayKeyThenDayTimeWarm(benchmark::State& state) {
  const Environment env = formattingEnvironment();
  FormatTools tools(env);
  for (auto _ : state) {
    benchmark::DoNotOptimize(tools.YYMMDD(env.now));
    benchmark::DoNotOptimize(tools.dayTime(env.now));
  }
}
BENCHMARK(BM_DayKeyThenDayTimeWarm);

void BM_CurrentHourWarm(benchmark::State& state) {
  const Environment env = formattingEnvironment();
  FormatTools tools(env);
  for (auto _ : state) benchmark::DoNotOptimize(tools.currentHour(env.now));
}
BENCHMARK(BM_CurrentHourWarm);

void BM_DateForDateWarm(benchmark::State& state) {
  const Environment env = formattingEnvironment();
  FormatTools tools(env);
  for (auto _ : state) benchmark::DoNotOptimize(tools.dateForDate(env.now, 21, 0));
}
BENCHMARK(BM_DateForDateWarm);

// The night hour is read from the standard defaults on every call.
void BM_SeedForDateWarm(benchmark::State& state) {
  Environment env = formattingEnvironment();
  env.prefsDir = std::filesystem::temp_directory_path() / "velmora-format-bench-none";  // nothing stored: hour 21
  FormatTools tools(env);
  const Date lastWeek = env.now.dateByAddingTimeInterval(-6 * 86400.0);
  for (auto _ : state) benchmark::DoNotOptimize(tools.seedForDate(lastWeek));
}
BENCHMARK(BM_SeedForDateWarm);

void BM_LocalizedStringWithFormat(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(localizedStringWithFormat("de_DE", "{\"%@\":\"%.2f\", \"%@\":\"%.0f\"}",
                                                       {"bankBalance", 1.2345, "hours", 7.5}));
  }
}
BENCHMARK(BM_LocalizedStringWithFormat);

}  // namespace
}  // namespace velmora
