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
  std::unique_ptr<icu::SimpleDateFormat> whole, fractional;
};

namespace {

std::unique_ptr<icu::SimpleDateFormat> isoFormat(const char* pattern, std::string_view timeZone) {
  UErrorCode status = U_ZERO_ERROR;
  auto format = std::make_unique<icu::SimpleDateFormat>(pattern, icu::Locale::getRoot(), status);
  if (U_FAILURE(status)) return nullptr;
  format->adoptTimeZone(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(timeZone)));
  icu::GregorianCalendar* calendar = dynamic_cast<icu::GregorianCalendar*>(format->getCalendar()->clone());
  if (calendar) {  // ISO dates are proleptic Gregorian all the way back
    calendar->setGregorianChange(-1e300, status);
    format->adoptCalendar(calendar);
  }
  return format;
}

}  // namespace

IsoDateFormatter::IsoDateFormatter(std::string_view timeZone)
    : formats_(std::make_unique<Formats>(Formats{std::string(timeZone), nullptr, nullptr})) {}

IsoDateFormatter::~IsoDateFormatter() = default;

std::string IsoDateFormatter::format(Date date) const {
  const double millis = std::round(date.icuMillis());
  const bool whole = std::fmod(millis, 1000.0) == 0.0;
  std::unique_ptr<icu::SimpleDateFormat>& format = whole ? formats_->whole : formats_->fractional;
  if (!format)
    format = isoFormat(whole ? "yyyy-MM-dd'T'HH:mm:ssxxx" : "yyyy-MM-dd'T'HH:mm:ss.SSSxxx", formats_->timeZone);
  if (!format) return {};
  icu::UnicodeString out;
  format->format(millis, out);
  return toUtf8(out);
}

std::string formatIsoDate(Date date, std::string_view timeZone) { return IsoDateFormatter(timeZone).format(date); }

// Seconds with or without a fraction, then an offset or "Z".
constexpr const char* kParsePatterns[] = {"yyyy-MM-dd'T'HH:mm:ssXXX", "yyyy-MM-dd'T'HH:mm:ss.SSSXXX",
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
      UErrorCode status = U_ZERO_ERROR;
      auto made = std::make_unique<icu::SimpleDateFormat>(kParsePatterns[i], icu::Locale::getRoot(), status);
      if (U_FAILURE(status)) continue;
      made->setLenient(false);
      made->adoptTimeZone(icu::TimeZone::createTimeZone("UTC"));
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
