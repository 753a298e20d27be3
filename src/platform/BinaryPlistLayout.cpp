#include "platform/BinaryPlistLayout.h"

#include <bit>
#include <cstring>
#include <string_view>

namespace velmora {

namespace {

constexpr std::string_view kMagic = "bplist00";

bool isValidWidth(std::size_t width) { return width >= 1 && width <= 8; }

}  // namespace

std::uint64_t BinaryPlistLayout::readUnsigned(std::span<const std::uint8_t> bytes, std::size_t width) {
  std::uint64_t v = 0;
  for (std::size_t i = 0; i < width; ++i) v = (v << 8) | bytes[i];
  return v;
}

double BinaryPlistLayout::readReal(std::span<const std::uint8_t> bytes) {
  if (bytes.size() == 4) return std::bit_cast<float>(static_cast<std::uint32_t>(readUnsigned(bytes, 4)));
  return std::bit_cast<double>(readUnsigned(bytes, 8));
}

std::optional<BinaryPlistLayout> BinaryPlistLayout::open(std::span<const std::uint8_t> bytes, std::string& problem) {
  if (bytes.size() < kHeaderSize + 1 + kTrailerSize) {
    problem = "binary property list is truncated";
    return std::nullopt;
  }
  if (std::memcmp(bytes.data(), kMagic.data(), kMagic.size()) != 0) {
    problem = "unsupported binary property list version";
    return std::nullopt;
  }
  const auto trailer = bytes.last(kTrailerSize);
  BinaryPlistLayout layout;
  layout.bytes_ = bytes;
  layout.offsetSize_ = trailer[6];
  layout.referenceSize_ = trailer[7];
  layout.objectCount_ = readUnsigned(trailer.subspan(8), 8);
  layout.topObject_ = readUnsigned(trailer.subspan(16), 8);
  const std::uint64_t tableOffset = readUnsigned(trailer.subspan(24), 8);
  const std::size_t tableLimit = bytes.size() - kTrailerSize;

  if (!isValidWidth(layout.offsetSize_) || !isValidWidth(layout.referenceSize_)) {
    problem = "binary property list trailer has invalid integer sizes";
  } else if (layout.objectCount_ == 0 || layout.topObject_ >= layout.objectCount_) {
    problem = "binary property list trailer names no top object";
  } else if (tableOffset <= kHeaderSize || tableOffset > tableLimit ||
             layout.objectCount_ > (tableLimit - tableOffset) / layout.offsetSize_) {
    problem = "binary property list offset table lies outside the file";
  } else {
    layout.offsetTable_ = static_cast<std::size_t>(tableOffset);
    return layout;
  }
  return std::nullopt;
}

std::optional<BinaryPlistLayout::Object> BinaryPlistLayout::object(std::uint64_t index, std::string& problem) const {
  if (index >= objectCount_) {
    problem = "binary property list refers to an object that does not exist";
    return std::nullopt;
  }
  const std::size_t start = static_cast<std::size_t>(
      readUnsigned(bytes_.subspan(offsetTable_ + static_cast<std::size_t>(index) * offsetSize_), offsetSize_));
  const std::size_t end = offsetTable_;
  if (start < kHeaderSize || start >= end) {
    problem = "binary property list object lies outside the object area";
    return std::nullopt;
  }

  Object o;
  const std::uint8_t marker = bytes_[start];
  o.type = static_cast<Type>(marker >> 4);
  o.info = marker & 0x0F;
  std::size_t cursor = start + 1;

  // Containers, strings and data carry a count: in the low nibble, or when it
  // is 0xF in a following integer object of 1, 2, 4 or 8 bytes.
  auto readCount = [&]() -> bool {
    if (o.info != 0x0F) {
      o.count = o.info;
      return true;
    }
    if (cursor >= end) return false;
    const std::uint8_t countMarker = bytes_[cursor++];
    if ((countMarker >> 4) != 0x1 || (countMarker & 0x0F) > 3) return false;
    const std::size_t width = std::size_t{1} << (countMarker & 0x0F);
    if (end - cursor < width) return false;
    o.count = readUnsigned(bytes_.subspan(cursor), width);
    cursor += width;
    return true;
  };
  // Sets the payload to `units` items of `unitSize` bytes, if they fit.
  auto setPayload = [&](std::uint64_t units, std::size_t unitSize) -> bool {
    if (units > (end - cursor) / unitSize) return false;
    o.payload = cursor;
    o.payloadSize = static_cast<std::size_t>(units) * unitSize;
    return true;
  };

  bool ok = false;
  switch (o.type) {
    case Type::kSimple:
      ok = o.info == 0x0 || o.info == 0x8 || o.info == 0x9 || o.info == 0xF;
      o.payload = cursor;
      break;
    case Type::kInteger:
      ok = o.info <= 4 && setPayload(std::uint64_t{1} << o.info, 1);
      break;
    case Type::kReal:
      ok = (o.info == 2 || o.info == 3) && setPayload(std::uint64_t{1} << o.info, 1);
      break;
    case Type::kDate:
      ok = o.info == 3 && setPayload(8, 1);
      break;
    case Type::kData:
    case Type::kAsciiString:
      ok = readCount() && setPayload(o.count, 1);
      break;
    case Type::kUtf16String:
      ok = readCount() && setPayload(o.count, 2);
      break;
    case Type::kUid:
      ok = setPayload(std::uint64_t{o.info} + 1, 1);
      break;
    case Type::kArray:
      ok = readCount() && setPayload(o.count, referenceSize_);
      o.references = o.count;
      break;
    case Type::kDictionary:
      ok = readCount() && o.count <= UINT64_MAX / 2 && setPayload(o.count * 2, referenceSize_);
      o.references = o.count * 2;
      break;
    case Type::kSet:
      problem = "binary property list holds a set, which the store does not support";
      return std::nullopt;
    default:
      break;
  }
  if (!ok) {
    problem = "binary property list has a malformed or truncated object";
    return std::nullopt;
  }
  return o;
}

std::uint64_t BinaryPlistLayout::reference(const Object& object, std::uint64_t i) const {
  return readUnsigned(bytes_.subspan(object.payload + static_cast<std::size_t>(i) * referenceSize_), referenceSize_);
}

std::array<std::uint8_t, 50> BinaryPlistLayout::singleDate(double referenceSeconds) {
  std::array<std::uint8_t, 50> b{};
  std::memcpy(b.data(), kMagic.data(), kMagic.size());
  b[8] = 0x33;  // a date: an 8-byte real
  const auto bits = std::bit_cast<std::uint64_t>(referenceSeconds);
  for (int i = 0; i < 8; ++i) b[9 + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(bits >> (56 - 8 * i));
  b[17] = 8;  // the offset table: one 1-byte offset, to the date
  // Trailer: 1-byte offsets and references, one object, top object 0, offset table at 17.
  b[18 + 6] = 1;
  b[18 + 7] = 1;
  b[18 + 15] = 1;
  b[18 + 31] = 17;
  return b;
}

}  // namespace velmora
