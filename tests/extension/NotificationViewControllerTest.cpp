#include <gtest/gtest.h>

#include "extension/InterfaceDescription.h"
#include "extension/NotificationViewController.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::TestEnvironment;

// The controller as the bundle's interface description lays it out.
std::unique_ptr<NotificationViewController> controllerFor(TestEnvironment& env) {
  const Result<InterfaceDescription> layout = InterfaceDescription::load(env);
  EXPECT_TRUE(layout) << layout.message();
  return std::make_unique<NotificationViewController>(env, layout ? *layout : InterfaceDescription{});
}

// Slot names whose state the given path may change; every other slot must
// stay exactly as the interface description created it.
void expectUntouchedExcept(const NotificationViewController& after, const std::vector<std::string>& changed,
                           TestEnvironment& env) {
  const auto fresh = controllerFor(env);
  ASSERT_EQ(after.slots().size(), fresh->slots().size());
  for (std::size_t i = 0; i < fresh->slots().size(); ++i) {
    const DisplaySlot& slot = after.slots()[i];
    if (std::find(changed.begin(), changed.end(), slot.name) != changed.end()) continue;
    EXPECT_EQ(slot, fresh->slots()[i]) << slot.name << " changed";
  }
}

// Identifiers are exact and case-sensitive. The interface file loads without a complaint.
TEST(NotificationViewController, AnUnrecognisedCategoryLeavesEverySlotAsCreated) {
  for (const char* category : {"bedtime", "BEDTIME ", " TIMEASLEEP", "TimeAsleep", "READINESS"}) {
    TestEnvironment env;
    const auto controller = controllerFor(env);
    controller->viewDidLoad();
    controller->didReceiveNotification({category});
    SCOPED_TRACE(category);
    expectUntouchedExcept(*controller, {}, env);
    EXPECT_TRUE(env.warnings.empty());
  }
}

TEST(NotificationViewController, BedtimeWithoutDataShowsTheNoDataFace) {
  TestEnvironment env;
  const auto controller = controllerFor(env);
  controller->viewDidLoad();
  controller->didReceiveNotification({"BEDTIME"});

  EXPECT_EQ(controller->slot("sleepHeadingLabel")->text, "BED TIME");
  EXPECT_EQ(controller->slot("bankHeadingLabel")->text, "WAKE TIME");
  EXPECT_EQ(controller->slot("sleepGlyph")->text, "h");
  EXPECT_EQ(controller->slot("bankGlyph")->text, "\u2665");
  for (const char* label : {"sleepTimeLabel", "sleepGoalLabel", "bankTimeLabel", "bankBalanceLabel", "starsLabel"})
    EXPECT_EQ(controller->slot(label)->text, "") << label;
  for (const char* chip : {"sleepIndicator", "bankIndicator"}) {
    EXPECT_EQ(controller->slot(chip)->backgroundColour, Colour::darkGrayColor()) << chip;
    EXPECT_EQ(controller->slot(chip)->cornerRadius, 10.0) << chip;
  }
  EXPECT_EQ(controller->slot("ringsImage")->image, nullptr);
  EXPECT_FALSE(controller->slot("ringsContainer")->hidden);
  EXPECT_FALSE(controller->slot("ringTextContainer")->hidden);
  EXPECT_EQ(controller->slot("ringTextContainer")->cornerRadius, 12.0);
  EXPECT_TRUE(controller->slot("ringStatsContainer")->hidden);
  expectUntouchedExcept(*controller,
                        {"ringsContainer", "ringTextContainer", "ringStatsContainer", "sleepIndicator", "bankIndicator",
                         "sleepGlyph", "bankGlyph", "sleepHeadingLabel", "bankHeadingLabel", "sleepTimeLabel",
                         "sleepGoalLabel", "bankTimeLabel", "bankBalanceLabel", "starsLabel"},
                        env);
}

TEST(NotificationViewController, SleepBankWithoutDataOnlyWritesHeadings) {
  TestEnvironment env;
  const auto controller = controllerFor(env);
  controller->didReceiveNotification({"TIMEASLEEP"});
  EXPECT_EQ(controller->slot("sleepHeadingLabel")->text, "TODAY");
  EXPECT_EQ(controller->slot("bankHeadingLabel")->text, "SLEEP BANK");
  EXPECT_EQ(controller->slot("starsLabel")->text, "");
  EXPECT_EQ(controller->slot("sleepIndicator")->cornerRadius, 10.0);
  EXPECT_TRUE(controller->slot("ringStatsContainer")->hidden);
  EXPECT_FALSE(controller->slot("ringsContainer")->hidden);
  EXPECT_FALSE(controller->slot("ringTextContainer")->hidden);
  expectUntouchedExcept(*controller,
                        {"ringsContainer", "ringTextContainer", "ringStatsContainer", "sleepIndicator", "bankIndicator",
                         "sleepHeadingLabel", "bankHeadingLabel", "starsLabel"},
                        env);
}

TEST(NotificationViewController, HeadingsFollowThePreferredLanguage) {
  TestEnvironment env;
  env.languages = {"de-DE"};
  const auto controller = controllerFor(env);
  controller->didReceiveNotification({"BEDTIME"});
  EXPECT_EQ(controller->slot("sleepHeadingLabel")->text, "SCHLAFENSZEIT");
  EXPECT_EQ(controller->slot("bankHeadingLabel")->text, "AUFWACHZEIT");
}

// Filling the slots never misses an outlet, whatever the description lays out; a name that is no slot finds nothing.
TEST(NotificationViewController, EveryDeclaredSlotIsConnected) {
  TestEnvironment env;
  NotificationViewController controller(env, InterfaceDescription{});
  controller.didReceiveNotification({"BEDTIME"});
  EXPECT_EQ(controller.slots().size(), declaredSlots().size());
  EXPECT_EQ(controller.slot("sleepHeadingLabel")->text, "BED TIME");
  EXPECT_EQ(controller.slot("noSuchSlot"), nullptr);
}

// A description that cannot be understood is refused, saying what is wrong; nothing carries on with stand-ins.
TEST(InterfaceDescription, AMalformedDescriptionIsRefusedSayingWhy) {
  const struct {
    const char* json;
    const char* complaint;
  } cases[] = {
      {"{", "parse error"},
      {R"({"size": [360, 320]})", "slots"},
      {R"({"slots": [{"name": "nope", "kind": "label"}]})", "unknown slot \"nope\""},
      {R"({"slots": [{"name": "ringsImage", "kind": "label"}]})", "is a image"},
      {R"({"slots": [{"name": "starsLabel", "kind": "label", "font": [15, "light"]}]})", "weight \"light\""},
      {R"({"slots": [{"name": "starsLabel", "kind": "label", "align": "justified"}]})", "alignment \"justified\""},
      {R"({"slots": [{"name": "starsLabel", "kind": "label", "minimumScaleFactor": 0}]})", "minimumScaleFactor"},
      {R"({"slots": [{"name": "starsLabel", "kind": "label", "minimumScaleFactor": 1.5}]})", "minimumScaleFactor"},
      {R"({"slots": [{"name": "starsLabel", "kind": "label", "colour": [1, 2]}]})", "colour"},
  };
  for (const auto& c : cases) {
    const Result<InterfaceDescription> parsed = InterfaceDescription::parse(c.json);
    EXPECT_FALSE(parsed) << c.json << " was accepted";
    EXPECT_NE(parsed.message().find(c.complaint), std::string::npos) << c.json << ": " << parsed.message();
  }
  const InterfaceDescription d = *InterfaceDescription::parse(
      R"({"slots": [{"name": "starsLabel", "kind": "label", "font": [17, "heavy"], "align": "right",
                     "minimumScaleFactor": 0.5}]})");
  EXPECT_EQ(d.layout[13].text,
            (LabelStyle{Font::systemFontOfSize(17, FontWeight::kHeavy), TextAlignment::kRight, 0.5}));
  EXPECT_EQ(d.layout[12].text.minimumScaleFactor, 1.0);  // absent: the label never shrinks
}

}  // namespace
}  // namespace velmora
