#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "values/Environment.h"

typedef struct _FcConfig FcConfig;
typedef struct _FcFontSet FcFontSet;

namespace velmora {

// One face of a font collection that the set reads only once a text needs it:
// the faces of Hangul, kana and Han are large, and most runs never draw them.
struct FallbackFace {
  std::filesystem::path file;
  std::string family;    // picks the face out of its collection
  std::string language;  // the language whose forms of shared characters the face draws ("ko", "ja")
  long usualIndex = 0;   // where the collection usually holds it (looked at first)
};

// The faces a run's text is laid out with: a private fontconfig configuration
// that holds only the named font files (no scan of the system's fonts), into
// which the fallback faces are read once a text needs them.
//
// Fontconfig keeps one current configuration per process, and Pango lays out
// with it: whoever lays out text makes this one current first, so that
// neither Pango's start-up nor cairo ever loads the system's fonts.
class FontFaces {
 public:
  // Loads `files`; a file that is missing or unreadable is reported to `warn`
  // and left out. When none loads, the system's configuration stands in.
  // `fallbacks` are read when first needed, those of `preferredLanguages`
  // before the rest; where their characters are shared (Han), the faces of
  // the earlier preferred languages come first. Leaves the configuration current.
  FontFaces(const std::vector<std::filesystem::path>& files, std::vector<FallbackFace> fallbacks,
            const std::vector<std::string>& preferredLanguages, WarningSink warn);
  ~FontFaces();
  FontFaces(const FontFaces&) = delete;
  FontFaces& operator=(const FontFaces&) = delete;

  // Makes the configuration fontconfig's current one again, should another
  // set have taken over.
  void makeCurrent() const;
  // Hands fontconfig an empty configuration in place of this one, if this one
  // is current, so that it is freed with the faces rather than kept for the
  // rest of the process.
  void stopBeingCurrent() const;

  // The family list a layout asks for: the system font and its fallbacks,
  // then the fallback faces' families in the order they are tried.
  const std::string& families() const { return families_; }

  // Reads the next fallback faces into the configuration: those of the
  // preferred languages, then the rest. Returns whether any face was added
  // (whatever matched fonts in it must then match again).
  bool readFallbackFaces();

  // How many of the named files were loaded, and of the fallback faces.
  int loadedFileCount() const { return loadedFiles_; }
  int loadedFallbackFaceCount() const { return fallbackFaces_; }

  // Reports a problem with the fonts to the run.
  void warning(const std::string& message) const {
    if (warn_) warn_(message);
  }

 private:
  FcConfig* config_ = nullptr;
  FcFontSet* faces_ = nullptr;  // the configuration's own fonts, which it holds
  std::string families_;
  std::vector<FallbackFace> fallbacks_;  // in the order they are tried
  std::size_t preferredFallbacks_ = 0;   // the first of them, of the preferred languages
  std::size_t fallbacksRead_ = 0;        // how many of them were looked for
  int loadedFiles_ = 0;
  int fallbackFaces_ = 0;
  WarningSink warn_;
};

}  // namespace velmora
