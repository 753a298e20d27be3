#pragma once

#include <cstddef>
#include <cstdint>

namespace velmora {

// Zero-filled memory for pixels, straight from the kernel. Blocks of a few
// megabytes are aligned to 2 MiB and advised as huge pages: the first touch of
// a fresh image's 4 KiB pages costs more than drawing it, a huge page a
// fraction of that. Without huge pages it is ordinary zeroed memory.
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
