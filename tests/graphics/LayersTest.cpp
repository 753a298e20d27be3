// The layers of the images: a run keeps the part of an image that is the same
// in every image of its kind once the kind comes round again, and later images
// start from it. They must be the very pixels of an image drawn afresh, and
// nothing the store can change may come from a layer kept before the change.

#include <cairo.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

#include "drawing/Image.h"
#include "graphics/SleepMetricsGraphics.h"
#include "palette/Pallet.h"
#include "store/UserDefaults.h"
#include "support/GraphicsAccess.h"
#include "support/TestEnvironment.h"

namespace velmora {
namespace {

using testing::Graphics;

struct LayerEnvironment : testing::TestEnvironment {
  LayerEnvironment() : TestEnvironment("2025-01-06T20:00:00+01:00", "Europe/Berlin") {
    scale = 2;
    setGoal(8.0f);
  }
  void setGoal(float hours) const {
    UserDefaults::suite(*this, Environment::kSharedSuite)
        ->setObject(Value(MetricDictionary{{"requiredHours", Value::number(hours)}}), "velmoraConfig");
  }
};

// How many pixels of two images of one size differ.
int differingPixels(const ImageRef& a, const ImageRef& b) {
  EXPECT_TRUE(a && b);
  if (!a || !b) return -1;
  cairo_surface_t *x = a->surface(), *y = b->surface();
  EXPECT_EQ(cairo_image_surface_get_width(x), cairo_image_surface_get_width(y));
  int count = 0;
  for (int row = 0; row < cairo_image_surface_get_height(x); ++row) {
    const auto* p = reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(x) +
                                                           row * cairo_image_surface_get_stride(x));
    const auto* q = reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(y) +
                                                           row * cairo_image_surface_get_stride(y));
    for (int column = 0; column < cairo_image_surface_get_width(x); ++column) count += p[column] != q[column];
  }
  return count;
}

const Date kBedtime = testing::isoDate("2025-01-06T22:30:00+01:00");
const Date kWaketime = testing::isoDate("2025-01-07T06:45:00+01:00");
const MetricDictionary kSpO2Night{{"averageSpO2", Value::number(95.6f)}, {"minSpO2", Value::number(91.0f)},
                                  {"maxSpO2", Value::number(99.0f)},     {"averageSpO27", Value::number(96.1f)},
                                  {"minSpO27", Value::number(90.0f)},    {"maxSpO27", Value::number(99.0f)}};

using DrawWith = std::function<ImageRef(Graphics&, float round)>;
struct Kind {
  const char* name;
  DrawWith draw;  // the image of the given round (the dynamic part may change from round to round)
};

const Kind kKinds[] = {
    {"bed clock", [](Graphics& g, float) { return g.drawTheBedClockWithSize(280, kBedtime, kWaketime); }},
    {"bed clock, widget, no dates",
     [](Graphics& g, float) {
       g.enterWidgetMode();
       return g.drawTheBedClockWithSize(155, std::nullopt, std::nullopt);
     }},
    {"recharge", [](Graphics& g, float round) { return g.drawTheRechargeWithSize(280, 0.5f + 0.2f * round, 0.9f); }},
    {"recharge, accessory", [](Graphics& g, float) { return g.drawTheRechargeWithSize(200, 0.93f, 1.1f); }},
    {"recharge, small", [](Graphics& g, float round) { return g.drawTheRechargeWithSize(100, 0.93f, 0.3f * round); }},
    {"sleep rings, rated",
     [](Graphics& g, float round) {
       return g.drawSleepRingsWithSize(280, 0.9f, 0.4f * round, 0.7f, 1.05f, 0.87f, false);
     }},
    {"sleep rings, rated in odd rounds only",
     [](Graphics& g, float round) {
       return g.drawSleepRingsWithSize(280, 0.3f, 1.1f, 0.7f, 0.95f, static_cast<int>(round) % 2 ? 0.76f : 0.0f, false);
     }},
    {"sleep rings, accessory",
     [](Graphics& g, float) { return g.drawSleepRingsWithSize(260, 0.9f, 1.2f, 0.7f, 1.05f, 0.87f, true); }},
    {"blood-oxygen gauge", [](Graphics& g, float) { return g.drawSpO2GaugeWithSize(280, kSpO2Night); }},
    {"breathing-rate gauge",
     [](Graphics& g, float round) {
       return g.drawRespRateGaugeWithSize(280, {{"averageRespRate", Value::number(12.0f + 2.0f * round)}});
     }},
    {"wrist-temperature gauge",
     [](Graphics& g, float round) {
       return g.drawWristTempGaugeWithSize(280, {{"wristTempScore", Value::number(1.5f * round)}});
     }},
};

// Round after round, one run's images of a kind (the first drawn whole, the
// second keeping the layer, the later ones starting from it) are the pixels
// of the same image drawn by a run of its own; so they are when the run turns
// to another screen scale, whose layers are its own.
TEST(LayersTest, LaterImagesAreThePixelsOfImagesDrawnAfresh) {
  for (const Kind& kind : kKinds) {
    LayerEnvironment run;
    Graphics graphics(run);
    graphics.openStore();
    for (float round : {0.0f, 1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f}) {
      run.scale = round < 4 ? 2 : 1;
      const ImageRef image = kind.draw(graphics, round);
      LayerEnvironment alone;
      alone.scale = run.scale;
      Graphics fresh(alone);
      fresh.openStore();
      EXPECT_EQ(differingPixels(image, kind.draw(fresh, round)), 0) << kind.name << ", round " << round;
    }
  }
}

// The goal and the theme are read anew for every image: a layer kept for
// one goal or theme never shows under an image of another.
TEST(LayersTest, WhatTheStoreChangesIsDrawnAnew) {
  const struct {
    const char* name;
    std::function<void(const LayerEnvironment&, Graphics&)> change;
    DrawWith draw;
  } cases[] = {
      {"a new goal", [](const LayerEnvironment& env, Graphics&) { env.setGoal(9.5f); },
       [](Graphics& g, float) { return g.drawTheRechargeWithSize(280, 0.93f, 0.9f); }},
      {"a light theme", [](const LayerEnvironment&, Graphics& g) { g.pallet().setDarkTheme(false); },
       [](Graphics& g, float) { return g.drawSleepRingsWithSize(280, 0.9f, 0.8f, 0.7f, 1.05f, 0.87f, false); }},
  };
  for (const auto& c : cases) {
    LayerEnvironment run;
    Graphics graphics(run);
    graphics.openStore();
    ImageRef before;
    for (float round : {0.0f, 1.0f, 2.0f}) before = c.draw(graphics, round);  // the layer is kept by now
    c.change(run, graphics);
    const ImageRef after = c.draw(graphics, 3.0f);

    LayerEnvironment alone;
    Graphics fresh(alone);
    fresh.openStore();
    c.change(alone, fresh);
    EXPECT_EQ(differingPixels(after, c.draw(fresh, 3.0f)), 0) << c.name;
    EXPECT_GT(differingPixels(after, before), 1000) << c.name << ": the change shows";
  }
}

}  // namespace
}  // namespace velmora
