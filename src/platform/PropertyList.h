#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/Value.h"

namespace velmora {

enum class PlistFormat { Binary, Xml };

struct PlistReadResult {
  std::optional<Value> value;  // empty when the bytes are not a property list we can safely read
  PlistFormat format = PlistFormat::Binary;
  std::string error;  // what is wrong, when value is empty
};

// Parses binary or XML property-list bytes. Input nested deeper than
// kMaxPlistDepth levels (or otherwise beyond what the property-list library
// handles safely) is rejected before the library sees it.
PlistReadResult parsePropertyList(std::span<const std::uint8_t> bytes);

// Serialises a value. Kinds a property list cannot hold (colours, images)
// are left out of dictionaries and arrays. Empty when the value itself has
// no property-list form or nests deeper than kMaxPlistDepth levels.
std::vector<std::uint8_t> serializePropertyList(const Value& value, PlistFormat format);

inline constexpr int kMaxPlistDepth = 512;

}  // namespace velmora
