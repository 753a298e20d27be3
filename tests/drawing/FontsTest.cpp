#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "drawing/Fonts.h"
#include "text/Bundle.h"

namespace velmora {
namespace {

// The symbols the images and the notification draw: glyph slots, dial marks, gauge arrows, ratings, emoji.
constexpr const char* kSymbols = "☾ ★ ♥ Z R ⑦ ↗ ↘ ° ⭒ … h 7 🛌 🛏";
// Japanese as a table of it would have it: kana, kanji and the long-vowel mark.
constexpr const char* kJapanese = "就寝時刻 起床時刻 今日 睡眠バンク 目標の98% 7時間20分";

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

// The large faces of Hangul, kana and Han are read only by a run that draws them: those of its preferred languages
// alone when they have what it draws.
TEST(FontSet, FallbackFacesAreReadOnlyWhenATextNeedsThem) {
  const int all = static_cast<int>(FontSet::standardFallbackFaces().size());
  const struct {
    const char* name;
    std::vector<std::string> languages;
    int afterHangul;  // faces read once a Korean text is laid out
  } cases[] = {
      {"English", {"en"}, all},
      {"Korean first", {"ko-KR", "en"}, all / 2},
      {"Korean second", {"en", "ko"}, all / 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<std::string> warnings;
    const FontSet fonts(FontSet::standardFontFiles(), FontSet::standardFallbackFaces(), c.languages,
                        [&](std::string_view message) { warnings.emplace_back(message); });
    for (const char* text : {"7h 20m", "Schlafenszeit 23:15", kSymbols, "98% of goal", "1,1 % Defizit"})
      fonts.line(text, Font::boldSystemFontOfSize(28));
    EXPECT_EQ(fonts.loadedFallbackFaceCount(), 0);
    EXPECT_GT(fonts.line("수면 은행", Font::boldSystemFontOfSize(28)).size().width, 50);
    EXPECT_EQ(fonts.loadedFallbackFaceCount(), c.afterHangul);
    fonts.line(kJapanese, Font::systemFontOfSize(15));  // the Korean faces have kana and Han too
    EXPECT_EQ(fonts.loadedFallbackFaceCount(), c.afterHangul);
    EXPECT_EQ(warnings, std::vector<std::string>{});
  }
  // Latin keeps the system font's look beside them: a text measures as before.
  Fonts plain, korean;
  korean.set.line("수면", Font::boldSystemFontOfSize(28));
  EXPECT_EQ(korean.set.line("7h 20m", Font::boldSystemFontOfSize(28)).size(),
            plain.set.line("7h 20m", Font::boldSystemFontOfSize(28)).size());
  // A face found elsewhere in its collection than where it usually is, is found all the same.
  FallbackFace moved = FontSet::standardFallbackFaces().back();
  moved.usualIndex = 3;
  const FontSet elsewhere(FontSet::standardFontFiles(), {moved});
  elsewhere.line("수면", Font::boldSystemFontOfSize(28));
  EXPECT_EQ(elsewhere.loadedFallbackFaceCount(), 1);
}

// A font file is described by fontconfig's cache of its directory when one is current, and is read itself when
// none is (here, copies in a new directory): either way the set has the same faces.
TEST(FontSet, FilesNoCacheDescribesAreReadThemselves) {
  const std::filesystem::path dir =
      std::filesystem::temp_directory_path() / ("velmora-fonts-" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  std::vector<std::filesystem::path> copies;
  for (const auto& file : FontSet::standardFontFiles())
    if (std::filesystem::copy_file(file, dir / file.filename(), std::filesystem::copy_options::overwrite_existing))
      copies.push_back(dir / file.filename());
  const FontSet described;
  const FontSet read(copies);
  EXPECT_EQ(read.loadedFileCount(), described.loadedFileCount());
  for (const FontWeight weight : {FontWeight::kRegular, FontWeight::kBold, FontWeight::kHeavy})
    for (const char* text : {"7h 20m", kSymbols, "Schlafenszeit 23:15"}) {
      const Font font = Font::systemFontOfSize(17, weight);
      EXPECT_EQ(read.line(text, font).size(), described.line(text, font).size()) << text;
      EXPECT_EQ(read.line(text, font).inkBounds(), described.line(text, font).inkBounds()) << text;
    }
  std::filesystem::remove_all(dir);
}

// Each font file the set reads belongs to a Debian package that the installation depends on (and scripts/setup
// installs): fonts are read at run time, where no linker sees them.
TEST(FontSet, EveryFontFileComesFromAPackageTheInstallationDependsOn) {
  std::vector<std::filesystem::path> files = FontSet::standardFontFiles();
  for (const FallbackFace& face : FontSet::standardFallbackFaces()) files.push_back(face.file);
  std::string command = "dpkg-query -S";
  for (const auto& file : files) command += " '" + file.string() + "'";
  FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  std::string owners;
  char buffer[4096];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) owners.append(buffer, n);
  EXPECT_EQ(::pclose(pipe), 0) << owners;
  // "fonts-inter: /usr/share/fonts/opentype/inter/Inter-Regular.otf", a line each.
  std::map<std::string, std::string> ownerOf;
  std::istringstream lines(owners);
  for (std::string line; std::getline(lines, line);)
    if (const auto colon = line.find(": "); colon != std::string::npos)
      ownerOf[line.substr(colon + 2)] = line.substr(0, line.find(':'));
  const std::string depended = std::string(" ") + VELMORA_FONT_PACKAGES + " ";
  for (const auto& file : files) {
    const std::string& package = ownerOf[file.string()];
    EXPECT_NE(depended.find(" " + package + " "), std::string::npos) << file << " is of \"" << package << "\"";
  }
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
