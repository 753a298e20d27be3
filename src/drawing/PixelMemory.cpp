#include "drawing/PixelMemory.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstring>

namespace velmora {

namespace {
constexpr std::size_t kHugePage = std::size_t{2} << 20;
constexpr std::size_t kPage = 4096;
// Larger blocks (far beyond any image of the app) come a page at a time, as
// touched, rather than all committed at once.
constexpr std::size_t kLargestPopulated = std::size_t{32} << 20;
#ifndef MADV_POPULATE_WRITE
constexpr int MADV_POPULATE_WRITE = 23;  // Linux 5.14; older kernels refuse it, which is no error
#endif

std::size_t roundUp(std::size_t n, std::size_t to) { return (n + to - 1) / to * to; }
}  // namespace

PixelMemory::PixelMemory(std::size_t bytes) {
  if (bytes == 0) return;
  const std::size_t size = roundUp(bytes, kPage);
  const std::size_t hugeRun = size / kHugePage * kHugePage;
  // Map one huge page more than needed so that an aligned run fits inside.
  const std::size_t mapped = hugeRun ? size + kHugePage : size;
  void* p = ::mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (p == MAP_FAILED) return;
  mapping_ = p;
  mappingSize_ = mapped;
  auto* start = static_cast<std::uint8_t*>(p);
  if (hugeRun) {
    const auto address = reinterpret_cast<std::uintptr_t>(start);
    start += roundUp(address, kHugePage) - address;
    ::madvise(start, hugeRun, MADV_HUGEPAGE);  // advice only: no huge pages is no error
  }
  if (size <= kLargestPopulated) ::madvise(start, size, MADV_POPULATE_WRITE);
  data_ = start;
  size_ = size;
}

bool PixelMemory::grow(std::size_t bytes) {
  if (!data_) return false;
  const std::size_t size = roundUp(bytes, kPage);
  if (size <= size_) return true;
  const std::size_t offset = static_cast<std::size_t>(data_ - static_cast<std::uint8_t*>(mapping_));
  const std::size_t mapped = offset + size;
  void* p = ::mremap(mapping_, mappingSize_, mapped, MREMAP_MAYMOVE);
  if (p == MAP_FAILED) return false;
  mapping_ = p;
  mappingSize_ = mapped;
  data_ = static_cast<std::uint8_t*>(p) + offset;
  if (size <= kLargestPopulated) ::madvise(data_ + size_, size - size_, MADV_POPULATE_WRITE);
  size_ = size;
  return true;
}

PixelMemory::~PixelMemory() {
  if (mapping_) ::munmap(mapping_, mappingSize_);
}

std::unique_ptr<PixelMemory> PixelPool::take(std::size_t bytes) {
  const std::size_t size = roundUp(bytes, kPage);
  std::unique_ptr<PixelMemory> memory;
  {
    std::lock_guard lock(mutex_);
    const auto it = std::find_if(kept_.begin(), kept_.end(), [size](const auto& m) { return m->size() == size; });
    if (it != kept_.end()) {
      memory = std::move(*it);
      kept_.erase(it);
    }
  }
  if (!memory) return std::make_unique<PixelMemory>(bytes);
  std::memset(memory->data(), 0, size);
  return memory;
}

void PixelPool::giveBack(std::unique_ptr<PixelMemory> memory) {
  if (!memory || !memory->data()) return;
  std::unique_ptr<PixelMemory> dropped;  // unmapped after the lock is let go
  std::lock_guard lock(mutex_);
  if (!keeping_) {
    dropped = std::move(memory);
    return;
  }
  if (kept_.size() == kKept) {
    dropped = std::move(kept_.front());
    kept_.erase(kept_.begin());
  }
  kept_.push_back(std::move(memory));
}

void PixelPool::release() {
  std::vector<std::unique_ptr<PixelMemory>> dropped;  // unmapped after the lock is let go
  std::lock_guard lock(mutex_);
  dropped.swap(kept_);
  keeping_ = false;
}

}  // namespace velmora
