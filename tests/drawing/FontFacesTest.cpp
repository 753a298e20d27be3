#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "FontTexts.h"
#include "drawing/FontFaces.h"
#include "drawing/Fonts.h"

namespace velmora {
namespace {

using testing::kJapanese;
using testing::kSymbols;

// The large faces of Hangul, kana and Han are read only by a run that draws them: those of its preferred languages
// alone when they have what it draws.
TEST(FontFaces, FallbackFacesAreReadOnlyWhenATextNeedsThem) {
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
  const FontSet plain, korean;
  korean.line("수면", Font::boldSystemFontOfSize(28));
  EXPECT_EQ(korean.line("7h 20m", Font::boldSystemFontOfSize(28)).size(),
            plain.line("7h 20m", Font::boldSystemFontOfSize(28)).size());
  // A face found elsewhere in its collection than where it usually is, is found all the same.
  FallbackFace moved = FontSet::standardFallbackFaces().back();
  moved.usualIndex = 3;
  const FontSet elsewhere(FontSet::standardFontFiles(), {moved});
  elsewhere.line("수면", Font::boldSystemFontOfSize(28));
  EXPECT_EQ(elsewhere.loadedFallbackFaceCount(), 1);
}

// A font file is described by fontconfig's cache of its directory when one is current, and is read itself when
// none is (here, copies in a new directory): either way the set has the same faces.
TEST(FontFaces, FilesNoCacheDescribesAreReadThemselves) {
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
TEST(FontFaces, EveryFontFileComesFromAPackageTheInstallationDependsOn) {
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

}  // namespace
}  // namespace velmora
