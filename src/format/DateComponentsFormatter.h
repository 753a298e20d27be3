#pragma once

#include <unicode/listformatter.h>
#include <unicode/locid.h>
#include <unicode/measfmt.h>
#include <unicode/numberformatter.h>
#include <unicode/numfmt.h>

#include <array>
#include <memory>
#include <string>

namespace velmora {

// Durations as the platform's date-components formatter writes them. The
// settings are plain fields that stay as the last caller left them.
//
// The interval is split into the allowed units, largest first; what is left
// below the smallest allowed unit is dropped, never rounded up. A negative
// interval carries its sign on the first unit shown.
class DateComponentsFormatter {
 public:
  // The platform's units-style values.
  enum class UnitsStyle { kPositional = 0, kAbbreviated = 1, kShort = 2, kFull = 3 };
  // The platform's zero-formatting values. Default drops zero units (for the
  // positional style only the leading ones); Pad shows every allowed unit.
  enum class ZeroFormattingBehavior { kDefault = 1, kPad = 0x10000 };

  // The platform's calendar-unit bits.
  static constexpr unsigned kDay = 16;
  static constexpr unsigned kHour = 32;
  static constexpr unsigned kMinute = 64;
  static constexpr unsigned kSecond = 128;
  static constexpr unsigned kWeekOfMonth = 4096;

  explicit DateComponentsFormatter(icu::Locale locale);

  int maximumUnitCount = 0;  // 0: no limit
  UnitsStyle unitsStyle = UnitsStyle::kPositional;
  ZeroFormattingBehavior zeroFormattingBehavior = ZeroFormattingBehavior::kDefault;
  unsigned allowedUnits = 0;  // 0: weeks down to seconds

  std::string stringFromTimeInterval(double interval);

 private:
  struct Part {
    unsigned unit;
    long long value;
  };

  // The formatters of one labelled style: a number with its unit word for
  // each unit, and the locale's way of listing units.
  struct LabelledStyle {
    std::array<icu::number::LocalizedNumberFormatter, 5> units;  // weeks ... seconds
    std::unique_ptr<icu::ListFormatter> list;
  };

  std::string positional(const Part* parts, std::size_t count, bool negative);
  std::string labelled(const Part* parts, std::size_t count, bool negative);
  LabelledStyle* labelledStyle(UnitsStyle style);

  icu::Locale locale_;
  std::array<std::unique_ptr<LabelledStyle>, 4> labelledStyles_;  // by units style
  std::unique_ptr<icu::MeasureFormat> clockFormat_;               // "7:30", "0:00:07"
  std::unique_ptr<icu::NumberFormat> numberFormat_;
};

}  // namespace velmora
