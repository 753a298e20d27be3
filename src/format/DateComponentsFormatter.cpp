#include "format/DateComponentsFormatter.h"

#include <unicode/measunit.h>
#include <unicode/measure.h>

#include <cmath>
#include <vector>

#include "format/IcuText.h"

namespace velmora {

namespace {

struct UnitInfo {
  unsigned bit;
  long long seconds;
};

// Largest first. Days and weeks are counted as fixed lengths of time.
constexpr UnitInfo kUnits[] = {
    {DateComponentsFormatter::kWeekOfMonth, 7 * 86400},
    {DateComponentsFormatter::kDay, 86400},
    {DateComponentsFormatter::kHour, 3600},
    {DateComponentsFormatter::kMinute, 60},
    {DateComponentsFormatter::kSecond, 1},
};

icu::MeasureUnit measureUnit(unsigned bit) {
  switch (bit) {
    case DateComponentsFormatter::kWeekOfMonth:
      return icu::MeasureUnit::getWeek();
    case DateComponentsFormatter::kDay:
      return icu::MeasureUnit::getDay();
    case DateComponentsFormatter::kHour:
      return icu::MeasureUnit::getHour();
    case DateComponentsFormatter::kMinute:
      return icu::MeasureUnit::getMinute();
    default:
      return icu::MeasureUnit::getSecond();
  }
}

bool isClockUnit(unsigned bit) {
  return bit == DateComponentsFormatter::kHour || bit == DateComponentsFormatter::kMinute ||
         bit == DateComponentsFormatter::kSecond;
}

}  // namespace

DateComponentsFormatter::DateComponentsFormatter(icu::Locale locale) : locale_(std::move(locale)) {}

std::string DateComponentsFormatter::stringFromTimeInterval(double interval) {
  if (!std::isfinite(interval)) return {};
  const unsigned allowed = allowedUnits != 0 ? allowedUnits : kWeekOfMonth | kDay | kHour | kMinute | kSecond;
  const bool negative = interval < 0;
  // Whole seconds, capped far beyond any duration of sleep.
  long long rest = static_cast<long long>(std::fmin(std::floor(std::fabs(interval)), 1e15));

  std::vector<Part> parts;
  for (const UnitInfo& unit : kUnits) {
    if ((allowed & unit.bit) == 0) continue;
    parts.push_back({unit.bit, rest / unit.seconds});
    rest %= unit.seconds;
  }
  if (parts.empty()) return {};

  const bool pad = zeroFormattingBehavior == ZeroFormattingBehavior::kPad;
  std::vector<Part> shown;
  if (unitsStyle == UnitsStyle::kPositional) {
    // Positions carry meaning, so only leading zeros may go; the last stays.
    std::size_t first = 0;
    if (!pad) {
      while (first + 1 < parts.size() && parts[first].value == 0) ++first;
    }
    shown.assign(parts.begin() + static_cast<std::ptrdiff_t>(first), parts.end());
  } else {
    for (const Part& part : parts) {
      if (pad || part.value != 0) shown.push_back(part);
    }
    if (shown.empty()) shown.push_back(parts.back());  // nothing at all reads as zero of the smallest unit
  }
  if (maximumUnitCount > 0 && shown.size() > static_cast<std::size_t>(maximumUnitCount)) {
    shown.resize(static_cast<std::size_t>(maximumUnitCount));
  }

  bool anyValue = false;
  for (const Part& part : shown) anyValue = anyValue || part.value != 0;
  const bool signShown = negative && anyValue;
  return unitsStyle == UnitsStyle::kPositional ? positional(shown.data(), shown.size(), signShown)
                                               : labelled(shown.data(), shown.size(), signShown);
}

std::string DateComponentsFormatter::positional(const Part* parts, std::size_t count, bool negative) {
  const long long first = negative ? -parts[0].value : parts[0].value;
  if (count == 1) {  // a lone position is a bare number
    if (!numberFormat_) {
      UErrorCode status = U_ZERO_ERROR;
      numberFormat_.reset(icu::NumberFormat::createInstance(locale_, status));
      if (U_FAILURE(status)) numberFormat_.reset();
    }
    if (!numberFormat_) return std::to_string(first);
    icu::UnicodeString out;
    numberFormat_->format(static_cast<int64_t>(first), out);
    return icutext::toUtf8(out);
  }

  // Hours, minutes and seconds in a row take the locale's clock layout ("7:30", "0:00:07").
  bool clockRun = true;
  for (std::size_t i = 0; i < count; ++i) clockRun = clockRun && isClockUnit(parts[i].unit);
  if (icu::MeasureFormat* format = clockRun ? measureFormat(UMEASFMT_WIDTH_NUMERIC) : nullptr) {
    UErrorCode status = U_ZERO_ERROR;
    std::vector<icu::Measure> measures;
    for (std::size_t i = 0; i < count; ++i) {
      const long long value = i == 0 ? first : parts[i].value;
      measures.emplace_back(icu::Formattable(static_cast<int64_t>(value)),
                            new icu::MeasureUnit(measureUnit(parts[i].unit)), status);
    }
    icu::UnicodeString out;
    icu::FieldPosition position(icu::FieldPosition::DONT_CARE);
    format->formatMeasures(measures.data(), static_cast<int32_t>(measures.size()), out, position, status);
    if (U_SUCCESS(status)) return icutext::toUtf8(out);
  }

  // Other runs (days in a row with hours): plain colons, inner positions two digits wide.
  std::string out = std::to_string(first);
  for (std::size_t i = 1; i < count; ++i) {
    out += parts[i].value < 10 ? ":0" : ":";
    out += std::to_string(parts[i].value);
  }
  return out;
}

std::string DateComponentsFormatter::labelled(const Part* parts, std::size_t count, bool negative) {
  const UMeasureFormatWidth width = unitsStyle == UnitsStyle::kAbbreviated ? UMEASFMT_WIDTH_NARROW
                                    : unitsStyle == UnitsStyle::kShort     ? UMEASFMT_WIDTH_SHORT
                                                                           : UMEASFMT_WIDTH_WIDE;
  icu::MeasureFormat* format = measureFormat(width);
  if (!format) return {};
  UErrorCode status = U_ZERO_ERROR;
  std::vector<icu::Measure> measures;
  for (std::size_t i = 0; i < count; ++i) {
    const long long value = i == 0 && negative ? -parts[i].value : parts[i].value;
    measures.emplace_back(icu::Formattable(static_cast<int64_t>(value)),
                          new icu::MeasureUnit(measureUnit(parts[i].unit)), status);
  }
  icu::UnicodeString out;
  icu::FieldPosition position(icu::FieldPosition::DONT_CARE);
  format->formatMeasures(measures.data(), static_cast<int32_t>(measures.size()), out, position, status);
  return U_SUCCESS(status) ? icutext::toUtf8(out) : std::string();
}

icu::MeasureFormat* DateComponentsFormatter::measureFormat(UMeasureFormatWidth width) {
  auto& slot = measureFormats_.at(static_cast<std::size_t>(width));
  if (!slot) {
    UErrorCode status = U_ZERO_ERROR;
    auto format = std::make_unique<icu::MeasureFormat>(locale_, width, status);
    if (U_FAILURE(status)) return nullptr;
    slot = std::move(format);
  }
  return slot.get();
}

}  // namespace velmora
