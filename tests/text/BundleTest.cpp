#include <gtest/gtest.h>

#include "store/PlistTool.h"
#include "store/PropertyList.h"
#include "support/TestEnvironment.h"
#include "text/Bundle.h"

namespace velmora {
namespace {

struct LanguageCase {
  const char* name;
  std::vector<std::string> preferred;
  const char* language;
  const char* key;
  const char* value;  // the value argument of the lookup
  const char* text;
};

class BundleTest : public ::testing::Test {
 protected:
  BundleTest() {
    // One table in each property-list format, as either may ship.
    addTable("de", {{"Bedtime", Value("Schlafenszeit")}, {"Wake", Value("Aufwachen")}}, PlistFormat::Xml);
    addTable("ko", {{"Bedtime", Value("취침 시간")}}, PlistFormat::Binary);
  }

  void addTable(const std::string& language, const MetricDictionary& strings, PlistFormat format) {
    const auto dir = resources.path() / (language + ".lproj");
    std::filesystem::create_directories(dir);
    testing::writeBytes(dir / "Localizable.strings", serializePropertyList(Value(strings), format));
  }

  testing::TempDir resources;
};

TEST_F(BundleTest, PicksTheTableOfTheBestPreferredLanguage) {
  const LanguageCase cases[] = {
      {"regionalVariantPicksItsLanguage", {"de-DE", "en"}, "de", "Bedtime", "", "Schlafenszeit"},
      {"secondTableByRegion", {"ko-KR"}, "ko", "Bedtime", "", "취침 시간"},
      {"untranslatedKeyInTableShowsTheKey", {"ko-KR"}, "ko", "Wake", "", "Wake"},
      {"noTableFallsBackToEnglishKeys", {"fr"}, "en", "Bedtime", "", "Bedtime"},
      {"valueArgumentWhenNoTranslation", {"fr"}, "en", "Missing", "Fallback", "Fallback"},
      {"valueArgumentLosesToATranslation", {"de"}, "de", "Wake", "Fallback", "Aufwachen"},
      {"firstPreferredThatMatchesWins", {"fr", "ko", "de"}, "ko", "Bedtime", "", "취침 시간"},
  };
  for (const LanguageCase& c : cases) {
    const Bundle bundle(resources.path(), c.preferred);
    EXPECT_EQ(bundle.language(), c.language) << c.name;
    EXPECT_EQ(bundle.localizedStringForKey(c.key, c.value), c.text) << c.name;
  }
}

TEST_F(BundleTest, PicksThePictureRenditionForTheScale) {
  struct {
    const char* name;
    std::vector<const char*> files;  // in pictures/
    const char* asked;
    int scale;
    const char* file;  // "" for none
    int fileScale;
  } cases[] = {
      {"theScaleItself", {"Dial@1x.png", "Dial@2x.png", "Dial@3x.png"}, "Dial", 2, "Dial@2x.png", 2},
      {"aNamePngNamesTheSameRenditions", {"Dial@3x.png"}, "Dial.png", 3, "Dial@3x.png", 3},
      {"largerBeforeSmaller", {"Dial@1x.png", "Dial@4x.png"}, "Dial", 3, "Dial@4x.png", 4},
      {"smallerWhenNoLarger", {"Dial@1x.png", "Dial@2x.png"}, "Dial", 4, "Dial@2x.png", 2},
      {"aPlainPngIsOnePixelToThePoint", {"Dial.png"}, "Dial", 3, "Dial.png", 1},
      {"renditionsBeforeThePlainPng", {"Dial.png", "Dial@1x.png"}, "Dial", 3, "Dial@1x.png", 1},
      {"otherPicturesDoNotCount", {"Dials@3x.png", "Dial@3x.svg"}, "Dial", 3, "", 0},
      {"noName", {"@3x.png"}, "", 3, "", 0},
  };
  for (const auto& c : cases) {
    testing::TempDir dir;
    std::filesystem::create_directories(dir.path() / "pictures");
    for (const char* file : c.files) testing::writeBytes(dir.path() / "pictures" / file, {});
    const auto found = Bundle(dir.path(), {"en"}).pathForPicture(c.asked, c.scale);
    if (*c.file == '\0') {
      EXPECT_FALSE(found) << c.name;
      continue;
    }
    ASSERT_TRUE(found) << c.name;
    EXPECT_EQ(found->path.filename(), c.file) << c.name;
    EXPECT_EQ(found->scale, c.fileScale) << c.name;
  }
}

}  // namespace
}  // namespace velmora
