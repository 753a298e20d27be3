#include "store/BinaryPlist.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <string_view>
#include <unordered_map>

namespace velmora::binary_plist {

namespace {

constexpr std::string_view kMagic = "bplist00";
constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kTrailerSize = 32;

// The high nibble of an object's marker byte.
enum Type : std::uint8_t {
  kSimple = 0x0,  // null, false, true
  kInteger = 0x1,
  kReal = 0x2,
  kDate = 0x3,
  kData = 0x4,
  kAsciiString = 0x5,
  kUtf16String = 0x6,
  kUid = 0x8,
  kArray = 0xA,
  kDictionary = 0xD,
};
constexpr std::uint8_t kNull = 0x00, kFalse = 0x08, kTrue = 0x09;

std::uint64_t readUnsigned(const std::uint8_t* p, std::size_t width) {
  std::uint64_t v = 0;
  for (std::size_t i = 0; i < width; ++i) v = (v << 8) | p[i];
  return v;
}

void appendUnsigned(std::vector<std::uint8_t>& out, std::uint64_t v, std::size_t width) {
  for (std::size_t i = width; i-- > 0;) out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}

// The width (1, 2, 4 or 8 bytes) an unsigned number needs.
std::size_t widthFor(std::uint64_t v) {
  if (v <= 0xFF) return 1;
  if (v <= 0xFFFF) return 2;
  if (v <= 0xFFFFFFFF) return 4;
  return 8;
}

// ---- layout -------------------------------------------------------------------

struct Object {
  std::uint8_t type = kSimple;
  std::uint8_t info = 0;         // the low nibble of the marker
  std::uint64_t count = 0;       // elements of a container, bytes or UTF-16 units of a scalar
  std::size_t start = 0;         // the marker
  std::size_t payload = 0;       // the bytes after the marker and count
  std::size_t end = 0;           // just past the object
  std::uint64_t references = 0;  // object references in the payload (a dictionary: keys, then values)
  bool isContainer() const { return type == kArray || type == kDictionary; }
};

class Layout {
 public:
  // Nothing, with `problem` set, when the header or trailer is malformed.
  static std::optional<Layout> open(std::span<const std::uint8_t> bytes, std::string& problem) {
    if (bytes.size() < kHeaderSize + 1 + kTrailerSize) {
      problem = "binary property list is truncated";
      return std::nullopt;
    }
    if (std::memcmp(bytes.data(), kMagic.data(), kMagic.size()) != 0) {
      problem = "unsupported binary property list version";
      return std::nullopt;
    }
    const std::uint8_t* trailer = bytes.data() + bytes.size() - kTrailerSize;
    Layout layout;
    layout.bytes_ = bytes;
    layout.offsetSize_ = trailer[6];
    layout.referenceSize_ = trailer[7];
    layout.objectCount_ = readUnsigned(trailer + 8, 8);
    layout.topObject_ = readUnsigned(trailer + 16, 8);
    const std::uint64_t table = readUnsigned(trailer + 24, 8);
    const std::size_t tableLimit = bytes.size() - kTrailerSize;
    auto validWidth = [](std::size_t w) { return w >= 1 && w <= 8; };
    if (!validWidth(layout.offsetSize_) || !validWidth(layout.referenceSize_)) {
      problem = "binary property list trailer has invalid integer sizes";
    } else if (layout.objectCount_ == 0 || layout.topObject_ >= layout.objectCount_) {
      problem = "binary property list trailer names no top object";
    } else if (table <= kHeaderSize || table > tableLimit ||
               layout.objectCount_ > (tableLimit - table) / layout.offsetSize_) {
      problem = "binary property list offset table lies outside the file";
    } else {
      layout.table_ = static_cast<std::size_t>(table);
      return layout;
    }
    return std::nullopt;
  }

  std::uint64_t objectCount() const { return objectCount_; }
  std::uint64_t topObject() const { return topObject_; }
  const std::uint8_t* at(std::size_t offset) const { return bytes_.data() + offset; }

  // Object `index`, checked to lie wholly in the object area.
  std::optional<Object> object(std::uint64_t index, std::string& problem) const {
    if (index >= objectCount_) {
      problem = "binary property list refers to an object that does not exist";
      return std::nullopt;
    }
    const std::size_t limit = table_;  // the object area ends where the offset table begins
    Object o;
    o.start =
        static_cast<std::size_t>(readUnsigned(at(table_ + static_cast<std::size_t>(index) * offsetSize_), offsetSize_));
    if (o.start < kHeaderSize || o.start >= limit) {
      problem = "binary property list object lies outside the object area";
      return std::nullopt;
    }
    const std::uint8_t marker = bytes_[o.start];
    o.type = marker >> 4;
    o.info = marker & 0x0F;
    std::size_t cursor = o.start + 1;

    // Containers, strings and data carry a count: in the low nibble, or when
    // it is 0xF in a following integer object of 1, 2, 4 or 8 bytes.
    auto readCount = [&] {
      if (o.info != 0x0F) {
        o.count = o.info;
        return true;
      }
      if (cursor >= limit) return false;
      const std::uint8_t countMarker = bytes_[cursor++];
      if ((countMarker >> 4) != kInteger || (countMarker & 0x0F) > 3) return false;
      const std::size_t width = std::size_t{1} << (countMarker & 0x0F);
      if (limit - cursor < width) return false;
      o.count = readUnsigned(at(cursor), width);
      cursor += width;
      return true;
    };
    // The payload: `units` items of `unitSize` bytes, if they fit.
    auto payload = [&](std::uint64_t units, std::size_t unitSize) {
      if (units > (limit - cursor) / unitSize) return false;
      o.payload = cursor;
      o.end = cursor + static_cast<std::size_t>(units) * unitSize;
      return true;
    };

    bool ok = false;
    switch (o.type) {
      case kSimple:
        ok = (marker == kNull || marker == kFalse || marker == kTrue) && payload(0, 1);
        break;
      case kInteger:
        ok = o.info <= 4 && payload(std::uint64_t{1} << o.info, 1);
        break;
      case kReal:
        ok = (o.info == 2 || o.info == 3) && payload(std::uint64_t{1} << o.info, 1);
        break;
      case kDate:
        ok = o.info == 3 && payload(8, 1);
        break;
      case kData:
      case kAsciiString:
        ok = readCount() && payload(o.count, 1);
        break;
      case kUtf16String:
        ok = readCount() && payload(o.count, 2);
        break;
      case kUid:
        ok = o.info < 8 && payload(std::uint64_t{o.info} + 1, 1);  // up to 64 bits
        break;
      case kArray:
        ok = readCount() && payload(o.count, referenceSize_);
        o.references = o.count;
        break;
      case kDictionary:
        ok = readCount() && o.count <= std::numeric_limits<std::uint64_t>::max() / 2 &&
             payload(o.count * 2, referenceSize_);
        o.references = o.count * 2;
        break;
      default:
        problem = "binary property list holds an object of a kind the store does not read (marker " +
                  std::to_string(marker) + ")";
        return std::nullopt;
    }
    if (!ok) {
      problem = "binary property list has a malformed or truncated object";
      return std::nullopt;
    }
    return o;
  }

  std::uint64_t reference(const Object& o, std::uint64_t i) const {
    return readUnsigned(at(o.payload + static_cast<std::size_t>(i) * referenceSize_), referenceSize_);
  }

 private:
  std::span<const std::uint8_t> bytes_;
  std::size_t offsetSize_ = 0, referenceSize_ = 0;
  std::uint64_t objectCount_ = 0, topObject_ = 0;
  std::size_t table_ = 0;
};

// ---- reading ----------------------------------------------------------------------

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

class Reader {
 public:
  Reader(const Layout& layout, std::size_t fileSize)
      : layout_(layout),
        onPath_(static_cast<std::size_t>(layout.objectCount()), 0),
        budget_(static_cast<std::int64_t>(valueBudget(fileSize))) {}

  ParsedPlist readTop() {
    ParsedPlist result;
    const std::uint64_t top = layout_.topObject();
    const auto o = layout_.object(top, problem_);
    if (o && o->type == kDictionary) {
      result.isDictionary = true;
      onPath_[top] = 1;
      if (!dictionaryEntries(
              *o, 1, [&](std::uint64_t keyIndex, std::string key, bool exact, std::uint64_t valueIndex, Value value) {
                result.entries.push_back({std::move(key), exact, std::move(value), EntrySource{keyIndex, valueIndex}});
              }))
        return failed();
    } else if (o) {
      result.value = read(top, 0);
      if (!result.value) return failed();
    } else {
      return failed();
    }
    return result;
  }

 private:
  ParsedPlist failed() {
    ParsedPlist result;
    result.error = std::move(problem_);
    return result;
  }

  std::uint64_t remaining() const { return budget_ > 0 ? static_cast<std::uint64_t>(budget_) : 0; }

  bool spend() {
    if (budget_-- > 0) return true;
    problem_ = "binary property list shares objects so often that it would expand beyond its size";
    return false;
  }

  // Calls visit(keyIndex, key, exactKey, valueIndex, value) for each entry.
  template <typename Visit>
  bool dictionaryEntries(const Object& o, int depth, Visit&& visit) {
    for (std::uint64_t i = 0; i < o.count; ++i) {
      const std::uint64_t keyIndex = layout_.reference(o, i);
      const std::uint64_t valueIndex = layout_.reference(o, o.count + i);
      const auto key = layout_.object(keyIndex, problem_);
      if (!key) return false;
      if (key->type != kAsciiString && key->type != kUtf16String) {
        problem_ = "binary property list has a dictionary key that is not a string";
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

  // The value of object `index`, `depth` containers down. The recursion is
  // no deeper than kMaxPlistDepth.
  std::optional<Value> read(std::uint64_t index, int depth) {
    if (!spend()) return std::nullopt;
    const auto o = layout_.object(index, problem_);
    if (!o) return std::nullopt;
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
    if (depth == kMaxPlistDepth) {
      problem_ = "nested deeper than " + std::to_string(kMaxPlistDepth) + " levels";
      return std::nullopt;
    }
    if (onPath_[index]) {
      problem_ = "binary property list contains a reference cycle";
      return std::nullopt;
    }
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
      const bool ok =
          dictionaryEntries(*o, depth + 1, [&](std::uint64_t, std::string key, bool, std::uint64_t, Value value) {
            entries.emplace_back(std::move(key), std::move(value));
          });
      if (!ok) return std::nullopt;
      result = Value(MetricDictionary(std::move(entries)));
    }
    onPath_[index] = 0;
    return result;
  }

  const Layout& layout_;
  std::vector<std::uint8_t> onPath_;  // objects on the way from the top to the one being read
  std::int64_t budget_;               // values still to be made
  std::string problem_;
};

// ---- writing --------------------------------------------------------------------

// Collects the objects of the new file in order, then writes them. An
// object is a value to encode, a text (keys and strings, each written once),
// or an object of the source file copied as it is; containers list the
// numbers of their elements in `refs_`.
class Writer {
 public:
  explicit Writer(const Layout* source = nullptr) : source_(source) {
    if (source_) fromSource_.assign(static_cast<std::size_t>(source_->objectCount()), kUnplaced);
  }

  std::uint32_t add(const Value& value) {
    switch (value.kind()) {
      case Value::Kind::kText:
        return addText(*value.text());
      case Value::Kind::kArray: {
        const Array& items = *value.array();
        const std::uint32_t index = push({Item::kValue, &value, {}, 0, 0, 0});
        const std::size_t refs = reserveRefs(index, items.size());
        for (std::size_t i = 0; i < items.size(); ++i) refs_[refs + i] = add(items[i]);
        return index;
      }
      case Value::Kind::kDictionary: {
        const MetricDictionary& dict = *value.dictionary();
        const std::uint32_t index = push({Item::kValue, &value, {}, 0, 0, 0});
        const std::size_t refs = reserveRefs(index, 2 * dict.size());
        std::size_t i = 0;
        for (const auto& [key, item] : dict) refs_[refs + i++] = addText(key);
        for (const auto& entry : dict) refs_[refs + i++] = add(entry.second);
        return index;
      }
      default: {
        // Equal scalars are written once, as other writers do: a year of
        // nightly records repeats the same numbers many times.
        const std::optional<ScalarKey> key = scalarKey(value);
        if (!key) return push({Item::kValue, &value, {}, 0, 0, 0});
        const auto [it, added] = scalars_.try_emplace(*key, 0);
        if (added) it->second = push({Item::kValue, &value, {}, 0, 0, 0});
        return it->second;
      }
    }
  }

  // The top-level dictionary of `entries`.
  std::uint32_t addEntries(const std::vector<PlistEntry>& entries, std::vector<EntrySource>& placed) {
    const std::uint32_t index = push({Item::kTopDictionary, nullptr, {}, 0, 0, 0});
    const std::size_t refs = reserveRefs(index, 2 * entries.size());
    placed.resize(entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i) {
      const PlistEntry& e = entries[i];
      const std::uint32_t key = e.source ? addSource(e.source->first) : addText(e.key);
      const std::uint32_t value = e.source ? addSource(e.source->second) : add(e.value);
      refs_[refs + i] = key;
      refs_[refs + entries.size() + i] = value;
      placed[i] = {key, value};
    }
    return index;
  }

  std::vector<std::uint8_t> finish(std::size_t sizeHint) {
    const std::size_t referenceSize = widthFor(items_.size() - 1);
    std::vector<std::uint8_t> out(kMagic.begin(), kMagic.end());
    out.reserve(sizeHint + sizeHint / 8 + 64);
    std::vector<std::uint64_t> offsets;
    offsets.reserve(items_.size());
    for (const Item& item : items_) {
      offsets.push_back(out.size());
      encode(item, referenceSize, out);
    }
    const std::uint64_t table = out.size();
    const std::size_t offsetSize = widthFor(offsets.back());
    for (std::uint64_t offset : offsets) appendUnsigned(out, offset, offsetSize);
    out.insert(out.end(), 6, 0);  // unused, and the sort version
    out.push_back(static_cast<std::uint8_t>(offsetSize));
    out.push_back(static_cast<std::uint8_t>(referenceSize));
    appendUnsigned(out, items_.size(), 8);
    appendUnsigned(out, 0, 8);  // the top object comes first
    appendUnsigned(out, table, 8);
    return out;
  }

 private:
  static constexpr std::uint32_t kUnplaced = std::numeric_limits<std::uint32_t>::max();

  // A scalar by its kind and bits (a real and a date of equal bits differ).
  struct ScalarKey {
    Value::Kind kind;
    std::uint64_t bits;
    friend bool operator==(const ScalarKey&, const ScalarKey&) = default;
  };
  struct ScalarHash {
    std::size_t operator()(const ScalarKey& k) const {
      return std::hash<std::uint64_t>()(k.bits * 31 + static_cast<std::uint64_t>(k.kind));
    }
  };
  static std::optional<ScalarKey> scalarKey(const Value& value) {
    switch (value.kind()) {
      case Value::Kind::kInteger:
        return ScalarKey{Value::Kind::kInteger, static_cast<std::uint64_t>(value.integerValue())};
      case Value::Kind::kFloat:
      case Value::Kind::kDouble:
        return ScalarKey{Value::Kind::kDouble, std::bit_cast<std::uint64_t>(value.doubleValue())};
      case Value::Kind::kDate:
        return ScalarKey{Value::Kind::kDate, std::bit_cast<std::uint64_t>(value.date()->referenceSeconds())};
      case Value::Kind::kBoolean:
        return ScalarKey{Value::Kind::kBoolean, value.boolValue() ? 1u : 0u};
      default:
        return std::nullopt;
    }
  }

  struct Item {
    enum Kind : std::uint8_t { kValue, kText, kSource, kTopDictionary } kind;
    const Value* value;
    std::string_view text;
    std::uint64_t source;  // the object number in the source file
    std::uint32_t refs, refCount;
  };

  std::uint32_t push(Item item) {
    items_.push_back(item);
    return static_cast<std::uint32_t>(items_.size() - 1);
  }

  std::size_t reserveRefs(std::uint32_t index, std::size_t count) {
    const std::size_t begin = refs_.size();
    items_[index].refs = static_cast<std::uint32_t>(begin);
    items_[index].refCount = static_cast<std::uint32_t>(count);
    refs_.resize(begin + count);
    return begin;
  }

  std::uint32_t addText(std::string_view text) {
    const auto [it, added] = texts_.try_emplace(text, 0);
    if (added) it->second = push({Item::kText, nullptr, text, 0, 0, 0});
    return it->second;
  }

  // Object `old` of the source and everything it refers to, each object
  // once however often it is referred to. The source was read through
  // Reader, so its objects are well formed, acyclic and nested no deeper
  // than kMaxPlistDepth.
  std::uint32_t addSource(std::uint64_t old) {
    std::uint32_t& placed = fromSource_[static_cast<std::size_t>(old)];
    if (placed != kUnplaced) return placed;
    std::string problem;
    const Object o = *source_->object(old, problem);
    const std::uint32_t index = push({Item::kSource, nullptr, {}, old, 0, 0});
    fromSource_[static_cast<std::size_t>(old)] = index;
    if (o.isContainer()) {
      const std::size_t refs = reserveRefs(index, static_cast<std::size_t>(o.references));
      for (std::uint64_t i = 0; i < o.references; ++i)
        refs_[refs + static_cast<std::size_t>(i)] = addSource(source_->reference(o, i));
    }
    return index;
  }

  static void header(std::uint8_t type, std::uint64_t count, std::vector<std::uint8_t>& out) {
    if (count < 0x0F) {
      out.push_back(static_cast<std::uint8_t>(type << 4 | count));
      return;
    }
    out.push_back(static_cast<std::uint8_t>(type << 4 | 0x0F));
    const std::size_t width = widthFor(count);
    out.push_back(static_cast<std::uint8_t>(kInteger << 4 | std::countr_zero(width)));
    appendUnsigned(out, count, width);
  }

  void container(std::uint8_t type, const Item& item, std::size_t referenceSize, std::vector<std::uint8_t>& out) const {
    header(type, type == kDictionary ? item.refCount / 2 : item.refCount, out);
    for (std::uint32_t i = 0; i < item.refCount; ++i) appendUnsigned(out, refs_[item.refs + i], referenceSize);
  }

  static void text(std::string_view text, std::vector<std::uint8_t>& out) {
    const bool ascii =
        std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (ascii) {
      header(kAsciiString, text.size(), out);
      out.insert(out.end(), text.begin(), text.end());
      return;
    }
    // UTF-16, big-endian; the text is valid UTF-8 (the store refuses any other).
    std::vector<std::uint16_t> units;
    units.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
      const auto lead = static_cast<unsigned char>(text[i]);
      const int length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
      char32_t c = length == 1 ? lead : lead & (0x3F >> (length - 1));
      for (int k = 1; k < length; ++k) c = (c << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3F);
      i += static_cast<std::size_t>(length);
      if (c >= 0x10000) {
        units.push_back(static_cast<std::uint16_t>(0xD800 + ((c - 0x10000) >> 10)));
        units.push_back(static_cast<std::uint16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
      } else {
        units.push_back(static_cast<std::uint16_t>(c));
      }
    }
    header(kUtf16String, units.size(), out);
    for (std::uint16_t unit : units) appendUnsigned(out, unit, 2);
  }

  void encode(const Item& item, std::size_t referenceSize, std::vector<std::uint8_t>& out) const {
    switch (item.kind) {
      case Item::kText:
        return text(item.text, out);
      case Item::kTopDictionary:
        return container(kDictionary, item, referenceSize, out);
      case Item::kSource: {
        std::string problem;
        const Object o = *source_->object(item.source, problem);
        if (o.isContainer()) return container(o.type, item, referenceSize, out);
        out.insert(out.end(), source_->at(o.start), source_->at(o.end));  // as it was, byte for byte
        return;
      }
      case Item::kValue:
        break;
    }
    const Value& value = *item.value;
    switch (value.kind()) {
      case Value::Kind::kBoolean:
        out.push_back(value.boolValue() ? kTrue : kFalse);
        return;
      case Value::Kind::kNull:
        out.push_back(kNull);
        return;
      case Value::Kind::kInteger: {
        const std::int64_t v = value.integerValue();
        // Non-negative numbers in the fewest bytes, unsigned; negative ones in eight.
        const std::size_t width = v < 0 ? 8 : widthFor(static_cast<std::uint64_t>(v));
        out.push_back(static_cast<std::uint8_t>(kInteger << 4 | std::countr_zero(width)));
        appendUnsigned(out, static_cast<std::uint64_t>(v), width);
        return;
      }
      case Value::Kind::kWideInteger: {
        const Int128 v = int128FromDigits(value.wideInteger()->digits).value_or(0);  // checked before
        const auto bits = static_cast<UInt128>(v);
        out.push_back(kInteger << 4 | 4);
        appendUnsigned(out, static_cast<std::uint64_t>(bits >> 64), 8);
        appendUnsigned(out, static_cast<std::uint64_t>(bits), 8);
        return;
      }
      case Value::Kind::kFloat:
      case Value::Kind::kDouble:
        out.push_back(kReal << 4 | 3);
        appendUnsigned(out, std::bit_cast<std::uint64_t>(value.doubleValue()), 8);
        return;
      case Value::Kind::kDate:
        out.push_back(kDate << 4 | 3);
        appendUnsigned(out, std::bit_cast<std::uint64_t>(value.date()->referenceSeconds()), 8);
        return;
      case Value::Kind::kData: {
        const auto& bytes = value.data()->bytes;
        header(kData, bytes.size(), out);
        out.insert(out.end(), bytes.begin(), bytes.end());
        return;
      }
      case Value::Kind::kUid: {
        const std::uint64_t number = value.uid()->number;
        const std::size_t width = widthFor(number);
        out.push_back(static_cast<std::uint8_t>(kUid << 4 | (width - 1)));
        appendUnsigned(out, number, width);
        return;
      }
      case Value::Kind::kArray:
        return container(kArray, item, referenceSize, out);
      case Value::Kind::kDictionary:
        return container(kDictionary, item, referenceSize, out);
      case Value::Kind::kText:  // texts are kText items
      case Value::Kind::kColour:
      case Value::Kind::kImage:
        break;
    }
  }

  const Layout* source_;
  std::vector<Item> items_;
  std::vector<std::uint32_t> refs_;
  std::vector<std::uint32_t> fromSource_;  // new number of each source object placed so far
  std::unordered_map<std::string_view, std::uint32_t> texts_;
  std::unordered_map<ScalarKey, std::uint32_t, ScalarHash> scalars_;
};

}  // namespace

ParsedPlist read(std::span<const std::uint8_t> bytes) {
  ParsedPlist result;
  const auto layout = Layout::open(bytes, result.error);
  if (!layout) return result;
  return Reader(*layout, bytes.size()).readTop();
}

std::vector<std::uint8_t> write(const Value& value) {
  Writer writer;
  writer.add(value);
  return writer.finish(256);
}

WrittenPlist write(const SourceFile& source, const std::vector<PlistEntry>& entries) {
  std::string problem;
  std::optional<Layout> layout;
  if (std::any_of(entries.begin(), entries.end(), [](const PlistEntry& e) { return e.source.has_value(); }))
    layout = Layout::open(source.bytes, problem);  // opened when read, so it opens again
  Writer writer(layout ? &*layout : nullptr);
  WrittenPlist written;
  writer.addEntries(entries, written.placed);
  written.bytes = writer.finish(source.bytes.size());
  return written;
}

}  // namespace velmora::binary_plist
