#include "drawing/Fonts.h"

#include <fontconfig/fontconfig.h>
// After fontconfig.h, whose types it uses.
#include <fontconfig/fcfreetype.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include <pango/pangocairo.h>
#include <pango/pangofc-fontmap.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <optional>
#include <unordered_set>
#include <utility>

namespace velmora {

namespace {

// Points: at scale 4, an em of the largest bitmap's side.
constexpr double kLargestPointSize = 4096;
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

constexpr std::size_t kCachedLines = 256;
// The one size every text is laid out at, in points; also the size the
// system font's line is read at, so that both ask Pango for the same fonts.
constexpr double kLayoutSize = 100.0;

// A layout held by the cache of a set.
class LayoutRef {
 public:
  explicit LayoutRef(PangoLayout* adopted) : layout_(adopted) {}
  LayoutRef(LayoutRef&& other) noexcept : layout_(std::exchange(other.layout_, nullptr)) {}
  LayoutRef& operator=(LayoutRef&&) = delete;
  ~LayoutRef() {
    if (layout_) g_object_unref(layout_);
  }
  PangoLayout* get() const { return layout_; }

 private:
  PangoLayout* layout_;
};

PangoWeight pangoWeight(FontWeight weight) {
  switch (weight) {
    case FontWeight::kBold:
      return PANGO_WEIGHT_BOLD;
    case FontWeight::kHeavy:
      return PANGO_WEIGHT_ULTRABOLD;  // 800, the platform's "heavy"
    case FontWeight::kRegular:
      break;
  }
  return PANGO_WEIGHT_NORMAL;
}

double points(int pangoUnits) { return static_cast<double>(pangoUnits) / PANGO_SCALE; }

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

// The characters of a laid-out line that no font has, as "U+AC00 U+C7A0".
std::string missingCharacters(PangoLayout* layout) {
  std::string found;
  PangoLayoutIter* iter = pango_layout_get_iter(layout);
  do {
    const PangoLayoutRun* run = pango_layout_iter_get_run_readonly(iter);
    if (!run) continue;
    for (int i = 0; i < run->glyphs->num_glyphs; ++i) {
      const PangoGlyph glyph = run->glyphs->glyphs[i].glyph;
      if (!(glyph & PANGO_GLYPH_UNKNOWN_FLAG)) continue;
      char code[16];
      std::snprintf(code, sizeof code, "U+%04X", glyph & ~PANGO_GLYPH_UNKNOWN_FLAG);
      if (found.find(code) == std::string::npos) found += (found.empty() ? "" : " ") + std::string(code);
    }
  } while (pango_layout_iter_next_run(iter));
  pango_layout_iter_free(iter);
  return found;
}

}  // namespace

// ---------------------------------------------------------------------------

TextLine::TextLine(PangoLayout* layout, double scale, double ascent, double descent) : layout_(layout), scale_(scale) {
  if (!layout_) return;
  g_object_ref(layout_);
  PangoRectangle ink, logical;
  pango_layout_get_extents(layout_, &ink, &logical);
  auto scaled = [&](int pangoUnits) { return points(pangoUnits) * scale_; };
  const double top = scaled(pango_layout_get_baseline(layout_)) - ascent;
  size_ = {scaled(logical.width), ascent + descent};
  origin_ = {-scaled(logical.x), -top};
  ink_ = {scaled(ink.x - logical.x), scaled(ink.y) - top, scaled(ink.width), scaled(ink.height)};
  baseline_ = ascent;
  truncated_ = pango_layout_is_ellipsized(layout_);
}

TextLine::TextLine(const TextLine& other)
    : layout_(other.layout_),
      scale_(other.scale_),
      size_(other.size_),
      ink_(other.ink_),
      origin_(other.origin_),
      baseline_(other.baseline_),
      truncated_(other.truncated_) {
  if (layout_) g_object_ref(layout_);
}

TextLine& TextLine::operator=(TextLine other) noexcept {
  std::swap(layout_, other.layout_);
  std::swap(scale_, other.scale_);
  std::swap(size_, other.size_);
  std::swap(ink_, other.ink_);
  std::swap(origin_, other.origin_);
  std::swap(baseline_, other.baseline_);
  std::swap(truncated_, other.truncated_);
  return *this;
}

TextLine::~TextLine() {
  if (layout_) g_object_unref(layout_);
}

void TextLine::show(cairo_t* cr) const {
  if (!layout_ || size_.width <= 0) return;
  cairo_rel_move_to(cr, origin_.x, origin_.y);
  double x = 0, y = 0;
  cairo_get_current_point(cr, &x, &y);
  cairo_save(cr);
  cairo_translate(cr, x, y);
  cairo_scale(cr, scale_, scale_);
  cairo_move_to(cr, 0, 0);
  pango_cairo_show_layout(cr, layout_);
  cairo_restore(cr);
}

// ---------------------------------------------------------------------------

struct FontSet::State {
  FcConfig* config = nullptr;
  FcFontSet* faces = nullptr;  // the configuration's own fonts, which it holds
  PangoFontMap* fontMap = nullptr;
  PangoContext* context = nullptr;
  std::string families;
  std::vector<FallbackFace> fallbacks;  // in the order they are tried
  std::size_t preferredFallbacks = 0;   // the first of them, of the preferred languages
  std::size_t fallbacksRead = 0;        // how many of them were looked for
  int fallbackFaces = 0;
  WarningSink warn;
  std::unordered_set<std::string> reportedTexts;       // each text's missing characters are reported once
  std::unordered_map<std::string, LayoutRef> layouts;  // by text, weight and width, at `kLayoutSize`
  // The system font's ascent and descent per point of size, by weight, read
  // once: unhinted, its line scales with the size.
  std::optional<std::pair<double, double>> systemLines[3];

  // One line of `text` at `kLayoutSize`, cut to `width` points when that is positive.
  LayoutRef layOut(std::string_view text, FontWeight weight, double width);
  // The ascent and descent, in points, of the system font's line at the size of `font`.
  std::pair<double, double> systemLine(const Font& font);

  void warning(const std::string& message) const {
    if (warn) warn(message);
  }
  // Reads the next fallback faces into the configuration: those of the
  // preferred languages, then the rest. Returns whether any face was added.
  bool readFallbackFaces();

  ~State() {
    layouts.clear();
    // Hand fontconfig an empty configuration in place of ours, so that ours
    // is freed with the set rather than kept for the rest of the process.
    if (config && FcConfigGetCurrent() == config) {
      FcConfig* empty = FcConfigCreate();
      FcConfigSetCurrent(empty);
      FcConfigDestroy(empty);
    }
    if (context) g_object_unref(context);
    // Only our reference: pango's fontconfig thread holds the map too while it still matches or
    // sorts a pattern for it, and the map lets go of its fonts and configuration when the last
    // holder does. Shutting it down here would pull its tables from under that thread.
    if (fontMap) g_object_unref(fontMap);
    if (config) FcConfigDestroy(config);
  }
};

bool FontSet::State::readFallbackFaces() {
  const std::size_t first = fallbacksRead;
  const std::size_t end = first < preferredFallbacks ? preferredFallbacks : fallbacks.size();
  if (first == end) return false;
  fallbacksRead = end;
  // The faces join the set's own fonts (none when the system's configuration stands in, which has its own).
  FT_Library library = nullptr;
  if (!faces || FT_Init_FreeType(&library) != 0) return false;
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
  const int before = fallbackFaces;
  for (std::size_t i = first; i < end; ++i) {
    const FallbackFace& wanted = fallbacks[i];
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
      FcFontSetAdd(faces, pattern);
      ++fallbackFaces;
    }
    FT_Done_Face(face);
  }
  FT_Done_FreeType(library);
  if (fallbackFaces == before) return readFallbackFaces();
  // Pango keeps the fonts it matched for each description: let it match again.
  pango_fc_font_map_config_changed(PANGO_FC_FONT_MAP(fontMap));
  return true;
}

LayoutRef FontSet::State::layOut(std::string_view text, FontWeight weight, double width) {
  FcConfigSetCurrent(config);  // ours again, should another set have taken over
  auto makeLayout = [&] {
    PangoLayout* layout = pango_layout_new(context);
    PangoFontDescription* description = pango_font_description_new();
    pango_font_description_set_family(description, families.c_str());
    pango_font_description_set_weight(description, pangoWeight(weight));
    pango_font_description_set_absolute_size(description, kLayoutSize * PANGO_SCALE);
    pango_layout_set_font_description(layout, description);
    pango_font_description_free(description);
    pango_layout_set_single_paragraph_mode(layout, TRUE);
    if (width > 0) {
      pango_layout_set_width(layout, static_cast<int>(std::min(width, double{INT_MAX / PANGO_SCALE}) * PANGO_SCALE));
      pango_layout_set_ellipsize(layout, PANGO_ELLIPSIZE_END);
    }
    if (g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr)) {
      pango_layout_set_text(layout, text.data(), static_cast<int>(text.size()));
    } else {  // malformed bytes show as replacement characters, as the platform shows them
      gchar* valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
      pango_layout_set_text(layout, valid, -1);
      g_free(valid);
    }
    return layout;
  };
  PangoLayout* layout = makeLayout();
  // A character the fonts read so far lack: read more faces and lay out again.
  while (pango_layout_get_unknown_glyphs_count(layout) > 0 && readFallbackFaces()) {
    g_object_unref(layout);
    layout = makeLayout();
  }
  if (pango_layout_get_unknown_glyphs_count(layout) > 0 && reportedTexts.emplace(text).second)
    warning("no font has " + missingCharacters(layout) + ", in \"" + std::string(text) + "\"");
  return LayoutRef(layout);
}

std::pair<double, double> FontSet::State::systemLine(const Font& font) {
  // A line is as tall as the system font's line at its size: a glyph of a
  // fallback face (a Korean syllable, a symbol, an emoji) sits on the same
  // baseline without stretching it, so that texts placed by their height, as
  // the gauges place theirs, sit alike in every language.
  std::optional<std::pair<double, double>>& perPoint = systemLines[static_cast<int>(font.weight)];
  if (!perPoint) {
    FcConfigSetCurrent(config);
    // Read with the layouts' own description and language, so that Pango
    // matches no fonts for it beyond theirs: the language's sample text is
    // all in the system font, so the line is that font's.
    PangoFontDescription* system = pango_font_description_new();
    pango_font_description_set_family(system, families.c_str());
    pango_font_description_set_weight(system, pangoWeight(font.weight));
    pango_font_description_set_absolute_size(system, kLayoutSize * PANGO_SCALE);
    PangoFontMetrics* metrics = pango_context_get_metrics(context, system, pango_context_get_language(context));
    perPoint.emplace(pango_font_metrics_get_ascent(metrics) / kLayoutSize,
                     pango_font_metrics_get_descent(metrics) / kLayoutSize);
    pango_font_metrics_unref(metrics);
    pango_font_description_free(system);
  }
  // Whole Pango units at the line's size, as the line would be measured there.
  return {points(static_cast<int>(std::lround(perPoint->first * font.pointSize))),
          points(static_cast<int>(std::lround(perPoint->second * font.pointSize)))};
}

std::vector<std::filesystem::path> FontSet::standardFontFiles() {
  return {
      "/usr/share/fonts/opentype/inter/Inter-Regular.otf",
      "/usr/share/fonts/opentype/inter/Inter-Bold.otf",
      "/usr/share/fonts/opentype/inter/Inter-ExtraBold.otf",
      "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf",
      "/usr/share/fonts/truetype/dejavu/DejaVuSans-Bold.ttf",
      "/usr/share/fonts/truetype/noto/NotoSansSymbols2-Regular.ttf",
      "/usr/share/fonts/truetype/noto/NotoColorEmoji.ttf",
  };
}

std::vector<FallbackFace> FontSet::standardFallbackFaces() {
  const std::filesystem::path regular = "/usr/share/fonts/opentype/noto/NotoSansCJK-Regular.ttc";
  const std::filesystem::path bold = "/usr/share/fonts/opentype/noto/NotoSansCJK-Bold.ttc";
  return {
      {regular, "Noto Sans CJK JP", "ja", 0},
      {bold, "Noto Sans CJK JP", "ja", 0},
      {regular, "Noto Sans CJK KR", "ko", 1},
      {bold, "Noto Sans CJK KR", "ko", 1},
  };
}

FontSet::FontSet(const std::vector<std::filesystem::path>& files, std::vector<FallbackFace> fallbacks,
                 const std::vector<std::string>& preferredLanguages, WarningSink warn)
    : state_(std::make_unique<State>()) {
  State& s = *state_;
  s.warn = std::move(warn);
  s.preferredFallbacks = rankFallbacks(fallbacks, preferredLanguages);
  s.families = familyList(fallbacks);
  s.fallbacks = std::move(fallbacks);
  s.config = FcConfigCreate();
  FcConfigParseAndLoadFromMemory(s.config, reinterpret_cast<const FcChar8*>(kConfiguration), FcTrue);
  // The configuration names no font directories: its own set of fonts is
  // empty until the set's files are added to it.
  FcConfigBuildFonts(s.config);
  s.faces = FcConfigGetFonts(s.config, FcSetSystem);
  for (const auto& file : files) {
    if (s.faces && addFaces(s.config, s.faces, file))
      ++loaded_;
    else
      s.warning("font file not loaded: " + file.string());
  }
  if (loaded_ == 0) {
    s.warning("none of the program's fonts could be loaded; using the system's fonts");
    FcConfigDestroy(s.config);
    s.config = FcInitLoadConfigAndFonts();
    s.faces = nullptr;  // the system's configuration has every face it knows
  }
  // Pango lays out with fontconfig's current configuration, which this makes
  // ours. (Handing the configuration to the font map instead would keep it
  // from ever being freed, with this version of Pango.)
  FcConfigSetCurrent(s.config);

  s.fontMap = pango_cairo_font_map_new_for_font_type(CAIRO_FONT_TYPE_FT);
  pango_cairo_font_map_set_resolution(PANGO_CAIRO_FONT_MAP(s.fontMap), 72.0);  // one point per user unit
  s.context = pango_font_map_create_context(s.fontMap);

  // Unhinted outlines at fractional positions: a text measures the same at
  // every scale, and the images of one scale are the images of another, sharper.
  cairo_font_options_t* options = cairo_font_options_create();
  cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
  cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
  cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  pango_cairo_context_set_font_options(s.context, options);
  cairo_font_options_destroy(options);
  pango_context_set_round_glyph_positions(s.context, FALSE);
  // Text is laid out in no particular language, whatever the process's
  // locale: a character takes the first face of the family order that has
  // it, and the preferred languages alone set that order. (A language would
  // make Pango pick faces by the language it guesses for each script.)
  pango_context_set_language(s.context, pango_language_from_string("c"));
}

FontSet::~FontSet() = default;

int FontSet::loadedFallbackFaceCount() const { return state_->fallbackFaces; }

TextLine FontSet::line(std::string_view text, const Font& font) const { return layOut(text, font, 0.0); }

TextLine FontSet::layOut(std::string_view text, const Font& font, double truncateToWidth) const {
  // A font of no size, or whose em at the largest scale would pass the
  // largest bitmap (and the font engine's limits), sets no text.
  if (text.empty() || !(font.pointSize > 0 && font.pointSize <= kLargestPointSize)) return {};
  State& s = *state_;
  // Unhinted, a text's layout at one size is its layout at any other, scaled:
  // every text is laid out at one size and drawn scaled, so that a label
  // measured at several sizes (shrinking to fit) is laid out once, and Pango
  // matches fonts and works out their metrics once per weight rather than
  // once per size.
  const double scale = font.pointSize / kLayoutSize;
  const double layoutWidth = truncateToWidth > 0 ? truncateToWidth / scale : 0.0;
  std::string key;
  key.reserve(text.size() + 32);
  key.append(text).push_back('\0');
  key.push_back(static_cast<char>('0' + static_cast<int>(font.weight)));
  if (layoutWidth > 0) key.append("/").append(std::to_string(layoutWidth));
  auto cached = s.layouts.find(key);
  if (cached == s.layouts.end()) {
    if (s.layouts.size() >= kCachedLines) s.layouts.clear();
    cached = s.layouts.emplace(std::move(key), s.layOut(text, font.weight, layoutWidth)).first;
  }
  const auto [ascent, descent] = s.systemLine(font);
  return TextLine(cached->second.get(), scale, ascent, descent);
}

PlacedLine FontSet::placeInFrame(std::string_view text, Rect frame, const LabelStyle& style) const {
  PlacedLine placed{line(text, style.font), {frame.x, frame.y}, style.font.pointSize};
  const TextLine natural = placed.line;
  if (!(frame.width > 0)) return {{}, placed.origin, placed.pointSize};  // no room: nothing shows
  if (natural.size().width > frame.width) {
    const double m = style.minimumScaleFactor;
    const double smallest = m > 0 && m < 1 ? m : 1.0;
    Font font = style.font;
    // Widths grow in proportion to the size, but for rounding: a second step
    // settles the last fraction of a point.
    double factor = std::max(smallest, frame.width / natural.size().width);
    bool fits = false;
    for (int step = 0; step < 3 && factor < 1 && !fits; ++step) {
      font.pointSize = style.font.pointSize * factor;
      placed.line = line(text, font);
      fits = placed.line.size().width <= frame.width;
      if (!fits && factor == smallest) break;
      factor = std::max(smallest, factor * frame.width / placed.line.size().width);
    }
    if (!fits) {  // at the smallest size, whole if it fits there, else cut
      font.pointSize = style.font.pointSize * smallest;
      placed.line = line(text, font);
      if (placed.line.size().width > frame.width) placed.line = layOut(text, font, frame.width);
    }
    placed.pointSize = font.pointSize;
  }
  const double width = placed.line.size().width;
  if (style.alignment == TextAlignment::kCentre) placed.origin.x += (frame.width - width) / 2;
  if (style.alignment == TextAlignment::kRight) placed.origin.x += frame.width - width;
  placed.origin.y += (frame.height - natural.size().height) / 2 + natural.baseline() - placed.line.baseline();
  return placed;
}

}  // namespace velmora
