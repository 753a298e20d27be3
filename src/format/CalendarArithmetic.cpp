// The night, day seeds and calendar dates of FormatTools. A night begins at
// the night hour in the evening and belongs to the day on which the sleeper
// wakes; all arithmetic is on the Gregorian calendar in the run's zone.

#include <unicode/timezone.h>

#include <algorithm>
#include <cmath>

#include "format/FormatTools.h"
#include "format/FormatToolsMembers.h"
#include "values/SaturatingCast.h"

namespace velmora {

namespace {

// Year, month (1-12), day, hour, minute and second of a date. Rebuilding a
// date from them carries out-of-range values (day 0, month -1, hour -1) into
// the neighbouring day, month or year.
struct Components {
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
};

Components componentsOf(icu::Calendar& cal, Date date) {
  UErrorCode status = U_ZERO_ERROR;
  cal.setTime(date.icuMillis(), status);
  Components c;
  c.year = cal.get(UCAL_YEAR, status);
  c.month = cal.get(UCAL_MONTH, status) + 1;
  c.day = cal.get(UCAL_DATE, status);
  c.hour = cal.get(UCAL_HOUR_OF_DAY, status);
  c.minute = cal.get(UCAL_MINUTE, status);
  c.second = cal.get(UCAL_SECOND, status);
  return c;
}

Date dateFromComponents(icu::Calendar& cal, const Components& c) {
  // A wall time the clock skips is read with the offset from before the
  // change (01:30 on London's spring-forward night is 02:30 summer time); a
  // wall time that happens twice is the later of the two.
  cal.clear();
  cal.set(c.year, c.month - 1, c.day, c.hour, c.minute, c.second);
  UErrorCode status = U_ZERO_ERROR;
  const UDate millis = cal.getTime(status);
  return Date::fromIcuMillis(millis);
}

// The date rebuilt from its components after a change to them. A date that
// is no date (not finite) stays no date.
template <typename Change>
Date rebuilt(icu::Calendar& cal, Date date, Change change) {
  if (!std::isfinite(date.unixSeconds())) return date;
  Components c = componentsOf(cal, date);
  change(c);
  return dateFromComponents(cal, c);
}

Date atTimeOfDay(icu::Calendar& cal, Date date, int hour, int minute) {
  return rebuilt(cal, date, [&](Components& c) {
    c.hour = hour;
    c.minute = minute;
    c.second = 0;
  });
}

// A calendar field from arithmetic on caller's numbers; absurd values are
// held to a range the calendar can carry rather than wrapped.
int field(std::int64_t value) { return static_cast<int>(std::clamp<std::int64_t>(value, -10'000'000, 10'000'000)); }

}  // namespace

std::optional<Date> FormatTools::nowDate() {
  const std::int64_t n = nightHour();
  const Date now = env_.now;
  const int h = currentHour(now);

  // Before the night hour the current night began yesterday.
  std::optional<Date> base;
  if (n >= 1 && n > h) {
    base = now.dateByAddingTimeInterval(-86400);
  } else if (n >= 0) {
    base = now;
  }
  if (!base) return std::nullopt;
  return atTimeOfDay(m_->cal(), *base, field(n), 0).dateByAddingTimeInterval(43200);
}

int FormatTools::seedForDate(Date date) {
  // Both sides move to 04:00 of their own day first, so any time on the day
  // of nowDate is seed 0.
  const Date a = atTimeOfDay(m_->cal(), date, 4, 0);
  const std::optional<Date> reference = nowDate();
  const double seconds = reference ? atTimeOfDay(m_->cal(), *reference, 4, 0).timeIntervalSinceDate(a) : 0.0;

  // A 23-hour day (0.9583) counts as one day, as does a 25-hour day (1.0417).
  float x = static_cast<float>(seconds / 86400);
  const float frac = x - std::trunc(x);
  if (static_cast<double>(frac) > 0.1) x = x + 1;
  if (!(std::fabs(x) < 2e9f)) return 0;  // no day count at all for dates out of any calendar's reach
  return -saturatingCast<int>(x);
}

std::optional<Date> FormatTools::fromDateForSeed(int seed) {
  const std::int64_t n = nightHour();
  const Date now = env_.now;
  const int h = currentHour(now);
  const bool afterNightHour = n == 0 || (n >= 1 && n <= h);

  std::optional<Date> base;
  if (seed != 0) {
    // Before the night hour every seed lies one more day back.
    float offset = static_cast<float>(1 - std::int64_t{seed}) * -86400.0f;
    if (afterNightHour) offset = static_cast<float>(seed) * 86400.0f;
    base = now.dateByAddingTimeInterval(static_cast<double>(offset));
  } else if (n >= 1 && n > h) {
    base = now.dateByAddingTimeInterval(-86400);
  } else if (n >= 0) {
    base = now;
  }
  if (!base) return std::nullopt;
  return atTimeOfDay(m_->cal(), *base, field(n), 0);
}

Date FormatTools::startDateForDaysAgo(int daysAgo, Date basedOnDate) {
  return rebuilt(m_->cal(), basedOnDate, [&](Components& c) {
    c.day = field(std::int64_t{c.day} - daysAgo);
    c.hour = 3;
    c.minute = 0;
    c.second = 0;
  });
}

double FormatTools::epochIntervalForDate(Date date, int hour, int min) {
  return dateForDate(date, hour, min).unixSeconds();
}

Date FormatTools::dateForDate(Date date, int hour, int min) { return atTimeOfDay(m_->cal(), date, hour, min); }

Date FormatTools::dateForDate(Date date, int year, int month, int day, int hour, int min) {
  return rebuilt(m_->cal(), date, [&](Components& c) {
    c.year = year;
    c.month = month;
    c.day = day;
    c.minute = min;
    c.hour = hour;
    c.second = 0;
  });
}

int FormatTools::isDaylightSavings(Date date) {
  // Six hours of wall clock from midnight last 5.9 hours or less when the
  // clock went forward that night, 6.1 or more when it went back.
  const Date midnight = dateForDate(date, 0, 0);
  const Date six = dateForDate(date, 6, 0);
  const double d = six.timeIntervalSinceDate(midnight);
  if (d < 21240) return -1;
  if (d > 21960) return 1;
  return 0;
}

std::int32_t FormatTools::getDaylightSavingsHourForDate(Date date, int mode) {
  const Date midnight = dateForDate(date, 0, 0);
  const icu::TimeZone& zone = m_->cal().getTimeZone();
  auto daylightOffset = [&](Date t) {
    UErrorCode status = U_ZERO_ERROR;
    int32_t raw = 0;
    int32_t dst = 0;
    zone.getOffset(t.icuMillis(), false, raw, dst, status);
    return dst;
  };

  int32_t previous = daylightOffset(midnight);
  for (std::int32_t k = 1; k <= 5; ++k) {
    const int32_t offset = daylightOffset(midnight.dateByAddingTimeInterval(k * 3600.0));
    if (offset != previous) return mode == 1 ? k - 1 : k;
    previous = offset;
  }
  return 0;
}

double FormatTools::intervalSinceMidnight(Date date) {
  if (!std::isfinite(date.unixSeconds())) return 0;
  return date.timeIntervalSinceDate(dateForDate(date, 0, 0));
}

Date FormatTools::getMidnight() { return dateForDate(env_.now, 0, 0); }

Date FormatTools::startOfMonthMonthsAgo(int monthsAgo) {
  return rebuilt(m_->cal(), env_.now, [&](Components& c) {
    c.day = 1;
    c.month = field(std::int64_t{c.month} - monthsAgo);
    c.hour = 3;
    c.minute = 0;
    c.second = 0;
  });
}

std::string FormatTools::nameOfMonthMonthsAgo(int monthsAgo) { return shortMonth(startOfMonthMonthsAgo(monthsAgo)); }

int FormatTools::getWeekdayNoForDate(Date date) {
  if (!std::isfinite(date.unixSeconds())) return 0;
  icu::Calendar& cal = m_->cal();
  UErrorCode status = U_ZERO_ERROR;
  cal.setTime(date.icuMillis(), status);
  return cal.get(UCAL_DAY_OF_WEEK, status);  // 1 Sunday ... 7 Saturday
}

int FormatTools::dayNoOfDate(Date date) { return getWeekdayNoForDate(date); }

}  // namespace velmora
