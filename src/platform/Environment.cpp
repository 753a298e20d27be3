#include "platform/Environment.h"

#include <iostream>

#include "platform/Bundle.h"
#include "platform/DrawingSurface.h"
#include "platform/Fonts.h"
#include "platform/Image.h"
#include "platform/PixelMemory.h"

namespace velmora {

std::filesystem::path Environment::preferencesFile(std::string_view domain) const {
  return prefsDir / (std::string(domain) + ".plist");
}

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

void Environment::warning(std::string_view message) const {
  if (warn)
    warn(message);
  else
    std::cerr << "velmora: warning: " << message << '\n';
}

WarningSink Environment::warningsOncePerRun() const {
  if (!warned_) warned_ = std::make_shared<std::unordered_set<std::string>>();
  return [warned = warned_, sink = warn](std::string_view message) {
    if (!warned->emplace(message).second) return;
    if (sink)
      sink(message);
    else
      std::cerr << "velmora: warning: " << message << '\n';
  };
}

void Environment::diagnostic(std::string_view message) const {
  if (log)
    log(message);
  else
    std::cerr << "velmora: log: " << message << '\n';
}

}  // namespace velmora
