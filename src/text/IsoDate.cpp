#include "text/IsoDate.h"

#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <cmath>
#include <cstdint>
#include <memory>

#include "text/IcuText.h"

namespace velmora {

// Each of the two forms is set up when first needed.
struct IsoDateFormatter::Formats {
  std::string timeZone;
  std::unique_ptr<icu::SimpleDateFormat> whole, fractional, wholeUtc, fractionalUtc;
};

namespace {

// ISO 8601 dates are proleptic Gregorian all the way back: without this,
// ICU counts days before 1582-10-15 in the Julian calendar.
std::unique_ptr<icu::SimpleDateFormat> isoFormat(const char* pattern, std::string_view timeZone) {
  UErrorCode status = U_ZERO_ERROR;
  auto format = std::make_unique<icu::SimpleDateFormat>(pattern, icu::Locale::getRoot(), status);
  if (U_FAILURE(status)) return nullptr;
  format->adoptTimeZone(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(timeZone)));
  icu::GregorianCalendar* calendar = dynamic_cast<icu::GregorianCalendar*>(format->getCalendar()->clone());
  if (calendar) {
    calendar->setGregorianChange(-1e300, status);
    format->adoptCalendar(calendar);
  }
  return format;
}

// The local year of an instant in years 1 to 9999 is written in the zone;
// one whose local year would leave them (the first hours of year 1 west of
// Greenwich, the last of 9999 east of it) in UTC, which names it in four digits.
bool localYearFits(double millis, const icu::TimeZone& zone) {
  UErrorCode status = U_ZERO_ERROR;
  std::int32_t raw = 0, dst = 0;
  zone.getOffset(millis, false, raw, dst, status);
  const double local = millis + raw + dst;
  return U_SUCCESS(status) && local >= Date::kFirstCalendarSeconds * 1000.0 &&
         local < Date::kEndCalendarSeconds * 1000.0;
}

}  // namespace

IsoDateFormatter::IsoDateFormatter(std::string_view timeZone)
    : formats_(std::make_unique<Formats>(Formats{std::string(timeZone), nullptr, nullptr, nullptr, nullptr})) {}

IsoDateFormatter::~IsoDateFormatter() = default;

// Offsets with seconds ("+00:53:28", Berlin before 1893) keep them.
std::string IsoDateFormatter::format(Date date) const {
  const double millis = std::round(date.icuMillis());
  const bool whole = std::fmod(millis, 1000.0) == 0.0;
  std::unique_ptr<icu::SimpleDateFormat>& local = whole ? formats_->whole : formats_->fractional;
  const char* pattern = whole ? "yyyy-MM-dd'T'HH:mm:ssxxxxx" : "yyyy-MM-dd'T'HH:mm:ss.SSSxxxxx";
  if (!local) local = isoFormat(pattern, formats_->timeZone);
  if (!local) return {};
  std::unique_ptr<icu::SimpleDateFormat>& utc = whole ? formats_->wholeUtc : formats_->fractionalUtc;
  const bool inZone = localYearFits(millis, local->getTimeZone());
  if (!inZone && !utc) utc = isoFormat(pattern, "UTC");
  const std::unique_ptr<icu::SimpleDateFormat>& format = inZone ? local : utc;
  icu::UnicodeString out;
  format->format(millis, out);
  return icutext::toUtf8(out);
}

std::string formatIsoDate(Date date, std::string_view timeZone) { return IsoDateFormatter(timeZone).format(date); }

// The parser is the project's own: ICU's pattern parser takes far more than
// ISO 8601 (two-digit years, other digits than ASCII) and fails on some
// inputs outright (a fraction of forty digits stops the process), while the
// form itself is small and exact.
namespace {

// Reads the text from left to right; every step either takes what it
// expects or leaves the text as it was.
class IsoReader {
 public:
  explicit IsoReader(std::string_view text) : text_(text) {}

  bool atEnd() const { return at_ == text_.size(); }
  bool take(char c) {
    if (at_ >= text_.size() || text_[at_] != c) return false;
    ++at_;
    return true;
  }
  std::optional<char> takeOneOf(std::string_view choices) {
    if (at_ >= text_.size() || choices.find(text_[at_]) == std::string_view::npos) return std::nullopt;
    return text_[at_++];
  }
  // A run of `least` to `most` ASCII digits (as many as there are), and its
  // number; nothing when there are fewer than `least` or more than `most`.
  std::optional<std::int64_t> number(std::size_t least, std::size_t most) {
    std::size_t end = at_;
    while (end < text_.size() && isDigit(text_[end])) ++end;
    const std::size_t count = end - at_;
    if (count < least || count > most) return std::nullopt;
    std::int64_t value = 0;
    for (; at_ < end; ++at_) value = value * 10 + (text_[at_] - '0');
    return value;
  }
  // A field of exactly two digits that is at most `largest`.
  std::optional<int> field(int largest) {
    if (text_.size() - at_ < 2 || !isDigit(text_[at_]) || !isDigit(text_[at_ + 1])) return std::nullopt;
    const int value = (text_[at_] - '0') * 10 + (text_[at_ + 1] - '0');
    if (value > largest) return std::nullopt;
    at_ += 2;
    return value;
  }
  // The digits of a decimal fraction after its point, as nanoseconds: the
  // first nine digits count, later ones are below what a date can tell.
  std::optional<std::int64_t> fractionNanoseconds() {
    std::int64_t nanoseconds = 0;
    std::size_t count = 0;
    for (; at_ < text_.size() && isDigit(text_[at_]); ++at_, ++count)
      if (count < 9) nanoseconds = nanoseconds * 10 + (text_[at_] - '0');
    if (count == 0) return std::nullopt;
    for (; count < 9; ++count) nanoseconds *= 10;
    return nanoseconds;
  }

 private:
  static bool isDigit(char c) { return c >= '0' && c <= '9'; }

  std::string_view text_;
  std::size_t at_ = 0;
};

constexpr bool isLeapYear(std::int64_t year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

constexpr int daysInMonth(std::int64_t year, int month) {
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && isLeapYear(year) ? 29 : kDays[month - 1];
}

// Days from 1970-01-01 to a day of the proleptic Gregorian calendar: whole
// 400-year eras of 146,097 days, counted from a year that begins in March
// so that the leap day comes last.
constexpr std::int64_t daysFromCivil(std::int64_t year, int month, int day) {
  year -= month <= 2 ? 1 : 0;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const std::int64_t yearOfEra = year - era * 400;
  const std::int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}
static_assert(daysFromCivil(1970, 1, 1) == 0);
static_assert(daysFromCivil(2001, 1, 1) * 86400 == static_cast<std::int64_t>(Date::kReferenceOffset));
static_assert(daysFromCivil(1, 1, 1) * 86400 == static_cast<std::int64_t>(Date::kFirstCalendarSeconds));

// "Z", or the zone's offset east of Greenwich in seconds.
std::optional<std::int64_t> zoneOffset(IsoReader& in) {
  if (in.take('Z')) return 0;
  const std::optional<char> sign = in.takeOneOf("+-");
  if (!sign) return std::nullopt;
  const auto hours = in.field(23);
  if (!hours) return std::nullopt;
  int minutes = 0, seconds = 0;
  if (in.take(':')) {  // +01:00, and +00:53:28
    const auto m = in.field(59);
    if (!m) return std::nullopt;
    minutes = *m;
    if (in.take(':')) {
      const auto s = in.field(59);
      if (!s) return std::nullopt;
      seconds = *s;
    }
  } else if (auto m = in.field(59)) {  // +0100
    minutes = *m;
  }
  const std::int64_t offset = *hours * 3600 + minutes * 60 + seconds;
  return *sign == '-' ? -offset : offset;
}

}  // namespace

std::optional<Date> parseIsoDate(std::string_view text) {
  IsoReader in(text);
  const auto year = in.number(4, 9);
  if (!year || !in.take('-')) return std::nullopt;
  const auto month = in.field(12);
  if (!month || *month == 0 || !in.take('-')) return std::nullopt;
  const auto day = in.field(31);
  if (!day || *day == 0 || *day > daysInMonth(*year, *month) || !in.take('T')) return std::nullopt;
  const auto hour = in.field(23);
  if (!hour || !in.take(':')) return std::nullopt;
  const auto minute = in.field(59);
  if (!minute || !in.take(':')) return std::nullopt;
  const auto second = in.field(59);
  if (!second) return std::nullopt;
  std::int64_t nanoseconds = 0;
  if (in.take('.')) {
    const auto fraction = in.fractionNanoseconds();
    if (!fraction) return std::nullopt;
    nanoseconds = *fraction;
  }
  const auto offset = zoneOffset(in);
  if (!offset || !in.atEnd()) return std::nullopt;
  const std::int64_t seconds =
      daysFromCivil(*year, *month, *day) * 86400 + *hour * 3600 + *minute * 60 + *second - *offset;
  // In milliseconds first, as the formatter counts, so that a text with
  // milliseconds reads as exactly the instant the formatter wrote it from.
  return Date::fromIcuMillis(static_cast<double>(seconds) * 1000.0 + static_cast<double>(nanoseconds) / 1e6);
}

}  // namespace velmora
