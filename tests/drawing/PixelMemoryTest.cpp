#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "drawing/CoverageBuffer.h"
#include "drawing/PixelMemory.h"

namespace velmora {
namespace {

bool allZero(const std::uint8_t* bytes, std::size_t count) {
  return std::all_of(bytes, bytes + count, [](std::uint8_t b) { return b == 0; });
}

// A block grown keeps what it held and adds zeros, whether it stays where it is or has to move. A block of image
// size, with huge pages advised in it, may refuse to grow, and is then as it was.
TEST(PixelMemory, GrowsKeepingWhatItHolds) {
  for (const std::size_t first : {std::size_t{5000}, std::size_t{3} << 20}) {
    SCOPED_TRACE(first);
    PixelMemory memory(first);
    ASSERT_NE(memory.data(), nullptr);
    std::memset(memory.data(), 0x5a, first);
    PixelMemory neighbour(4096);  // likely where the block would grow into: it must move instead
    const bool grown = memory.grow(first * 2 + 123);
    EXPECT_TRUE(grown || first > (std::size_t{2} << 20));
    EXPECT_GE(memory.size(), grown ? first * 2 + 123 : first);
    EXPECT_TRUE(std::all_of(memory.data(), memory.data() + first, [](std::uint8_t b) { return b == 0x5a; }));
    if (grown) {
      EXPECT_TRUE(allZero(memory.data() + first, first + 123));
    }
    const std::uint8_t* before = memory.data();
    EXPECT_TRUE(memory.grow(first));  // never shrinks
    EXPECT_EQ(memory.data(), before);
  }
}

// A coverage buffer is zero after every resize, even when it grows into the memory it had and that memory was
// left written (a buffer that is forgotten rather than cleared).
TEST(PixelMemory, ACoverageBufferIsZeroAfterGrowing) {
  CoverageBuffer buffer;
  buffer.resize(100, 100);
  ASSERT_NE(buffer.data(), nullptr);
  std::memset(buffer.data(), 0xff, static_cast<std::size_t>(buffer.stride() * buffer.height()));
  buffer.forget();
  buffer.resize(300, 260);
  ASSERT_NE(buffer.data(), nullptr);
  EXPECT_TRUE(allZero(buffer.data(), static_cast<std::size_t>(buffer.stride() * buffer.height())));
}

}  // namespace
}  // namespace velmora
