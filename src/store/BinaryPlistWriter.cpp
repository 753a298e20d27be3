// Writing a binary property list: every object of the new file collected
// first, numbered in the order they are written, then encoded.
#include <algorithm>
#include <bit>
#include <limits>
#include <string_view>
#include <unordered_map>

#include "store/BinaryPlist.h"
#include "store/BinaryPlistLayout.h"

namespace velmora::binary_plist {

namespace {

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

// Collects the objects of the new file in order, then writes them. An
// object is a value to encode, a text (keys and strings, each written once),
// or an object of the source file copied as it is; containers list the
// numbers of their elements in `refs_`. The source layout, and the values
// added, must outlive the writer.
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
    const Object o = *source_->object(old);
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
        const Object o = *source_->object(item.source);
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

std::vector<std::uint8_t> write(const Value& value) {
  Writer writer;
  writer.add(value);
  return writer.finish(256);
}

WrittenPlist write(const SourceFile& source, const std::vector<PlistEntry>& entries) {
  std::optional<Layout> layout;
  if (std::any_of(entries.begin(), entries.end(), [](const PlistEntry& e) { return e.source.has_value(); }))
    layout = *Layout::open(source.bytes);  // opened when read, so it opens again
  Writer writer(layout ? &*layout : nullptr);
  WrittenPlist written;
  writer.addEntries(entries, written.placed);
  written.bytes = writer.finish(source.bytes.size());
  return written;
}

}  // namespace velmora::binary_plist
