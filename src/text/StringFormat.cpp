#include "text/StringFormat.h"

#include <unicode/dcfmtsym.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <optional>
#include <vector>

#include "text/IcuText.h"
#include "values/SaturatingCast.h"

namespace velmora {

namespace {

// One conversion of a format text, as read from "%[n$][flags][width][.precision][length]conversion".
struct Conversion {
  std::string flags;
  std::optional<int> width;
  std::optional<int> precision;
  std::string length;  // "", "hh", "h", "l", "ll", "q", "L", "z", "t", "j"
  char type = 0;
};

// The whole number an integer conversion prints. For a number where a whole
// one was asked for (the varargs would hold a double where printf reads an
// integer: undefined), its whole part, held within what the conversion reads.
long long asInteger(const FormatArg& arg, const Conversion& c) {
  if (const auto* i = std::get_if<long long>(&arg.v)) return *i;
  if (const auto* d = std::get_if<double>(&arg.v))
    return c.length.empty() ? saturatingCast<int>(*d) : saturatingCast<long long>(*d);
  return 0;
}

double asReal(const FormatArg& arg) {
  if (const auto* d = std::get_if<double>(&arg.v)) return *d;
  if (const auto* i = std::get_if<long long>(&arg.v)) return static_cast<double>(*i);
  return 0.0;
}

// The description an object argument prints with "%@": texts as they are,
// numbers as the platform's number objects describe themselves.
std::string describe(const FormatArg& arg) {
  if (const auto* s = std::get_if<std::string>(&arg.v)) return *s;
  if (const auto* i = std::get_if<long long>(&arg.v)) return std::to_string(*i);
  if (const auto* d = std::get_if<double>(&arg.v)) {
    // A number made from a single-precision value describes itself with 7
    // significant digits, a double-precision one with 16.
    const bool single = std::isfinite(*d) && std::fabs(*d) <= std::numeric_limits<float>::max() &&
                        static_cast<double>(static_cast<float>(*d)) == *d;
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, single ? "%.7g" : "%.16g", std::isnan(*d) ? std::fabs(*d) : *d);  // "nan"
    return buffer;
  }
  return "(null)";
}

std::string printfSpec(const Conversion& c, std::string_view length, char type) {
  std::string directive = "%" + c.flags;
  if (c.width) directive += std::to_string(*c.width);
  if (c.precision) directive += "." + std::to_string(*c.precision);
  directive += length;
  directive += type;
  return directive;
}

template <typename T>
std::string printfOne(const std::string& directive, T value) {
  // The directive is built here from a parsed conversion, never taken from input as is.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  const int n = std::snprintf(nullptr, 0, directive.c_str(), value);
  if (n <= 0) return {};
  std::string out(static_cast<std::size_t>(n) + 1, '\0');
  std::snprintf(out.data(), out.size(), directive.c_str(), value);
#pragma GCC diagnostic pop
  out.resize(static_cast<std::size_t>(n));
  return out;
}

// printf of a real number as the platform prints it. Not-a-number prints
// "nan" ("NAN" for the upper-case conversions) with no sign, whatever its sign
// bit or the "+" and " " flags ask; like infinities it pads with spaces only.
std::string formatReal(Conversion c, double value, const std::string* decimalSeparator) {
  if (std::isnan(value)) {
    value = std::fabs(value);
    std::erase_if(c.flags, [](char flag) { return flag == '+' || flag == ' '; });
  }
  std::string text = printfOne(printfSpec(c, "", c.type), value);
  if (decimalSeparator && *decimalSeparator != ".") {
    if (const auto dot = text.find('.'); dot != std::string::npos) text.replace(dot, 1, *decimalSeparator);
  }
  return text;
}

// Pads a text to the conversion's width (counted in characters), on the
// right with "-", else on the left.
std::string padded(std::string text, const Conversion& c) {
  if (!c.width) return text;
  std::size_t chars = 0;
  for (unsigned char ch : text) chars += (ch & 0xC0) != 0x80;
  const auto width = static_cast<std::size_t>(*c.width);
  if (chars >= width) return text;
  const std::string fill(width - chars, ' ');
  return c.flags.find('-') != std::string::npos ? text + fill : fill + text;
}

std::string formatInteger(const Conversion& c, long long value) {
  const bool isUnsigned = c.type == 'u' || c.type == 'x' || c.type == 'X' || c.type == 'o';
  // Without a length modifier the argument is read as a 32-bit int, as the
  // platform reads it; "l", "ll", "q", "z", "t" and "j" read all 64 bits.
  if (c.length.empty()) {
    return isUnsigned ? printfOne(printfSpec(c, "", c.type), static_cast<unsigned>(value))
                      : printfOne(printfSpec(c, "", c.type), static_cast<int>(value));
  }
  if (c.length == "h") {
    return isUnsigned ? printfOne(printfSpec(c, "", c.type), static_cast<unsigned short>(value))
                      : printfOne(printfSpec(c, "", c.type), static_cast<short>(value));
  }
  if (c.length == "hh") {
    return isUnsigned ? printfOne(printfSpec(c, "", c.type), static_cast<unsigned char>(value))
                      : printfOne(printfSpec(c, "", c.type), static_cast<signed char>(value));
  }
  return isUnsigned ? printfOne(printfSpec(c, "ll", c.type), static_cast<unsigned long long>(value))
                    : printfOne(printfSpec(c, "ll", c.type), value);
}

// Reads one conversion after its "%"; returns the index just past it, or
// nothing when the text there is no conversion.
std::optional<std::size_t> parseConversion(std::string_view format, std::size_t i, Conversion& c,
                                           std::optional<std::size_t>& position) {
  auto readNumber = [&](std::size_t& at) -> std::optional<int> {
    if (at >= format.size() || format[at] < '0' || format[at] > '9') return std::nullopt;
    int n = 0;
    while (at < format.size() && format[at] >= '0' && format[at] <= '9') {
      if (n < 100000) n = n * 10 + (format[at] - '0');
      ++at;
    }
    return n;
  };

  std::size_t at = i;
  // "%2$@": an explicit argument position.
  if (std::size_t probe = at; auto n = readNumber(probe)) {
    if (probe < format.size() && format[probe] == '$' && *n > 0) {
      position = static_cast<std::size_t>(*n - 1);
      at = probe + 1;
    }
  }
  while (at < format.size() && std::string_view("-+ 0#'").find(format[at]) != std::string_view::npos) {
    if (format[at] != '\'') c.flags += format[at];  // grouping is never applied
    ++at;
  }
  c.width = readNumber(at);
  if (at < format.size() && format[at] == '.') {
    ++at;
    c.precision = readNumber(at).value_or(0);
  }
  for (std::string_view mod : {"hh", "ll", "h", "l", "q", "L", "z", "t", "j"}) {
    if (format.substr(at, mod.size()) == mod) {
      c.length = mod;
      at += mod.size();
      break;
    }
  }
  if (at >= format.size()) return std::nullopt;
  c.type = format[at];
  if (std::string_view("@diuxXofFeEgGaAcsCS").find(c.type) == std::string_view::npos) return std::nullopt;
  return at + 1;
}

std::string formatWith(std::string_view format, std::initializer_list<FormatArg> args,
                       const std::string* decimalSeparator) {
  const std::vector<const FormatArg*> list = [&] {
    std::vector<const FormatArg*> v;
    for (const FormatArg& a : args) v.push_back(&a);
    return v;
  }();
  static const FormatArg kMissing(nullptr);
  std::size_t next = 0;
  auto argument = [&](std::optional<std::size_t> position) -> const FormatArg& {
    const std::size_t index = position.value_or(next);
    if (!position) ++next;
    return index < list.size() ? *list[index] : kMissing;
  };

  std::string out;
  out.reserve(format.size() + 16);
  std::size_t i = 0;
  while (i < format.size()) {
    const std::size_t percent = format.find('%', i);
    if (percent == std::string_view::npos) {
      out += format.substr(i);
      break;
    }
    out += format.substr(i, percent - i);
    if (percent + 1 < format.size() && format[percent + 1] == '%') {
      out += '%';
      i = percent + 2;
      continue;
    }
    Conversion c;
    std::optional<std::size_t> position;
    const auto end = parseConversion(format, percent + 1, c, position);
    if (!end) {  // not a conversion: the text stands as written
      out += '%';
      i = percent + 1;
      continue;
    }
    i = *end;
    const FormatArg& arg = argument(position);
    switch (c.type) {
      case '@':
      case 's':
      case 'S':
        out += padded(describe(arg), c);
        break;
      case 'c':
      case 'C':
        out += padded(std::string(1, static_cast<char>(asInteger(arg, c))), c);
        break;
      case 'd':
      case 'i':
      case 'u':
      case 'x':
      case 'X':
      case 'o':
        // A number that is no whole number at all prints as a real one would.
        if (const auto* d = std::get_if<double>(&arg.v); d && !std::isfinite(*d)) {
          Conversion real = c;
          real.length.clear(), real.precision.reset(), real.type = 'f';
          out += formatReal(real, *d, nullptr);
        } else {
          out += formatInteger(c, asInteger(arg, c));
        }
        break;
      default:  // floating-point conversions; printf rounds the binary value exactly
        out += formatReal(c, asReal(arg), decimalSeparator);
    }
  }
  return out;
}

// A cheap test that spares the locale's symbols for formats without any
// floating-point conversion (it may say yes for formats that have none).
bool mayHaveRealConversion(std::string_view format) {
  return format.find('%') != std::string_view::npos && format.find_first_of("fFeEgGaA") != std::string_view::npos;
}

}  // namespace

std::string stringWithFormat(std::string_view format, std::initializer_list<FormatArg> args) {
  return formatWith(format, args, nullptr);
}

std::string localizedStringWithFormat(std::string_view localeId, std::string_view format,
                                      std::initializer_list<FormatArg> args) {
  // Only the decimal separator follows the locale; numbers are not grouped.
  if (!mayHaveRealConversion(format)) return formatWith(format, args, nullptr);
  UErrorCode status = U_ZERO_ERROR;
  const icu::DecimalFormatSymbols symbols(icu::Locale::createCanonical(std::string(localeId).c_str()), status);
  const std::string separator =
      U_SUCCESS(status) ? icutext::toUtf8(symbols.getSymbol(icu::DecimalFormatSymbols::kDecimalSeparatorSymbol)) : ".";
  return formatWith(format, args, &separator);
}

std::string uppercaseString(std::string_view text) {
  return icutext::toUtf8(icu::UnicodeString::fromUTF8(text).toUpper(icu::Locale::getRoot()));
}

std::string lowercaseString(std::string_view text) {
  return icutext::toUtf8(icu::UnicodeString::fromUTF8(text).toLower(icu::Locale::getRoot()));
}

std::string capitalizedString(std::string_view text) {
  // Title-casing by word boundaries: the first cased letter of each word goes
  // upper case, the rest of the word lower case; "today's" stays one word.
  return icutext::toUtf8(icu::UnicodeString::fromUTF8(text).toTitle(nullptr, icu::Locale::getRoot()));
}

std::string replacingOccurrences(std::string_view text, std::string_view target, std::string_view replacement) {
  if (target.empty()) return std::string(text);
  std::string out;
  out.reserve(text.size());
  std::size_t i = 0;
  for (std::size_t hit; (hit = text.find(target, i)) != std::string_view::npos; i = hit + target.size()) {
    out += text.substr(i, hit - i);
    out += replacement;
  }
  out += text.substr(i);
  return out;
}

}  // namespace velmora
