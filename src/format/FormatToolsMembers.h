#pragma once

#include <unicode/calendar.h>
#include <unicode/locid.h>

#include <memory>

#include "format/DateComponentsFormatter.h"
#include "format/DateFormatter.h"
#include "format/FormatTools.h"

namespace velmora {

// The formatters and the calendar of one FormatTools, each made the first
// time a method needs it and kept from then on.
struct FormatTools::Members {
  explicit Members(const Environment& environment);

  DateFormatter& inputFormatter();   // reading "yyyy-MM-dd'T'HH:mm:ssZ" texts
  DateFormatter& outputFormatter();  // every text made from a date, in the user's locale
  DateFormatter& HHFormatter();      // hour and day numbers, in the POSIX locale
  DateComponentsFormatter& dateComponentsFormatter();
  icu::Calendar& cal();  // Gregorian, in the run's zone
  DateFormatter& isoFormatter();
  DateTemplates& templates();  // template expansion for the user's locale

  // outputFormatter with a fixed pattern, or with the locale's pattern for a template.
  std::string fixed(Date date, const char* pattern);
  std::string fromTemplate(Date date, std::string_view skeleton);

  const Environment& env;
  const icu::Locale locale;  // the user's current locale

 private:
  std::unique_ptr<DateFormatter> inputFormatter_;
  std::unique_ptr<DateFormatter> outputFormatter_;
  std::unique_ptr<DateFormatter> HHFormatter_;
  std::unique_ptr<DateComponentsFormatter> dateComponentsFormatter_;
  std::unique_ptr<icu::Calendar> cal_;
  std::unique_ptr<DateFormatter> isoFormatter_;
  std::unique_ptr<DateTemplates> templates_;
};

}  // namespace velmora
