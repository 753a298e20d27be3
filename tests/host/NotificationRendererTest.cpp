// The rendered notification as a person sees it, in every language the bundle has.
#include <gtest/gtest.h>

#include <algorithm>

#include "extension/InterfaceDescription.h"
#include "extension/NotificationViewController.h"
#include "host/NotificationRenderer.h"
#include "store/UserDefaults.h"
#include "support/Pixels.h"
#include "support/TestEnvironment.h"
#include "text/Bundle.h"

namespace velmora::host {
namespace {

using testing::TestEnvironment;

constexpr double kNinetyNineHours = 99 * 3600.0;

// Every language of the bundle, English (the keys themselves) first.
std::vector<std::string> bundleLanguages() {
  std::vector<std::string> languages{"en"};
  for (const std::string& language : Bundle::tableLanguages(VELMORA_TEST_RESOURCES)) languages.push_back(language);
  return languages;
}

// A run in a language, on a store whose figures run to their longest: 99 hours asleep, a week of 99-hour nights.
struct LanguageRun : TestEnvironment {
  explicit LanguageRun(const std::string& language) {
    languages = {language};
    locale = language;
    MetricDictionary bank{{"medianWake", Value::real(36000)}, {"requiredHours", Value::real(8)}};
    for (const char* night : {"20250101", "20250102", "20250103", "20250104", "20250105", "20250106"})
      bank.setValue(night, Value::real(kNinetyNineHours));
    EXPECT_TRUE(UserDefaults::suite(*this, kSharedSuite)
                    ->setObjects({{"watchTrackDict",
                                   Value(MetricDictionary{{"rawSleepTime", Value::real(kNinetyNineHours)},
                                                          {"rawSleepBankTime", Value::real(kNinetyNineHours)}})},
                                  {"bankDict", Value(bank)},
                                  {"velmoraConfig", Value(MetricDictionary{{"requiredHours", Value::real(8)}})}}));
  }
};

// The slots after the system hands the controller a notification of a category.
std::vector<DisplaySlot> expanded(RunCaches& env, const InterfaceDescription& layout, const char* category) {
  NotificationViewController controller(env, layout);
  controller.viewDidLoad();
  controller.didReceiveNotification({category});
  return controller.slots();
}

// Both notifications in every language draw every character with a real glyph (a missing one is reported as a
// warning), and every label's text shrinks, where it must, to stay inside its frame, never losing its tail.
TEST(NotificationRenderer, EveryLanguageDrawsItsOwnGlyphsInsideTheLabelsFrames) {
  for (const std::string& language : bundleLanguages()) {
    for (const char* category : {"BEDTIME", "TIMEASLEEP"}) {
      SCOPED_TRACE(language + " " + category);
      LanguageRun env(language);
      const InterfaceDescription layout = *InterfaceDescription::load(env);
      const std::vector<DisplaySlot> slots = expanded(env, layout, category);
      const ImageRef image = renderNotification(env, layout, slots);
      ASSERT_NE(image, nullptr);
      EXPECT_EQ(env.warnings, std::vector<std::string>{});
      const std::vector<SlotPlacement> placed = placeSlots(layout, slots);
      int labels = 0;
      for (std::size_t i = 0; i < slots.size(); ++i) {
        if (!placed[i].visible || !slots[i].text || slots[i].text->empty()) continue;
        ++labels;
        const Rect frame = placed[i].frame;
        const PlacedLine line = env.fonts().placeInFrame(*slots[i].text, frame, layout.layout[i].text);
        EXPECT_GE(line.origin.x, frame.x) << slots[i].name;
        EXPECT_LE(line.origin.x + line.line.size().width, frame.x + frame.width + 1e-9) << slots[i].name;
        EXPECT_FALSE(line.line.isTruncated()) << slots[i].name << ": " << *slots[i].text;
      }
      EXPECT_GE(labels, 8);  // headings, glyphs, the four statistics
    }
  }
}

// The header's "now" is the system's, in the device's language (the first preferred one, not the locale of
// formats, nor the tables the bundle happens to have); the app's name stays as it is.
TEST(NotificationRenderer, TheHeaderSaysNowInTheDevicesLanguage) {
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"en"}, "now"},     {{"de", "en"}, "jetzt"}, {{"fr-CA"}, "maintenant"}, {{"es"}, "ahora"},      {{"ja"}, "今"},
      {{"ko-KR"}, "지금"}, {{"nl"}, "nu"},          {{"en-GB", "de"}, "now"},  {{"not a tag"}, "now"},
  };
  for (const auto& [languages, word] : cases) {
    TestEnvironment env;
    env.languages = languages;
    env.locale = "de_DE";
    EXPECT_EQ(justNowText(env), word) << languages.front();
  }
}

// What the card shows: an overlong statistic leaves the gutter between the columns and the card's margin as the
// container's own colour, in every row of the statistics.
TEST(NotificationRenderer, AnOverlongTextNeverReachesTheNextColumn) {
  LanguageRun env("de");
  env.scale = 2;
  const InterfaceDescription layout = *InterfaceDescription::load(env);
  std::vector<DisplaySlot> slots = expanded(env, layout, "TIMEASLEEP");
  auto slot = [&](const char* name) {
    return static_cast<std::size_t>(
        std::find_if(slots.begin(), slots.end(), [&](const DisplaySlot& s) { return s.name == name; }) - slots.begin());
  };
  for (const char* name : {"sleepTimeLabel", "bankTimeLabel", "sleepGoalLabel", "bankBalanceLabel"})
    slots[slot(name)].text = "Schlaftreibstoff-Bewertung: 99 Std., 59 Min.";
  const ImageRef image = renderNotification(env, layout, slots);
  ASSERT_NE(image, nullptr);
  const std::vector<SlotPlacement> placed = placeSlots(layout, slots);
  const Rect left = placed[slot("sleepTimeLabel")].frame, right = placed[slot("bankTimeLabel")].frame;
  const Rect container = placed[slot("ringTextContainer")].frame;
  const RGBA background = slots[slot("ringTextContainer")].backgroundColour->rgba();
  const Rect goal = placed[slot("sleepGoalLabel")].frame;
  for (double y = left.y; y < goal.y + goal.height; y += 0.5) {
    for (double x = left.x + left.width + 0.5; x < right.x - 0.5; x += 0.5)
      ASSERT_TRUE(testing::near(testing::pixelAt(*image, {x, y}), background, 0.01)) << x << ", " << y;
    for (double x = right.x + right.width + 0.5; x < container.x + container.width - 0.5; x += 0.5)
      ASSERT_TRUE(testing::near(testing::pixelAt(*image, {x, y}), background, 0.01)) << x << ", " << y;
  }
}

}  // namespace
}  // namespace velmora::host
