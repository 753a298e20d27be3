#include "StoreCase.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

#include "FuzzSupport.h"
#include "host/Cli.h"
#include "host/JsonForms.h"
#include "host/JsonText.h"
#include "host/NotifyCommand.h"
#include "host/Operations.h"
#include "store/AtomicFile.h"
#include "text/IsoDate.h"

namespace velmora::fuzz {

namespace {

constexpr std::string_view kStoreKeys[] = {
#include "StoreKeys.inc"
};

// clang-format off
constexpr std::string_view kZones[] = {
    "UTC", "Europe/Berlin", "America/New_York", "America/St_Johns", "Asia/Kathmandu", "Pacific/Kiritimati",
    "Pacific/Pago_Pago", "Australia/Lord_Howe", "Asia/Seoul"};
constexpr std::string_view kLocales[] = {"en_US", "en_GB@hours=h23", "de_DE", "ko_KR", "fr_FR", "ar_EG", "ja_JP", "he_IL"};

using Limits = std::numeric_limits<double>;
constexpr double kNotableReals[] = {
    0.0, -0.0, 1.0, -1.0, 0.5, 7.5, 8.0, 21.0, 24.0, 25.0, 100.0, 3600.0, 27000.0, 86400.0, -86400.0,
    1e5, 1e9, 2147483648.0, 9.3e18, 1e30, 1e308, -1e308,
    Limits::max(), Limits::min(), Limits::denorm_min(), Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN(),
    0.92, 1.08, 59.99, 1e-7};

// Texts that are, or almost are, what the system reads out of texts.
constexpr std::string_view kNotableTexts[] = {
    "", "8", "7.5", "-1", "1e308", "-1e308", "nan", "inf", "0x1p3", " 12", "12abc",
    "\xd9\xa3", "\xf0\x9f\x9b\x8c", "0.92|1.08|0.81", "6120|5400|54", "|||", "1e-320", "99999999999999999999",
    "%@ %d %f %n %s"};
// clang-format on

// The grammar's tags: one byte says what comes next.
enum ValueTag : std::uint8_t {
  kInteger,       // 8 bytes
  kSmallInteger,  // 1 byte, signed
  kReal,          // 8 bytes
  kNotableReal,   // 1 byte: which of kNotableReals
  kBoolean,       // 1 byte
  kText,          // 2 bytes of length, then the text
  kNotableText,   // 1 byte: which of kNotableTexts
  kDate,          // 8 bytes: seconds since 2001
  kDateNearNow,   // 4 bytes: signed seconds from now
  kData,          // 2 bytes of length, then the bytes
  kArray,         // 1 byte of count, then the items
  kDictionary,    // 1 byte of count, then key and value pairs
  kUid,           // 8 bytes
  kNull,
  kWideInteger,  // 16 bytes
  kValueTags
};
// Keys: a byte below kDayKey and the next one are the number of one of
// storeKeys(), modulo their count (a "%d" in it takes the next byte's number).
constexpr std::uint8_t kDayKey = 0xFD;    // 1 byte: signed days from today, as "yyyyMMdd"
constexpr std::uint8_t kShortKey = 0xFE;  // 1 byte of length, then the key
constexpr std::uint8_t kLongKey = 0xFF;   // 2 bytes of length, then the key
constexpr int kMaxDepth = 16;
constexpr std::size_t kMaxCount = 255;
constexpr std::size_t kMaxLength = 65535;

// Reads the grammar's bytes; past the end every read is zero.
class ByteReader {
 public:
  explicit ByteReader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
  bool empty() const { return at_ >= bytes_.size(); }
  std::uint8_t byte() { return empty() ? 0 : bytes_[at_++]; }
  template <typename T>
  T raw() {
    std::uint8_t buffer[sizeof(T)] = {};
    const std::size_t n = std::min(sizeof(T), bytes_.size() - std::min(at_, bytes_.size()));
    if (n) std::memcpy(buffer, bytes_.data() + at_, n);
    at_ += n;
    T value;
    std::memcpy(&value, buffer, sizeof(T));
    return value;
  }
  std::string text(std::size_t length) {
    const std::size_t n = std::min(length, bytes_.size() - std::min(at_, bytes_.size()));
    std::string out(reinterpret_cast<const char*>(bytes_.data() + at_), n);
    at_ += n;
    return out;
  }

 private:
  std::span<const std::uint8_t> bytes_;
  std::size_t at_ = 0;
};

class ByteWriter {
 public:
  void byte(std::uint8_t b) { out.push_back(b); }
  template <typename T>
  void raw(T value) {
    std::uint8_t buffer[sizeof(T)];
    std::memcpy(buffer, &value, sizeof(T));
    out.insert(out.end(), buffer, buffer + sizeof(T));
  }
  void text(std::string_view text) {
    if (text.size() > kMaxLength) throw std::invalid_argument("a text or data longer than 65,535 bytes");
    raw(static_cast<std::uint16_t>(text.size()));
    out.insert(out.end(), text.begin(), text.end());
  }
  std::vector<std::uint8_t> out;
};

// An instant a store holds: within the years 1 to 9999 (NaN is `fallback`),
// counted from 2001 as a property list counts it.
Date onCalendar(double seconds, Date fallback) {
  constexpr double first = Date::kFirstCalendarSeconds - Date::kReferenceOffset;
  constexpr double end = Date::kEndCalendarSeconds - Date::kReferenceOffset;
  return std::isnan(seconds) ? fallback
                             : Date::fromReferenceSeconds(std::clamp(seconds, first, std::nextafter(end, first)));
}

template <typename Item>
std::size_t indexOf(std::span<const Item> list, std::string_view name, const char* what) {
  for (std::size_t i = 0; i < list.size(); ++i)
    if (list[i] == name) return i;
  throw std::invalid_argument(std::string(what) + " \"" + std::string(name) + "\" is not one a case is run in");
}

class CaseDecoder {
 public:
  explicit CaseDecoder(std::span<const std::uint8_t> bytes) : in_(bytes) {}

  StoreCase decode() {
    StoreCase c;
    c.now = onCalendar(in_.raw<double>(), Date::fromUnixSeconds(1736173800.0));  // else 2025-01-06T14:30:00Z
    c.timeZone = kZones[in_.byte() % std::size(kZones)];
    c.locale = kLocales[in_.byte() % std::size(kLocales)];
    c.scale = in_.byte() % 4 + 1;
    const std::uint8_t formats = in_.byte();
    c.sharedFormat = formats & 1 ? PlistFormat::Xml : PlistFormat::Binary;
    c.standardFormat = formats & 2 ? PlistFormat::Xml : PlistFormat::Binary;
    now_ = c.now;
    days_ = std::make_unique<IsoDateFormatter>(c.timeZone);
    c.shared = asStored(dictionary(0), c.sharedFormat);
    c.standard = asStored(dictionary(0), c.standardFormat);
    return c;
  }

 private:
  MetricDictionary dictionary(int depth) {
    std::vector<MetricDictionary::Entry> entries;
    for (std::size_t count = in_.byte(); count > 0 && !in_.empty(); --count) {
      std::string name = key();
      entries.emplace_back(std::move(name), value(depth + 1));
    }
    return MetricDictionary(std::move(entries));
  }

  std::string key() {
    const std::uint8_t tag = in_.byte();
    if (tag == kShortKey) return validUtf8(in_.text(in_.byte()));
    if (tag == kLongKey) return validUtf8(in_.text(in_.raw<std::uint16_t>()));
    if (tag == kDayKey) {
      const auto days = static_cast<std::int8_t>(in_.byte());
      const std::string day = days_->format(onCalendar(now_.referenceSeconds() + days * 86400.0, now_)).substr(0, 10);
      return day.substr(0, 4) + day.substr(5, 2) + day.substr(8, 2);
    }
    const std::size_t listed = tag * 256u + in_.byte();
    std::string name(kStoreKeys[listed % std::size(kStoreKeys)]);
    if (const auto at = name.find("%d"); at != std::string::npos) name.replace(at, 2, std::to_string(in_.byte() % 16));
    return name;
  }

  Value value(int depth) {
    switch (static_cast<ValueTag>(in_.byte() % kValueTags)) {
      case kInteger:
        return Value::integer(in_.raw<std::int64_t>());
      case kSmallInteger:
        return Value::integer(static_cast<std::int8_t>(in_.byte()));
      case kReal:
        return Value::real(in_.raw<double>());
      case kNotableReal:
        return Value::real(kNotableReals[in_.byte() % std::size(kNotableReals)]);
      case kBoolean:
        return Value::boolean(in_.byte() & 1);
      case kText:
        return Value(validUtf8(in_.text(in_.raw<std::uint16_t>())));
      case kNotableText:
        return Value(std::string(kNotableTexts[in_.byte() % std::size(kNotableTexts)]));
      case kDate:
        return Value(onCalendar(in_.raw<double>(), now_));
      case kDateNearNow:
        return Value(onCalendar(now_.referenceSeconds() + in_.raw<std::int32_t>(), now_));
      case kData: {
        const std::string bytes = in_.text(in_.raw<std::uint16_t>());
        return Value(Data{{bytes.begin(), bytes.end()}});
      }
      case kArray: {
        Array items;
        if (depth < kMaxDepth)
          for (std::size_t count = in_.byte(); count > 0 && !in_.empty(); --count) items.push_back(value(depth + 1));
        return Value(std::move(items));
      }
      case kDictionary:
        return Value(depth < kMaxDepth ? dictionary(depth) : MetricDictionary());
      case kUid:
        return Value::uid(in_.raw<std::uint64_t>());
      case kNull:
        return Value::null();
      case kWideInteger:
        return integerValue(in_.raw<Int128>());
      case kValueTags:
        break;
    }
    return Value::null();
  }

  // What the domain's file holds: XML keeps dates to the second and holds
  // no nulls, UIDs or control characters, so a domain XML cannot hold is binary.
  static MetricDictionary asStored(const MetricDictionary& domain, PlistFormat& format) {
    Result<Value> stored = storedForm(Value(domain), format);
    if (!stored && format == PlistFormat::Xml) stored = storedForm(Value(domain), format = PlistFormat::Binary);
    if (!stored) fail("the case decoder made a domain no file holds: " + stored.message());
    return *stored->dictionary();
  }

  ByteReader in_;
  Date now_;
  std::unique_ptr<IsoDateFormatter> days_;
};

class CaseEncoder {
 public:
  std::vector<std::uint8_t> encode(const StoreCase& c) {
    out_.raw(c.now.referenceSeconds());
    out_.byte(static_cast<std::uint8_t>(indexOf(caseZones(), c.timeZone, "the zone")));
    out_.byte(static_cast<std::uint8_t>(indexOf(caseLocales(), c.locale, "the locale")));
    if (c.scale < 1 || c.scale > 4) throw std::invalid_argument("a scale outside 1 to 4");
    out_.byte(static_cast<std::uint8_t>(c.scale - 1));
    out_.byte(static_cast<std::uint8_t>((c.sharedFormat == PlistFormat::Xml ? 1 : 0) |
                                        (c.standardFormat == PlistFormat::Xml ? 2 : 0)));
    dictionary(c.shared, 0);
    dictionary(c.standard, 0);
    return std::move(out_.out);
  }

 private:
  void count(std::size_t n) {
    if (n > kMaxCount) throw std::invalid_argument("a container of more than 255 items");
    out_.byte(static_cast<std::uint8_t>(n));
  }
  void dictionary(const MetricDictionary& d, int depth) {
    count(d.size());
    for (const auto& [key, item] : d) {
      out_.byte(kLongKey);
      out_.text(key);
      value(item, depth + 1);
    }
  }
  void value(const Value& v, int depth) {
    switch (v.kind()) {
      case Value::Kind::kInteger:
        out_.byte(kInteger), out_.raw(v.integerValue());
        return;
      case Value::Kind::kDouble:
        out_.byte(kReal), out_.raw(v.doubleValue());
        return;
      case Value::Kind::kBoolean:
        out_.byte(kBoolean), out_.byte(v.boolValue() ? 1 : 0);
        return;
      case Value::Kind::kText:
        out_.byte(kText), out_.text(*v.text());
        return;
      case Value::Kind::kDate:
        out_.byte(kDate), out_.raw(v.date()->referenceSeconds());
        return;
      case Value::Kind::kData:
        out_.byte(kData), out_.text({reinterpret_cast<const char*>(v.data()->bytes.data()), v.data()->bytes.size()});
        return;
      case Value::Kind::kArray:
        if (depth >= kMaxDepth && !v.array()->empty()) throw std::invalid_argument("nested deeper than 16 levels");
        out_.byte(kArray), count(v.array()->size());
        for (const Value& item : *v.array()) value(item, depth + 1);
        return;
      case Value::Kind::kDictionary:
        if (depth >= kMaxDepth && !v.dictionary()->empty()) throw std::invalid_argument("nested deeper than 16 levels");
        out_.byte(kDictionary), dictionary(*v.dictionary(), depth);
        return;
      case Value::Kind::kUid:
        out_.byte(kUid), out_.raw(v.uid()->number);
        return;
      case Value::Kind::kNull:
        out_.byte(kNull);
        return;
      case Value::Kind::kWideInteger:
        if (const auto wide = int128FromDigits(v.wideInteger()->digits)) {
          out_.byte(kWideInteger), out_.raw(*wide);
          return;
        }
        throw std::invalid_argument("an integer beyond 128 bits");
      default:
        throw std::invalid_argument("a kind of value no store holds");
    }
  }

  ByteWriter out_;
};

const char* formatName(PlistFormat format) { return format == PlistFormat::Xml ? "xml" : "binary"; }

PlistFormat formatNamed(const Value* name) {
  if (name && name->text() && *name->text() == "xml") return PlistFormat::Xml;
  if (name && name->text() && *name->text() == "binary") return PlistFormat::Binary;
  throw std::invalid_argument("a format is \"binary\" or \"xml\"");
}

std::string textNamed(const MetricDictionary& fields, std::string_view key) {
  const std::string* text = fields.textForKey(key);
  if (!text) throw std::invalid_argument("no text \"" + std::string(key) + "\"");
  return *text;
}

host::Json parsedOutput(const std::string& text, const std::string& command) {
  Result<host::Json> json = host::parseJson(text);
  if (!json) fail(command + " printed text that is not JSON (" + json.message() + "):\n" + text.substr(0, 2000));
  return *std::move(json);
}

void writeDomain(const std::filesystem::path& file, const MetricDictionary& contents, PlistFormat format) {
  const std::vector<std::uint8_t> bytes = serializePropertyList(Value(contents), format);
  check(!bytes.empty(), "a case's domain has no file form");
  if (const auto written = replaceFileAtomically(file, bytes, 0600); !written)
    fail("cannot write " + file.string() + ": " + written.message());
}

}  // namespace

bool sameCase(const StoreCase& a, const StoreCase& b) {
  return std::bit_cast<std::uint64_t>(a.now.referenceSeconds()) ==
             std::bit_cast<std::uint64_t>(b.now.referenceSeconds()) &&
         a.timeZone == b.timeZone && a.locale == b.locale && a.scale == b.scale && a.sharedFormat == b.sharedFormat &&
         a.standardFormat == b.standardFormat && sameDictionary(a.shared, b.shared) &&
         sameDictionary(a.standard, b.standard);
}

std::span<const std::string_view> storeKeys() { return kStoreKeys; }
std::span<const std::string_view> caseZones() { return kZones; }
std::span<const std::string_view> caseLocales() { return kLocales; }

StoreCase decodeCase(std::span<const std::uint8_t> bytes) { return CaseDecoder(bytes).decode(); }
std::vector<std::uint8_t> encodeCase(const StoreCase& c) { return CaseEncoder().encode(c); }

std::vector<std::uint8_t> caseToFile(const StoreCase& c) {
  const Value file(MetricDictionary{{"now", Value(c.now)},
                                    {"timeZone", Value(c.timeZone)},
                                    {"locale", Value(c.locale)},
                                    {"scale", Value::integer(c.scale)},
                                    {"sharedFormat", Value(formatName(c.sharedFormat))},
                                    {"standardFormat", Value(formatName(c.standardFormat))},
                                    {"shared", Value(c.shared)},
                                    {"standard", Value(c.standard)}});
  const Result<Value> xml = storedForm(file, PlistFormat::Xml);
  const bool exact = xml && sameValue(*xml, file);
  return serializePropertyList(file, exact ? PlistFormat::Xml : PlistFormat::Binary);
}

StoreCase caseFromFile(std::span<const std::uint8_t> bytes) {
  const Result<PlistValue> read = parsePropertyList(bytes);
  const MetricDictionary* fields = read ? read->value.dictionary() : nullptr;
  if (!fields) throw std::invalid_argument("not a property-list dictionary: " + read.message());
  StoreCase c;
  const Date* now = fields->dateForKey("now");
  if (!now) throw std::invalid_argument("no date \"now\"");
  c.now = *now;
  c.timeZone = textNamed(*fields, "timeZone");
  c.locale = textNamed(*fields, "locale");
  c.scale = static_cast<int>(fields->integerForKey("scale"));
  c.sharedFormat = formatNamed(fields->objectForKey("sharedFormat"));
  c.standardFormat = formatNamed(fields->objectForKey("standardFormat"));
  if (const MetricDictionary* shared = fields->dictionaryForKey("shared")) c.shared = *shared;
  if (const MetricDictionary* standard = fields->dictionaryForKey("standard")) c.standard = *standard;
  return c;
}

void runCase(const StoreCase& c, double budgetSeconds) {
  const auto start = std::chrono::steady_clock::now();
  const std::filesystem::path prefs = scratchDirectory() / "prefs";
  std::filesystem::remove_all(prefs);
  std::filesystem::create_directories(prefs);

  Environment env;
  env.now = c.now;
  env.timeZone = c.timeZone;
  env.locale = c.locale;
  env.languages = {c.locale.substr(0, c.locale.find_first_of("_@"))};
  env.scale = c.scale;
  env.prefsDir = prefs;
  env.resourcesDir = VELMORA_FUZZ_RESOURCES;
  env.warn = [](std::string_view) {};
  writeDomain(env.preferencesFile(Environment::kSharedSuite), c.shared, c.sharedFormat);
  writeDomain(env.preferencesFile(Environment::kStandardDomain), c.standard, c.standardFormat);

  try {
    std::vector<std::string> names;
    for (const host::Operation& operation : host::operations()) names.emplace_back(operation.name);
    std::ostringstream requested;
    const host::Outcome request = host::runRequest(names, std::nullopt, std::nullopt, env, requested);
    if (!request) fail("a request on the case failed: " + request.message());
    const host::Json results = parsedOutput(requested.str(), "request");
    check(results.is_array() && results.size() == names.size(), "request printed another number of results");
    for (const char* category : {"BEDTIME", "TIMEASLEEP"}) {
      std::ostringstream notified, notes;
      const host::Outcome notify =
          host::NotifyCommand{category, std::nullopt, scratchDirectory() / "notification.png", std::nullopt}.run(
              env, notified, notes);
      if (!notify) fail(std::string("notify ") + category + " failed: " + notify.message());
      check(parsedOutput(notified.str(), category)["category"] == category, "notify printed another category");
    }
  } catch (const std::exception& error) {
    fail(std::string("a run on the case stopped: ") + error.what());
  }
  // What the domains hold now, as `velmora defaults export` prints it.
  host::ProcessContext process;
  process.warn = [](std::string_view) {};
  for (const char* domain : {"shared", "standard"}) {
    std::istringstream in;
    std::ostringstream exported, errors;
    const int status = host::run({"--prefs", prefs.string(), "--tz", c.timeZone, "defaults", "export", domain}, process,
                                 in, exported, errors);
    check(status == 0, std::string("defaults export ") + domain + " failed: " + errors.str());
    check(parsedOutput(exported.str(), std::string("defaults export ") + domain).is_object(),
          "defaults export printed no object");
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  check(seconds <= budgetSeconds, "the run took " + std::to_string(seconds) + " s");
}

}  // namespace velmora::fuzz
