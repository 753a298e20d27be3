#pragma once

#include <compare>

namespace velmora {

// An instant, as seconds since 1970-01-01T00:00:00Z (fractions allowed).
// The platform's date object carries no zone; zones come from the calendar
// or formatter that reads it.
struct Date {
  double seconds = 0.0;

  static constexpr Date fromUnixSeconds(double s) { return Date{s}; }
  // Property lists count from 2001-01-01T00:00:00Z.
  static constexpr double kReferenceOffset = 978307200.0;
  static constexpr Date fromReferenceSeconds(double s) { return Date{s + kReferenceOffset}; }
  constexpr double referenceSeconds() const { return seconds - kReferenceOffset; }
  // ICU counts milliseconds.
  constexpr double icuMillis() const { return seconds * 1000.0; }
  static constexpr Date fromIcuMillis(double ms) { return Date{ms / 1000.0}; }

  // The calendar's years 1 to 9999 (proleptic Gregorian, UTC): what a
  // date's text can say and every property-list reader can hold. A date
  // outside them, or not a number, names no moment anyone can be shown.
  static constexpr double kFirstCalendarSeconds = -62135596800.0;  // 0001-01-01T00:00:00Z
  static constexpr double kEndCalendarSeconds = 253402300800.0;    // 10000-01-01T00:00:00Z
  bool isOnCalendar() const { return seconds >= kFirstCalendarSeconds && seconds < kEndCalendarSeconds; }

  constexpr Date dateByAddingTimeInterval(double interval) const { return Date{seconds + interval}; }
  constexpr double timeIntervalSinceDate(Date other) const { return seconds - other.seconds; }

  friend constexpr auto operator<=>(const Date&, const Date&) = default;
};

}  // namespace velmora
