// The sleep rings record: last night's four rings as fractions of their
// targets (time asleep against the goal; quality or REM time, deep time and
// heart rate as the watch scored them), the rating they add up to, and the
// texts the widgets, the shortcuts and the copy action use.

#include <array>
#include <string>
#include <string_view>

#include "format/FormatTools.h"
#include "metrics/GroupMetrics.h"
#include "metrics/WidgetPublishing.h"
#include "store/UserDefaults.h"
#include "text/Bundle.h"

namespace velmora {

namespace {

// The goal used when none is configured or the configured one is too short to mean anything.
constexpr float kDefaultGoalSeconds = 28800.0f;
constexpr float kShortestGoalHours = 4.0f;

// The first three numbers of a "|"-joined text, each read the lenient way a
// stored text is read. A text of fewer than three parts, or a value that is
// no text, gives three zeros: half a triple is not trusted.
std::array<float, 3> ringTriple(const Value* joined) {
  std::array<float, 3> numbers{};
  const std::string* text = joined ? joined->text() : nullptr;
  if (!text) return numbers;
  std::array<std::string_view, 3> parts;
  std::size_t found = 0, start = 0;
  const std::string_view all(*text);
  while (found < parts.size()) {
    const std::size_t bar = all.find('|', start);
    parts[found++] = all.substr(start, bar == std::string_view::npos ? std::string_view::npos : bar - start);
    if (bar == std::string_view::npos) break;
    start = bar + 1;
  }
  if (found < parts.size()) return numbers;
  for (std::size_t i = 0; i < parts.size(); ++i) numbers[i] = Value(std::string(parts[i])).floatValue();
  return numbers;
}

// A ring counts towards the rating up to full and no further; a shortfall
// (even below zero) counts as it is.
float cappedAtFull(float fraction) { return fraction > 1.0f ? 1.0f : fraction; }

}  // namespace

std::optional<MetricDictionary> GroupMetrics::requestQuality() {
  FormatTools& tools = formatTools();
  openStore();
  const StoredDictionary watch = storedDictionary("watchTrackDict");
  if (!watch || !watchDictIsValid()) return std::nullopt;

  const bool showStages = watch->contains("showStages");
  const auto [quality, deep, heartRate] = ringTriple(watch->objectForKey("rawRingRating"));
  const auto [qualityTime, deepTime, bpm] = ringTriple(watch->objectForKey("rawRingValues"));

  const float goalHours = getVelmoraConfigValueForKey("requiredHours");
  float asleep = 0.0f, sleep = 0.0f;
  if (const Value* rawSleepTime = watch->objectForKey("rawSleepTime")) {
    const float goal = goalHours < kShortestGoalHours ? kDefaultGoalSeconds : goalHours * 3600.0f;
    asleep = rawSleepTime->floatValue();
    sleep = asleep / goal;
  }

  // A ring exactly on its target is closed.
  int closed = 0;
  for (const float fraction : {sleep, quality, deep, heartRate}) closed += fraction >= 1.0f ? 1 : 0;
  const float rating =
      (cappedAtFull(sleep) + cappedAtFull(quality) + cappedAtFull(deep) + cappedAtFull(heartRate)) * 0.25f;

  const Bundle& bundle = caches_.bundle();
  std::string headline;
  switch (closed) {
    case 0:
      headline = bundle.localizedStringForKey("No Sleep Rings Closed");
      break;
    case 1:
      headline = bundle.localizedStringForKey("1 Sleep Ring Closed");
      break;
    case 4:
      headline = bundle.localizedStringForKey("All Sleep Rings Closed!");
      break;
    default:
      headline = stringWithFormat("%d %@", {closed, bundle.localizedStringForKey("Sleep Rings Closed")});
  }
  headline = tools.sentenceCapitalizedString(headline);
  // The headline of four closed rings ends in its own exclamation mark.
  const char* endMark = closed == 4 ? "" : ".";
  const std::string ratingName = bundle.localizedStringForKey("Sleep Rating");
  const std::string spoken =
      ratingName == "Sleep Rating"
          ? stringWithFormat("%@%@ Today's sleep rating is %.0f%%.", {headline, endMark, rating * 100.0f})
          : stringWithFormat("%@%@ %@: %.0f%%.", {headline, endMark, ratingName, rating * 100.0f});

  const std::string sleepName = bundle.localizedStringForKey("Sleep");
  const std::string secondName = bundle.localizedStringForKey(showStages ? "REM" : "Quality");
  const std::string deepName = bundle.localizedStringForKey("Deep");
  const std::string bpmName = bundle.localizedStringForKey("bpm");
  const std::string paste = localizedStringWithFormat(
      env_.locale,
      R"({"%@%%":"%.0f", "%@%%":"%.0f", "%@%%": "%.0f", "%@%%":"%.0f", "%@":"%.2f", "%@":"%.2f", "%@": "%.2f", "%@":"%.0f", "%@":"%.0f"})",
      {sleepName, sleep * 100.0f, secondName, quality * 100.0f, deepName, deep * 100.0f, bpmName, heartRate * 100.0f,
       sleepName, asleep / 3600.0f, secondName, qualityTime / 3600.0f, deepName, deepTime / 3600.0f, bpmName, bpm,
       replacingOccurrences(ratingName, " ", ""), rating * 100.0f});

  MetricDictionary record;
  record.setValue("ringSleepPercent", Value::number(sleep));
  record.setValue("ringQualityPercent", Value::number(quality));
  record.setValue("ringDeepPercent", Value::number(deep));
  record.setValue("ringBPMPercent", Value::number(heartRate));
  record.setValue("sleepRating", Value::number(rating));
  record.setValue("ringSleepLabel", tools.formattedTimeInterval(asleep));
  record.setValue("ringQualityLabel", tools.formattedTimeInterval(qualityTime));
  record.setValue("ringDeepLabel", tools.formattedTimeInterval(deepTime));
  record.setValue("ringBPMLabel", stringWithFormat("%.0f", {bpm}));
  if (showStages) record.setValue("showStages", Value("1"));
  record.setValue("siriLabel", spoken);
  record.setValue("pasteItem", paste);
  return record;
}

void GroupMetrics::requestQualityForSwift() {
  // A handle of its own, as the widget extension's caller opens one.
  const std::shared_ptr<UserDefaults> store = UserDefaults::suite(env_, Environment::kSharedSuite);
  const std::optional<MetricDictionary> record = requestQuality();
  if (!record) {
    const Value none("--");
    publishForWidgets(*store, "HasData", nullptr);
    for (const char* key : {"ringSleepLabel", "ringQualityLabel", "ringDeepLabel", "ringBPMLabel"})
      publishForWidgets(*store, key, &none);
    return;
  }
  const Value hasData("1");
  publishForWidgets(*store, "HasData", &hasData);
  for (const char* key : {"ringSleepLabel", "ringDeepLabel", "ringBPMLabel"})
    publishForWidgets(*store, key, record->objectForKey(key));
  // The quality ring's label carries the ring's own mark: Ⓡ for REM, ★ for quality.
  const Value quality(
      stringWithFormat(record->contains("showStages") ? "Ⓡ %@" : "★ %@", {record->textForKey("ringQualityLabel")}));
  publishForWidgets(*store, "ringQualityLabel", &quality);
}

}  // namespace velmora
