#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "values/Colour.h"
#include "values/Date.h"

namespace velmora {

class Image;
class Value;
class MetricDictionary;

using ImageRef = std::shared_ptr<const Image>;
using Array = std::vector<Value>;

// Raw bytes of a property-list <data> value.
struct Data {
  std::vector<std::uint8_t> bytes;
  friend bool operator==(const Data&, const Data&) = default;
};

// A keyed archive's object reference, which binary property lists hold.
struct Uid {
  std::uint64_t number = 0;
  friend bool operator==(const Uid&, const Uid&) = default;
};

// An integer beyond the signed 64-bit range (a binary property list holds
// unsigned 64-bit and 128-bit integers, XML any number of digits), as its
// decimal digits with a leading "-" when negative.
struct WideInteger {
  std::string digits;
  friend bool operator==(const WideInteger&, const WideInteger&) = default;
};

// One value of a store, a record or a display dictionary. Values are
// immutable and cheap to copy: arrays, dictionaries and images are shared.
//
// The readers floatValue/integerValue/intValue/boolValue/doubleValue are as
// lenient as the platform's: a number converts, a text gives its leading
// number (else 0), and a kind with no such reading gives 0 or false.
class Value {
 public:
  enum class Kind {
    kFloat,
    kInteger,
    kDouble,
    kBoolean,
    kText,
    kDate,
    kData,
    kColour,
    kImage,
    kArray,
    kDictionary,
    // Kinds only files written by others hold; they read as 0 or nothing.
    kNull,
    kUid,
    kWideInteger,
  };

  // Numbers are made through named factories so that 7, 7.0f and true never
  // silently pick the wrong kind.
  static Value number(float v) { return Value(Storage(std::in_place_index<0>, v)); }
  static Value integer(std::int64_t v) { return Value(Storage(std::in_place_index<1>, v)); }
  static Value real(double v) { return Value(Storage(std::in_place_index<2>, v)); }
  static Value boolean(bool v) { return Value(Storage(std::in_place_index<3>, v)); }
  static Value null() { return Value(Storage(std::in_place_index<11>, nullptr)); }
  static Value uid(std::uint64_t number) { return Value(Storage(std::in_place_index<12>, Uid{number})); }
  static Value wideInteger(std::string digits) {
    return Value(Storage(std::in_place_index<13>, WideInteger{std::move(digits)}));
  }

  Value(std::string text) : v_(std::in_place_index<4>, std::move(text)) {}
  Value(const char* text) : v_(std::in_place_index<4>, std::string(text)) {}
  Value(Date d) : v_(std::in_place_index<5>, d) {}
  Value(Data d) : v_(std::in_place_index<6>, std::move(d)) {}
  Value(Colour c) : v_(std::in_place_index<7>, c) {}
  Value(ImageRef image) : v_(std::in_place_index<8>, std::move(image)) {}
  Value(Array array);
  Value(MetricDictionary dictionary);

  Kind kind() const { return static_cast<Kind>(v_.index()); }
  bool isNumber() const;  // kFloat, kInteger, kDouble, kBoolean or kWideInteger

  // Typed access: nullptr when the value is of another kind.
  const std::string* text() const { return std::get_if<4>(&v_); }
  const Date* date() const { return std::get_if<5>(&v_); }
  const Data* data() const { return std::get_if<6>(&v_); }
  const Colour* colour() const { return std::get_if<7>(&v_); }
  const Uid* uid() const { return std::get_if<12>(&v_); }
  const WideInteger* wideInteger() const { return std::get_if<13>(&v_); }
  const Image* image() const;
  ImageRef imageRef() const;
  const Array* array() const;
  const MetricDictionary* dictionary() const;

  // Lenient readers.
  float floatValue() const;
  double doubleValue() const;
  std::int64_t integerValue() const;
  int intValue() const;
  bool boolValue() const;

  friend bool operator==(const Value& a, const Value& b);

 private:
  using Storage = std::variant<float, std::int64_t, double, bool, std::string, Date, Data, Colour, ImageRef,
                               std::shared_ptr<const Array>, std::shared_ptr<const MetricDictionary>, std::nullptr_t,
                               Uid, WideInteger>;
  explicit Value(Storage s) : v_(std::move(s)) {}
  Storage v_;
};

// The text-keyed dictionary every record and request operation returns, and
// the form of a store dictionary. Keys keep the order in which they were first
// set; setting a key again replaces its value in place. Setting "no value"
// removes the key, so a missing source value leaves its key absent; so does
// an image that could not be made. A date off the calendar (not a number,
// infinite, or outside the years 1 to 9999) counts as no value too: a computed
// date that names no moment leaves its key absent, so no record shows,
// publishes or caches one. A dictionary read from a file keeps whatever the
// file holds.
class MetricDictionary {
 public:
  using Entry = std::pair<std::string, Value>;

  MetricDictionary() = default;
  MetricDictionary(std::initializer_list<Entry> entries);
  // From entries in order, as setting them one by one would make them (a
  // repeated key keeps its first place and its last value), in linear time:
  // a store dictionary may hold thousands of keys.
  explicit MetricDictionary(std::vector<Entry> entries);

  const Value* objectForKey(std::string_view key) const;
  bool contains(std::string_view key) const { return objectForKey(key) != nullptr; }
  void setValue(std::string_view key, std::optional<Value> value);
  void setObject(std::string_view key, Value value) { setValue(key, std::move(value)); }
  void removeObjectForKey(std::string_view key);

  // Lenient lookups: an absent key reads as 0 / false / nothing.
  float floatForKey(std::string_view key) const;
  double doubleForKey(std::string_view key) const;
  std::int64_t integerForKey(std::string_view key) const;
  bool boolForKey(std::string_view key) const;
  const std::string* textForKey(std::string_view key) const;
  const Date* dateForKey(std::string_view key) const;
  const MetricDictionary* dictionaryForKey(std::string_view key) const;

  std::size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  auto begin() const { return entries_.begin(); }
  auto end() const { return entries_.end(); }

  friend bool operator==(const MetricDictionary&, const MetricDictionary&) = default;

 private:
  void assign(std::string_view key, Value value);

  std::vector<Entry> entries_;
};

}  // namespace velmora
