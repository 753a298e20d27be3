// Readiness and sleep fuel: the night's heart-rate variability (HRV, higher
// is better) and waking heart rate (lower is better), each scored against its
// baseline and the two combined into one value, rated in words, stars or fuel
// grades. And the bedtime consistency: how far the average bedtime moved.

#include <array>
#include <cmath>
#include <initializer_list>

#include "format/FormatTools.h"
#include "metrics/GroupMetrics.h"
#include "store/UserDefaults.h"
#include "text/Bundle.h"

namespace velmora {

namespace {

// The night's two measurements and their baselines, as the main app stores them.
struct Measurements {
  float hrv = 0.0f, hrvBaseline = 0.0f, waking = 0.0f, wakingBaseline = 0.0f;
};

Measurements storedMeasurements(const MetricDictionary& summary) {
  return {summary.floatForKey("hrvTodayVal"), summary.floatForKey("hrvAverage"), summary.floatForKey("bpmTodayVal"),
          summary.floatForKey("bpmAverage")};
}

// What a score is called. Readiness and fuel share every rule and differ only here.
struct RatingVocabulary {
  std::array<std::string_view, 7> ratings;       // one per row of the rating table, the best first
  std::string_view lead;                         // the spoken sentence's opening
  bool speaksStars;                              // the sentence tells the star value, not the rating
  std::string_view hrvBaseline, wakingBaseline;  // names in the copyable text
};

const RatingVocabulary kReadinessWords{{"Superb", "Optimal", "Great", "Good", "OK", "Low", "Rest"},
                                       "Today's Readiness",
                                       false,
                                       "Baseline HRV",
                                       "Baseline Waking BPM"};
// A medal above five stars; a rest below one.
const RatingVocabulary kReadinessStars{
    {"\U0001F947", "\u2605\u2605\u2605\u2605\u2605", "\u2605\u2605\u2605\u2605\u2B52", "\u2605\u2605\u2605\u2B52\u2B52",
     "\u2605\u2605\u2B52\u2B52\u2B52", "\u2605\u2B52\u2B52\u2B52\u2B52", "\U0001F486\u200D\u2642\uFE0F"},
    "Today's Readiness",
    true,
    "Baseline HRV",
    "Baseline Waking BPM"};
const RatingVocabulary kFuelGrades{{"Rocket fuel", "Jet fuel", "Premium", "Plus", "Regular", "Poor", "Bad"},
                                   "Sleep Fuel Rating",
                                   false,
                                   "Baseline Sleep HRV",
                                   "Baseline Sleep BPM"};

// HRV at its baseline earns 0.7, a tenth less than the 0.8 its climb above
// starts from; below it, from 0.75 down. The two constants are added in double
// precision, so the baseline's 0.7 is the single-precision value just below
// the double 0.7.
float hrvPoints(float r) {
  if (r >= 1.0f) return static_cast<float>(static_cast<double>(r - 1.0f) - 0.1 + 0.8);
  if (r < 1.0f) return (r - 1.0f) + 0.75f;
  return 0.0f;  // no ratio at all
}

// The waking heart rate's distance from its baseline, in tenths of the
// baseline: a tenth or more counts in full.
float tenths(float distance) {
  const float x = distance * 100.0f;
  return x > 10.0f ? 1.0f : x / 10.0f;
}

// At the baseline 0.95; a rate a tenth above it 0.45, a tenth below 1.6.
float wakingPoints(float r) {
  if (r >= 1.0f) return tenths(r - 1.0f) * -0.5f + 0.95f;
  if (r < 1.0f) return tenths(1.0f - r) * 0.8f + 0.8f;
  return 0.0f;
}

// One measurement against its baseline: its points, its label, its change and
// the tint of that change (1 or 2 by direction; 0 for no data).
struct Scored {
  float points = 0.0f;
  std::string label = "--";
  std::string change;
  std::int64_t tint = 0;
};

struct Measure {
  float (*points)(float ratio);
  std::int64_t tintAtOrAbove, tintBelow;  // mirror images: a higher HRV is good, a higher heart rate is not
};
constexpr Measure kHrv{&hrvPoints, 2, 1};
constexpr Measure kWaking{&wakingPoints, 1, 2};

// A difference of half a unit or less is no change.
constexpr float kNoticeable = 0.5f;

// The table's spans, 1.5 - 1.2 and 0.7 - 0.5, as double precision computes them.
constexpr double kOptimalSpan = 1.5 - 1.2;
constexpr double kLowSpan = 0.7 - 0.5;
static_assert(kOptimalSpan == 0.30000000000000004 && kLowSpan == 0.19999999999999996);

// The row of the rating table and the star value, 0 to 6, of a combined value.
// The value is compared in double precision, but for the 1.5 and 0.5 tests.
struct Rating {
  std::size_t row;
  float stars;
};
Rating rate(float v) {
  const double d = v;
  if (v > 1.5f) return {0, 6.0f};
  if (d > 1.2) return {1, static_cast<float>((d - 1.2) / kOptimalSpan + 5)};
  if (d > 0.95) return {2, static_cast<float>((d - 0.95) * 4 + 4)};
  if (d > 0.825) return {3, static_cast<float>((d - 0.825) * 8 + 3)};
  if (d > 0.7) return {4, static_cast<float>((d - 0.7) * 8 + 2)};
  if (v > 0.5f) return {5, static_cast<float>((d - 0.5) / kLowSpan + 1)};
  return {6, 2.0f * v};
}

class Scorer {
 public:
  explicit Scorer(RunCaches& caches) : env_(caches.environment()), bundle_(caches.bundle()) {}

  std::string localized(std::string_view key) const { return bundle_.localizedStringForKey(key); }

  Scored score(const Measure& measure, float today, float baseline, const std::string& label) const {
    Scored s;
    if (!(today > 0.0f && baseline > 0.0f)) return s;
    const float r = today / baseline;
    s.points = measure.points(r);
    s.label = label;
    if (r >= 1.0f) {
      s.tint = measure.tintAtOrAbove;
      s.change = change(today - baseline, "above baseline");
    } else if (r < 1.0f) {
      s.tint = measure.tintBelow;
      s.change = change(baseline - today, "below baseline");
    }
    return s;
  }

  std::optional<MetricDictionary> record(const RatingVocabulary& vocabulary, const Measurements& m) const {
    const Scored hrv = score(kHrv, m.hrv, m.hrvBaseline, stringWithFormat("%.0f ms", {m.hrv}));
    const Scored waking =
        score(kWaking, m.waking, m.wakingBaseline, stringWithFormat("%.0f %@", {m.waking, localized("bpm")}));
    const float p = hrv.points, w = waking.points;
    if (!(p > 0.0f) && !(w > 0.0f)) return std::nullopt;
    const float v = w > 0.0f && p > 0.0f ? (p + w) * 0.5f : w > 0.0f ? w : p;
    const Rating rating = rate(v);
    const std::string ratingText = localized(vocabulary.ratings[rating.row]);

    // "Today's Readiness is great." in English; a language that does not say
    // "stars" introduces the rating with a colon instead.
    const std::string lead = capitalizedString(localized(vocabulary.lead));
    const std::string starsWord = localized("stars");
    const std::string_view joiner = starsWord == "stars" ? " is" : ":";
    const std::string sentence =
        vocabulary.speaksStars
            ? stringWithFormat(
                  "%@%@ %@ %@.",
                  {lead, joiner, localizedStringWithFormat(env_.locale, "%.2f", {rating.stars}), starsWord})
            : stringWithFormat("%@%@ %@.", {lead, joiner, lowercaseString(ratingText)});

    MetricDictionary record;
    record.setValue("rating", ratingText);
    record.setValue("todaysReadinessStars", sentence);
    record.setValue("starsValue", Value::number(rating.stars));
    record.setValue("percentage", Value::number(v));
    record.setValue("hrvLabel", hrv.label);
    record.setValue("hrvDifLabel", hrv.change);
    record.setValue("wakingLabel", waking.label);
    record.setValue("wakingDifLabel", waking.change);
    record.setValue("wakingPoints", Value::number(w));
    record.setValue("hrvPoints", Value::number(p));
    record.setValue("wakingTint", Value::integer(waking.tint));
    record.setValue("hrvTint", Value::integer(hrv.tint));
    const auto name = [&](std::string_view key) { return replacingOccurrences(localized(key), " ", ""); };
    record.setValue("pasteItem",
                    localizedStringWithFormat(
                        env_.locale, R"({"%@":"%.2f", "%@":"%.0f", "%@": "%.0f", "%@":"%.0f", "%@":"%.0f", "%@":"%@"})",
                        {capitalizedString(starsWord), rating.stars, localized("HRV"), m.hrv, localized("bpm"),
                         m.waking, name(vocabulary.hrvBaseline), m.hrvBaseline, name(vocabulary.wakingBaseline),
                         m.wakingBaseline, capitalizedString(localized("Rating")), ratingText}));
    return record;
  }

 private:
  std::string change(float difference, std::string_view direction) const {
    return difference > kNoticeable ? stringWithFormat("%.0f %@", {difference, localized(direction)})
                                    : localized("No change");
  }

  const Environment& env_;
  const Bundle& bundle_;
};

// A bedtime that moved by a minute or less either way has kept its time.
constexpr double kConsistentDrift = 60.0;

}  // namespace

std::optional<MetricDictionary> GroupMetrics::requestReadiness() {
  formatTools();
  openStore();
  const StoredDictionary bank = storedDictionary("bankDict");
  if (!bank) return std::nullopt;
  float watchHrv = 0.0f, watchWaking = 0.0f;
  if (const StoredDictionary watch = storedDictionary("watchTrackDict"); watch && watchDictIsValid()) {
    watchHrv = watch->floatForKey("rawHRVVal");
    watchWaking = watch->floatForKey("rawWakingVal");
  }
  const MetricDictionary* ready = bank->dictionaryForKey("readyDict");
  if (!ready) return std::nullopt;
  const bool today = isOfCurrentNight(ready->textForKey("key"), *bank);
  const bool fromWatch = watchHrv > 0.0f || watchWaking > 0.0f;
  if (!fromWatch && !today) return std::nullopt;

  // The stored figures when they are today's; otherwise the watch's, which
  // also stand in for a baseline the main app has not computed yet.
  Measurements m = storedMeasurements(*ready);
  if (fromWatch && !(today && (m.hrv != 0.0f || m.waking != 0.0f))) {
    m.hrv = watchHrv;
    m.waking = watchWaking;
    if (m.hrvBaseline == 0.0f) m.hrvBaseline = watchHrv;
    if (m.wakingBaseline == 0.0f) m.wakingBaseline = watchWaking;
  }
  return Scorer(caches_).record(groupPrefs_->boolForKey("readyStars") ? kReadinessStars : kReadinessWords, m);
}

std::optional<MetricDictionary> GroupMetrics::requestOctane() {
  formatTools();
  openStore();
  const StoredDictionary bank = storedDictionary("bankDict");
  if (!bank) return std::nullopt;
  const MetricDictionary* octane = bank->dictionaryForKey("octaneDict");
  if (!octane || !isOfCurrentNight(octane->textForKey("key"), *bank)) return std::nullopt;
  return Scorer(caches_).record(kFuelGrades, storedMeasurements(*octane));
}

std::optional<MetricDictionary> GroupMetrics::requestConsistencyDict() {
  FormatTools& tools = formatTools();
  openStore();
  const StoredDictionary bank = storedDictionary("bankDict");
  if (!bank) return std::nullopt;
  // Both averages are seconds after the bank's "startDate".
  const float average = bank->floatForKey("averageBedtime");
  const float previous = bank->floatForKey("prevAverageBedtime");
  const Date* start = bank->dateForKey("startDate");
  if (!start) return std::nullopt;

  // Shown the other way round, the previous average is the headline and the current one the label.
  const bool previousFirst = groupPrefs_->boolForKey("lastConsistency");
  const auto bedtime = [&](float offset) {
    return stringWithFormat("%@", {tools.dayTime(start->dateByAddingTimeInterval(offset))});
  };
  const Bundle& bundle = caches_.bundle();
  const double drift = static_cast<double>(average) - static_cast<double>(previous);
  std::string trend;
  if (drift > kConsistentDrift)
    trend = stringWithFormat("%@ %@", {tools.formattedMinInterval(drift), bundle.localizedStringForKey("later")});
  else if (drift < -kConsistentDrift)
    trend = stringWithFormat("%@ %@", {tools.formattedMinInterval(-drift), bundle.localizedStringForKey("earlier")});
  else
    trend = stringWithFormat("%@", {bundle.localizedStringForKey("Consistent")});

  MetricDictionary record;
  record.setValue("avgBedtimeDateString", bedtime(previousFirst ? previous : average));
  record.setValue("bedTrend", Value::number(static_cast<float>(drift)));
  record.setValue("trendString", trend);
  std::string label;
  if (previousFirst)
    label = bedtime(average);
  else if (std::fabs(drift) > kConsistentDrift)
    label = stringWithFormat("%@", {tools.formattedMinInterval(std::fabs(drift))});
  record.setValue("starsLabel", label);
  return record;
}

}  // namespace velmora
