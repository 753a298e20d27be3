#include "drawing/DrawingSurface.h"
#include "drawing/Fonts.h"
#include "drawing/Image.h"
#include "drawing/PixelMemory.h"
#include "text/Bundle.h"
#include "values/Environment.h"

namespace velmora {

const Bundle& Environment::bundle() const {
  if (!bundle_) bundle_ = std::make_shared<const Bundle>(resourcesDir, languages, warn);
  return *bundle_;
}

const FontSet& Environment::fonts() const {
  if (!fonts_)
    fonts_ = std::make_shared<const FontSet>(FontSet::standardFontFiles(), FontSet::standardFallbackFaces(), languages,
                                             [this](std::string_view message) { warning(message); });
  return *fonts_;
}

ShadowScratch& Environment::shadowScratch() const {
  if (!shadowScratch_) shadowScratch_ = makeShadowScratch();
  return *shadowScratch_;
}

PictureCache& Environment::pictures() const {
  if (!pictures_) pictures_ = makePictureCache();
  return *pictures_;
}

LayerCache& Environment::layers() const {
  if (!layers_) layers_ = makeLayerCache();
  return *layers_;
}

void Environment::releaseLayers() const { layers_.reset(); }

void Environment::releaseDrawingMemory() const {
  if (pictures_) releasePictures(*this);
  shadowScratch_.reset();
  if (pixelPool_) pixelPool_->release();
}

const std::shared_ptr<PixelPool>& Environment::pixelPool() const {
  if (!pixelPool_) pixelPool_ = std::make_shared<PixelPool>();
  return pixelPool_;
}

}  // namespace velmora
