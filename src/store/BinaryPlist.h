#pragma once

// The binary property-list format ("bplist00"): a header, the objects, an
// offset table that says where each object starts, and a 32-byte trailer
// that says how wide offsets and object references are, how many objects
// there are, which one is the top and where the offset table lies.
#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

#include "store/PlistCodec.h"

namespace velmora::binary_plist {

inline bool looksBinary(std::span<const std::uint8_t> bytes) {
  static constexpr std::uint8_t kMagic[] = {'b', 'p', 'l', 'i', 's', 't'};
  return bytes.size() >= sizeof kMagic && std::equal(std::begin(kMagic), std::end(kMagic), bytes.begin());
}

// Reads every object reachable from the top one. Nothing in the file is
// trusted: every offset, count and reference is checked against the bytes,
// cycles and nesting deeper than kMaxPlistDepth are refused (so the
// reading recursion is never deeper), and a file that shares objects so
// often that it would expand beyond valueBudget is refused: the failure
// says why.
Result<ParsedPlist> read(std::span<const std::uint8_t> bytes);

// A file whose top level is `value` (in the store's written form).
std::vector<std::uint8_t> write(const Value& value);

// A file whose top level is a dictionary of `entries`, in their order: an
// entry with a source is copied object for object from `source`, the file
// it was read from (sharing kept), the others are written from their values.
// Linear in the size of the result.
WrittenPlist write(const SourceFile& source, const std::vector<PlistEntry>& entries);

}  // namespace velmora::binary_plist
