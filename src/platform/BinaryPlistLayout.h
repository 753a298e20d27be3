#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace velmora {

// The layout of a binary property list ("bplist00"): a header, the objects,
// an offset table that says where each object starts, and a 32-byte trailer
// that says how big offsets and object references are, how many objects there
// are, which one is the top and where the offset table is.
//
// Every read is checked against the bytes, so a hostile file can be walked
// without trusting any count, offset or reference in it.
class BinaryPlistLayout {
 public:
  // The high nibble of an object's marker byte.
  enum class Type : std::uint8_t {
    kSimple = 0x0,  // null, false, true, fill
    kInteger = 0x1,
    kReal = 0x2,
    kDate = 0x3,
    kData = 0x4,
    kAsciiString = 0x5,
    kUtf16String = 0x6,
    kUid = 0x8,
    kArray = 0xA,
    kSet = 0xC,
    kDictionary = 0xD,
  };

  struct Object {
    Type type = Type::kSimple;
    std::uint8_t info = 0;         // the low nibble of the marker
    std::uint64_t count = 0;       // elements of a container, bytes or characters of a scalar
    std::size_t payload = 0;       // offset of the bytes after the header
    std::size_t payloadSize = 0;   // bytes of the payload
    std::uint64_t references = 0;  // object references in the payload (a dictionary: keys, then values)
    bool isContainer() const { return type == Type::kArray || type == Type::kDictionary; }
    bool isString() const { return type == Type::kAsciiString || type == Type::kUtf16String; }
  };

  // The layout, or nothing with `problem` saying what is malformed.
  static std::optional<BinaryPlistLayout> open(std::span<const std::uint8_t> bytes, std::string& problem);

  std::uint64_t objectCount() const { return objectCount_; }
  std::uint64_t topObject() const { return topObject_; }

  // The header of object `index`, checked to lie wholly in the object area;
  // nothing with `problem` set when it does not, or its marker is unknown.
  std::optional<Object> object(std::uint64_t index, std::string& problem) const;

  // The i-th object reference of a container (i < object.references).
  std::uint64_t reference(const Object& object, std::uint64_t i) const;

  std::span<const std::uint8_t> payload(const Object& object) const {
    return bytes_.subspan(object.payload, object.payloadSize);
  }

  static constexpr std::size_t kHeaderSize = 8;
  static constexpr std::size_t kTrailerSize = 32;

  // The smallest binary property list whose top object is one date, the
  // given seconds since 2001-01-01 exactly as they are.
  static std::array<std::uint8_t, 50> singleDate(double referenceSeconds);

  // Big-endian reads, as every number in the format is stored.
  static std::uint64_t readUnsigned(std::span<const std::uint8_t> bytes, std::size_t width);
  static double readReal(std::span<const std::uint8_t> bytes);  // 4 or 8 bytes

 private:
  BinaryPlistLayout() = default;

  std::span<const std::uint8_t> bytes_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::uint64_t objectCount_ = 0;
  std::uint64_t topObject_ = 0;
  std::size_t offsetTable_ = 0;  // also the end of the object area
};

}  // namespace velmora
