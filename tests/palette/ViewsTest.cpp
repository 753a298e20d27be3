#include <gtest/gtest.h>

#include "palette/Pallet.h"
#include "palette/Views.h"
#include "store/UserDefaults.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

Layer named(const char* name) {
  Layer layer;
  layer.name = name;
  return layer;
}

class StylingTest : public ::testing::TestWithParam<bool> {
 protected:
  testing::TestEnvironment env;

  bool dark() const { return GetParam(); }
  Pallet pallet() {
    UserDefaults::standard(env)->setBool(dark(), "darkTheme6");
    return Pallet(env);
  }
};

INSTANTIATE_TEST_SUITE_P(Themes, StylingTest, ::testing::Bool(),
                         [](const auto& theme) { return theme.param ? "Dark" : "Light"; });

// Beneath the content; again after a resize, and as a child: still one gradient, with the new frame and colours.
// Only a first sublayer named "gradient" is taken for the old one.
TEST_P(StylingTest, GradientIsReplacedNotStacked) {
  View view;
  view.bounds = {0, 0, 320, 180};
  view.layer.sublayers = {named("content")};
  Pallet theme = pallet();
  theme.applyGradientToView(view);
  ASSERT_EQ(view.layer.sublayers.size(), 2u);
  EXPECT_EQ(view.layer.sublayers[1].name, "content");
  EXPECT_EQ(view.layer.sublayers[0].name, "gradient");
  EXPECT_EQ(view.layer.sublayers[0].frame, view.bounds);
  const std::vector<Colour> want =
      dark() ? std::vector{hsb(193, 0.8, 0.08), hsb(193, 0.8, 0.05)} : std::vector{hsb(193, 0, 1.0), hsb(193, 0, 0.98)};
  EXPECT_EQ(view.layer.sublayers[0].colours, want);

  view.bounds = {0, 0, 320, 240};
  theme.applyChildGradientToView(view);
  ASSERT_EQ(view.layer.sublayers.size(), 2u);
  EXPECT_EQ(view.layer.sublayers[0].frame, view.bounds);
  const std::vector<Colour> child = dark() ? want : std::vector{hsb(193, 0, 0.99), hsb(193, 0, 0.96)};
  EXPECT_EQ(view.layer.sublayers[0].colours, child);

  view.layer.sublayers = {named("content"), named("gradient")};
  theme.applyGradientToView(view);
  ASSERT_EQ(view.layer.sublayers.size(), 3u);
  EXPECT_EQ(view.layer.sublayers[0].colours, want);
  EXPECT_EQ(view.layer.sublayers[1].name, "content");
}

// Title backgrounds in the dark blue or the light grey; control titles in the tint, the selected segment a muted
// blue on dark and plain white on light.
TEST_P(StylingTest, BackgroundsAndTints) {
  Pallet theme = pallet();
  const double saturation = dark() ? 0.8 : 0.0;
  View title, lower, lowerChild;
  theme.applyTitleBackgroundToView(title);
  theme.applyLowerTitleBackgroundToView(lower);
  theme.applyLowerTitleBackgroundToChildView(lowerChild);
  EXPECT_EQ(title.backgroundColour, hsb(193, saturation, dark() ? 0.08 : 0.99));
  EXPECT_EQ(lower.backgroundColour, hsb(193, saturation, dark() ? 0.05 : 0.9));
  EXPECT_EQ(lowerChild.backgroundColour, hsb(193, saturation, dark() ? 0.05 : 0.98));
  EXPECT_TRUE(title.layer.sublayers.empty());

  SegmentedControl segments;
  theme.applyTintToSegmentedControl(segments);
  EXPECT_EQ(segments.normalTitleColour, theme.tintColour());
  EXPECT_EQ(segments.selectedTitleColour, theme.tintColour());
  EXPECT_EQ(segments.selectedSegmentTintColour, dark() ? hsb(208, 0.15, 0.42) : Colour::whiteColor());
  EXPECT_FALSE(segments.tintColour.has_value());
  Stepper stepper;
  theme.applyTintToStepperControl(stepper);
  ASSERT_TRUE(stepper.tintColour);
  EXPECT_EQ(stepper.tintColour->hexRGBA(), dark() ? "#FFFBCCFF" : "#1A1A1AFF");
}

}  // namespace
}  // namespace velmora
