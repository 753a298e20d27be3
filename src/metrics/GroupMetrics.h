#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "drawing/RunCaches.h"
#include "metrics/MetricSources.h"
#include "text/StringFormat.h"
#include "values/Value.h"

namespace velmora {

struct VitalSignVocabulary;

// The metric records computed from what the main app leaves in the
// SharedStore: the configuration lookups, the night boundaries, and the
// sleep bank. The store handle and the formatting tools are opened on first
// use by the request methods and kept for the object's life.
class GroupMetrics : private MetricSources {
 public:
  // Keeps a reference to the run's caches, which must outlive it.
  explicit GroupMetrics(RunCaches& caches);
  ~GroupMetrics();

  // --- Store access and configuration -----------------------------------------

  // The number under `key` in "velmoraConfig", or -1.0 when the configuration
  // or the key is absent (or the store has not been opened yet).
  float getVelmoraConfigValueForKey(std::string_view key);
  // Whether "velmoraConfig" holds any value under `key`: a stored 0 or false is still "on".
  bool getVelmoraSwitchValueForKey(std::string_view key);
  // The start of the current night for a night hour: today at that hour once
  // it has come, else yesterday's. Nothing for a negative hour.
  std::optional<Date> getFromDateForNightHour(std::int64_t nightHour);
  // Whether "watchTrackDict" was synchronised more than a minute into the current night.
  bool watchDictIsValid();
  // Whether the new night has begun, so the day just ended is now the previous day.
  bool shouldReportPreviousDay();

  // --- Sleep bank ---------------------------------------------------------------

  // The seven-night weighted balance, tonight's need, bedtime and wake time;
  // cached in the SharedStore. Nothing when there is no usable sleep data.
  std::optional<MetricDictionary> requestSleepBank();
  // The record computed before tonight's night began, moved on by a day.
  std::optional<MetricDictionary> returnPreviousSleepBank();

  // --- Sleep rings ----------------------------------------------------------------

  // Last night's four ring fractions (sleep time, quality or REM, deep, heart
  // rate), the rating, the ring labels, the spoken summary and the copy text.
  // Nothing when the watch has left no record for the current night.
  std::optional<MetricDictionary> requestQuality();
  // Publishes the four ring labels for the widgets ("--" without a record).
  void requestQualityForSwift();

  // --- Vital signs ----------------------------------------------------------------

  // Last night's blood oxygen and breathing rate against their seven-night
  // figures: labels, the change, a spoken sentence and a copyable text. A
  // night without a positive average still has a record, of "--" labels.
  // Nothing when the bank or the summary is missing or of another night.
  std::optional<MetricDictionary> requestSpO2();
  std::optional<MetricDictionary> requestRespRate();
  // Last night's wrist temperature against the 28-night baseline. Nothing
  // without both temperatures for the current night.
  std::optional<MetricDictionary> requestWristTemp();

  // --- Readiness, sleep fuel and bedtime consistency ------------------------------

  // How ready the night left the user: heart-rate variability and the waking
  // heart rate against their baselines, as points, a rating word (or stars),
  // a star value, labels, tints, a spoken sentence and a copyable text. The
  // watch's figures stand in when the stored ones are not of today. Nothing
  // without figures for the current night or without a positive score.
  std::optional<MetricDictionary> requestReadiness();
  // The same scoring of the night's own stored figures, rated in fuel grades.
  std::optional<MetricDictionary> requestOctane();
  // The average bedtime, how far it moved against the previous average, and
  // the gauge's label. Nothing without the bank's "startDate".
  std::optional<MetricDictionary> requestConsistencyDict();

 private:
  // The day key that the bank's nightly summaries carry for the current
  // night, by the bank's own night hour; nothing for a negative hour.
  std::optional<std::string> currentNightKey(const MetricDictionary& bank);
  // Whether a summary's day key names the current night.
  bool isOfCurrentNight(const std::string* key, const MetricDictionary& bank);
  std::optional<MetricDictionary> vitalSignRecord(const VitalSignVocabulary& vocabulary);
  // "nightHour" of the configuration, truncated; 21 when absent or negative.
  std::int64_t configNightHour();
  // A dictionary of the store, shared with the store's copy rather than copied
  // ("bankDict" holds a key per night).
  class StoredDictionary {
   public:
    explicit StoredDictionary(std::optional<Value> value) : value_(std::move(value)) {}
    explicit operator bool() const { return value_ && value_->dictionary(); }
    const MetricDictionary& operator*() const { return *value_->dictionary(); }
    const MetricDictionary* operator->() const { return value_->dictionary(); }

   private:
    std::optional<Value> value_;
  };
  StoredDictionary storedDictionary(std::string_view key) const;
  std::string sleepBankPasteItem(const FormatArg& bedTime, const FormatArg& wakeTime, double hoursUntilBed,
                                 double forecastHours);
};

}  // namespace velmora
