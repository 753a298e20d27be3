#pragma once

#include <cstdint>
#include <span>

#include "store/PropertyList.h"

namespace velmora::fuzz {

// Everything the store promises about a property-list file, checked on any
// bytes in `format`:
//  - reading never fails other than by saying why, and the document and the
//    plain reader agree on what the file holds;
//  - written back unchanged, the file reads as the same contents; with one
//    entry set and one removed, only those two change;
//  - any value read, written in either format, reads back as its stored form.
void checkPropertyList(std::span<const std::uint8_t> bytes, PlistFormat format);

}  // namespace velmora::fuzz
