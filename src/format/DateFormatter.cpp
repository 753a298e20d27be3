#include "format/DateFormatter.h"

#include <unicode/timezone.h>

#include <cmath>

#include "text/IcuText.h"

namespace velmora {

DateFormatter::DateFormatter(icu::Locale locale, std::string timeZone)
    : locale_(std::move(locale)), timeZone_(std::move(timeZone)) {}

void DateFormatter::setDateFormat(const icu::UnicodeString& pattern) {
  if (format_ && pattern == pattern_) return;
  pattern_ = pattern;
  if (format_) {
    format_->applyPattern(pattern);
    return;
  }
  UErrorCode status = U_ZERO_ERROR;
  auto format = std::make_unique<icu::SimpleDateFormat>(pattern, locale_, status);
  if (U_FAILURE(status)) return;
  format->adoptTimeZone(icu::TimeZone::createTimeZone(icutext::fromUtf8(timeZone_)));
  format->setLenient(false);  // reading needs the whole field set as the pattern has it
  format_ = std::move(format);
}

std::string DateFormatter::stringFromDate(Date date) {
  if (!format_ || !std::isfinite(date.unixSeconds())) return {};
  icu::UnicodeString out;
  format_->format(date.icuMillis(), out);
  return icutext::toUtf8(out);
}

std::optional<Date> DateFormatter::dateFromString(std::string_view text) {
  if (!format_ || text.empty()) return std::nullopt;
  const icu::UnicodeString input = icutext::fromUtf8(text);
  icu::ParsePosition position(0);
  const UDate parsed = format_->parse(input, position);
  if (position.getErrorIndex() >= 0 || position.getIndex() != input.length()) return std::nullopt;
  return Date::fromIcuMillis(parsed);
}

DateTemplates::DateTemplates(const icu::Locale& locale) {
  UErrorCode status = U_ZERO_ERROR;
  generator_.reset(icu::DateTimePatternGenerator::createInstance(locale, status));
  if (U_FAILURE(status)) generator_.reset();
}

const icu::UnicodeString& DateTemplates::patternFromTemplate(std::string_view skeleton) {
  auto [it, inserted] = patterns_.try_emplace(std::string(skeleton));
  if (inserted && generator_) {
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeString pattern = generator_->getBestPattern(icutext::fromUtf8(skeleton), status);
    if (U_SUCCESS(status)) it->second = std::move(pattern);
  }
  return it->second;
}

}  // namespace velmora
