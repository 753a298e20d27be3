#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <variant>

namespace velmora {

// One argument of a format: a text for "%@", a whole number for "%d"/"%ld",
// a number for "%f" forms. A missing object formats as "(null)".
struct FormatArg {
  std::variant<std::monostate, std::string, long long, double> v;

  FormatArg(std::nullptr_t) {}
  FormatArg(std::string s) : v(std::move(s)) {}
  FormatArg(std::string_view s) : v(std::string(s)) {}
  FormatArg(const char* s) : v(std::string(s)) {}
  FormatArg(const std::string* s) {
    if (s) v = *s;
  }
  FormatArg(int i) : v(static_cast<long long>(i)) {}
  FormatArg(long i) : v(static_cast<long long>(i)) {}
  FormatArg(long long i) : v(i) {}
  FormatArg(float f) : v(static_cast<double>(f)) {}
  FormatArg(double d) : v(d) {}
};

// `stringWithFormat:` for the specifiers the system uses: %@, %d, %i, %ld,
// %f with an optional precision (%.2f, %.02f, %.0f), and %%.
std::string stringWithFormat(std::string_view format, std::initializer_list<FormatArg> args);

// `localizedStringWithFormat:`: the same, with the decimal separator of the
// given ICU locale in "%f" forms.
std::string localizedStringWithFormat(std::string_view localeId, std::string_view format,
                                      std::initializer_list<FormatArg> args);

// Case operations as the platform's texts do them (locale-independent).
std::string uppercaseString(std::string_view text);
std::string lowercaseString(std::string_view text);
// Every word starts upper case, the rest lower: "today's readiness" → "Today's Readiness".
std::string capitalizedString(std::string_view text);

// `stringByReplacingOccurrencesOfString:withString:`.
std::string replacingOccurrences(std::string_view text, std::string_view target, std::string_view replacement);

}  // namespace velmora
