#include "drawing/Fonts.h"

#include <pango/pangocairo.h>
#include <pango/pangofc-fontmap.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <optional>
#include <unordered_set>
#include <utility>

namespace velmora {

namespace {

// Points: at scale 4, an em of the largest bitmap's side.
constexpr double kLargestPointSize = 4096;

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

struct FontSet::State {
  FontFaces faces;  // first made, last let go: the font map and the layouts are of its configuration
  PangoFontMap* fontMap = nullptr;
  PangoContext* context = nullptr;
  std::unordered_set<std::string> reportedTexts;       // each text's missing characters are reported once
  std::unordered_map<std::string, LayoutRef> layouts;  // by text, weight and width, at `kLayoutSize`
  // The system font's ascent and descent per point of size, by weight, read
  // once: unhinted, its line scales with the size.
  std::optional<std::pair<double, double>> systemLines[3];

  // One line of `text` at `kLayoutSize`, cut to `width` points when that is positive.
  LayoutRef layOut(std::string_view text, FontWeight weight, double width);
  // The ascent and descent, in points, of the system font's line at the size of `font`.
  std::pair<double, double> systemLine(const Font& font);

  State(const std::vector<std::filesystem::path>& files, std::vector<FallbackFace> fallbacks,
        const std::vector<std::string>& preferredLanguages, WarningSink warn)
      : faces(files, std::move(fallbacks), preferredLanguages, std::move(warn)) {}

  ~State() {
    layouts.clear();
    faces.stopBeingCurrent();
    if (context) g_object_unref(context);
    // Only our reference: pango's fontconfig thread holds the map too while it still matches or
    // sorts a pattern for it, and the map lets go of its fonts and configuration when the last
    // holder does. Shutting it down here would pull its tables from under that thread.
    if (fontMap) g_object_unref(fontMap);
  }
};

LayoutRef FontSet::State::layOut(std::string_view text, FontWeight weight, double width) {
  faces.makeCurrent();
  auto makeLayout = [&] {
    PangoLayout* layout = pango_layout_new(context);
    PangoFontDescription* description = pango_font_description_new();
    pango_font_description_set_family(description, faces.families().c_str());
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
  while (pango_layout_get_unknown_glyphs_count(layout) > 0 && faces.readFallbackFaces()) {
    // Pango keeps the fonts it matched for each description: let it match again.
    pango_fc_font_map_config_changed(PANGO_FC_FONT_MAP(fontMap));
    g_object_unref(layout);
    layout = makeLayout();
  }
  if (pango_layout_get_unknown_glyphs_count(layout) > 0 && reportedTexts.emplace(text).second)
    faces.warning("no font has " + missingCharacters(layout) + ", in \"" + std::string(text) + "\"");
  return LayoutRef(layout);
}

std::pair<double, double> FontSet::State::systemLine(const Font& font) {
  // A line is as tall as the system font's line at its size: a glyph of a
  // fallback face (a Korean syllable, a symbol, an emoji) sits on the same
  // baseline without stretching it, so that texts placed by their height, as
  // the gauges place theirs, sit alike in every language.
  std::optional<std::pair<double, double>>& perPoint = systemLines[static_cast<int>(font.weight)];
  if (!perPoint) {
    faces.makeCurrent();
    // Read with the layouts' own description and language, so that Pango
    // matches no fonts for it beyond theirs: the language's sample text is
    // all in the system font, so the line is that font's.
    PangoFontDescription* system = pango_font_description_new();
    pango_font_description_set_family(system, faces.families().c_str());
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
    : state_(std::make_unique<State>(files, std::move(fallbacks), preferredLanguages, std::move(warn))) {
  State& s = *state_;
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

int FontSet::loadedFileCount() const { return state_->faces.loadedFileCount(); }

int FontSet::loadedFallbackFaceCount() const { return state_->faces.loadedFallbackFaceCount(); }

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
