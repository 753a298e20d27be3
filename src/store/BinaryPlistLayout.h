#pragma once

// Where the objects of a binary property list lie, checked against its
// bytes: the trailer opened, each object's marker, count and payload found
// inside the object area. The reader builds values from what it finds; the
// writer copies objects of a file it read, object for object.
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "values/Status.h"

namespace velmora::binary_plist {

inline constexpr std::string_view kMagic = "bplist00";
inline constexpr std::size_t kHeaderSize = 8;
inline constexpr std::size_t kTrailerSize = 32;

// The high nibble of an object's marker byte.
enum Type : std::uint8_t {
  kSimple = 0x0,  // null, false, true
  kInteger = 0x1,
  kReal = 0x2,
  kDate = 0x3,
  kData = 0x4,
  kAsciiString = 0x5,
  kUtf16String = 0x6,
  kUid = 0x8,
  kArray = 0xA,
  kDictionary = 0xD,
};
inline constexpr std::uint8_t kNull = 0x00, kFalse = 0x08, kTrue = 0x09;

// The big-endian unsigned number in the `width` bytes at `p`.
inline std::uint64_t readUnsigned(const std::uint8_t* p, std::size_t width) {
  std::uint64_t v = 0;
  for (std::size_t i = 0; i < width; ++i) v = (v << 8) | p[i];
  return v;
}

struct Object {
  std::uint8_t type = kSimple;
  std::uint8_t info = 0;         // the low nibble of the marker
  std::uint64_t count = 0;       // elements of a container, bytes or UTF-16 units of a scalar
  std::size_t start = 0;         // the marker
  std::size_t payload = 0;       // the bytes after the marker and count
  std::size_t end = 0;           // just past the object
  std::uint64_t references = 0;  // object references in the payload (a dictionary: keys, then values)
  bool isContainer() const { return type == kArray || type == kDictionary; }
};

// A view of a file's bytes, which must outlive it.
class Layout {
 public:
  // The failure says why when the header or trailer is malformed.
  static Result<Layout> open(std::span<const std::uint8_t> bytes);

  std::uint64_t objectCount() const { return objectCount_; }
  std::uint64_t topObject() const { return topObject_; }
  const std::uint8_t* at(std::size_t offset) const { return bytes_.data() + offset; }

  // Object `index`, checked to lie wholly in the object area.
  Result<Object> object(std::uint64_t index) const;

  // The object number of reference `i` in the payload of container `o`.
  std::uint64_t reference(const Object& o, std::uint64_t i) const {
    return readUnsigned(at(o.payload + static_cast<std::size_t>(i) * referenceSize_), referenceSize_);
  }

 private:
  Layout() = default;

  std::span<const std::uint8_t> bytes_;
  std::size_t offsetSize_ = 0, referenceSize_ = 0;
  std::uint64_t objectCount_ = 0, topObject_ = 0;
  std::size_t table_ = 0;
};

}  // namespace velmora::binary_plist
