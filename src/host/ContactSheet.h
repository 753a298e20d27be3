#pragma once

#include <string>
#include <vector>

#include "drawing/Image.h"
#include "drawing/RunCaches.h"

namespace velmora::host {

// One picture of a contact sheet and the name written under it.
struct NamedImage {
  std::string name;
  ImageRef image;
};

// Every image side by side at its own size in points, each in a cell as
// large as the largest and named below it, on a dark backdrop: the whole set
// at a glance. The cells fill rows of a square, as many to a row as a square
// takes. Nothing without images.
ImageRef drawContactSheet(RunCaches& caches, const std::vector<NamedImage>& images);

}  // namespace velmora::host
