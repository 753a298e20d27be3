#include "platform/IsoDate.h"

#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <cmath>
#include <iterator>
#include <memory>

namespace velmora {

namespace {

std::string toUtf8(const icu::UnicodeString& s) {
  std::string out;
  s.toUTF8String(out);
  return out;
}

}  // namespace

// Each of the two forms is set up when first needed.
struct IsoDateFormatter::Formats {
  std::string timeZone;
  std::unique_ptr<icu::SimpleDateFormat> whole, fractional, wholeUtc, fractionalUtc;
};

namespace {

// ISO 8601 dates are proleptic Gregorian all the way back: without this,
// ICU counts days before 1582-10-15 in the Julian calendar.
std::unique_ptr<icu::SimpleDateFormat> isoFormat(const char* pattern, std::string_view timeZone) {
  UErrorCode status = U_ZERO_ERROR;
  auto format = std::make_unique<icu::SimpleDateFormat>(pattern, icu::Locale::getRoot(), status);
  if (U_FAILURE(status)) return nullptr;
  format->adoptTimeZone(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(timeZone)));
  icu::GregorianCalendar* calendar = dynamic_cast<icu::GregorianCalendar*>(format->getCalendar()->clone());
  if (calendar) {
    calendar->setGregorianChange(-1e300, status);
    format->adoptCalendar(calendar);
  }
  return format;
}

// The local year of an instant in years 1 to 9999 is written in the zone;
// one whose local year would leave them (the first hours of year 1 west of
// Greenwich, the last of 9999 east of it) in UTC, which names it in four digits.
bool localYearFits(double millis, const icu::TimeZone& zone) {
  UErrorCode status = U_ZERO_ERROR;
  std::int32_t raw = 0, dst = 0;
  zone.getOffset(millis, false, raw, dst, status);
  const double local = millis + raw + dst;
  return U_SUCCESS(status) && local >= Date::kFirstCalendarSeconds * 1000.0 &&
         local < Date::kEndCalendarSeconds * 1000.0;
}

}  // namespace

IsoDateFormatter::IsoDateFormatter(std::string_view timeZone)
    : formats_(std::make_unique<Formats>(Formats{std::string(timeZone), nullptr, nullptr, nullptr, nullptr})) {}

IsoDateFormatter::~IsoDateFormatter() = default;

// Offsets with seconds ("+00:53:28", Berlin before 1893) keep them.
std::string IsoDateFormatter::format(Date date) const {
  const double millis = std::round(date.icuMillis());
  const bool whole = std::fmod(millis, 1000.0) == 0.0;
  std::unique_ptr<icu::SimpleDateFormat>& local = whole ? formats_->whole : formats_->fractional;
  const char* pattern = whole ? "yyyy-MM-dd'T'HH:mm:ssxxxxx" : "yyyy-MM-dd'T'HH:mm:ss.SSSxxxxx";
  if (!local) local = isoFormat(pattern, formats_->timeZone);
  if (!local) return {};
  std::unique_ptr<icu::SimpleDateFormat>& utc = whole ? formats_->wholeUtc : formats_->fractionalUtc;
  const bool inZone = localYearFits(millis, local->getTimeZone());
  if (!inZone && !utc) utc = isoFormat(pattern, "UTC");
  const std::unique_ptr<icu::SimpleDateFormat>& format = inZone ? local : utc;
  icu::UnicodeString out;
  format->format(millis, out);
  return toUtf8(out);
}

std::string formatIsoDate(Date date, std::string_view timeZone) { return IsoDateFormatter(timeZone).format(date); }

// Seconds with or without a fraction, then an offset (hours and minutes,
// and seconds when it has them) or "Z".
constexpr const char* kParsePatterns[] = {"yyyy-MM-dd'T'HH:mm:ssXXXXX", "yyyy-MM-dd'T'HH:mm:ss.SSSXXXXX",
                                          "yyyy-MM-dd'T'HH:mm:ssXX"};

struct IsoDateParser::Formats {
  std::unique_ptr<icu::SimpleDateFormat> forms[std::size(kParsePatterns)];
};

IsoDateParser::IsoDateParser() : formats_(std::make_unique<Formats>()) {}
IsoDateParser::~IsoDateParser() = default;

std::optional<Date> IsoDateParser::parse(std::string_view text) const {
  const icu::UnicodeString input = icu::UnicodeString::fromUTF8(text);
  for (std::size_t i = 0; i < std::size(kParsePatterns); ++i) {
    std::unique_ptr<icu::SimpleDateFormat>& format = formats_->forms[i];
    if (!format) {
      auto made = isoFormat(kParsePatterns[i], "UTC");
      if (!made) continue;
      made->setLenient(false);
      format = std::move(made);
    }
    icu::ParsePosition pos(0);
    const UDate parsed = format->parse(input, pos);
    if (pos.getErrorIndex() < 0 && pos.getIndex() == input.length()) return Date::fromIcuMillis(parsed);
  }
  return std::nullopt;
}

std::optional<Date> parseIsoDate(std::string_view text) { return IsoDateParser().parse(text); }

}  // namespace velmora
