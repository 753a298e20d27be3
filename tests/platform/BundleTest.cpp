#include <gtest/gtest.h>

#include "PlistTool.h"
#include "platform/Bundle.h"
#include "platform/PropertyList.h"
#include "support/TestEnvironment.h"

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

}  // namespace
}  // namespace velmora
