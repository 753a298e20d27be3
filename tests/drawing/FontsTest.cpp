#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "FontTexts.h"
#include "drawing/Fonts.h"
#include "text/Bundle.h"

namespace velmora {
namespace {

using testing::kJapanese;
using testing::kSymbols;

// A font set whose complaints are collected.
struct Fonts {
  std::vector<std::string> warnings;
  FontSet set{FontSet::standardFontFiles(), FontSet::standardFallbackFaces(), {"en"}, [this](std::string_view message) {
                warnings.emplace_back(message);
              }};
};

// Every text of every table the bundle has (new languages included as they arrive), its English keys, the symbols
// and Japanese lay out without a glyph the fonts lack, in every weight.
TEST(FontSet, EveryTextOfTheBundleAndEverySymbolHasItsGlyphs) {
  const std::vector<std::string> languages = Bundle::tableLanguages(VELMORA_TEST_RESOURCES);
  ASSERT_GE(languages.size(), 2u) << "the bundle's tables were not found";
  std::vector<std::string> texts{kSymbols, kJapanese};
  for (const std::string& language : languages) {
    const Bundle bundle(VELMORA_TEST_RESOURCES, {language});
    ASSERT_EQ(bundle.language(), language);
    EXPECT_FALSE(bundle.table().empty()) << language;
    for (const auto& [key, text] : bundle.table()) {
      texts.push_back(key);
      texts.push_back(text);
    }
  }
  Fonts fonts;
  for (const std::string& text : texts)
    for (FontWeight weight : {FontWeight::kRegular, FontWeight::kBold, FontWeight::kHeavy})
      EXPECT_GT(fonts.set.line(text, Font::systemFontOfSize(15, weight)).size().width, 0) << text;
  EXPECT_EQ(fonts.warnings, std::vector<std::string>{});
}

// Whatever face a glyph comes from, a line is as tall as the system font's and keeps its baseline: texts placed
// by their height sit alike in every language. An emoji sequence stays one picture: a man getting a massage
// (person, joiner, male sign) is as wide as a medal.
TEST(FontSet, FallbackGlyphsKeepTheSystemFontsLine) {
  Fonts fonts;
  const Font font = Font::systemFontOfSize(26, FontWeight::kBold);
  const TextLine latin = fonts.set.line("Good", font);
  for (const char* text : {"★★★⭒⭒", "최상", "🥇", "☾ Z"}) {
    const TextLine line = fonts.set.line(text, font);
    EXPECT_EQ(line.size().height, latin.size().height) << text;
    EXPECT_EQ(line.baseline(), latin.baseline()) << text;
  }
  EXPECT_NEAR(fonts.set.line("💆‍♂️", font).size().width, fonts.set.line("🥇", font).size().width, 0.01);
}

// What the set cannot show is said, naming it, once for each text; missing files and faces are named too.
TEST(FontSet, WhatCannotBeShownIsReportedByName) {
  std::vector<std::string> warnings;
  const FontSet fonts({"/usr/share/fonts/opentype/inter/Inter-Regular.otf", "/nonexistent/Font.otf"},
                      {{"/usr/share/fonts/opentype/noto/NotoSansCJK-Regular.ttc", "Noto Sans CJK XX", "xx"}}, {},
                      [&](std::string_view message) { warnings.emplace_back(message); });
  EXPECT_EQ(fonts.loadedFileCount(), 1);
  for (int twice = 0; twice < 2; ++twice) fonts.line("a\U0001D800b\U0001D801", Font::systemFontOfSize(12));
  ASSERT_EQ(warnings.size(), 3u);
  EXPECT_EQ(warnings[0], "font file not loaded: /nonexistent/Font.otf");
  EXPECT_NE(warnings[1].find("\"Noto Sans CJK XX\" not loaded"), std::string::npos) << warnings[1];
  EXPECT_EQ(warnings[2], "no font has U+1D800 U+1D801, in \"a\U0001D800b\U0001D801\"");
}

// A label's line stays inside its frame: as it is when it fits, else shrunk no further than the label allows,
// else cut with an ellipsis at the smallest size. Its baseline stays where the full-size line has it.
TEST(FontSet, LabelsShrinkThenTruncateInsideTheirFrames) {
  enum Expect { kAsIs, kShrunk, kTruncated };
  const struct {
    const char* name;
    const char* text;
    double width;
    TextAlignment alignment;
    double minimumScale;
    Expect expect;
  } cases[] = {
      {"fits, left", "7h 20m", 145, TextAlignment::kLeft, 0.5, kAsIs},
      {"fits, centred", "7h 20m", 145, TextAlignment::kCentre, 0.5, kAsIs},
      {"fits, right", "7h 20m", 145, TextAlignment::kRight, 0.5, kAsIs},
      {"German duration", "99 Std., 59 Min.", 145, TextAlignment::kLeft, 0.5, kShrunk},
      {"Korean duration, right", "98시간 59분 남음", 120, TextAlignment::kRight, 0.5, kShrunk},
      {"too long even small", "Schlaftreibstoff-Bewertung heute Nacht", 100, TextAlignment::kLeft, 0.7, kTruncated},
      {"never shrinks", "99 Std., 59 Min.", 145, TextAlignment::kCentre, 1.0, kTruncated},
      {"a factor out of range never shrinks", "99 Std., 59 Min.", 145, TextAlignment::kLeft, 0.0, kTruncated},
  };
  Fonts fonts;
  const Font font = Font::boldSystemFontOfSize(28);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Rect frame{20, 40, c.width, 36};
    const TextLine natural = fonts.set.line(c.text, font);
    const PlacedLine placed = fonts.set.placeInFrame(c.text, frame, {font, c.alignment, c.minimumScale});
    const double width = placed.line.size().width;
    EXPECT_GT(width, 0);
    EXPECT_LE(width, frame.width + 1e-9);
    EXPECT_EQ(placed.line.isTruncated(), c.expect == kTruncated);
    const double smallest = c.minimumScale > 0 ? font.pointSize * c.minimumScale : font.pointSize;
    switch (c.expect) {
      case kAsIs:
        EXPECT_EQ(placed.pointSize, font.pointSize);
        EXPECT_EQ(width, natural.size().width);
        break;
      case kShrunk:
        EXPECT_GT(placed.pointSize, smallest);
        EXPECT_LT(placed.pointSize, font.pointSize);
        EXPECT_GT(width, frame.width * 0.98);  // no smaller than it has to be
        break;
      case kTruncated:
        EXPECT_EQ(placed.pointSize, smallest);
        break;
    }
    const double left = placed.origin.x - frame.x, right = frame.x + frame.width - (placed.origin.x + width);
    switch (c.alignment) {
      case TextAlignment::kLeft:
        EXPECT_EQ(left, 0);
        break;
      case TextAlignment::kRight:
        EXPECT_NEAR(right, 0, 1e-9);
        break;
      case TextAlignment::kCentre:
        EXPECT_NEAR(left, right, 1e-9);
        break;
    }
    EXPECT_NEAR(placed.origin.y + placed.line.baseline(),
                frame.y + (frame.height - natural.size().height) / 2 + natural.baseline(), 1e-9);
  }
  EXPECT_EQ(fonts.set.placeInFrame("7h", {0, 0, 0, 20}, {font}).line.size(), Size{});  // no room, no text
}

}  // namespace
}  // namespace velmora
