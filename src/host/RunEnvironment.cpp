#include "host/RunEnvironment.h"

#include <pwd.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>
#include <unicode/uloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <memory>

#include "text/IsoDate.h"

extern char** environ;

namespace velmora::host {

namespace {

constexpr std::string_view kZoneInfo = "zoneinfo/";

std::string inQuotes(std::string_view text) { return "\"" + std::string(text) + "\""; }

// A zone file path ("/usr/share/zoneinfo/Europe/Berlin") as the zone's name.
std::optional<std::string> zoneFromPath(std::string_view path) {
  const auto at = path.rfind(kZoneInfo);
  if (at == std::string_view::npos) return std::nullopt;
  std::string name(path.substr(at + kZoneInfo.size()));
  if (isKnownTimeZone(name)) return name;
  return std::nullopt;
}

// The zone ICU sees on the host, else the one /etc/localtime links to, else UTC.
std::string detectSystemTimeZone() {
  std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::detectHostTimeZone());
  if (zone) {
    icu::UnicodeString id;
    zone->getID(id);
    std::string name;
    id.toUTF8String(name);
    if (name != "Etc/Unknown" && isKnownTimeZone(name)) return name;
  }
  std::error_code ec;
  const auto target = std::filesystem::read_symlink("/etc/localtime", ec);
  if (!ec)
    if (auto name = zoneFromPath(target.string())) return *name;
  return "UTC";
}

std::optional<std::string> homeFromPasswordDatabase() {
  struct passwd entry {};
  struct passwd* found = nullptr;
  std::vector<char> buffer(16384);
  if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found || !found->pw_dir)
    return std::nullopt;
  return std::string(found->pw_dir);
}

Expected<std::filesystem::path> preferencesDirectory(const GlobalOptions& options, const ProcessContext& process) {
  if (options.prefs) {
    if (options.prefs->empty())
      return Outcome::usageError("--prefs: give a directory (an empty name would be the current one)");
    // A directory that does not exist yet is an empty one, made by the first write.
    std::error_code ec;
    if (std::filesystem::exists(*options.prefs, ec) && !std::filesystem::is_directory(*options.prefs, ec))
      return Outcome::usageError("--prefs: " + inQuotes(*options.prefs) + " is not a directory");
    return std::filesystem::path(*options.prefs);
  }
  if (auto dir = process.variable("VELMORA_PREFS")) return std::filesystem::path(*dir);
  // The XDG base-directory rules ignore a relative XDG_CONFIG_HOME.
  if (auto config = process.variable("XDG_CONFIG_HOME"); config && std::filesystem::path(*config).is_absolute())
    return std::filesystem::path(*config) / "velmora";
  if (auto home = process.variable("HOME")) return std::filesystem::path(*home) / ".config" / "velmora";
  return Outcome::commandError("cannot tell where the preferences are: give --prefs DIR, or set VELMORA_PREFS or HOME");
}

Expected<std::filesystem::path> resourcesDirectory(const GlobalOptions& options, const ProcessContext& process) {
  std::error_code ec;
  if (options.resources) {
    if (!std::filesystem::is_directory(*options.resources, ec))
      return Outcome::usageError("--resources: " + inQuotes(*options.resources) + " is not a directory");
    return std::filesystem::path(*options.resources);
  }
  return defaultResourcesDirectory(process);
}

// Whether a file lies inside a directory (both as the file system resolves them).
bool isWithin(const std::filesystem::path& file, const std::filesystem::path& dir) {
  std::error_code ec;
  const auto relative =
      std::filesystem::weakly_canonical(file, ec).lexically_relative(std::filesystem::weakly_canonical(dir, ec));
  return !ec && !relative.empty() && *relative.begin() != "..";
}

Expected<Date> currentInstant(const GlobalOptions& options, const ProcessContext& process) {
  if (!options.now) return process.clock ? process.clock() : Date{};
  const std::optional<Date> date = parseIsoDate(*options.now);
  if (!date)
    return Outcome::usageError(
        "--now: " + inQuotes(*options.now) +
        " is not an ISO 8601 instant with a zone offset or Z, such as 2025-01-06T22:30:00+01:00");
  if (!date->isOnCalendar())
    return Outcome::usageError("--now: " + inQuotes(*options.now) +
                               " lies outside the years 1 to 9999, which dates can show");
  return *date;
}

Expected<int> screenScale(const std::string& text) {
  // Digits only: "3", not "3.0", "+3" or " 3".
  const bool digits = !text.empty() && text.size() <= 2 &&
                      std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
  const int scale = digits ? std::stoi(text) : 0;
  if (scale < 1 || scale > 4)
    return Outcome::usageError("--scale: " + inQuotes(text) + " is not a screen scale from 1 to 4");
  return scale;
}

Expected<std::string> timeZone(const GlobalOptions& options, const ProcessContext& process) {
  if (options.timeZone) {
    if (!isKnownTimeZone(*options.timeZone))
      return Outcome::usageError("--tz: " + inQuotes(*options.timeZone) +
                                 " is not a time zone name (an IANA name such as Europe/Berlin)");
    return *options.timeZone;
  }
  if (auto tz = process.variables.find("TZ"); tz != process.variables.end()) {
    std::string_view name = tz->second;
    if (name.empty()) return std::string("UTC");  // the C library's reading of an empty TZ
    if (name.starts_with(':')) name.remove_prefix(1);
    if (isKnownTimeZone(name)) return std::string(name);
    if (auto fromPath = zoneFromPath(name)) return *fromPath;
    if (process.warn) process.warn("TZ=" + tz->second + " is not an IANA time zone name; using the system zone");
  }
  return process.systemTimeZone ? process.systemTimeZone() : std::string("UTC");
}

// A locale ICU knows the language of and can say as a BCP 47 tag. ICU takes
// nearly any text as a locale id, and some ill-formed ones ("en@calendar\x80=x")
// stop its date pattern generator with a fault.
bool isUsableLocale(const icu::Locale& locale) {
  if (locale.isBogus() || std::string_view(locale.getISO3Language()).empty()) return false;
  UErrorCode status = U_ZERO_ERROR;
  char tag[ULOC_FULLNAME_CAPACITY];
  uloc_toLanguageTag(locale.getName(), tag, sizeof tag, true, &status);
  return U_SUCCESS(status) && status != U_STRING_NOT_TERMINATED_WARNING;
}

Expected<std::string> locale(const GlobalOptions& options, const ProcessContext& process) {
  if (options.locale) {
    const icu::Locale given(options.locale->c_str());
    if (!isUsableLocale(given))
      return Outcome::usageError("--locale: " + inQuotes(*options.locale) +
                                 " is not a locale (an ICU id such as de_DE or en_US@hours=h23)");
    return std::string(given.getName());
  }
  // The variables in the C library's order of precedence for time formats.
  for (const char* name : {"LC_ALL", "LC_TIME", "LANG"}) {
    if (auto value = process.variable(name)) {
      std::string id = icuLocaleFromPosix(*value);
      return id.empty() ? std::string("en_US") : id;
    }
  }
  return std::string("en_US");
}

Expected<std::vector<std::string>> languages(const GlobalOptions& options, const ProcessContext& process,
                                             const std::string& localeId) {
  if (options.languages) {
    auto tags = languageTags(*options.languages, ',');
    if (tags.empty()) return Outcome::usageError("--languages: give at least one language, such as de,en");
    for (const std::string& tag : tags) {
      UErrorCode status = U_ZERO_ERROR;
      const icu::Locale language = icu::Locale::forLanguageTag(tag, status);
      if (U_FAILURE(status) || language.isBogus() || std::string_view(language.getLanguage()).empty())
        return Outcome::usageError("--languages: " + inQuotes(tag) +
                                   " is not a language (a tag such as de, en-GB or zh-Hant)");
    }
    return tags;
  }
  if (auto list = process.variable("LANGUAGE")) {
    auto tags = languageTags(*list, ':');
    if (!tags.empty()) return tags;
  }
  const icu::Locale loc(localeId.c_str());
  UErrorCode status = U_ZERO_ERROR;
  const std::string tag = icu::Locale(loc.getLanguage(), loc.getCountry()).toLanguageTag<std::string>(status);
  return std::vector<std::string>{U_SUCCESS(status) && !tag.empty() ? tag : "en"};
}

}  // namespace

ProcessContext ProcessContext::current() {
  ProcessContext process;
  for (char** entry = environ; entry && *entry; ++entry) {
    const std::string_view pair(*entry);
    const auto equals = pair.find('=');
    if (equals != std::string_view::npos)
      process.variables.emplace(std::string(pair.substr(0, equals)), std::string(pair.substr(equals + 1)));
  }
  if (!process.variable("HOME"))
    if (auto home = homeFromPasswordDatabase()) process.variables["HOME"] = *home;
  process.clock = [] {
    const auto since = std::chrono::system_clock::now().time_since_epoch();
    return Date::fromUnixSeconds(std::chrono::duration<double>(since).count());
  };
  process.systemTimeZone = detectSystemTimeZone;
  std::error_code ec;
  process.executable = std::filesystem::read_symlink("/proc/self/exe", ec);
  process.buildTree = VELMORA_BUILD_TREE;
  process.sourceResources = VELMORA_SOURCE_RESOURCES;
  return process;
}

std::filesystem::path defaultResourcesDirectory(const ProcessContext& process) {
  if (process.executable.empty()) return {};
  const auto installed = process.executable.parent_path().parent_path() / "share" / "velmora";
  std::error_code ec;
  if (std::filesystem::is_directory(installed, ec)) return installed;
  if (!process.buildTree.empty() && isWithin(process.executable, process.buildTree) &&
      std::filesystem::is_directory(process.sourceResources, ec))
    return process.sourceResources;
  return installed;
}

std::optional<std::string> ProcessContext::variable(std::string_view name) const {
  const auto it = variables.find(name);
  if (it == variables.end() || it->second.empty()) return std::nullopt;
  return it->second;
}

Expected<Environment> makeEnvironment(const GlobalOptions& options, const ProcessContext& process) {
  // Each part in turn: the first that cannot be had is the one the person hears of.
  auto take = [](auto part, auto& into) {
    if (part) into = *std::move(part);
    return part.outcome();
  };
  Environment env;
  env.warn = process.warn;
  env.log = process.log;
  if (Outcome taken = take(preferencesDirectory(options, process), env.prefsDir); !taken) return taken;
  if (Outcome taken = take(resourcesDirectory(options, process), env.resourcesDir); !taken) return taken;
  if (Outcome taken = take(currentInstant(options, process), env.now); !taken) return taken;
  if (Outcome taken = take(timeZone(options, process), env.timeZone); !taken) return taken;
  if (Outcome taken = take(locale(options, process), env.locale); !taken) return taken;
  if (Outcome taken = take(languages(options, process, env.locale), env.languages); !taken) return taken;
  if (options.scale)
    if (Outcome taken = take(screenScale(*options.scale), env.scale); !taken) return taken;
  return env;
}

std::string icuLocaleFromPosix(std::string_view posixName) {
  // "language_TERRITORY.codeset@modifier": the codeset and modifier mean nothing to ICU.
  const std::string_view name = posixName.substr(0, posixName.find_first_of(".@"));
  if (name == "C" || name == "POSIX") return "en_US";
  if (name.empty()) return {};
  const icu::Locale loc(std::string(name).c_str());
  if (!isUsableLocale(loc)) return {};
  return loc.getName();
}

std::vector<std::string> languageTags(std::string_view list, char separator) {
  std::vector<std::string> tags;
  while (!list.empty()) {
    const auto end = list.find(separator);
    std::string_view item = list.substr(0, end);
    list = end == std::string_view::npos ? std::string_view() : list.substr(end + 1);
    while (!item.empty() && item.front() == ' ') item.remove_prefix(1);
    while (!item.empty() && item.back() == ' ') item.remove_suffix(1);
    item = item.substr(0, item.find_first_of(".@"));
    if (item.empty()) continue;
    std::string tag(item);
    for (char& c : tag)
      if (c == '_') c = '-';
    tags.push_back(std::move(tag));
  }
  return tags;
}

bool isKnownTimeZone(std::string_view name) {
  if (name.empty()) return false;
  std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(name)));
  icu::UnicodeString id;
  zone->getID(id);
  return id != icu::UnicodeString(u"Etc/Unknown");
}

}  // namespace velmora::host
