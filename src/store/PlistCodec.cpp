#include "store/PlistCodec.h"

#include <unicode/unistr.h>

#include <algorithm>
#include <limits>

namespace velmora {

std::optional<Int128> int128FromDigits(std::string_view digits) {
  const bool negative = !digits.empty() && digits[0] == '-';
  if (negative) digits.remove_prefix(1);
  if (digits.empty()) return std::nullopt;
  constexpr auto kMax = static_cast<UInt128>(~UInt128{0} >> 1);  // 2^127 - 1
  UInt128 v = 0;
  for (char c : digits) {
    if (c < '0' || c > '9') return std::nullopt;
    const auto digit = static_cast<unsigned>(c - '0');
    if (v > (kMax + (negative ? 1 : 0) - digit) / 10) return std::nullopt;
    v = v * 10 + digit;
  }
  return negative ? static_cast<Int128>(~v + 1) : static_cast<Int128>(v);
}

std::string digitsOf(Int128 value) {
  const bool negative = value < 0;
  auto magnitude = negative ? ~static_cast<UInt128>(value) + 1 : static_cast<UInt128>(value);
  std::string digits;
  do {
    digits += static_cast<char>('0' + static_cast<int>(magnitude % 10));
    magnitude /= 10;
  } while (magnitude != 0);
  if (negative) digits += '-';
  std::reverse(digits.begin(), digits.end());
  return digits;
}

Value integerValue(Int128 value) {
  if (value >= std::numeric_limits<std::int64_t>::min() && value <= std::numeric_limits<std::int64_t>::max())
    return Value::integer(static_cast<std::int64_t>(value));
  return Value::wideInteger(digitsOf(value));
}

bool isValidUtf8(std::string_view text) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const auto* end = p + text.size();
  while (p < end) {
    const unsigned char c = *p;
    if (c < 0x80) {
      ++p;
      continue;
    }
    int length = 0;
    unsigned char low = 0x80, high = 0xBF;  // the range of the second byte
    if (c >= 0xC2 && c <= 0xDF) {
      length = 2;
    } else if (c >= 0xE0 && c <= 0xEF) {
      length = 3;
      if (c == 0xE0) low = 0xA0;
      if (c == 0xED) high = 0x9F;  // no surrogates
    } else if (c >= 0xF0 && c <= 0xF4) {
      length = 4;
      if (c == 0xF0) low = 0x90;
      if (c == 0xF4) high = 0x8F;
    } else {
      return false;
    }
    if (end - p < length || p[1] < low || p[1] > high) return false;
    for (int i = 2; i < length; ++i)
      if (p[i] < 0x80 || p[i] > 0xBF) return false;
    p += length;
  }
  return true;
}

std::string validUtf8(std::string_view text) {
  if (isValidUtf8(text)) return std::string(text);
  std::string valid;
  // (A text beyond 2 GiB, which no property list holds, is cut there.)
  const auto length = static_cast<std::int32_t>(std::min<std::size_t>(text.size(), INT32_MAX));
  icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), length)).toUTF8String(valid);
  return valid;
}

void appendUtf8(std::string& out, char32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

}  // namespace velmora
