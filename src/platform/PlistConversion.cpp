#include "platform/PlistConversion.h"

#include <unicode/unistr.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <unordered_map>
#include <unordered_set>

#include "platform/BinaryPlistLayout.h"

namespace velmora {

namespace {

// XML dates are whole seconds within the years 1 to 9999 (what the format's
// "yyyy-MM-ddTHH:mm:ssZ" text can say), counted from 2001-01-01.
constexpr double kFirstXmlDate = -63113904000.0;  // 0001-01-01T00:00:00Z
constexpr double kLastXmlDate = 252423993599.0;   // 9999-12-31T23:59:59Z

std::optional<double> xmlDateSeconds(double referenceSeconds) {
  if (std::isnan(referenceSeconds)) return std::nullopt;
  return std::clamp(std::floor(referenceSeconds), kFirstXmlDate, kLastXmlDate);
}

// The library takes texts as C strings, so a text ends at its first NUL.
std::string storedText(std::string_view text) { return validUtf8(text.substr(0, text.find('\0'))); }

bool fitsInt32(double seconds) {
  return seconds > std::numeric_limits<std::int32_t>::min() && seconds < std::numeric_limits<std::int32_t>::max();
}

struct FreeDeleter {
  void operator()(void* p) const { std::free(p); }
};

template <typename Visit>
void forEachArrayItem(plist_t array, Visit&& visit) {
  plist_array_iter raw = nullptr;
  plist_array_new_iter(array, &raw);
  std::unique_ptr<void, FreeDeleter> iter(raw);
  for (;;) {
    plist_t item = nullptr;
    plist_array_next_item(array, iter.get(), &item);
    if (!item) return;
    visit(item);
  }
}

// `visit(key, value)`; the key is fetched only when `withKeys`.
template <typename Visit>
void forEachDictItem(plist_t dict, bool withKeys, Visit&& visit) {
  plist_dict_iter raw = nullptr;
  plist_dict_new_iter(dict, &raw);
  std::unique_ptr<void, FreeDeleter> iter(raw);
  for (;;) {
    char* rawKey = nullptr;
    plist_t item = nullptr;
    plist_dict_next_item(dict, iter.get(), withKeys ? &rawKey : nullptr, &item);
    std::unique_ptr<char, FreeDeleter> key(rawKey);
    if (!item) return;
    visit(std::string_view(key ? key.get() : ""), item);
  }
}

// Reads a tree into values. The library's getters round two kinds: a date
// comes out as 32-bit whole seconds and truncated microseconds (so anything
// after 2069 or before 1933 is lost, and the last bits of every fraction),
// and an integer as 64 bits with no sign (so 2^64-1 and -1 look alike). The
// exact value is still in the node, and the library's binary writer puts it
// out bit for bit: all such nodes are copied into one array, written once,
// and their exact values read from that output.
class TreeReader {
 public:
  explicit TreeReader(PlistFormat source) : source_(source) {}

  std::optional<Value> read(plist_t root) {
    collectInexact(root);
    recoverExact();
    return convert(root);
  }

 private:
  void collectInexact(plist_t node) {
    switch (plist_get_node_type(node)) {
      case PLIST_DATE: {
        // XML dates are whole seconds: within 32 bits the getter is exact.
        std::int32_t seconds = 0, micros = 0;
        plist_get_date_val(node, &seconds, &micros);
        if (source_ == PlistFormat::Xml && micros == 0 && fitsInt32(seconds))
          dates_.emplace(node, seconds);
        else
          inexact_.push_back(node);
        break;
      }
      case PLIST_UINT: {
        // Only binary files carry unsigned integers; XML ones were already
        // brought into range by the guard.
        std::uint64_t u = 0;
        plist_get_uint_val(node, &u);
        if (source_ == PlistFormat::Binary && u > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
          inexact_.push_back(node);
        break;
      }
      case PLIST_ARRAY:
        forEachArrayItem(node, [&](plist_t item) { collectInexact(item); });
        break;
      case PLIST_DICT:
        forEachDictItem(node, false, [&](std::string_view, plist_t item) { collectInexact(item); });
        break;
      default:
        break;
    }
  }

  void recoverExact() {
    if (inexact_.empty()) return;
    PlistTree list(plist_new_array());
    for (plist_t node : inexact_) plist_array_append_item(list.get(), plist_copy(node));
    char* raw = nullptr;
    std::uint32_t length = 0;
    plist_to_bin(list.get(), &raw, &length);
    const std::unique_ptr<char, void (*)(char*)> owned(raw, plist_to_bin_free);
    if (!raw) return;

    std::string problem;
    const auto layout = BinaryPlistLayout::open(std::span(reinterpret_cast<const std::uint8_t*>(raw), length), problem);
    const auto top = layout ? layout->object(layout->topObject(), problem) : std::nullopt;
    if (!top || top->references != inexact_.size()) return;  // keep the getters' values
    for (std::size_t i = 0; i < inexact_.size(); ++i) {
      const auto item = layout->object(layout->reference(*top, i), problem);
      if (!item) continue;
      if (item->type == BinaryPlistLayout::Type::kDate)
        dates_[inexact_[i]] = BinaryPlistLayout::readReal(layout->payload(*item));
      else if (item->type == BinaryPlistLayout::Type::kInteger && item->payloadSize == 16)
        beyondInt64_.insert(inexact_[i]);  // written unsigned: above the signed range
    }
  }

  double dateSeconds(plist_t node) const {
    if (auto it = dates_.find(node); it != dates_.end()) return it->second;
    std::int32_t seconds = 0, micros = 0;
    plist_get_date_val(node, &seconds, &micros);
    const double fraction = micros / 1e6;
    return seconds < 0 ? seconds - fraction : seconds + fraction;
  }

  std::optional<Value> convert(plist_t node) const {
    switch (plist_get_node_type(node)) {
      case PLIST_BOOLEAN: {
        std::uint8_t b = 0;
        plist_get_bool_val(node, &b);
        return Value::boolean(b != 0);
      }
      case PLIST_UINT: {
        if (beyondInt64_.contains(node)) return Value::integer(std::numeric_limits<std::int64_t>::max());
        std::uint64_t u = 0;
        plist_get_uint_val(node, &u);
        return Value::integer(static_cast<std::int64_t>(u));
      }
      case PLIST_REAL: {
        double d = 0;
        plist_get_real_val(node, &d);
        return Value::real(d);
      }
      case PLIST_STRING: {
        std::uint64_t length = 0;
        const char* text = plist_get_string_ptr(node, &length);
        return Value(validUtf8(text ? std::string_view(text, length) : std::string_view()));
      }
      case PLIST_DATE:
        return Value(Date::fromReferenceSeconds(dateSeconds(node)));
      case PLIST_DATA: {
        std::uint64_t length = 0;
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(plist_get_data_ptr(node, &length));
        Data data;
        if (bytes) data.bytes.assign(bytes, bytes + length);
        return Value(std::move(data));
      }
      case PLIST_ARRAY: {
        Array items;
        items.reserve(plist_array_get_size(node));
        forEachArrayItem(node, [&](plist_t item) {
          if (auto value = convert(item)) items.push_back(std::move(*value));
        });
        return Value(std::move(items));
      }
      case PLIST_DICT: {
        std::vector<MetricDictionary::Entry> entries;
        entries.reserve(plist_dict_get_size(node));
        forEachDictItem(node, true, [&](std::string_view key, plist_t item) {
          if (auto value = convert(item)) entries.emplace_back(validUtf8(key), std::move(*value));
        });
        return Value(MetricDictionary(std::move(entries)));
      }
      default:
        return std::nullopt;  // keyed-archive UIDs: the store has no such kind
    }
  }

  PlistFormat source_;
  std::vector<plist_t> inexact_;
  std::unordered_map<plist_t, double> dates_;  // exact seconds since 2001
  std::unordered_set<plist_t> beyondInt64_;
};

// Builds a tree from values. Dates go in through a one-date binary property
// list parsed by the library, since its date constructor takes 32-bit whole
// seconds and microseconds and would round or wrap the value.
class TreeWriter {
 public:
  TreeWriter(PlistFormat target, std::vector<std::size_t>* negativeZeros)
      : target_(target), negativeZeros_(negativeZeros) {}

  plist_t node(const Value& value) {
    switch (value.kind()) {
      case Value::Kind::kFloat:
      case Value::Kind::kDouble:
        return real(value.doubleValue());
      case Value::Kind::kInteger:
        return plist_new_uint(static_cast<std::uint64_t>(value.integerValue()));
      case Value::Kind::kBoolean:
        return plist_new_bool(value.boolValue() ? 1 : 0);
      case Value::Kind::kText:
        return plist_new_string(storedText(*value.text()).c_str());
      case Value::Kind::kDate:
        return date(value.date()->referenceSeconds());
      case Value::Kind::kData: {
        const auto& bytes = value.data()->bytes;
        return plist_new_data(reinterpret_cast<const char*>(bytes.data()), bytes.size());
      }
      case Value::Kind::kArray: {
        plist_t array = plist_new_array();
        for (const Value& item : *value.array())
          if (plist_t child = node(item)) plist_array_append_item(array, child);
        return array;
      }
      case Value::Kind::kDictionary: {
        plist_t dict = plist_new_dict();
        for (const auto& [key, item] : *value.dictionary())
          if (plist_t child = node(item)) plist_dict_set_item(dict, storedText(key).c_str(), child);
        return dict;
      }
      case Value::Kind::kColour:
      case Value::Kind::kImage:
        break;
    }
    return nullptr;
  }

 private:
  plist_t real(double d) {
    if (target_ == PlistFormat::Xml) {
      if (d == 0.0 && std::signbit(d) && negativeZeros_) negativeZeros_->push_back(reals_);
      ++reals_;
    }
    return plist_new_real(d);
  }

  plist_t date(double referenceSeconds) const {
    double seconds = referenceSeconds;
    if (target_ == PlistFormat::Xml) {
      const auto whole = xmlDateSeconds(referenceSeconds);
      if (!whole) return nullptr;
      if (fitsInt32(*whole)) return plist_new_date(static_cast<std::int32_t>(*whole), 0);
      seconds = *whole;
    }
    const auto bytes = BinaryPlistLayout::singleDate(seconds);
    plist_t date = nullptr;
    plist_from_bin(reinterpret_cast<const char*>(bytes.data()), static_cast<std::uint32_t>(bytes.size()), &date);
    return date;
  }

  PlistFormat target_;
  std::vector<std::size_t>* negativeZeros_;
  std::size_t reals_ = 0;  // <real> elements so far, in document order
};

std::optional<Value> storedFormOf(const Value& value, PlistFormat format) {
  switch (value.kind()) {
    case Value::Kind::kFloat:
      return Value::real(value.doubleValue());
    case Value::Kind::kInteger:
    case Value::Kind::kDouble:
    case Value::Kind::kBoolean:
    case Value::Kind::kData:
      return value;
    case Value::Kind::kText:
      return Value(storedText(*value.text()));
    case Value::Kind::kDate: {
      const double seconds = value.date()->referenceSeconds();
      if (format == PlistFormat::Binary) return Value(Date::fromReferenceSeconds(seconds));
      const auto whole = xmlDateSeconds(seconds);
      if (!whole) return std::nullopt;
      return Value(Date::fromReferenceSeconds(*whole));
    }
    case Value::Kind::kArray: {
      Array items;
      for (const Value& item : *value.array())
        if (auto stored = storedFormOf(item, format)) items.push_back(std::move(*stored));
      return Value(std::move(items));
    }
    case Value::Kind::kDictionary: {
      std::vector<MetricDictionary::Entry> entries;
      for (const auto& [key, item] : *value.dictionary())
        if (auto stored = storedFormOf(item, format)) entries.emplace_back(storedText(key), std::move(*stored));
      return Value(MetricDictionary(std::move(entries)));
    }
    case Value::Kind::kColour:
    case Value::Kind::kImage:
      break;
  }
  return std::nullopt;
}

}  // namespace

std::optional<Value> valueFromTree(plist_t root, PlistFormat source) { return TreeReader(source).read(root); }

PlistTree treeFromValue(const Value& value, PlistFormat target, std::vector<std::size_t>* negativeZeros) {
  return PlistTree(TreeWriter(target, negativeZeros).node(value));
}

std::optional<Value> storedForm(const Value& value, PlistFormat format) {
  if (nestingDepth(value, kMaxPlistDepth) > kMaxPlistDepth) return std::nullopt;
  return storedFormOf(value, format);
}

int nestingDepth(const Value& value, int limit) {
  const Array* array = value.array();
  const MetricDictionary* dict = value.dictionary();
  if (!array && !dict) return 0;
  if (limit <= 0) return 1;
  int deepest = 0;
  auto deeper = [&](const Value& child) {
    deepest = std::max(deepest, nestingDepth(child, limit - 1));
    return deepest >= limit;  // this value already exceeds the limit: stop looking
  };
  if (array) {
    for (const Value& item : *array)
      if (deeper(item)) break;
  } else {
    for (const auto& entry : *dict)
      if (deeper(entry.second)) break;
  }
  return 1 + deepest;
}

std::string validUtf8(std::string_view text) {
  if (std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; }))
    return std::string(text);
  std::string valid;
  // (A text beyond 2 GiB, which no property list holds, is cut there.)
  const auto length = static_cast<std::int32_t>(std::min<std::size_t>(text.size(), INT32_MAX));
  icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), length)).toUTF8String(valid);
  return valid;
}

}  // namespace velmora
