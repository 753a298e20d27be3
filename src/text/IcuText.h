#pragma once

#include <unicode/unistr.h>

#include <string>
#include <string_view>

// Text as the system keeps it (UTF-8) to and from ICU's strings (UTF-16).
namespace velmora::icutext {

inline std::string toUtf8(const icu::UnicodeString& s) {
  std::string out;
  s.toUTF8String(out);
  return out;
}

inline icu::UnicodeString fromUtf8(std::string_view s) { return icu::UnicodeString::fromUTF8(s); }

}  // namespace velmora::icutext
