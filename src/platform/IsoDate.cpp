#include "platform/IsoDate.h"

#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <cmath>
#include <memory>

namespace velmora {

namespace {

std::string toUtf8(const icu::UnicodeString& s) {
  std::string out;
  s.toUTF8String(out);
  return out;
}

}  // namespace

std::string formatIsoDate(Date date, std::string_view timeZone) {
  const double millis = std::round(date.icuMillis());
  const bool whole = std::fmod(millis, 1000.0) == 0.0;
  UErrorCode status = U_ZERO_ERROR;
  icu::SimpleDateFormat format(whole ? "yyyy-MM-dd'T'HH:mm:ssxxx" : "yyyy-MM-dd'T'HH:mm:ss.SSSxxx",
                               icu::Locale::getRoot(), status);
  if (U_FAILURE(status)) return {};
  icu::TimeZone* zone = icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(timeZone));
  format.adoptTimeZone(zone);
  icu::GregorianCalendar* calendar = dynamic_cast<icu::GregorianCalendar*>(format.getCalendar()->clone());
  if (calendar) {  // ISO dates are proleptic Gregorian all the way back
    calendar->setGregorianChange(-1e300, status);
    format.adoptCalendar(calendar);
  }
  icu::UnicodeString out;
  format.format(millis, out);
  return toUtf8(out);
}

std::optional<Date> parseIsoDate(std::string_view text) {
  // Seconds with or without a fraction, then an offset or "Z".
  static constexpr const char* kPatterns[] = {"yyyy-MM-dd'T'HH:mm:ssXXX", "yyyy-MM-dd'T'HH:mm:ss.SSSXXX",
                                              "yyyy-MM-dd'T'HH:mm:ssXX"};
  const icu::UnicodeString input = icu::UnicodeString::fromUTF8(text);
  for (const char* pattern : kPatterns) {
    UErrorCode status = U_ZERO_ERROR;
    icu::SimpleDateFormat format(pattern, icu::Locale::getRoot(), status);
    if (U_FAILURE(status)) continue;
    format.setLenient(false);
    format.adoptTimeZone(icu::TimeZone::createTimeZone("UTC"));
    icu::ParsePosition pos(0);
    const UDate parsed = format.parse(input, pos);
    if (pos.getErrorIndex() < 0 && pos.getIndex() == input.length()) return Date::fromIcuMillis(parsed);
  }
  return std::nullopt;
}

}  // namespace velmora
