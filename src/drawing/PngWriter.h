#pragma once

#include <cstdint>
#include <cstdio>

#include "values/Status.h"

namespace velmora {

// Straight (un-premultiplied) RGBA bytes of a row of premultiplied ARGB
// pixels: each colour channel times 255 over alpha, rounded to nearest
// (halves up) and held at 255; alpha 0 and 255 pass the channels through.
// Premultiplying the result again gives back the very pixels it came from.
void straightRgbaRow(const std::uint32_t* argb, std::uint8_t* rgba, int width);

// Writes premultiplied ARGB pixels (`height` rows `stride` bytes apart) to
// `out` as an 8-bit RGBA PNG. Rows go through one at a time, so the encoder
// needs a few rows of memory rather than a copy of the image. A failure says
// what went wrong.
Status writeArgbAsPng(std::FILE* out, const std::uint8_t* pixels, int width, int height, int stride);

}  // namespace velmora
