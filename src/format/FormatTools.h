#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "values/Date.h"
#include "values/Environment.h"

namespace velmora {

class UserDefaults;

// Text forms of times of day, durations and dates, and the calendar
// arithmetic that defines the night, day seeds and day keys.
//
// Every formatter and the calendar are created on first use and kept for the
// life of the object. The formatters are shared and stateful: each method sets
// the pattern or duration settings it needs just before formatting and leaves
// them set, so one instance belongs to one thread at a time. All dates are read
// in the run's time zone (env.timeZone); "now" is env.now.
class FormatTools {
 public:
  // Keeps a reference to the environment, which must outlive it.
  explicit FormatTools(const Environment& env);
  ~FormatTools();
  FormatTools(const FormatTools&) = delete;
  FormatTools& operator=(const FormatTools&) = delete;

  // --- Clock times of day ---------------------------------------------------

  std::string hourMin(Date date);  // "h:mma": "9:05PM"
  std::string hrMn(Date date);     // the locale's "HH:mm" or "h:mm", by is24hr()
  std::string hrMnSec(Date date);  // the locale's "HH:mm:ss" or "h:mm:ss"
  std::string hrMn24(Date date);   // "H:mm"
  int currentDay(Date date);       // day of month, read in the POSIX locale
  int currentHour(Date date);      // 0-23 whatever the user's clock setting
  int currentMin(Date date);       // 0-59
  int currentYear();               // calendar year of now
  bool is24hr();                   // the locale's preferred hour has no AM/PM marker

  // --- Durations (seconds) ----------------------------------------------------

  std::string formattedTimeInterval(double interval);       // "7h 30m"
  std::string formattedLongTimeInterval(double interval);   // "7 hours, 30 minutes"
  std::string formattedMinInterval(double interval);        // "450m"
  std::string formattedShortTimeInterval(double interval);  // "7:30", leading zero units dropped
  std::string formattedShortHMSInterval(double interval);   // "7:30:00"
  std::string formattedLongMinInterval(double interval);    // "450 min"
  // Days and weeks; keeps the zero behaviour the previous duration call left.
  std::string formattedDaysInterval(double interval);

  // The locale's short unit words: "min", "hr", "days".
  std::string shortTermForMIN();
  std::string shortTermForHRS();
  std::string shortTermForDAYS();

  // --- How long ago ---------------------------------------------------------

  // "just now", "a minute ago", "5 hours ago", "2 weeks ago", or the date
  // itself beyond four weeks. Fixed English phrases.
  std::string whenString(Date date);
  // whenString of a "yyyy-MM-dd'T'HH:mm:ssZ" text; an unreadable text reads as "just now".
  std::string whenStringFB(std::string_view text);

  // First character upper case, the rest lower case: "hELLO wORLD" -> "Hello world".
  std::string sentenceCapitalizedString(std::string_view text);

  // --- Fixed date patterns --------------------------------------------------

  std::string CSVDate(Date date);  // "yyyy-MM-dd HH:mm:ss"
  std::string CSVYMD(Date date);   // "yyyy-MM-dd"
  std::string YYMMDD(Date date);   // "yyyyMMdd": the day key, e.g. "20250106"
  // The day key read back as 00:00 local time of that day; nothing when the text is no day key.
  std::optional<Date> NSDateFromYYMMDD(std::string_view text);
  std::string monthDateYear(Date date);      // "MMMM d, yyyy"
  std::string shortDate(Date date);          // "EEEE": full weekday name
  std::string shortDay(Date date);           // "EEE d"
  std::string shortDayMonth(Date date);      // "EEE MMM d"
  std::string shortDayMonthYear(Date date);  // "EEE MMM d, YYYY" (Korean order for a Korean reader)
  std::string shortDayC(Date date);          // "EEEd"
  std::string shortDayOnly(Date date);       // "EEE"
  std::string veryShortDayOnly(Date date);   // first letter of the weekday, upper case
  std::string shortMD(Date date);            // "MMM d"
  std::string shortMonth(Date date);         // "MMM"
  std::string longMonth(Date date);          // "MMMM"
  std::string dateInMonth(Date date);        // "d"
  std::string yearOfDate(Date date);         // "YYYY": the week-based year
  std::string dayMonthDateTime(Date date);   // "h:mma EEEE, MMMM d"
  std::string dayDateTime(Date date);        // "h:mma EEEE"

  // --- Locale templates (field order and separators of the user's region) ----

  std::string dayDate(Date date);           // "EEEE d"
  std::string dayMonthDate(Date date);      // "EEEE, MMMM d"
  std::string dayMonthDateYear(Date date);  // "EEEE, MMM d yyyy"
  std::string shorthhmmDDMMYY(Date date);   // "h:mma EEE d/M/yy"
  std::string ddmmyy(Date date);            // "d/M/yy"
  std::string ddmm(Date date);              // "d M"
  std::string ddmmm(Date date);             // "d MMM"
  std::string dayTime(Date date);           // "HH:mm" on a 24-hour clock, else "h:mma"
  std::string dayTimeNoSuffix(Date date);   // "HH:mm" on a 24-hour clock, else "H:mm"
  std::string timeAs24(Date date);          // "HH:mm"
  std::string HHmm(Date date);              // "HHmm"

  // Internet date-time in the run's zone: "2025-01-06T21:30:00+01:00".
  std::string isoDateFromDate(Date date);

  // --- Calendar arithmetic and day seeds --------------------------------------

  // The current night's reference instant: twelve hours after the night's
  // start (09:00 of the morning that ends it, with the default night hour 21).
  // Nothing when the stored night hour is negative.
  std::optional<Date> nowDate();
  // Day number relative to the current night: 0 today, -1 the day before.
  int seedForDate(Date date);
  // The start of a seed's night, at the night hour; nothing for seed 0 under
  // a negative night hour.
  std::optional<Date> fromDateForSeed(int seed);
  // n calendar days before the date's day, at 03:00:00.
  Date startDateForDaysAgo(int daysAgo, Date basedOnDate);
  // Seconds since 1970 of the date's day at hour:min:00.
  double epochIntervalForDate(Date date, int hour, int min);
  // The date's day at hour:min:00.
  Date dateForDate(Date date, int hour, int min);
  // The given calendar date at hour:min:00; out-of-range parts carry over.
  Date dateForDate(Date date, int year, int month, int day, int hour, int min);
  // -1 when the clock went forward before 06:00 that day, 1 when it went back, else 0.
  int isDaylightSavings(Date date);
  // The hour of the date's day (0-5) at which the clock changes: with mode 1
  // the last hour before the change, otherwise the first after it; 0 when none.
  std::int32_t getDaylightSavingsHourForDate(Date date, int mode);
  double intervalSinceMidnight(Date date);
  Date getMidnight();  // today at 00:00:00
  // The first of the month n months before the current one, at 03:00:00.
  Date startOfMonthMonthsAgo(int monthsAgo);
  std::string nameOfMonthMonthsAgo(int monthsAgo);
  int getWeekdayNoForDate(Date date);  // 1 Sunday ... 7 Saturday
  int dayNoOfDate(Date date);          // the same weekday number

 private:
  struct Members;

  // The night hour ("nightHour11" of the extension's standard defaults, 21 when absent).
  std::int64_t nightHour();

  const Environment& env_;
  std::unique_ptr<Members> m_;  // the lazily created formatters and calendar
  std::shared_ptr<UserDefaults> standardDefaults_;
};

}  // namespace velmora
