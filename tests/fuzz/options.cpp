// The values of the options every command takes (--prefs, --resources,
// --now, --tz, --locale, --languages, --scale) on any text: each is taken
// or refused as a usage error, never otherwise; an environment made of
// taken values formats dates and durations and finds its string table
// without fault. The first byte says which options are given; their values
// follow, separated by NUL bytes.
#include "FuzzSupport.h"
#include "format/FormatTools.h"
#include "host/RunEnvironment.h"
#include "text/Bundle.h"

using namespace velmora;
using host::GlobalOptions;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return -1;
  std::string_view rest = fuzz::asText({data + 1, size - 1});
  std::optional<std::string> GlobalOptions::*const fields[] = {
      &GlobalOptions::prefs,  &GlobalOptions::resources, &GlobalOptions::now,  &GlobalOptions::timeZone,
      &GlobalOptions::locale, &GlobalOptions::languages, &GlobalOptions::scale};
  GlobalOptions options;
  for (std::size_t i = 0; i < std::size(fields); ++i) {
    const std::size_t end = std::min(rest.find('\0'), rest.size());
    if (data[0] & (1u << i)) options.*fields[i] = std::string(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }

  host::ProcessContext process;
  process.variables = {{"HOME", fuzz::scratchDirectory().string()}};
  process.clock = [] { return Date::fromUnixSeconds(1736173800.0); };
  process.systemTimeZone = [] { return std::string("UTC"); };
  process.executable = fuzz::scratchDirectory() / "bin" / "velmora";  // a program in its build tree
  process.buildTree = fuzz::scratchDirectory();
  process.sourceResources = VELMORA_FUZZ_RESOURCES;
  process.warn = [](std::string_view) {};
  const host::Expected<Environment> env = host::makeEnvironment(options, process);
  if (!env) {
    fuzz::check(env.outcome().kind() == host::ErrorKind::kUsage, "an option refused other than as a usage error");
    fuzz::check(!env.message().empty(), "an option refused without a reason");
    return 0;
  }
  fuzz::check(env->now.isOnCalendar(), "an instant off the calendar taken as now");
  fuzz::check(env->scale >= 1 && env->scale <= 4, "a screen scale outside 1 to 4 taken");
  fuzz::check(!env->languages.empty(), "no preferred language");
  FormatTools tools(*env);
  tools.hrMn(env->now);
  tools.shortDayMonthYear(env->now);
  tools.formattedLongTimeInterval(27000.0);
  tools.YYMMDD(env->now);
  Bundle(env->resourcesDir, env->languages).localizedStringForKey("Sleep");
  return 0;
}
