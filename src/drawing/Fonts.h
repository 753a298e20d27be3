#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "values/Colour.h"
#include "values/Environment.h"
#include "values/Geometry.h"

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
  // Shares `layout`, laid out at `scale` times smaller than the line's size
  // (the set lays every text out at one size); the line is `ascent` above
  // the baseline and `descent` below it, in points of the line's own size.
  TextLine(PangoLayout* layout, double scale, double ascent, double descent);
  TextLine(const TextLine& other);
  TextLine& operator=(TextLine other) noexcept;
  ~TextLine();

  // `sizeWithAttributes:`: the advance width and the line height, in points.
  Size size() const { return size_; }
  // Ink bounds relative to the top-left corner, in points (what a shadow of the text can reach).
  Rect inkBounds() const { return ink_; }
  // From the top of the line down to its baseline, in points.
  double baseline() const { return baseline_; }
  // Whether the tail of the text gave way to an ellipsis to fit a width.
  bool isTruncated() const { return truncated_; }
  // Paints the text with its top-left corner at the current point of `cr`,
  // in the source that `cr` has set.
  void show(cairo_t* cr) const;

 private:
  PangoLayout* layout_ = nullptr;
  double scale_ = 1.0;  // from the layout's size to the line's
  Size size_;
  Rect ink_;
  Point origin_;  // where the layout's own origin lies from the top-left corner
  double baseline_ = 0.0;
  bool truncated_ = false;
};

// `NSTextAlignment` of a label's line within its frame.
enum class TextAlignment { kLeft, kCentre, kRight };

// How a label shows its one line of text, as the platform's labels do: in
// its font, aligned within the frame and centred on it vertically; a text too
// wide for the frame first shrinks, down to `minimumScaleFactor` of the
// font's size (`adjustsFontSizeToFitWidth`; 1 never shrinks), and then gives
// up its tail to an ellipsis (`NSLineBreakByTruncatingTail`).
struct LabelStyle {
  Font font;
  TextAlignment alignment = TextAlignment::kLeft;
  double minimumScaleFactor = 1.0;

  friend bool operator==(const LabelStyle&, const LabelStyle&) = default;
};

// A label's line as placed in its frame.
struct PlacedLine {
  TextLine line;
  Point origin;            // the line's top-left corner
  double pointSize = 0.0;  // the size the font took to fit
};

// One face of a font collection that the set reads only once a text needs it:
// the faces of Hangul, kana and Han are large, and most runs never draw them.
struct FallbackFace {
  std::filesystem::path file;
  std::string family;    // picks the face out of its collection
  std::string language;  // the language whose forms of shared characters the face draws ("ko", "ja")
  long usualIndex = 0;   // where the collection usually holds it (looked at first)
};

// The fonts of a run: a private font configuration that holds only the named
// font files (no scan of the system's fonts) and lays out text with them.
// The system font is Inter (regular, bold and extra-bold for "heavy"); DejaVu
// Sans and Noto Sans Symbols2 hold the symbols Inter lacks (☾, ⭒); Noto Color
// Emoji holds the notification's emoji (🛌, 🛏). Noto Sans CJK, whose Latin
// letters never show since every font above has them, holds Korean and
// Japanese; its faces are read on the first text that has a character none of
// the others has.
//
// Fontconfig keeps one current configuration per process: the set makes its
// own configuration current whenever it lays out text, and Pango lays out with
// it, so that neither Pango's start-up nor cairo ever loads the system's fonts.
class FontSet {
 public:
  // The font files as Debian's font packages install them, system font first.
  static std::vector<std::filesystem::path> standardFontFiles();
  // The faces of the scripts those fonts lack, as Debian's packages install them.
  static std::vector<FallbackFace> standardFallbackFaces();

  // Loads `files`; a file that is missing or unreadable is reported to `warn`
  // and left out. When none loads, the system's configuration stands in.
  // `fallbacks` are read when first needed, those of `preferredLanguages`
  // before the rest; where their characters are shared (Han), the faces of
  // the earlier preferred languages come first.
  // A character that no font has is reported to `warn`, once per text.
  explicit FontSet(const std::vector<std::filesystem::path>& files = standardFontFiles(),
                   std::vector<FallbackFace> fallbacks = standardFallbackFaces(),
                   const std::vector<std::string>& preferredLanguages = {}, WarningSink warn = {});
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

  // A label's line in its frame (see `LabelStyle`). When the font shrinks,
  // the line keeps the baseline it has at full size, as the platform's
  // labels keep theirs.
  PlacedLine placeInFrame(std::string_view text, Rect frame, const LabelStyle& style) const;

  // How many of the named files were loaded, and of the fallback faces.
  int loadedFileCount() const { return loaded_; }
  int loadedFallbackFaceCount() const;

 private:
  struct State;
  TextLine layOut(std::string_view text, const Font& font, double truncateToWidth) const;
  std::unique_ptr<State> state_;
  int loaded_ = 0;
};

}  // namespace velmora
