// Reading a binary property list: the values of the objects its layout
// finds, from the top object down.
#include <algorithm>
#include <bit>
#include <optional>
#include <string>

#include "store/BinaryPlist.h"
#include "store/BinaryPlistLayout.h"

namespace velmora::binary_plist {

namespace {

// A string object's text as the store reads it; `exact` turns false when
// the text is no valid Unicode (bytes above ASCII in an ASCII string, a lone
// UTF-16 surrogate), which reads with U+FFFD.
std::string textOf(const Layout& layout, const Object& o, bool& exact) {
  const std::uint8_t* p = layout.at(o.payload);
  std::string text;
  if (o.type == kAsciiString) {
    text.assign(reinterpret_cast<const char*>(p), static_cast<std::size_t>(o.count));
    for (char c : text) exact = exact && static_cast<unsigned char>(c) < 0x80;
    return exact ? text : validUtf8(text);
  }
  text.reserve(static_cast<std::size_t>(o.count));
  for (std::uint64_t i = 0; i < o.count; ++i) {
    const auto unit = static_cast<char32_t>(readUnsigned(p + 2 * i, 2));
    if (unit >= 0xD800 && unit < 0xDC00 && i + 1 < o.count) {
      const auto low = static_cast<char32_t>(readUnsigned(p + 2 * (i + 1), 2));
      if (low >= 0xDC00 && low < 0xE000) {
        appendUtf8(text, 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
        ++i;
        continue;
      }
    }
    if (unit >= 0xD800 && unit < 0xE000) {
      exact = false;
      appendUtf8(text, 0xFFFD);
    } else {
      appendUtf8(text, unit);
    }
  }
  return text;
}

// The values of one file's objects. The layout must outlive the reader.
class Reader {
 public:
  Reader(const Layout& layout, std::size_t fileSize)
      : layout_(layout),
        onPath_(static_cast<std::size_t>(layout.objectCount()), 0),
        budget_(static_cast<std::int64_t>(valueBudget(fileSize))) {}

  Result<ParsedPlist> readTop() {
    ParsedPlist result;
    const std::uint64_t top = layout_.topObject();
    const Result<Object> o = layout_.object(top);
    if (!o) return o.status();
    if (o->type == kDictionary) {
      result.isDictionary = true;
      onPath_[top] = 1;
      const bool listed = dictionaryEntries(
          *o, 1, [&](std::uint64_t keyIndex, std::string key, bool exact, std::uint64_t valueIndex, Value value) {
            result.entries.push_back({std::move(key), exact, std::move(value), EntrySource{keyIndex, valueIndex}});
          });
      if (!listed) return problem_;
    } else {
      std::optional<Value> value = read(top, 0);
      if (!value) return problem_;
      result.value = std::move(*value);
    }
    return result;
  }

 private:
  std::uint64_t remaining() const { return budget_ > 0 ? static_cast<std::uint64_t>(budget_) : 0; }

  // Why reading stops; gives nothing, for the value that could not be read.
  std::nullopt_t fail(Status problem) {
    problem_ = std::move(problem);
    return std::nullopt;
  }

  bool spend() {
    if (budget_-- > 0) return true;
    fail(Status::failure("binary property list shares objects so often that it would expand beyond its size"));
    return false;
  }

  // Calls visit(keyIndex, key, exactKey, valueIndex, value) for each entry;
  // false, with problem_ set, when one cannot be read.
  template <typename Visit>
  bool dictionaryEntries(const Object& o, int depth, Visit&& visit) {
    for (std::uint64_t i = 0; i < o.count; ++i) {
      const std::uint64_t keyIndex = layout_.reference(o, i);
      const std::uint64_t valueIndex = layout_.reference(o, o.count + i);
      const Result<Object> key = layout_.object(keyIndex);
      if (!key) {
        fail(key.status());
        return false;
      }
      if (key->type != kAsciiString && key->type != kUtf16String) {
        fail(Status::failure("binary property list has a dictionary key that is not a string"));
        return false;
      }
      if (!spend()) return false;
      bool exact = true;
      std::string text = textOf(layout_, *key, exact);
      std::optional<Value> value = read(valueIndex, depth);
      if (!value) return false;
      visit(keyIndex, std::move(text), exact, valueIndex, std::move(*value));
    }
    return true;
  }

  // The value of object `index`, `depth` containers down, or nothing with
  // problem_ set. (Values travel in optionals, not Results: this runs once
  // an object, and the leaner type keeps reading a large store fast.) The
  // recursion is no deeper than kMaxPlistDepth.
  std::optional<Value> read(std::uint64_t index, int depth) {
    if (!spend()) return std::nullopt;
    const Result<Object> o = layout_.object(index);
    if (!o) return fail(o.status());
    const std::uint8_t* p = layout_.at(o->payload);
    const std::size_t size = o->end - o->payload;
    switch (o->type) {
      case kSimple:
        if (o->info == 0) return Value::null();
        return Value::boolean(o->info == (kTrue & 0x0F));
      case kInteger: {
        if (size < 8) return Value::integer(static_cast<std::int64_t>(readUnsigned(p, size)));  // unsigned
        if (size == 8) return Value::integer(static_cast<std::int64_t>(readUnsigned(p, 8)));    // signed
        const auto high = static_cast<std::uint64_t>(readUnsigned(p, 8));
        const auto low = readUnsigned(p + 8, 8);
        return integerValue(static_cast<Int128>((static_cast<UInt128>(high) << 64) | low));
      }
      case kReal:
        if (size == 4) return Value::real(std::bit_cast<float>(static_cast<std::uint32_t>(readUnsigned(p, 4))));
        return Value::real(std::bit_cast<double>(readUnsigned(p, 8)));
      case kDate:
        return Value(Date::fromReferenceSeconds(std::bit_cast<double>(readUnsigned(p, 8))));
      case kData:
        return Value(Data{std::vector<std::uint8_t>(p, p + size)});
      case kAsciiString:
      case kUtf16String: {
        bool exact = true;
        return Value(textOf(layout_, *o, exact));
      }
      case kUid:
        return Value::uid(readUnsigned(p, size));
      default:
        break;
    }

    // A container.
    if (depth == kMaxPlistDepth)
      return fail(Status::failure("nested deeper than " + std::to_string(kMaxPlistDepth) + " levels"));
    if (onPath_[index]) return fail(Status::failure("binary property list contains a reference cycle"));
    onPath_[index] = 1;
    std::optional<Value> result;
    if (o->type == kArray) {
      Array items;
      items.reserve(static_cast<std::size_t>(std::min<std::uint64_t>(o->count, remaining())));
      for (std::uint64_t i = 0; i < o->count; ++i) {
        std::optional<Value> item = read(layout_.reference(*o, i), depth + 1);
        if (!item) return std::nullopt;
        items.push_back(std::move(*item));
      }
      result = Value(std::move(items));
    } else {
      std::vector<MetricDictionary::Entry> entries;
      entries.reserve(static_cast<std::size_t>(std::min<std::uint64_t>(o->count, remaining())));
      const bool listed =
          dictionaryEntries(*o, depth + 1, [&](std::uint64_t, std::string key, bool, std::uint64_t, Value value) {
            entries.emplace_back(std::move(key), std::move(value));
          });
      if (!listed) return std::nullopt;
      result = Value(MetricDictionary(std::move(entries)));
    }
    onPath_[index] = 0;
    return result;
  }

  const Layout& layout_;
  Status problem_;                    // why reading stopped
  std::vector<std::uint8_t> onPath_;  // objects on the way from the top to the one being read
  std::int64_t budget_;               // values still to be made
};

}  // namespace

Result<ParsedPlist> read(std::span<const std::uint8_t> bytes) {
  const Result<Layout> layout = Layout::open(bytes);
  if (!layout) return layout.status();
  return Reader(*layout, bytes.size()).readTop();
}

}  // namespace velmora::binary_plist
