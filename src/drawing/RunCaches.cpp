#include "drawing/RunCaches.h"

#include "drawing/DrawingSurface.h"
#include "drawing/Fonts.h"
#include "drawing/Image.h"
#include "drawing/PixelMemory.h"
#include "drawing/ShadowCaster.h"
#include "text/Bundle.h"
#include "values/Environment.h"

namespace velmora {

RunCaches::RunCaches(const Environment& env) : env_(env) {}

RunCaches::~RunCaches() = default;

const Bundle& RunCaches::bundle() {
  if (!bundle_)
    bundle_ = std::make_unique<const Bundle>(env_.resourcesDir, env_.languages,
                                             [&env = env_](std::string_view message) { env.warning(message); });
  return *bundle_;
}

const FontSet& RunCaches::fonts() {
  if (!fonts_)
    fonts_ =
        std::make_unique<const FontSet>(FontSet::standardFontFiles(), FontSet::standardFallbackFaces(), env_.languages,
                                        [&env = env_](std::string_view message) { env.warning(message); });
  return *fonts_;
}

ShadowScratch& RunCaches::shadowScratch() {
  if (!shadowScratch_) shadowScratch_ = makeShadowScratch();
  return *shadowScratch_;
}

PictureCache& RunCaches::pictures() {
  if (!pictures_) pictures_ = makePictureCache();
  return *pictures_;
}

LayerCache& RunCaches::layers() {
  if (!layers_) layers_ = makeLayerCache();
  return *layers_;
}

const std::shared_ptr<PixelPool>& RunCaches::pixelPool() {
  if (!pixelPool_) pixelPool_ = std::make_shared<PixelPool>();
  return pixelPool_;
}

void RunCaches::releaseLayers() { layers_.reset(); }

void RunCaches::releaseDrawingMemory() {
  if (pictures_) releasePictures(*this);
  shadowScratch_.reset();
  if (pixelPool_) pixelPool_->release();
}

}  // namespace velmora
