#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "values/Status.h"
#include "values/Value.h"

namespace velmora::host {

// A value given to `defaults write` in the platform defaults tool's typed
// form: a type flag and its words ("-int 8", "-array a b", "-dict-add k v").
struct TypedValue {
  enum class Merge {
    kReplace,          // the key takes the value
    kAppendToArray,    // -array-add: the items go at the end of the key's array
    kAddToDictionary,  // -dict-add: the entries go into the key's dictionary
  };
  Merge merge = Merge::kReplace;
  Value value;
};

// Whether a word is one of the type flags (-string, -int, -integer, -float,
// -bool, -boolean, -date, -data, -array, -array-add, -dict, -dict-add).
bool isTypeFlag(std::string_view word);
// Those flags, in the order the platform's tool lists them.
std::vector<std::string> typeFlags();

// Reads the words of a typed value, the type flag first. The items of an
// array and the values of a dictionary are texts, unless a type flag of a
// single value stands before one ("-array -int 1 -int 2"). A failure names
// the flag and what is wrong.
Result<TypedValue> typedValue(std::span<const std::string> words);

// An integer from its decimal digits (an optional sign, then digits), as a
// preferences domain holds it: 64-bit signed, or unsigned up to 2^64 - 1.
// Nothing when the text is not such an integer or lies outside 64 bits.
std::optional<Value> integerFromDigits(std::string_view text);

// The first integer literal of a JSON text that no 64-bit integer holds
// ("99999999999999999999"), which JSON readers would quietly turn into a
// real; nothing when there is none.
std::optional<std::string> integerBeyond64Bits(std::string_view json);

// The message that refuses such an integer.
std::string beyond64BitsMessage(std::string_view digits);

}  // namespace velmora::host
