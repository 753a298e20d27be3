#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/Colour.h"
#include "platform/Environment.h"
#include "platform/Geometry.h"

typedef struct _cairo cairo_t;
typedef struct _PangoLayout PangoLayout;

namespace velmora {

// The weights of the system font that the images use.
enum class FontWeight { kRegular, kBold, kHeavy };

// `UIFont`: the system font at a size in points and a weight.
struct Font {
  double pointSize = 17.0;
  FontWeight weight = FontWeight::kRegular;

  static constexpr Font systemFontOfSize(double size) { return {size, FontWeight::kRegular}; }
  static constexpr Font boldSystemFontOfSize(double size) { return {size, FontWeight::kBold}; }
  static constexpr Font systemFontOfSize(double size, FontWeight weight) { return {size, weight}; }

  friend bool operator==(const Font&, const Font&) = default;
};

// The default paragraph style, copied and left as it is: natural alignment,
// no spacing. Image texts are single lines placed by their top-left corner.
struct ParagraphStyle {
  friend bool operator==(const ParagraphStyle&, const ParagraphStyle&) = default;
};

// The four attributes every image text is written with: font, foreground
// colour, background colour (clear) and paragraph style (the default).
struct TextAttributes {
  TextAttributes() = default;
  TextAttributes(Font f, Colour foreground, Colour background = Colour::clearColor(), ParagraphStyle style = {})
      : font(f), foregroundColour(foreground), backgroundColour(background), paragraphStyle(style) {}

  Font font;
  Colour foregroundColour = Colour::blackColor();
  Colour backgroundColour = Colour::clearColor();
  ParagraphStyle paragraphStyle;
};

// One line of text laid out in a font, ready to be measured and drawn.
// Copies share the layout.
class TextLine {
 public:
  TextLine() = default;
  explicit TextLine(PangoLayout* adopted);
  TextLine(const TextLine& other);
  TextLine& operator=(TextLine other) noexcept;
  ~TextLine();

  // `sizeWithAttributes:`: the advance width and the line height, in points.
  Size size() const { return size_; }
  // Ink bounds relative to the top-left corner, in points (what a shadow of the text can reach).
  Rect inkBounds() const { return ink_; }
  // Paints the text with its top-left corner at the current point of `cr`,
  // in the source that `cr` has set.
  void show(cairo_t* cr) const;

 private:
  PangoLayout* layout_ = nullptr;
  Size size_;
  Rect ink_;
  Point origin_;  // where the layout's own origin lies from the top-left corner
};

// The fonts of a run: a private font configuration that holds only the named
// font files (no scan of the system's fonts) and lays out text with them.
// The system font is Inter (regular, bold and extra-bold for "heavy"); DejaVu
// Sans and Noto Sans Symbols2 hold the symbols Inter lacks (☾, ⭒); Noto Color
// Emoji holds the notification's emoji (🛌, 🛏).
//
// Fontconfig keeps one current configuration per process: the set makes its
// own configuration current whenever it lays out text, and Pango lays out with
// it, so that neither Pango's start-up nor cairo ever loads the system's fonts.
class FontSet {
 public:
  // The font files as Debian's font packages install them, system font first.
  static std::vector<std::filesystem::path> standardFontFiles();

  // Loads `files`; a file that is missing or unreadable is reported to `warn`
  // and left out. When none loads, the system's configuration stands in.
  explicit FontSet(const std::vector<std::filesystem::path>& files = standardFontFiles(), const WarningSink& warn = {});
  ~FontSet();
  FontSet(const FontSet&) = delete;
  FontSet& operator=(const FontSet&) = delete;

  // Lays out one line of `text` (UTF-8). Recently used lines are kept, so
  // that measuring a text and then drawing it lays it out once.
  TextLine line(std::string_view text, const Font& font) const;

  // `NSString sizeWithAttributes:`.
  Size sizeWithAttributes(std::string_view text, const TextAttributes& attributes) const {
    return line(text, attributes.font).size();
  }

  // How many of the named files were loaded.
  int loadedFileCount() const { return loaded_; }

 private:
  struct State;
  std::unique_ptr<State> state_;
  int loaded_ = 0;
};

}  // namespace velmora
