#pragma once

// Property lists, binary and XML, read and written by this project's own
// reader and writer of each format (BinaryPlist, XmlPlist): one parser per
// format, each checking every offset, count and nesting level of its input.
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "store/PlistCodec.h"
#include "values/Status.h"
#include "values/Value.h"

namespace velmora {

enum class PlistFormat { Binary, Xml };

// A property list's top-level value, and the format it is written in.
struct PlistValue {
  Value value;
  PlistFormat format = PlistFormat::Binary;
};

// Parses binary or XML property-list bytes; the failure says what is wrong
// when they are not a property list we can safely read.
Result<PlistValue> parsePropertyList(std::span<const std::uint8_t> bytes);

// What a value becomes when it is written as `format`: floats widen to
// doubles, XML dates keep whole seconds (rounded down), and colours and
// images are left out of dictionaries and arrays. A failure saying why when
// the value cannot be written at all: a kind no property list holds at its
// top, a date off the calendar (see Date::isOnCalendar), a text or key that
// is not valid UTF-8, a character XML 1.0 cannot carry (control characters
// other than tab, line feed and carriage return; U+FFFE and U+FFFF), null or
// a UID in XML, an integer beyond 128 bits in a binary list, or nesting
// deeper than kMaxPlistDepth.
Result<Value> storedForm(const Value& value, PlistFormat format);
// The same for a top-level entry, whose key must be a text the format can hold.
Result<Value> storedEntry(const std::string& key, const Value& value, PlistFormat format);

// Serialises a value in its stored form; empty when it has none.
std::vector<std::uint8_t> serializePropertyList(const Value& value, PlistFormat format);

// A preferences file in the form that loses nothing: its top-level entries
// in file order, each with the value the store reads and, until this
// process changes it, where the file holds it. Writing puts every entry
// this process did not change back exactly as it was read (binary: object
// for object, byte for byte; XML: the entry's text as it stands), whatever
// it holds, so another writer's values never change on their way through.
class PlistDocument {
 public:
  // An empty domain; a new file is binary.
  PlistDocument() = default;

  // The document in `bytes`; a failure when they are not a property list
  // or their top level is not a dictionary.
  static Result<PlistDocument> read(std::vector<std::uint8_t> bytes);

  PlistFormat format() const { return format_; }
  const std::vector<PlistEntry>& entries() const { return entries_; }
  // The entries as the store reads them (a repeated key: its first place, its last value).
  MetricDictionary contents() const;

  // Sets `key` to `value`, which must be in its stored form for format().
  // Entries under a key that is not valid Unicode are never matched.
  void set(const std::string& key, Value value);
  void remove(std::string_view key);
  // Every entry replaced by those of `contents` (in stored form).
  void assign(const MetricDictionary& contents);

  // The file's new bytes; the document then describes them.
  const std::vector<std::uint8_t>& write();

 private:
  PlistFormat format_ = PlistFormat::Binary;
  std::shared_ptr<const std::vector<std::uint8_t>> bytes_;
  std::vector<PlistEntry> entries_;
  std::size_t entriesBegin_ = 0;
  bool wrapped_ = false;
};

}  // namespace velmora
