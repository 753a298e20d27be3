#include "store/XmlPlistScalars.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>

#include "store/PlistCodec.h"
#include "store/XmlPlist.h"

namespace velmora::xml_plist {

std::string_view trimmed(std::string_view s) {
  while (!s.empty() && isSpace(s.front())) s.remove_prefix(1);
  while (!s.empty() && isSpace(s.back())) s.remove_suffix(1);
  return s;
}

namespace {

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return (x | 0x20) == (y | 0x20); });
}

// ---- dates --------------------------------------------------------------------------

constexpr std::int64_t kSecondsPerDay = 86400;
constexpr std::int64_t kUnixDaysAt2001 = 11323;  // 2001-01-01

// Days since 1970-01-01 of a proleptic Gregorian date.
std::int64_t daysFromCivil(std::int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const auto yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

struct Civil {
  std::int64_t year;
  unsigned month, day;
};

Civil civilFromDays(std::int64_t z) {
  z += 719468;
  const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const auto doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  const unsigned d = doy - (153 * mp + 2) / 5 + 1;
  const unsigned m = mp < 10 ? mp + 3 : mp - 9;
  return {static_cast<std::int64_t>(yoe) + era * 400 + (m <= 2), m, d};
}

unsigned daysInMonth(std::int64_t year, unsigned month) {
  static constexpr unsigned kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[month - 1];
}

}  // namespace

std::optional<double> dateFromText(std::string_view text) {
  auto number = [&](std::size_t at, std::size_t digits) -> std::optional<unsigned> {
    if (at + digits > text.size()) return std::nullopt;
    unsigned v = 0;
    for (std::size_t i = at; i < at + digits; ++i) {
      if (text[i] < '0' || text[i] > '9') return std::nullopt;
      v = v * 10 + static_cast<unsigned>(text[i] - '0');
    }
    return v;
  };
  auto is = [&](std::size_t at, char c) { return at < text.size() && text[at] == c; };
  const auto year = number(0, 4), month = number(5, 2), day = number(8, 2);
  const auto hour = number(11, 2), minute = number(14, 2), second = number(17, 2);
  if (!year || !month || !day || !hour || !minute || !second || !is(4, '-') || !is(7, '-') || !is(10, 'T') ||
      !is(13, ':') || !is(16, ':'))
    return std::nullopt;
  if (*month < 1 || *month > 12 || *day < 1 || *day > daysInMonth(*year, *month) || *hour > 23 || *minute > 59 ||
      *second > 59)
    return std::nullopt;
  double fraction = 0.0;
  std::size_t end = 19;
  if (is(end, '.')) {
    std::size_t digits = end + 1;
    while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9') ++digits;
    if (digits == end + 1) return std::nullopt;
    std::from_chars(text.data() + end, text.data() + digits, fraction);
    end = digits;
  }
  if (end + 1 != text.size() || text[end] != 'Z') return std::nullopt;
  const std::int64_t whole =
      (daysFromCivil(*year, *month, *day) - kUnixDaysAt2001) * kSecondsPerDay + *hour * 3600 + *minute * 60 + *second;
  return static_cast<double>(whole) + fraction;
}

std::string dateText(Date date) {
  const auto seconds = static_cast<std::int64_t>(std::floor(date.referenceSeconds()));
  const std::int64_t days = (seconds >= 0 ? seconds : seconds - (kSecondsPerDay - 1)) / kSecondsPerDay;
  const std::int64_t inDay = seconds - days * kSecondsPerDay;
  const Civil c = civilFromDays(days + kUnixDaysAt2001);
  std::array<char, 96> text;
  std::snprintf(text.data(), text.size(), "%04lld-%02u-%02uT%02lld:%02lld:%02lldZ", static_cast<long long>(c.year),
                c.month, c.day, static_cast<long long>(inDay / 3600), static_cast<long long>(inDay / 60 % 60),
                static_cast<long long>(inDay % 60));
  return text.data();
}

// ---- numbers ------------------------------------------------------------------------

std::optional<Value> integerFromText(std::string_view text) {
  const bool negative = !text.empty() && text[0] == '-';
  std::string_view digits = text.substr(!text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0);
  if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
    UInt128 v = 0;
    digits.remove_prefix(2);
    for (char c : digits) {
      const int d = c >= '0' && c <= '9'                     ? c - '0'
                    : (c | 0x20) >= 'a' && (c | 0x20) <= 'f' ? (c | 0x20) - 'a' + 10
                                                             : -1;
      if (d < 0 || v >> 124) return std::nullopt;
      v = v << 4 | static_cast<unsigned>(d);
    }
    if (v >> 127) return std::nullopt;
    const auto signedValue = static_cast<Int128>(v);
    return integerValue(negative ? -signedValue : signedValue);
  }
  if (digits.empty() || digits.find_first_not_of("0123456789") != std::string_view::npos) return std::nullopt;
  digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size() - 1));
  std::string normal = (negative && digits != "0" ? "-" : "") + std::string(digits);
  if (const auto v = int128FromDigits(normal)) return integerValue(*v);
  return Value::wideInteger(std::move(normal));  // more digits than 128 bits hold
}

std::optional<double> realFromText(std::string_view text) {
  const bool negative = !text.empty() && text[0] == '-';
  const std::string_view unsignedText = text.substr(!text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0);
  if (equalsIgnoringCase(unsignedText, "nan")) return std::numeric_limits<double>::quiet_NaN();
  if (equalsIgnoringCase(unsignedText, "inf") || equalsIgnoringCase(unsignedText, "infinity"))
    return negative ? -HUGE_VAL : HUGE_VAL;
  const std::string_view number = text.substr(!text.empty() && text[0] == '+' ? 1 : 0);
  double v = 0;
  const auto [end, ec] = std::from_chars(number.data(), number.data() + number.size(), v);
  if (number.empty() || end != number.data() + number.size()) return std::nullopt;
  if (ec == std::errc::result_out_of_range) {  // beyond the doubles: infinity or (signed) zero, as strtod reads it
    return std::strtod(std::string(number).c_str(), nullptr);
  }
  if (ec != std::errc()) return std::nullopt;
  return v;
}

std::string realText(double d) {
  if (std::isnan(d)) return "nan";
  if (std::isinf(d)) return d > 0 ? "+infinity" : "-infinity";
  std::array<char, 32> buffer;
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), d).ptr;
  return std::string(buffer.data(), end);
}

// ---- data ---------------------------------------------------------------------------

std::optional<std::vector<std::uint8_t>> dataFromText(std::string_view text) {
  std::string compact;
  compact.reserve(text.size());
  for (char c : text) {
    if (isSpace(c)) continue;
    const bool ok =
        (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/' || c == '=';
    if (!ok) return std::nullopt;
    compact += c;
  }
  const std::size_t firstPad = compact.find('=');
  if (compact.size() % 4 != 0 ||
      (firstPad != std::string::npos &&
       (compact.size() - firstPad > 2 || compact.find_first_not_of('=', firstPad) != std::string::npos)))
    return std::nullopt;
  if (compact.empty()) return std::vector<std::uint8_t>{};
  gsize length = 0;
  std::unique_ptr<guchar, decltype(&g_free)> bytes(g_base64_decode(compact.c_str(), &length), &g_free);
  return std::vector<std::uint8_t>(bytes.get(), bytes.get() + length);
}

std::string dataText(std::span<const std::uint8_t> bytes) {
  std::unique_ptr<gchar, decltype(&g_free)> base64(g_base64_encode(bytes.data(), bytes.size()), &g_free);
  return base64.get();
}

}  // namespace velmora::xml_plist
