#pragma once

#include <compare>

namespace velmora {

// An instant, kept as the platform's date object keeps it: seconds since
// 2001-01-01T00:00:00Z (fractions allowed), the very number a property list
// stores, so a date read from one is written back to the bit. The platform's
// date object carries no zone; zones come from the calendar or formatter
// that reads it.
class Date {
 public:
  static constexpr double kReferenceOffset = 978307200.0;  // 2001-01-01T00:00:00Z in Unix seconds

  constexpr Date() = default;  // 1970-01-01T00:00:00Z
  static constexpr Date fromReferenceSeconds(double s) { return Date(s); }
  static constexpr Date fromUnixSeconds(double s) { return Date(s - kReferenceOffset); }
  // ICU counts milliseconds since 1970.
  static constexpr Date fromIcuMillis(double ms) { return fromUnixSeconds(ms / 1000.0); }

  constexpr double referenceSeconds() const { return sinceReference_; }
  constexpr double unixSeconds() const { return sinceReference_ + kReferenceOffset; }
  constexpr double icuMillis() const { return unixSeconds() * 1000.0; }

  // The calendar's years 1 to 9999 (proleptic Gregorian, UTC): what a
  // date's text can say and every property-list reader can hold. A date
  // outside them, or not a number, names no moment anyone can be shown.
  // Their bounds in Unix seconds (both whole, so exact in either count).
  static constexpr double kFirstCalendarSeconds = -62135596800.0;  // 0001-01-01T00:00:00Z
  static constexpr double kEndCalendarSeconds = 253402300800.0;    // 10000-01-01T00:00:00Z
  constexpr bool isOnCalendar() const {
    return sinceReference_ >= kFirstCalendarSeconds - kReferenceOffset &&
           sinceReference_ < kEndCalendarSeconds - kReferenceOffset;
  }

  constexpr Date dateByAddingTimeInterval(double interval) const { return Date(sinceReference_ + interval); }
  constexpr double timeIntervalSinceDate(Date other) const { return sinceReference_ - other.sinceReference_; }

  friend constexpr auto operator<=>(const Date&, const Date&) = default;

 private:
  explicit constexpr Date(double sinceReference) : sinceReference_(sinceReference) {}

  double sinceReference_ = -kReferenceOffset;
};

}  // namespace velmora
