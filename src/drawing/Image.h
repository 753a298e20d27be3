#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "values/Status.h"
#include "values/Value.h"

typedef struct _cairo_surface cairo_surface_t;

namespace velmora {

class RunCaches;

// A finished picture: a size in points, the scale it was drawn at, and its
// pixels (premultiplied ARGB, width × scale by height × scale). A named
// picture from the bundle also carries its name; its pixels are the
// rendition for the run's scale. Like everything of a run, an image is used
// by one thread at a time.
class Image {
 public:
  // Takes one reference on `surface` (may be null for a picture with no pixels).
  Image(double widthPoints, double heightPoints, int scale, cairo_surface_t* surface, std::string name = {});
  ~Image();
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;

  double width() const { return width_; }
  double height() const { return height_; }
  int scale() const { return scale_; }
  const std::string& name() const { return name_; }
  cairo_surface_t* surface() const { return surface_; }

  // Encodes the pixels as PNG (straight alpha) into `file`. A failure names
  // the file and says why it cannot be written.
  Status writePng(const std::filesystem::path& file) const;

 private:
  double width_, height_;
  int scale_;
  cairo_surface_t* surface_;
  std::string name_;
};

// `UIImage imageNamed:`: the bundle's picture of that name, its rendition
// for the run's scale (`Bundle::pathForPicture`) at its natural size in
// points, or nothing when the bundle has no such picture or it cannot be
// read. As on the platform, a picture is read once and kept for the rest of
// the run (`RunCaches::pictures`).
ImageRef imageNamed(RunCaches& caches, std::string_view name);

// A named picture a run asked for and could not have: the file it looked for
// (the rendition for the run's scale) and what is wrong with it.
struct MissingPicture {
  std::string name;
  std::filesystem::path file;
  std::string problem;  // "is missing: ...", "cannot be read ..."
};
// The pictures of this run that `imageNamed` could not give, in the order
// they were first asked for. An image drawn without its picture is not the
// image the system draws, so a caller that writes images checks this.
std::vector<MissingPicture> missingPictures(RunCaches& caches);
// Lets go of the pictures the run has read (still noting which it could not
// have): images drawn later read them again.
void releasePictures(RunCaches& caches);

// The layers of drawings: the part of an image that is the same in every
// image of its kind, kept by the run under a key that names all it depends
// on (size, scale, colours, anything read from the store), so that later
// images start from its pixels instead of drawing it again. A run keeps a
// layer only once a key comes round a second time (a run that draws one
// image pays nothing for keeping it), and at most `kLayerBytes` of layers,
// the least recently used going first.
inline constexpr std::size_t kLayerBytes = std::size_t{6} << 20;
// The layer kept under `key`, or nothing.
ImageRef keptLayer(RunCaches& caches, std::string_view key);
// Notes that an image of `key` is drawn; true when one was drawn before.
bool layerAskedBefore(RunCaches& caches, std::string_view key);
// Keeps `layer` under `key` (within the run's budget for layers).
void keepLayer(RunCaches& caches, std::string_view key, ImageRef layer);

// The pictures a run has read, by name and scale; and its layers.
class PictureCache;
std::shared_ptr<PictureCache> makePictureCache();
class LayerCache;
std::shared_ptr<LayerCache> makeLayerCache();

}  // namespace velmora
