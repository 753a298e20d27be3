#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "values/Date.h"

namespace velmora {

// "2025-01-06T22:30:00+01:00" in the given zone, with milliseconds
// (".250") only when the instant is not a whole second.
std::string formatIsoDate(Date date, std::string_view timeZone);

// The same for many instants in one zone: the formatters are set up once,
// which is most of the cost of formatIsoDate.
class IsoDateFormatter {
 public:
  explicit IsoDateFormatter(std::string_view timeZone);
  ~IsoDateFormatter();
  IsoDateFormatter(const IsoDateFormatter&) = delete;
  IsoDateFormatter& operator=(const IsoDateFormatter&) = delete;

  std::string format(Date date) const;

 private:
  struct Formats;
  std::unique_ptr<Formats> formats_;
};

// Reads an ISO 8601 instant in the extended form with a zone: a date of
// four or more digits of year ("2025-01-06"), "T", the time to the second
// with or without a decimal fraction of any length ("22:30:00",
// "22:30:00.5"), and "Z" or an offset ("+01:00", "+0100", "+01", and with
// seconds, as Berlin's local mean time has them, "+00:53:28"). The calendar
// is proleptic Gregorian. Nothing when the text is not such an instant, or
// names a day, hour or offset that does not exist (February 30th, 24:00,
// +25:00). The instant may lie outside the years 1 to 9999, which the
// caller decides about (Date::isOnCalendar).
std::optional<Date> parseIsoDate(std::string_view text);

}  // namespace velmora
