#pragma once

// What the binary and XML property-list modules share: the top-level entries
// a reader finds, with where the file holds each one, so that a writer can
// put back an entry this process did not change exactly as it was read; and
// the text and integer helpers both formats need.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "values/Status.h"
#include "values/Value.h"

namespace velmora {

// Where a file holds one entry of its top-level dictionary. Binary: the
// object numbers of its key and of its value. XML: the byte range from the
// entry's <key> to the end of its value element.
struct EntrySource {
  std::uint64_t first = 0, second = 0;
};

struct PlistEntry {
  std::string key;                    // as the store reads it: valid UTF-8
  bool exactKey = true;               // false when the file's key is no valid Unicode and reads with U+FFFD
  Value value;                        // as the store reads it
  std::optional<EntrySource> source;  // set: the file's own bytes are written back
};

// What a reader found in a file (a reader fails, saying why, when the bytes
// are no property list).
struct ParsedPlist {
  std::optional<Value> value;  // the top-level value, unless it is a dictionary
  bool isDictionary = false;   // the top level is a dictionary: see entries
  std::vector<PlistEntry> entries;
  // XML only: where the top dictionary's entries begin (just past its
  // <dict> tag; 0 when it is written <dict/>), and whether <plist> wraps it.
  std::size_t entriesBegin = 0;
  bool wrapped = false;
};

// The file a writer copies unchanged entries from, and the file it wrote.
struct SourceFile {
  std::span<const std::uint8_t> bytes;
  std::size_t entriesBegin = 0;  // XML, as in ParsedPlist
  bool wrapped = false;
};
struct WrittenPlist {
  std::vector<std::uint8_t> bytes;
  std::vector<EntrySource> placed;  // where each entry lies in `bytes`
  std::size_t entriesBegin = 0;     // XML, as in ParsedPlist
  bool wrapped = false;
};

inline constexpr int kMaxPlistDepth = 512;  // containers within containers

// A file may share one object among many places; reading it may make at
// most this many values per byte of the file (plus a small allowance), so a
// file of a few bytes cannot expand into billions of values.
inline constexpr std::uint64_t kMaxValuesPerByte = 4;
inline std::uint64_t valueBudget(std::size_t fileSize) { return kMaxValuesPerByte * fileSize + 1024; }

__extension__ using Int128 = __int128;
__extension__ using UInt128 = unsigned __int128;

// "-12" and the like as a 128-bit integer; nothing when out of range or not digits.
std::optional<Int128> int128FromDigits(std::string_view digits);
std::string digitsOf(Int128 value);
// An integer read from a file, as the store's value: 64-bit when it fits.
Value integerValue(Int128 value);

bool isValidUtf8(std::string_view text);
// Ill-formed sequences replaced by U+FFFD.
std::string validUtf8(std::string_view text);
// Appends a code point as UTF-8 (the caller keeps to valid scalar values).
void appendUtf8(std::string& out, char32_t c);

}  // namespace velmora
