#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/PropertyList.h"

namespace velmora {

// What the guard found in bytes about to be handed to the property-list
// library. The library trusts its input's shape: it recurses once per level
// of nesting (and overflows the stack on a few thousand levels), follows
// binary object references without noticing cycles, and copies a shared
// object once for every reference to it. So before it sees anything:
//
// - XML: a scan of the markup (comments, processing instructions, CDATA and
//   the document type skipped as the parser skips them) rejects nesting
//   deeper than kMaxPlistDepth containers and tags that do not pair up;
// - binary: an iterative walk of the object references from the top object
//   rejects references out of range, cycles, malformed objects, dictionary
//   keys that are not strings or hold a NUL (on which the library aborts),
//   nesting deeper than kMaxPlistDepth, and
//   sharing that would expand to far more objects than the file holds.
struct PlistScreening {
  std::string problem;  // empty when the bytes are safe to parse
  // XML only, and only when needed: the bytes with integers beyond the signed
  // 64-bit range replaced by the nearest bound, which the library would
  // otherwise wrap around (it reads -99999999999999999999 as 1).
  std::vector<std::uint8_t> rewritten;
};

PlistScreening screenPropertyList(std::span<const std::uint8_t> bytes, PlistFormat format);

// How many nodes a binary file may expand to through shared references, per
// byte of the file (plus a small allowance). A file without shared
// containers never exceeds one node per byte.
inline constexpr std::uint64_t kMaxExpansionPerByte = 4;

}  // namespace velmora
