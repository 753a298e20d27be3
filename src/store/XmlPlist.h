#pragma once

// The XML property-list format: <plist> around one value element, <dict>
// with <key> and value pairs, <array>, <string>, <integer>, <real>, <date>,
// <data>, <true/> and <false/>.
#include <cstdint>
#include <span>
#include <vector>

#include "store/PlistCodec.h"

namespace velmora::xml_plist {

// Reads the document as an XML 1.0 reader does (comments, processing
// instructions, CDATA sections, character and the five named entity
// references; line ends normalised), with an explicit stack of open
// containers that refuses nesting deeper than kMaxPlistDepth. A document
// type with an internal subset (entity definitions) is refused. Texts that
// are not valid Unicode (bytes that are not UTF-8, a lone surrogate written
// as a character reference) read with U+FFFD. The failure says what is not
// well formed.
Result<ParsedPlist> read(std::span<const std::uint8_t> bytes);

// A document whose top level is `value` (in the store's written form, with
// no kind XML cannot hold).
std::vector<std::uint8_t> write(const Value& value);

// A document whose top level is a dictionary of `entries`, in their order:
// an entry with a source is copied byte for byte from `source`, the
// document it was read from, which also gives the text before the entries
// (declaration, document type, comments); the others are written from their
// values.
WrittenPlist write(const SourceFile& source, const std::vector<PlistEntry>& entries);

// The property-list date text of a date on the calendar, in whole seconds
// (rounded down): "2025-01-06T14:00:00Z".
std::string dateText(Date date);

}  // namespace velmora::xml_plist
