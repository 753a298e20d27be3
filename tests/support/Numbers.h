#pragma once

#include <limits>

namespace velmora::testing {

// Numbers that are no measure, which another app may leave in the store and
// which every computation and drawing must come through: in double precision,
// as the store holds numbers, and in single precision (f), as drawings take them.
inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
inline constexpr double kInf = std::numeric_limits<double>::infinity();
inline constexpr float kNaNf = std::numeric_limits<float>::quiet_NaN();
inline constexpr float kInff = std::numeric_limits<float>::infinity();

}  // namespace velmora::testing
