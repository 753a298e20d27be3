#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

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

  // Makes the block at least `bytes` long, keeping the pages it has (which
  // keep what they hold; the new ones are zero): a buffer that outgrows its
  // block faults in only what it adds. False, leaving the block as it was,
  // when the memory cannot be had, and for a block with huge pages in it
  // (the kernel moves a mapping only whole, and advice splits it).
  bool grow(std::size_t bytes);

 private:
  std::uint8_t* data_ = nullptr;
  std::size_t size_ = 0;
  void* mapping_ = nullptr;
  std::size_t mappingSize_ = 0;
};

// The pixel memory of images a run has let go, kept for its next images of
// the same size: clearing it again costs a tenth of faulting in fresh pages.
// A few blocks at most are kept; images may go on any thread.
class PixelPool {
 public:
  static constexpr std::size_t kKept = 2;

  // Zeroed memory of at least `bytes`: a kept block of that size, else a new one.
  std::unique_ptr<PixelMemory> take(std::size_t bytes);
  // Keeps `memory` for a later `take`, dropping the longest kept block when full.
  void giveBack(std::unique_ptr<PixelMemory> memory);
  // Lets go of every kept block, and keeps none from now on.
  void release();

 private:
  std::mutex mutex_;
  std::vector<std::unique_ptr<PixelMemory>> kept_;  // oldest first
  bool keeping_ = true;
};

}  // namespace velmora
