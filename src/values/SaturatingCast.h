#pragma once

#include <cmath>
#include <concepts>
#include <limits>
#include <utility>

namespace velmora {

// A number read from a store (or worked out from one) as a whole number of
// type `Int`, defined for every input, as the platform's conversions give it
// on the phone: truncated toward zero; beyond the type's range, the nearest
// limit; not-a-number, 0. (C++ leaves a conversion of NaN, an infinity or a
// number out of range undefined.)
template <std::integral Int, std::floating_point Real>
Int saturatingCast(Real v) noexcept {
  if (std::isnan(v)) return 0;
  // Both limits are exact in any floating type; the upper one rounds up to a
  // power of two, which is already out of range.
  constexpr Real lowest = static_cast<Real>(std::numeric_limits<Int>::min());
  constexpr Real highest = static_cast<Real>(std::numeric_limits<Int>::max());
  if (v <= lowest) return std::numeric_limits<Int>::min();
  if (v >= highest) return std::numeric_limits<Int>::max();
  return static_cast<Int>(v);
}

// A whole number narrowed to `Int`, the nearest limit where it does not fit.
template <std::integral Int, std::integral From>
constexpr Int saturatingCast(From v) noexcept {
  if (std::cmp_less(v, std::numeric_limits<Int>::min())) return std::numeric_limits<Int>::min();
  if (std::cmp_greater(v, std::numeric_limits<Int>::max())) return std::numeric_limits<Int>::max();
  return static_cast<Int>(v);
}

}  // namespace velmora
