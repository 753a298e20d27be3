#pragma once

#include <unicode/dtptngen.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/unistr.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "values/Date.h"

namespace velmora {

// A date formatter kept the way the platform keeps one: its locale and zone
// are fixed when it is made, and a pattern, once set, stays set until the next
// one. Formatting uses the locale's own calendar and names.
class DateFormatter {
 public:
  DateFormatter(icu::Locale locale, std::string timeZone);

  void setDateFormat(const icu::UnicodeString& pattern);
  std::string stringFromDate(Date date);
  // Strict reading of the whole text with the current pattern; fields the
  // pattern lacks read as the start of their range (a date alone is 00:00).
  std::optional<Date> dateFromString(std::string_view text);

 private:
  icu::Locale locale_;
  std::string timeZone_;
  icu::UnicodeString pattern_;
  std::unique_ptr<icu::SimpleDateFormat> format_;
};

// The locale's best pattern for a template ("HH:mm", "EEEE d"): which fields
// appear is fixed by the template, their order, widths and separators by the
// locale. Answers are remembered for the life of the object.
class DateTemplates {
 public:
  explicit DateTemplates(const icu::Locale& locale);

  const icu::UnicodeString& patternFromTemplate(std::string_view skeleton);

 private:
  std::unique_ptr<icu::DateTimePatternGenerator> generator_;
  std::unordered_map<std::string, icu::UnicodeString> patterns_;
};

}  // namespace velmora
