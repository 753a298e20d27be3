// The binary property-list reader and writer, on any bytes that start as a
// binary list does (see PlistChecks.h for what is checked).
#include "FuzzSupport.h"
#include "PlistChecks.h"
#include "store/BinaryPlist.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span<const std::uint8_t> bytes(data, size);
  if (!velmora::binary_plist::looksBinary(bytes)) return -1;  // the XML target's
  velmora::fuzz::checkPropertyList(bytes, velmora::PlistFormat::Binary);
  return 0;
}
