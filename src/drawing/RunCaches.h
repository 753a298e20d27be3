#pragma once

#include <memory>

namespace velmora {

struct Environment;
class Bundle;
class FontSet;
class LayerCache;
class PictureCache;
class PixelPool;
class ShadowScratch;

// What one run keeps from one image and one text to the next: the bundle, the
// fonts, the pictures read, the layers kept, the pixel memory of images let go
// and the drop shadows' scratch buffers. Each is made on first use. Whoever
// runs the system (a host command, a test, a benchmark) owns one for the run
// and hands it to the code that reads the bundle or draws.
//
// Keeps a reference to the Environment it was made for, which must outlive it.
class RunCaches {
 public:
  explicit RunCaches(const Environment& env);
  ~RunCaches();
  RunCaches(const RunCaches&) = delete;
  RunCaches& operator=(const RunCaches&) = delete;

  // The settings of the run these caches serve.
  const Environment& environment() const { return env_; }

  // The application bundle, its string tables and pictures.
  const Bundle& bundle();
  // The fonts of the images.
  const FontSet& fonts();
  // The scratch buffers of drop shadows, kept for the run's later images (they
  // are all zero between drawing operations).
  ShadowScratch& shadowScratch();
  // The named pictures read so far.
  PictureCache& pictures();
  // The layers of images kept for the run's later images (`keptLayer`).
  LayerCache& layers();
  // The pixel memory of images the run has let go, for its next images.
  const std::shared_ptr<PixelPool>& pixelPool();

  // Lets go of the kept layers (and of which kinds of image were drawn):
  // later images draw theirs afresh.
  void releaseLayers();
  // Lets go of the drawing's scratch memory (shadow buffers, pixel memory kept
  // for new images, the pictures read) and keeps no pixel memory from then on:
  // for a run whose images are drawn, before work that needs memory of its
  // own. Later drawing makes what it needs anew.
  void releaseDrawingMemory();

 private:
  const Environment& env_;
  std::unique_ptr<const Bundle> bundle_;
  std::unique_ptr<const FontSet> fonts_;
  std::shared_ptr<ShadowScratch> shadowScratch_;
  std::shared_ptr<PictureCache> pictures_;
  std::shared_ptr<LayerCache> layers_;
  std::shared_ptr<PixelPool> pixelPool_;
};

}  // namespace velmora
