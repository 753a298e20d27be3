#pragma once

#include <cstddef>
#include <cstdint>

namespace velmora {

// Zero-filled memory for pixels, straight from the kernel and faulted in at
// once. A fresh image's first touches cost more than drawing it: drawing reads
// a page before writing it, which faults twice, and 4 KiB pages fault often.
// So a block of image size is populated for writing in one call, and the whole 2 MiB runs
// of a block of a few megabytes are aligned and advised as huge pages. Only
// whole huge pages are advised: rounding the rest up to one would cost as much
// memory as the tail of the image itself. Without huge pages or population it
// is ordinary zeroed memory.
class PixelMemory {
 public:
  explicit PixelMemory(std::size_t bytes);
  ~PixelMemory();
  PixelMemory(const PixelMemory&) = delete;
  PixelMemory& operator=(const PixelMemory&) = delete;

  // Null when the memory could not be had.
  std::uint8_t* data() const { return data_; }
  std::size_t size() const { return size_; }

 private:
  std::uint8_t* data_ = nullptr;
  std::size_t size_ = 0;
  void* mapping_ = nullptr;
  std::size_t mappingSize_ = 0;
};

}  // namespace velmora
