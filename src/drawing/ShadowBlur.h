#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "drawing/CoverageBuffer.h"

namespace velmora {

// The blur of a drop shadow: a Gaussian of standard deviation sigma,
// approximated by three box blurs in each direction, each a running sum.
// Only the tiles a blur can reach from the used tiles of the coverage are
// worked on; the scratch storage stays with the object for the next shadow.
class ShadowBlur {
 public:
  // Width of each of the three boxes: floor(sigma · 3·√(2π)/4 + 0.5), at most 250.
  static int boxWidth(double sigma);
  // How many pixels beyond the coverage the three boxes spread it.
  static int reach(double sigma);

  // One box pass over 32 lanes side by side: element i of the output is the
  // rounded mean of elements i − before … i + after of the input (zero outside
  // 0 … length − 1). Elements are 32 bytes, `stride` bytes apart.
  struct Box {
    int before = 0, after = 0;
    std::uint16_t half = 0, multiplier = 0;  // rounding and 2¹⁶ / width, for a multiply-high
    static Box ofWidth(int width, int before);
  };

  // The inner loops as written for each kind of processor, all giving the
  // same bytes. A blur uses the fastest one this processor runs; the others
  // stay reachable so that each can be held to the plain one.
  enum class Kernel { kPlain, kSse2, kAvx2 };
  static bool runs(Kernel kernel);

  ShadowBlur();
  explicit ShadowBlur(Kernel kernel);  // one that `runs`

  // Blurs the used tiles of `source` into `target`, a clear buffer of the same
  // size, and flags the tiles of `target` written. Coverage beyond the buffer
  // counts as zero.
  void blur(const CoverageBuffer& source, CoverageBuffer& target, double sigma);

 private:
  void blurAcross(const CoverageBuffer& source, int tileReach, const Box (&boxes)[3]);
  void blurDown(CoverageBuffer& target, int tileReach, const Box (&boxes)[3]);
  void threePasses(const std::uint8_t* source, std::ptrdiff_t sourceStride, std::uint8_t* target,
                   std::ptrdiff_t targetStride, int length, const Box (&boxes)[3]);

  struct Loops;  // a kernel's box pass and transpose
  static const Loops kLoops[3];
  const Loops* loops_;
  CoverageBuffer across_;                             // after the horizontal passes
  std::vector<std::uint8_t> lineIn_, lineA_, lineB_;  // one run, thirty-two lanes wide
};

}  // namespace velmora
