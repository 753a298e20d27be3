#pragma once

#include <gtest/gtest.h>

#include <functional>

#include "drawing/Image.h"
#include "values/Colour.h"
#include "values/Geometry.h"

namespace velmora::testing {

// The point at `radius` from the centre of a `size` image, `turn` of the way round from 12 o'clock.
Point onDial(float size, double radius, double turn);

// The straight (not premultiplied) colour of the pixel under a point, in points.
RGBA pixelAt(const Image& image, Point p);

// The bounding box, in points, of the pixels inside `box` (points) whose colour `select` picks; empty
// (no width or height, at the box's far corner) when none is.
Rect inkBounds(const Image& image, Rect box, const std::function<bool(const RGBA&)>& select);

// The bounds of the light pixels (an icon) and of the pixels within 0.1 of `tint` (a text) inside `box`.
Rect lightBounds(const Image& image, Rect box);
Rect tintBounds(const Image& image, Rect box, const RGBA& tint);

// Opaque white, as pixelAt reads it.
inline constexpr RGBA kWhite{1, 1, 1, 1};

// `over` painted on `under`, both straight colours.
RGBA composite(const RGBA& over, const RGBA& under);

// Whether every channel lies within `tolerance` of the expected colour's.
::testing::AssertionResult near(const RGBA& actual, const RGBA& expected, double tolerance);

}  // namespace velmora::testing
