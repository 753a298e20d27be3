#pragma once

#include <gtest/gtest.h>

#include <functional>

#include "platform/Colour.h"
#include "platform/Geometry.h"
#include "platform/Image.h"

namespace velmora::testing {

// The straight (not premultiplied) colour of the pixel under a point of an image.
RGBA pixelAt(const Image& image, Point p);

// The bounding box, in points, of the pixels inside `box` (points) whose colour `select` picks; empty
// (zero width and height, placed at the box's far corner) when none is.
Rect inkBounds(const Image& image, Rect box, const std::function<bool(const RGBA&)>& select);

// Whether two colours agree in every channel within `tolerance`; says both when not.
::testing::AssertionResult near(const RGBA& actual, const RGBA& expected, double tolerance);

}  // namespace velmora::testing
