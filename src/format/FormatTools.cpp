#include "format/FormatTools.h"

#include <unicode/gregocal.h>
#include <unicode/timezone.h>

#include <cctype>
#include <climits>
#include <cmath>

#include "format/FormatToolsMembers.h"
#include "text/IcuText.h"
#include "text/StringFormat.h"
#include "values/SaturatingCast.h"

namespace velmora {

namespace {

using UnitsStyle = DateComponentsFormatter::UnitsStyle;
using ZeroFormattingBehavior = DateComponentsFormatter::ZeroFormattingBehavior;

// The platform's `intValue` of a text: leading spaces, an optional sign, then
// ASCII digits as far as they go; anything else reads as 0.
int intValue(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  long long value = 0;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    value = value * 10 + (text[i] - '0');
    if (value > INT_MAX) return negative ? INT_MIN : INT_MAX;
  }
  return static_cast<int>(negative ? -value : value);
}

std::string withoutEvery(std::string text, std::string_view digit) {
  return replacingOccurrences(replacingOccurrences(text, digit, ""), " ", "");
}

// The first character of a text (a whole code point) and the rest.
std::pair<std::string_view, std::string_view> splitFirstCharacter(std::string_view text) {
  std::size_t n = text.empty() ? 0 : 1;
  while (n < text.size() && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80) ++n;
  return {text.substr(0, n), text.substr(n)};
}

}  // namespace

// --- Members -------------------------------------------------------------------

FormatTools::Members::Members(const Environment& environment)
    : env(environment), locale(icu::Locale::createCanonical(environment.locale.c_str())) {}

DateFormatter& FormatTools::Members::inputFormatter() {
  if (!inputFormatter_) inputFormatter_ = std::make_unique<DateFormatter>(locale, env.timeZone);
  return *inputFormatter_;
}

DateFormatter& FormatTools::Members::outputFormatter() {
  if (!outputFormatter_) outputFormatter_ = std::make_unique<DateFormatter>(locale, env.timeZone);
  return *outputFormatter_;
}

DateFormatter& FormatTools::Members::HHFormatter() {
  // Fixed to the POSIX locale so that hours read 0-23 and digits are ASCII
  // whatever the user's clock setting or numbering system.
  if (!HHFormatter_) HHFormatter_ = std::make_unique<DateFormatter>(icu::Locale("en_US_POSIX"), env.timeZone);
  return *HHFormatter_;
}

DateComponentsFormatter& FormatTools::Members::dateComponentsFormatter() {
  if (!dateComponentsFormatter_) dateComponentsFormatter_ = std::make_unique<DateComponentsFormatter>(locale);
  return *dateComponentsFormatter_;
}

icu::Calendar& FormatTools::Members::cal() {
  if (!cal_) {
    UErrorCode status = U_ZERO_ERROR;
    auto* zone = icu::TimeZone::createTimeZone(icutext::fromUtf8(env.timeZone));
    cal_ = std::make_unique<icu::GregorianCalendar>(zone, locale, status);  // adopts the zone
  }
  return *cal_;
}

DateFormatter& FormatTools::Members::isoFormatter() {
  if (!isoFormatter_) {
    isoFormatter_ = std::make_unique<DateFormatter>(icu::Locale::getRoot(), env.timeZone);
    // The internet date-time form: whole seconds, "Z" for a zero offset.
    isoFormatter_->setDateFormat("yyyy-MM-dd'T'HH:mm:ssXXX");
  }
  return *isoFormatter_;
}

DateTemplates& FormatTools::Members::templates() {
  if (!templates_) templates_ = std::make_unique<DateTemplates>(locale);
  return *templates_;
}

std::string FormatTools::Members::fixed(Date date, const char* pattern) {
  DateFormatter& out = outputFormatter();
  out.setDateFormat(icutext::fromUtf8(pattern));
  return out.stringFromDate(date);
}

std::string FormatTools::Members::fromTemplate(Date date, std::string_view skeleton) {
  DateFormatter& out = outputFormatter();
  out.setDateFormat(templates().patternFromTemplate(skeleton));
  return out.stringFromDate(date);
}

// --- FormatTools ---------------------------------------------------------------

FormatTools::FormatTools(const Environment& env) : env_(env), m_(std::make_unique<Members>(env)) {}

FormatTools::~FormatTools() = default;

// --- Clock times of day ----------------------------------------------------------

namespace {

std::string formatFixed(DateFormatter& formatter, Date date, const char* pattern) {
  formatter.setDateFormat(icutext::fromUtf8(pattern));
  return formatter.stringFromDate(date);
}

}  // namespace

std::string FormatTools::hourMin(Date date) { return m_->fixed(date, "h:mma"); }

std::string FormatTools::hrMn(Date date) { return m_->fromTemplate(date, is24hr() ? "HH:mm" : "h:mm"); }

std::string FormatTools::hrMnSec(Date date) { return m_->fromTemplate(date, is24hr() ? "HH:mm:ss" : "h:mm:ss"); }

std::string FormatTools::hrMn24(Date date) { return m_->fixed(date, "H:mm"); }

int FormatTools::currentDay(Date date) { return intValue(formatFixed(m_->HHFormatter(), date, "dd")); }

int FormatTools::currentHour(Date date) { return intValue(formatFixed(m_->HHFormatter(), date, "HH")); }

int FormatTools::currentMin(Date date) { return intValue(m_->fixed(date, "mm")); }

int FormatTools::currentYear() { return intValue(m_->fixed(env_.now, "yyyy")); }

bool FormatTools::is24hr() {
  // "j" asks for the locale's preferred hour; a 12-hour clock brings its AM/PM marker.
  return m_->templates().patternFromTemplate("j").indexOf(u'a') < 0;
}

// --- Durations --------------------------------------------------------------------

namespace {

std::string formatDuration(DateComponentsFormatter& f, double interval, int maximumUnitCount, UnitsStyle style,
                           ZeroFormattingBehavior zeros, unsigned units) {
  f.maximumUnitCount = maximumUnitCount;
  f.unitsStyle = style;
  f.zeroFormattingBehavior = zeros;
  f.allowedUnits = units;
  return f.stringFromTimeInterval(interval);
}

constexpr unsigned kHourMinute = DateComponentsFormatter::kHour | DateComponentsFormatter::kMinute;

}  // namespace

std::string FormatTools::formattedTimeInterval(double interval) {
  return formatDuration(m_->dateComponentsFormatter(), interval, 2, UnitsStyle::kAbbreviated,
                        ZeroFormattingBehavior::kPad, kHourMinute);
}

std::string FormatTools::formattedLongTimeInterval(double interval) {
  return formatDuration(m_->dateComponentsFormatter(), interval, 2, UnitsStyle::kFull, ZeroFormattingBehavior::kPad,
                        kHourMinute);
}

std::string FormatTools::formattedMinInterval(double interval) {
  return formatDuration(m_->dateComponentsFormatter(), interval, 1, UnitsStyle::kAbbreviated,
                        ZeroFormattingBehavior::kPad, DateComponentsFormatter::kMinute);
}

std::string FormatTools::formattedShortTimeInterval(double interval) {
  return formatDuration(m_->dateComponentsFormatter(), interval, 2, UnitsStyle::kPositional,
                        ZeroFormattingBehavior::kDefault, kHourMinute);
}

std::string FormatTools::formattedShortHMSInterval(double interval) {
  return formatDuration(m_->dateComponentsFormatter(), interval, 3, UnitsStyle::kPositional,
                        ZeroFormattingBehavior::kPad, kHourMinute | DateComponentsFormatter::kSecond);
}

std::string FormatTools::formattedLongMinInterval(double interval) {
  return formatDuration(m_->dateComponentsFormatter(), interval, 1, UnitsStyle::kShort, ZeroFormattingBehavior::kPad,
                        DateComponentsFormatter::kMinute);
}

std::string FormatTools::formattedDaysInterval(double interval) {
  // No zero behaviour of its own: whatever the previous duration left stands.
  DateComponentsFormatter& f = m_->dateComponentsFormatter();
  f.maximumUnitCount = 2;
  f.unitsStyle = UnitsStyle::kAbbreviated;
  f.allowedUnits = DateComponentsFormatter::kDay | DateComponentsFormatter::kWeekOfMonth;
  return f.stringFromTimeInterval(interval);
}

// The samples count 1 minute, 2 hours and 2 days, so minutes get the singular
// word and hours and days the plural; the count and spaces are then removed.
std::string FormatTools::shortTermForMIN() {
  return withoutEvery(formatDuration(m_->dateComponentsFormatter(), 61, 1, UnitsStyle::kShort,
                                     ZeroFormattingBehavior::kPad, DateComponentsFormatter::kMinute),
                      "1");
}

std::string FormatTools::shortTermForHRS() {
  return withoutEvery(formatDuration(m_->dateComponentsFormatter(), 7202, 1, UnitsStyle::kShort,
                                     ZeroFormattingBehavior::kPad, DateComponentsFormatter::kHour),
                      "2");
}

std::string FormatTools::shortTermForDAYS() {
  return withoutEvery(formatDuration(m_->dateComponentsFormatter(), 172802, 1, UnitsStyle::kShort,
                                     ZeroFormattingBehavior::kPad, DateComponentsFormatter::kDay),
                      "2");
}

// --- How long ago ---------------------------------------------------------------

std::string FormatTools::whenString(Date date) {
  // The long form is prepared on every call, whichever phrase is returned.
  DateFormatter& out = m_->outputFormatter();
  out.setDateFormat(m_->templates().patternFromTemplate("h:mma E MMM d yyyy"));

  double t = date.timeIntervalSinceDate(env_.now);
  if (!std::isfinite(t)) t = 0;  // no interval to speak of
  if (t > -60) return "just now";

  float days = 0;
  float weeks = 0;
  if (t < -86400) days = static_cast<float>(t / -86400);
  if (t < -604800) weeks = static_cast<float>(t / -604800);

  std::string text;
  if (weeks > 4.0f) return out.stringFromDate(date);
  if (weeks >= 2.0f) {
    const long n = saturatingCast<long>(weeks);
    text = n == 1 ? std::string("a week ") : stringWithFormat("%ld weeks ", {n});
  } else if (days >= 1.0f) {
    const long n = saturatingCast<long>(days);
    text = n == 1 ? std::string("a day ") : stringWithFormat("%ld days ", {n});
  } else if (const float hours = static_cast<float>(t / -3600); t < -3600 && hours > 0) {
    text = hours >= 2.0f ? stringWithFormat("%ld hours ", {saturatingCast<long>(hours)}) : std::string("an hour ");
  } else {
    const float minutes = static_cast<float>(t / -60);
    text =
        minutes >= 2.0f ? stringWithFormat("%ld minutes ", {saturatingCast<long>(minutes)}) : std::string("a minute ");
  }
  return text + "ago";
}

std::string FormatTools::whenStringFB(std::string_view text) {
  DateFormatter& in = m_->inputFormatter();
  in.setDateFormat("yyyy-MM-dd'T'HH:mm:ssZ");
  // An unreadable text has no date and so no interval: it reads as now.
  return whenString(in.dateFromString(text).value_or(env_.now));
}

std::string FormatTools::sentenceCapitalizedString(std::string_view text) {
  if (text.empty()) return {};
  const auto [first, rest] = splitFirstCharacter(text);
  return uppercaseString(first) + lowercaseString(rest);
}

// --- Fixed date patterns -----------------------------------------------------------

std::string FormatTools::CSVDate(Date date) { return m_->fixed(date, "yyyy-MM-dd HH:mm:ss"); }
std::string FormatTools::CSVYMD(Date date) { return m_->fixed(date, "yyyy-MM-dd"); }
std::string FormatTools::YYMMDD(Date date) { return m_->fixed(date, "yyyyMMdd"); }

std::optional<Date> FormatTools::NSDateFromYYMMDD(std::string_view text) {
  DateFormatter& out = m_->outputFormatter();
  out.setDateFormat("yyyyMMdd");
  return out.dateFromString(text);
}

std::string FormatTools::monthDateYear(Date date) { return m_->fixed(date, "MMMM d, yyyy"); }
std::string FormatTools::shortDate(Date date) { return m_->fixed(date, "EEEE"); }
std::string FormatTools::shortDay(Date date) { return m_->fixed(date, "EEE d"); }
std::string FormatTools::shortDayMonth(Date date) { return m_->fixed(date, "EEE MMM d"); }

std::string FormatTools::shortDayMonthYear(Date date) {
  // A Korean reader gets the Korean order; "YYYY" is the week-based year in both.
  const bool korean = !env_.languages.empty() && env_.languages.front().find("ko") != std::string::npos;
  return m_->fixed(date, korean ? "YYYY년 M월 d일 E요일" : "EEE MMM d, YYYY");
}

std::string FormatTools::shortDayC(Date date) { return m_->fixed(date, "EEEd"); }
std::string FormatTools::shortDayOnly(Date date) { return m_->fixed(date, "EEE"); }

std::string FormatTools::veryShortDayOnly(Date date) {
  return uppercaseString(splitFirstCharacter(m_->fixed(date, "E")).first);
}

std::string FormatTools::shortMD(Date date) { return m_->fixed(date, "MMM d"); }
std::string FormatTools::shortMonth(Date date) { return m_->fixed(date, "MMM"); }
std::string FormatTools::longMonth(Date date) { return m_->fixed(date, "MMMM"); }
std::string FormatTools::dateInMonth(Date date) { return m_->fixed(date, "d"); }
std::string FormatTools::yearOfDate(Date date) { return m_->fixed(date, "YYYY"); }

std::string FormatTools::dayMonthDateTime(Date date) { return m_->fixed(date, "h:mma EEEE, MMMM d"); }

std::string FormatTools::dayDateTime(Date date) { return m_->fixed(date, "h:mma EEEE"); }

// --- Locale templates -------------------------------------------------------------

std::string FormatTools::dayDate(Date date) { return m_->fromTemplate(date, "EEEE d"); }
std::string FormatTools::dayMonthDate(Date date) { return m_->fromTemplate(date, "EEEE, MMMM d"); }
std::string FormatTools::dayMonthDateYear(Date date) { return m_->fromTemplate(date, "EEEE, MMM d yyyy"); }
std::string FormatTools::shorthhmmDDMMYY(Date date) { return m_->fromTemplate(date, "h:mma EEE d/M/yy"); }
std::string FormatTools::ddmmyy(Date date) { return m_->fromTemplate(date, "d/M/yy"); }
std::string FormatTools::ddmm(Date date) { return m_->fromTemplate(date, "d M"); }
std::string FormatTools::ddmmm(Date date) { return m_->fromTemplate(date, "d MMM"); }

std::string FormatTools::dayTime(Date date) { return m_->fromTemplate(date, is24hr() ? "HH:mm" : "h:mma"); }

std::string FormatTools::dayTimeNoSuffix(Date date) { return m_->fromTemplate(date, is24hr() ? "HH:mm" : "H:mm"); }

std::string FormatTools::timeAs24(Date date) { return m_->fromTemplate(date, "HH:mm"); }
std::string FormatTools::HHmm(Date date) { return m_->fromTemplate(date, "HHmm"); }

std::string FormatTools::isoDateFromDate(Date date) { return m_->isoFormatter().stringFromDate(date); }

}  // namespace velmora
