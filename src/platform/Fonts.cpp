#include "platform/Fonts.h"

#include <fontconfig/fontconfig.h>
#include <pango/pangocairo.h>
#include <pango/pangofc-fontmap.h>

#include <cstring>
#include <utility>

namespace velmora {

namespace {

// Points: at scale 4, an em of the largest bitmap's side.
constexpr double kLargestPointSize = 4096;
// The system font and its fallbacks, in the order they are tried for a
// character: emoji come before the plain symbol font, so that a bed (U+1F6CF)
// shows in colour as it does on the phone.
constexpr const char* kFamilies = "Inter, DejaVu Sans, Noto Color Emoji, Noto Sans Symbols2";

// Colour emoji come as bitmaps of one pixel size: scale them to the size the
// text asks for, as a desktop configuration does.
constexpr const char* kConfiguration = R"(<?xml version="1.0"?>
<!DOCTYPE fontconfig SYSTEM "urn:fontconfig:fonts.dtd">
<fontconfig>
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
</fontconfig>
)";

constexpr std::size_t kCachedLines = 256;

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

}  // namespace

// ---------------------------------------------------------------------------

TextLine::TextLine(PangoLayout* adopted) : layout_(adopted) {
  if (!layout_) return;
  PangoRectangle ink, logical;
  pango_layout_get_extents(layout_, &ink, &logical);
  size_ = {points(logical.width), points(logical.height)};
  origin_ = {-points(logical.x), -points(logical.y)};
  ink_ = {points(ink.x - logical.x), points(ink.y - logical.y), points(ink.width), points(ink.height)};
}

TextLine::TextLine(const TextLine& other)
    : layout_(other.layout_), size_(other.size_), ink_(other.ink_), origin_(other.origin_) {
  if (layout_) g_object_ref(layout_);
}

TextLine& TextLine::operator=(TextLine other) noexcept {
  std::swap(layout_, other.layout_);
  std::swap(size_, other.size_);
  std::swap(ink_, other.ink_);
  std::swap(origin_, other.origin_);
  return *this;
}

TextLine::~TextLine() {
  if (layout_) g_object_unref(layout_);
}

void TextLine::show(cairo_t* cr) const {
  if (!layout_ || size_.width <= 0) return;
  cairo_rel_move_to(cr, origin_.x, origin_.y);
  pango_cairo_show_layout(cr, layout_);
}

// ---------------------------------------------------------------------------

struct FontSet::State {
  FcConfig* config = nullptr;
  PangoFontMap* fontMap = nullptr;
  PangoContext* context = nullptr;
  mutable std::unordered_map<std::string, TextLine> lines;

  ~State() {
    lines.clear();
    // Hand fontconfig an empty configuration in place of ours, so that ours
    // is freed with the set rather than kept for the rest of the process.
    if (config && FcConfigGetCurrent() == config) {
      FcConfig* empty = FcConfigCreate();
      FcConfigSetCurrent(empty);
      FcConfigDestroy(empty);
    }
    if (context) g_object_unref(context);
    if (fontMap) {
      pango_fc_font_map_shutdown(PANGO_FC_FONT_MAP(fontMap));  // lets go of the fonts and the configuration
      g_object_unref(fontMap);
    }
    if (config) FcConfigDestroy(config);
  }
};

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

FontSet::FontSet(const std::vector<std::filesystem::path>& files, const WarningSink& warn)
    : state_(std::make_unique<State>()) {
  State& s = *state_;
  s.config = FcConfigCreate();
  FcConfigParseAndLoadFromMemory(s.config, reinterpret_cast<const FcChar8*>(kConfiguration), FcTrue);
  for (const auto& file : files) {
    if (FcConfigAppFontAddFile(s.config, reinterpret_cast<const FcChar8*>(file.c_str())))
      ++loaded_;
    else if (warn)
      warn("font file not loaded: " + file.string());
  }
  if (loaded_ == 0) {
    if (warn) warn("none of the program's fonts could be loaded; using the system's fonts");
    FcConfigDestroy(s.config);
    s.config = FcInitLoadConfigAndFonts();
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
}

FontSet::~FontSet() = default;

TextLine FontSet::line(std::string_view text, const Font& font) const {
  // A font of no size, or whose em at the largest scale would pass the
  // largest bitmap (and the font engine's limits), sets no text.
  if (text.empty() || !(font.pointSize > 0 && font.pointSize <= kLargestPointSize)) return {};
  std::string key;
  key.reserve(text.size() + 24);
  key.append(text).push_back('\0');
  key.append(std::to_string(font.pointSize)).push_back(static_cast<char>('0' + static_cast<int>(font.weight)));
  auto& lines = state_->lines;
  if (auto it = lines.find(key); it != lines.end()) return it->second;

  FcConfigSetCurrent(state_->config);  // ours again, should another set have taken over

  PangoLayout* layout = pango_layout_new(state_->context);
  PangoFontDescription* description = pango_font_description_new();
  pango_font_description_set_family_static(description, kFamilies);
  pango_font_description_set_weight(description, pangoWeight(font.weight));
  pango_font_description_set_absolute_size(description, font.pointSize * PANGO_SCALE);
  pango_layout_set_font_description(layout, description);
  pango_font_description_free(description);
  pango_layout_set_single_paragraph_mode(layout, TRUE);
  if (g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr)) {
    pango_layout_set_text(layout, text.data(), static_cast<int>(text.size()));
  } else {  // malformed bytes show as replacement characters, as the platform shows them
    gchar* valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
    pango_layout_set_text(layout, valid, -1);
    g_free(valid);
  }

  if (lines.size() >= kCachedLines) lines.clear();
  return lines.emplace(std::move(key), TextLine(layout)).first->second;
}

}  // namespace velmora
