#pragma once

#include <gtest/gtest.h>

#include "platform/Colour.h"
#include "platform/Geometry.h"
#include "platform/Image.h"

namespace velmora::testing {

// The straight (not premultiplied) colour of the pixel under a point of an image, in points.
RGBA pixelAt(const Image& image, Point p);

// Whether two colours differ by at most `tolerance` in every channel.
::testing::AssertionResult near(const RGBA& actual, const RGBA& expected, double tolerance);

}  // namespace velmora::testing
