#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "drawing/FontFaces.h"
#include "drawing/TextLine.h"
#include "values/Colour.h"
#include "values/Environment.h"
#include "values/Geometry.h"

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

// The fonts of a run: lays out text with the faces of the named font files
// alone (`FontFaces`), and keeps the lines it laid out recently.
// The system font is Inter (regular, bold and extra-bold for "heavy"); DejaVu
// Sans and Noto Sans Symbols2 hold the symbols Inter lacks (☾, ⭒); Noto Color
// Emoji holds the notification's emoji (🛌, 🛏). Noto Sans CJK, whose Latin
// letters never show since every font above has them, holds Korean and
// Japanese; its faces are read on the first text that has a character none of
// the others has.
class FontSet {
 public:
  // The font files as Debian's font packages install them, system font first.
  static std::vector<std::filesystem::path> standardFontFiles();
  // The faces of the scripts those fonts lack, as Debian's packages install them.
  static std::vector<FallbackFace> standardFallbackFaces();

  // Lays out with the faces of `files` and, once a text needs them, of
  // `fallbacks`, those of `preferredLanguages` first (see `FontFaces`, which
  // reports to `warn` what cannot be loaded). A character that no font has
  // is reported to `warn`, once per text.
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
  int loadedFileCount() const;
  int loadedFallbackFaceCount() const;

 private:
  struct State;
  TextLine layOut(std::string_view text, const Font& font, double truncateToWidth) const;
  std::unique_ptr<State> state_;
};

}  // namespace velmora
