#include "format/DateComponentsFormatter.h"

#include <unicode/measunit.h>
#include <unicode/measure.h>

#include <cmath>
#include <vector>

#include "text/IcuText.h"
#include "values/SaturatingCast.h"

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

std::size_t unitIndex(unsigned bit) {
  for (std::size_t i = 0; i < std::size(kUnits); ++i) {
    if (kUnits[i].bit == bit) return i;
  }
  return std::size(kUnits) - 1;
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
  long long rest = saturatingCast<long long>(std::fmin(std::floor(std::fabs(interval)), 1e15));

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
  // The sign goes on the first position even when that reads zero ("-0:00:07"),
  // hence a double: its negative zero keeps the sign.
  const double first = negative ? -static_cast<double>(parts[0].value) : static_cast<double>(parts[0].value);
  if (count == 1) {  // a lone position is a bare number
    if (!numberFormat_) {
      UErrorCode status = U_ZERO_ERROR;
      numberFormat_.reset(icu::NumberFormat::createInstance(locale_, status));
      if (U_FAILURE(status)) numberFormat_.reset();
    }
    if (!numberFormat_) return std::to_string(static_cast<long long>(first));
    icu::UnicodeString out;
    numberFormat_->format(first, out);
    return icutext::toUtf8(out);
  }

  // Hours, minutes and seconds in a row take the locale's clock layout ("7:30", "0:00:07").
  bool clockRun = true;
  for (std::size_t i = 0; i < count; ++i) clockRun = clockRun && isClockUnit(parts[i].unit);
  if (clockRun && !clockFormat_) {
    UErrorCode status = U_ZERO_ERROR;
    auto format = std::make_unique<icu::MeasureFormat>(locale_, UMEASFMT_WIDTH_NUMERIC, status);
    if (U_SUCCESS(status)) clockFormat_ = std::move(format);
  }
  if (icu::MeasureFormat* format = clockRun ? clockFormat_.get() : nullptr) {
    UErrorCode status = U_ZERO_ERROR;
    std::vector<icu::Measure> measures;
    for (std::size_t i = 0; i < count; ++i) {
      const double value = i == 0 ? first : static_cast<double>(parts[i].value);
      measures.emplace_back(icu::Formattable(value), new icu::MeasureUnit(measureUnit(parts[i].unit)), status);
    }
    icu::UnicodeString out;
    icu::FieldPosition position(icu::FieldPosition::DONT_CARE);
    format->formatMeasures(measures.data(), static_cast<int32_t>(measures.size()), out, position, status);
    if (U_SUCCESS(status)) return icutext::toUtf8(out);
  }

  // Other runs (days in a row with hours): plain colons, inner positions two digits wide.
  std::string out = (negative ? "-" : "") + std::to_string(parts[0].value);
  for (std::size_t i = 1; i < count; ++i) {
    out += parts[i].value < 10 ? ":0" : ":";
    out += std::to_string(parts[i].value);
  }
  return out;
}

std::string DateComponentsFormatter::labelled(const Part* parts, std::size_t count, bool negative) {
  LabelledStyle* style = labelledStyle(unitsStyle);
  if (!style) return {};
  UErrorCode status = U_ZERO_ERROR;
  std::vector<icu::UnicodeString> texts;
  texts.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    const auto value = static_cast<double>(parts[i].value);  // a negative zero keeps its sign
    texts.push_back(style->units.at(unitIndex(parts[i].unit))
                        .formatDouble(i == 0 && negative ? -value : value, status)
                        .toString(status));
  }
  icu::UnicodeString out;
  style->list->format(texts.data(), static_cast<int32_t>(texts.size()), out, status);
  return U_SUCCESS(status) ? icutext::toUtf8(out) : std::string();
}

DateComponentsFormatter::LabelledStyle* DateComponentsFormatter::labelledStyle(UnitsStyle style) {
  auto& slot = labelledStyles_.at(static_cast<std::size_t>(style));
  if (!slot) {
    const auto [unitWidth, listWidth] =
        style == UnitsStyle::kAbbreviated ? std::pair(UNUM_UNIT_WIDTH_NARROW, ULISTFMT_WIDTH_NARROW)
        : style == UnitsStyle::kShort     ? std::pair(UNUM_UNIT_WIDTH_SHORT, ULISTFMT_WIDTH_SHORT)
                                          : std::pair(UNUM_UNIT_WIDTH_FULL_NAME, ULISTFMT_WIDTH_WIDE);
    auto made = std::make_unique<LabelledStyle>();
    for (std::size_t i = 0; i < std::size(kUnits); ++i) {
      made->units.at(i) =
          icu::number::NumberFormatter::withLocale(locale_).unit(measureUnit(kUnits[i].bit)).unitWidth(unitWidth);
    }
    UErrorCode status = U_ZERO_ERROR;
    made->list.reset(icu::ListFormatter::createInstance(locale_, ULISTFMT_TYPE_UNITS, listWidth, status));
    if (U_FAILURE(status) || !made->list) return nullptr;
    slot = std::move(made);
  }
  return slot.get();
}

}  // namespace velmora
