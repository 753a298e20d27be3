#include "store/BinaryPlistLayout.h"

#include <cstring>
#include <limits>
#include <string>

namespace velmora::binary_plist {

Result<Layout> Layout::open(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < kHeaderSize + 1 + kTrailerSize) return Status::failure("binary property list is truncated");
  if (std::memcmp(bytes.data(), kMagic.data(), kMagic.size()) != 0)
    return Status::failure("unsupported binary property list version");
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
  if (!validWidth(layout.offsetSize_) || !validWidth(layout.referenceSize_))
    return Status::failure("binary property list trailer has invalid integer sizes");
  if (layout.objectCount_ == 0 || layout.topObject_ >= layout.objectCount_)
    return Status::failure("binary property list trailer names no top object");
  if (table <= kHeaderSize || table > tableLimit || layout.objectCount_ > (tableLimit - table) / layout.offsetSize_)
    return Status::failure("binary property list offset table lies outside the file");
  layout.table_ = static_cast<std::size_t>(table);
  return layout;
}

Result<Object> Layout::object(std::uint64_t index) const {
  if (index >= objectCount_) return Status::failure("binary property list refers to an object that does not exist");
  const std::size_t limit = table_;  // the object area ends where the offset table begins
  Object o;
  o.start =
      static_cast<std::size_t>(readUnsigned(at(table_ + static_cast<std::size_t>(index) * offsetSize_), offsetSize_));
  if (o.start < kHeaderSize || o.start >= limit)
    return Status::failure("binary property list object lies outside the object area");
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
      return Status::failure("binary property list holds an object of a kind the store does not read (marker " +
                             std::to_string(marker) + ")");
  }
  if (!ok) return Status::failure("binary property list has a malformed or truncated object");
  return o;
}

}  // namespace velmora::binary_plist
