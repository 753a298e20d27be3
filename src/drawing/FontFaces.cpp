#include "drawing/FontFaces.h"

#include <fontconfig/fontconfig.h>
// After fontconfig.h, whose types it uses.
#include <fontconfig/fcfreetype.h>
#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <string_view>
#include <utility>

namespace velmora {

namespace {

// The system font and its fallbacks, in the order they are tried for a
// character: emoji come before the plain symbol font, so that a bed (U+1F6CF)
// shows in colour as it does on the phone. The fallback faces' families follow.
constexpr std::string_view kFamilies = "Inter, DejaVu Sans, Noto Color Emoji, Noto Sans Symbols2";
static_assert(kFamilies.starts_with("Inter,"));

// Colour emoji come as bitmaps of one pixel size: scale them to the size the
// text asks for, as a desktop configuration does. And as there, the generic
// family "emoji", which the layout asks for an emoji sequence as a whole
// (a man getting a massage is a person, a joiner and a male sign), is the
// colour emoji face: the sequence stays one picture.
constexpr const char* kConfiguration = R"(<?xml version="1.0"?>
<!DOCTYPE fontconfig SYSTEM "urn:fontconfig:fonts.dtd">
<fontconfig>
  <cachedir>/var/cache/fontconfig</cachedir>
  <cachedir prefix="xdg">fontconfig</cachedir>
  <alias binding="same">
    <family>emoji</family>
    <prefer><family>Noto Color Emoji</family></prefer>
  </alias>
  <match target="font">
    <test name="outline" compare="eq"><bool>false</bool></test>
    <edit name="pixelsizefixupfactor" mode="assign">
      <divide><name target="pattern">pixelsize</name><name target="font">pixelsize</name></divide>
    </edit>
    <edit name="matrix" mode="assign">
      <times>
        <name>matrix</name>
        <matrix><name>pixelsizefixupfactor</name><double>0</double><double>0</double><name>pixelsizefixupfactor</name></matrix>
      </times>
    </edit>
    <edit name="size" mode="assign"><divide><name>size</name><name>pixelsizefixupfactor</name></divide></edit>
  </match>
  <match target="scan">
    <test name="family"><string>Noto Color Emoji</string></test>
    <edit name="charset" mode="assign">
      <minus><name>charset</name><charset><range><int>0x0</int><int>0x7f</int></range></charset></minus>
    </edit>
  </match>
</fontconfig>
)";

// Whether a language tag ("ko-KR") is of a language ("ko").
bool isOfLanguage(std::string_view tag, std::string_view language) {
  return tag.starts_with(language) && (tag.size() == language.size() || tag[language.size()] == '-');
}

// The fallback faces in the order they are tried: those of the earlier
// preferred languages first, the rest as given. Returns how many are of a
// preferred language.
std::size_t rankFallbacks(std::vector<FallbackFace>& fallbacks, const std::vector<std::string>& preferred) {
  auto rank = [&](const FallbackFace& face) {
    const auto at = std::find_if(preferred.begin(), preferred.end(),
                                 [&](const std::string& tag) { return isOfLanguage(tag, face.language); });
    return at - preferred.begin();
  };
  std::stable_sort(fallbacks.begin(), fallbacks.end(),
                   [&](const FallbackFace& a, const FallbackFace& b) { return rank(a) < rank(b); });
  return static_cast<std::size_t>(std::count_if(fallbacks.begin(), fallbacks.end(), [&](const FallbackFace& face) {
    return rank(face) < static_cast<std::ptrdiff_t>(preferred.size());
  }));
}

// The family list a layout asks for: the set's own fonts, then the fallback families in their order.
std::string familyList(const std::vector<FallbackFace>& fallbacks) {
  std::string families(kFamilies);
  for (const FallbackFace& face : fallbacks)
    if (families.find(face.family) == std::string::npos) families += ", " + face.family;
  return families;
}

// A copy of a face's description that holds nothing of the cache it came
// from (a duplicate would share the cache's character set, and keep the whole
// cache file mapped for the rest of the run).
FcPattern* ownCopy(const FcPattern* cached) {
  FcPattern* face = FcPatternDuplicate(cached);
  FcCharSet* chars = nullptr;
  if (face && FcPatternGetCharSet(face, FC_CHARSET, 0, &chars) == FcResultMatch) {
    FcCharSet* none = FcCharSetCreate();
    FcCharSet* own = FcCharSetUnion(chars, none);
    FcPatternDel(face, FC_CHARSET);
    if (own) FcPatternAddCharSet(face, FC_CHARSET, own);
    FcCharSetDestroy(own);
    FcCharSetDestroy(none);
  }
  return face;
}

// Adds the faces of a font file to `set`, as fontconfig's cache of its
// directory describes them when that cache is current (Debian's font packages
// build the caches as they install), else as a scan of the file finds them;
// either way with the configuration's scan rules applied. Reading a cache
// costs a fraction of a scan, which reads every glyph for the characters it
// has. Returns whether any face was added.
bool addFaces(FcConfig* config, FcFontSet* set, const std::filesystem::path& file) {
  FcFontSet* found = FcFontSetCreate();
  if (!found) return false;
  if (FcCache* cache = FcDirCacheLoad(reinterpret_cast<const FcChar8*>(file.parent_path().c_str()), config, nullptr)) {
    if (FcFontSet* cached = FcCacheCopySet(cache)) {
      for (int i = 0; i < cached->nfont; ++i) {
        FcChar8* path = nullptr;
        if (FcPatternGetString(cached->fonts[i], FC_FILE, 0, &path) == FcResultMatch &&
            file == reinterpret_cast<const char*>(path))
          if (FcPattern* face = ownCopy(cached->fonts[i]); face && !FcFontSetAdd(found, face)) FcPatternDestroy(face);
      }
      FcFontSetDestroy(cached);
    }
    FcDirCacheUnload(cache);
  }
  if (found->nfont == 0)
    FcFreeTypeQueryAll(reinterpret_cast<const FcChar8*>(file.c_str()), -1, nullptr, nullptr, found);
  bool added = false;
  for (int i = 0; i < found->nfont; ++i) {
    FcPattern* face = std::exchange(found->fonts[i], nullptr);
    if (FcConfigSubstitute(config, face, FcMatchScan) && FcFontSetAdd(set, face))
      added = true;
    else
      FcPatternDestroy(face);
  }
  found->nfont = 0;
  FcFontSetDestroy(found);
  return added;
}

}  // namespace

FontFaces::FontFaces(const std::vector<std::filesystem::path>& files, std::vector<FallbackFace> fallbacks,
                     const std::vector<std::string>& preferredLanguages, WarningSink warn)
    : warn_(std::move(warn)) {
  preferredFallbacks_ = rankFallbacks(fallbacks, preferredLanguages);
  families_ = familyList(fallbacks);
  fallbacks_ = std::move(fallbacks);
  config_ = FcConfigCreate();
  FcConfigParseAndLoadFromMemory(config_, reinterpret_cast<const FcChar8*>(kConfiguration), FcTrue);
  // The configuration names no font directories: its own set of fonts is
  // empty until the set's files are added to it.
  FcConfigBuildFonts(config_);
  faces_ = FcConfigGetFonts(config_, FcSetSystem);
  for (const auto& file : files) {
    if (faces_ && addFaces(config_, faces_, file))
      ++loadedFiles_;
    else
      warning("font file not loaded: " + file.string());
  }
  if (loadedFiles_ == 0) {
    warning("none of the program's fonts could be loaded; using the system's fonts");
    FcConfigDestroy(config_);
    config_ = FcInitLoadConfigAndFonts();
    faces_ = nullptr;  // the system's configuration has every face it knows
  }
  // Pango lays out with fontconfig's current configuration, which this makes
  // ours. (Handing the configuration to the font map instead would keep it
  // from ever being freed, with this version of Pango.)
  makeCurrent();
}

FontFaces::~FontFaces() {
  stopBeingCurrent();
  if (config_) FcConfigDestroy(config_);
}

void FontFaces::makeCurrent() const { FcConfigSetCurrent(config_); }

void FontFaces::stopBeingCurrent() const {
  if (config_ && FcConfigGetCurrent() == config_) {
    FcConfig* empty = FcConfigCreate();
    FcConfigSetCurrent(empty);
    FcConfigDestroy(empty);
  }
}

bool FontFaces::readFallbackFaces() {
  const std::size_t first = fallbacksRead_;
  const std::size_t end = first < preferredFallbacks_ ? preferredFallbacks_ : fallbacks_.size();
  if (first == end) return false;
  fallbacksRead_ = end;
  // The faces join the set's own fonts (none when the system's configuration stands in, which has its own).
  FT_Library library = nullptr;
  if (!faces_ || FT_Init_FreeType(&library) != 0) return false;
  // A collection holds many faces, and opening one costs about a third of a
  // millisecond: each wanted face is looked for where it usually is first, and
  // only where the collection holds something else are its faces looked at in
  // turn. Only the wanted faces are scanned for their characters.
  auto faceNamed = [&](const FallbackFace& wanted, FT_Long index) -> FT_Face {
    FT_Face face = nullptr;
    if (FT_New_Face(library, wanted.file.c_str(), index, &face) != 0) return nullptr;
    if (face->family_name && wanted.family == face->family_name) return face;
    FT_Done_Face(face);
    return nullptr;
  };
  const int before = fallbackFaces_;
  for (std::size_t i = first; i < end; ++i) {
    const FallbackFace& wanted = fallbacks_[i];
    FT_Face face = faceNamed(wanted, wanted.usualIndex);
    if (!face) {
      FT_Face probe = nullptr;
      const FT_Long count = FT_New_Face(library, wanted.file.c_str(), -1, &probe) == 0 ? probe->num_faces : 0;
      if (probe) FT_Done_Face(probe);
      for (FT_Long index = 0; index < count && !face; ++index)
        if (index != wanted.usualIndex) face = faceNamed(wanted, index);
    }
    if (!face) {
      warning("font face \"" + wanted.family + "\" not loaded from " + wanted.file.string());
      continue;
    }
    if (FcPattern* pattern = FcFreeTypeQueryFace(face, reinterpret_cast<const FcChar8*>(wanted.file.c_str()),
                                                 static_cast<unsigned>(face->face_index), nullptr)) {
      FcFontSetAdd(faces_, pattern);
      ++fallbackFaces_;
    }
    FT_Done_Face(face);
  }
  FT_Done_FreeType(library);
  return fallbackFaces_ != before || readFallbackFaces();
}

}  // namespace velmora
