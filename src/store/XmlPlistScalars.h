#pragma once

// The texts of an XML property list's scalar elements, read and written:
// <integer>, <real>, <date> and <data>. A reader hands over the element's
// text with surrounding whitespace removed; nothing means it is no valid
// text of its element.
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "values/Value.h"

namespace velmora::xml_plist {

inline bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
std::string_view trimmed(std::string_view s);

// Decimal or "0x" hexadecimal, with an optional sign; beyond 128 bits, a
// decimal integer is kept as its digits.
std::optional<Value> integerFromText(std::string_view text);

// A decimal number, or "nan", "inf" or "infinity" in any case, signed or not.
std::optional<double> realFromText(std::string_view text);
std::string realText(double value);

// "yyyy-MM-ddTHH:mm:ssZ", with a fraction of a second before the Z as some
// writers add: seconds since 2001. (xml_plist::dateText writes it.)
std::optional<double> dateFromText(std::string_view text);

// Base64 with whitespace anywhere, padded to whole groups of four.
std::optional<std::vector<std::uint8_t>> dataFromText(std::string_view text);
std::string dataText(std::span<const std::uint8_t> bytes);

}  // namespace velmora::xml_plist
