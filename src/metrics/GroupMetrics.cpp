#include "metrics/GroupMetrics.h"

#include <cmath>

#include "format/FormatTools.h"
#include "store/UserDefaults.h"
#include "text/Bundle.h"
#include "values/SaturatingCast.h"

namespace velmora {

namespace {

constexpr double kDay = 86400.0;
constexpr std::int64_t kDefaultNightHour = 21;

// A date held in a store or record; anything else counts as no date.
std::optional<Date> dateIn(const MetricDictionary& d, std::string_view key) {
  const Date* date = d.dateForKey(key);
  return date ? std::optional<Date>(*date) : std::nullopt;
}

std::string withoutBlanks(std::string_view text) { return replacingOccurrences(text, " ", ""); }

// The bank keeps a night hour of its own, which its records go by.
std::int64_t bankNightHour(const MetricDictionary& bank) {
  return bank.contains("nightHour") ? bank.integerForKey("nightHour") : kDefaultNightHour;
}

}  // namespace

GroupMetrics::GroupMetrics(RunCaches& caches) : MetricSources(caches) {}
GroupMetrics::~GroupMetrics() = default;

GroupMetrics::StoredDictionary GroupMetrics::storedDictionary(std::string_view key) const {
  return StoredDictionary(groupPrefs_ ? groupPrefs_->objectForKey(key) : std::nullopt);
}

float GroupMetrics::getVelmoraConfigValueForKey(std::string_view key) {
  const StoredDictionary config = storedDictionary("velmoraConfig");
  if (!config) return -1.0f;
  const Value* value = config->objectForKey(key);
  return value ? value->floatValue() : -1.0f;
}

bool GroupMetrics::getVelmoraSwitchValueForKey(std::string_view key) {
  const StoredDictionary config = storedDictionary("velmoraConfig");
  return config && config->contains(key);
}

std::int64_t GroupMetrics::configNightHour() {
  const auto hour = saturatingCast<std::int64_t>(getVelmoraConfigValueForKey("nightHour"));
  return hour < 0 ? kDefaultNightHour : hour;
}

std::optional<Date> GroupMetrics::getFromDateForNightHour(std::int64_t nightHour) {
  FormatTools& tools = formatTools();
  const Date now = env_.now;
  const int hour = tools.currentHour(now);
  if (nightHour < 0) return std::nullopt;
  // Step back a whole day before taking the calendar day, so a day with a
  // clock change still lands on the right calendar day.
  const Date base = nightHour >= 1 && hour < nightHour ? now.dateByAddingTimeInterval(-kDay) : now;
  return tools.dateForDate(base, saturatingCast<int>(nightHour), 0);
}

// The morning that ends the current night names it: twelve hours after its start.
std::optional<std::string> GroupMetrics::currentNightKey(const MetricDictionary& bank) {
  const std::optional<Date> nightStart = getFromDateForNightHour(bankNightHour(bank));
  if (!nightStart) return std::nullopt;
  return formatTools().YYMMDD(nightStart->dateByAddingTimeInterval(43200.0));
}

bool GroupMetrics::isOfCurrentNight(const std::string* key, const MetricDictionary& bank) {
  if (!key) return false;
  const std::optional<std::string> night = currentNightKey(bank);
  return night && *key == *night;
}

bool GroupMetrics::watchDictIsValid() {
  formatTools();
  openStore();
  const StoredDictionary watch = storedDictionary("watchTrackDict");
  if (!watch) return false;
  const std::optional<Date> synched = dateIn(*watch, "rawSynchTime");
  if (!synched) return false;
  const std::optional<Date> from = getFromDateForNightHour(configNightHour());
  return from && synched->timeIntervalSinceDate(*from) > 60.0;
}

bool GroupMetrics::shouldReportPreviousDay() {
  const std::int64_t nightHour = configNightHour();
  FormatTools* tools = formatTools_.ifMade();
  const int hour = tools ? tools->currentHour(env_.now) : 0;
  return nightHour >= 1 && hour >= nightHour;
}

std::string GroupMetrics::sleepBankPasteItem(const FormatArg& bedTime, const FormatArg& wakeTime, double hoursUntilBed,
                                             double forecastHours) {
  const Bundle& bundle = caches_.bundle();
  return localizedStringWithFormat(
      env_.locale, R"({"%@":"%@", "%@":"%@", "%@": "%.2f", "%@":"%.2f"})",
      {withoutBlanks(bundle.localizedStringForKey("Tonight's Bedtime")), bedTime,
       withoutBlanks(bundle.localizedStringForKey("Wake time")), wakeTime,
       withoutBlanks(capitalizedString(bundle.localizedStringForKey("Time until bed"))), hoursUntilBed,
       withoutBlanks(bundle.localizedStringForKey("Required Hours")), forecastHours});
}

std::optional<MetricDictionary> GroupMetrics::requestSleepBank() {
  FormatTools& tools = formatTools();
  openStore();
  if (shouldReportPreviousDay())
    if (std::optional<MetricDictionary> previous = returnPreviousSleepBank()) return previous;

  const StoredDictionary bank = storedDictionary("bankDict");
  if (!bank) return std::nullopt;

  float raw = 0.0f;
  if (const StoredDictionary watch = storedDictionary("watchTrackDict"); watch && watchDictIsValid())
    raw = watch->floatForKey("rawSleepTime");

  const float goalH = bank->contains("requiredHours") ? bank->floatForKey("requiredHours") : 8.0f;
  const std::int64_t nightHour = bankNightHour(*bank);
  float wakeOffset = 0.0f;
  if (bank->contains("medianWake") && bank->floatForKey("medianWake") > 0.0f)
    wakeOffset = bank->floatForKey("medianWake");
  else if (bank->contains("averageWake"))
    wakeOffset = bank->floatForKey("averageWake");
  const float efficiency = bank->contains("averageEfficiency") ? bank->floatForKey("averageEfficiency") : 90.0f;
  const float goal = goalH * 3600.0f;

  // The morning that ends the computed night.
  const std::optional<Date> nightStart = getFromDateForNightHour(nightHour);
  if (!nightStart) return std::nullopt;  // a negative night hour leaves no night to compute
  const Date ref = nightStart->dateByAddingTimeInterval(43200.0);

  // The weekday whose fixed wake time applies: tomorrow's while today's night
  // has not begun yet. The wake itself stays anchored on ref's day, because
  // the whole bedtime moves on by a day below.
  const int hour = tools.currentHour(env_.now);
  std::optional<Date> fixedWake;
  if (nightHour >= 1) {
    const Date weekdayDate = nightHour > hour ? ref.dateByAddingTimeInterval(kDay) : ref;
    const int weekday = tools.getWeekdayNoForDate(weekdayDate);
    const int mondayFirst = weekday >= 2 ? weekday - 2 : 6;
    if (getVelmoraSwitchValueForKey(stringWithFormat("WakeFixed%d", {mondayFirst}))) {
      const float wakeTime = getVelmoraConfigValueForKey(stringWithFormat("WakeTime%d", {mondayFirst}));
      if (wakeTime >= 0.0f) fixedWake = tools.dateForDate(ref, 0, 0).dateByAddingTimeInterval(wakeTime);
    }
  }

  // Weighted pass over the seven nights: the oldest weighs 1, the last 7.
  double sum = 0, weights = 0, presentDays = 0, tail = 0, tailDays = 0, target = 0;
  for (int i = 0; i <= 6; ++i) {
    const double w = i + 1;
    const Date day = ref.dateByAddingTimeInterval((i - 6) * kDay);
    const Value* stored = bank->objectForKey(tools.YYMMDD(day));
    bool present = stored != nullptr;
    float v = stored ? stored->floatValue() : 0.0f;
    if (!stored && i == 6 && raw > 0.0f) {  // last night not banked yet: take the watch's figure
      v = raw;
      present = true;
    }
    present = present && v >= 0.0f;
    if (present) {
      sum += w * v;
      weights += w;
      presentDays += 1;
      if (i >= 1) {
        tail += i * static_cast<double>(v);
        tailDays += 1;
      }
    } else if (i >= 1) {  // a missing night counts as on goal, for the forecast only
      tail += i * static_cast<double>(goal);
      tailDays += 1;
    }
    target += w * goal;
  }
  if (weights <= 0) return std::nullopt;

  const auto balance = static_cast<float>(sum / weights);
  // Tonight's need, so that next week's weighted average (every night moved
  // down one weight, tonight weighing 7) meets the goal.
  const float forecast =
      tail > 0 && presentDays > 1 ? static_cast<float>((target - tail) / (tailDays + 1)) : 2.0f * goal - balance;
  if (balance <= 0.0f) return std::nullopt;

  MetricDictionary record;
  record.setValue("bankBalance", Value::number(balance));
  record.setValue("bankForecast", Value::number(forecast));
  record.setValue("bankPercent", Value::number(balance / goal));
  if (wakeOffset <= 0.0f) return record;

  const Date wake = fixedWake ? *fixedWake : nightStart->dateByAddingTimeInterval(wakeOffset);

  float minH = getVelmoraConfigValueForKey("minimumHours");
  if (minH < 1.0f) minH = goalH - 1.0f;
  float maxH = getVelmoraConfigValueForKey("maximumHours");
  if (maxH < minH) maxH = goalH + 2.0f;  // compared with the minimum, not with 1

  const float factor = 100.0f / efficiency;
  float inBed;
  if (minH * 3600.0f > forecast)
    inBed = factor * minH * 3600.0f;
  else if (maxH * 3600.0f >= forecast)
    inBed = factor * forecast;
  else
    inBed = factor * maxH * 3600.0f;

  Date bed = wake.dateByAddingTimeInterval(-static_cast<double>(inBed));
  if (bed < *nightStart) bed = *nightStart;

  // Once tonight's night has begun the computed night is tonight; before, it
  // was last night and tonight's times are a day later.
  const int hourNow = tools.currentHour(env_.now);
  const double shift = nightHour > 0 && nightHour <= hourNow ? 0.0 : kDay;
  const Date adjustedBed = bed.dateByAddingTimeInterval(shift);
  const auto timeUntilBed = static_cast<float>(adjustedBed.timeIntervalSinceDate(env_.now));
  const std::string bedText = tools.dayTime(bed);
  const std::string wakeText = tools.dayTime(wake);

  record.setValue("bedTime", Value(bed));
  record.setValue("adjustedBedTime", Value(adjustedBed));
  record.setValue("timeUntilBed", Value::number(timeUntilBed));
  record.setValue("timeUntilBedLabel", tools.formattedTimeInterval(timeUntilBed));
  record.setValue("latestBedTime", bedText);
  record.setValue("latestBedLabel",
                  stringWithFormat(caches_.bundle().localizedStringForKey("Try to be in bed by %@"), {bedText}));
  record.setValue("wakeTime", Value(wake));
  record.setValue("wakeTimeLabel", wakeText);
  record.setValue("timeUntilWakeLabel",
                  tools.formattedTimeInterval(wake.dateByAddingTimeInterval(shift).timeIntervalSinceDate(env_.now)));
  record.setValue("pasteItem", sleepBankPasteItem(bedText, wakeText, static_cast<double>(timeUntilBed) / 3600.0,
                                                  forecast / 3600.0f));

  // The record and its moment go in one write: never a new record with an old date.
  groupPrefs_->setObjects(
      MetricDictionary{{"cachedSleepBank", Value(record)}, {"cachedSleepBankUpdate", Value(env_.now)}});
  return record;
}

std::optional<MetricDictionary> GroupMetrics::returnPreviousSleepBank() {
  FormatTools& tools = formatTools();
  openStore();
  const std::optional<Date> nightStart = getFromDateForNightHour(configNightHour());
  if (!nightStart) return std::nullopt;
  const Date since = nightStart->dateByAddingTimeInterval(-kDay);  // the start of the previous night
  const std::optional<Value> updated = groupPrefs_->objectForKey("cachedSleepBankUpdate");
  if (!updated || !updated->date() || !(updated->date()->timeIntervalSinceDate(since) > 60.0)) return std::nullopt;

  const StoredDictionary stored = storedDictionary("cachedSleepBank");
  const MetricDictionary cached = stored ? *stored : MetricDictionary{};
  MetricDictionary record;
  for (const char* key : {"bankBalance", "bankForecast", "bankPercent", "bedTime", "latestBedTime", "latestBedLabel",
                          "wakeTime", "wakeTimeLabel"}) {
    const Value* value = cached.objectForKey(key);
    // The store keeps numbers as doubles; the record's numbers are single precision.
    if (value && value->isNumber())
      record.setValue(key, Value::number(value->floatValue()));
    else if (value)
      record.setValue(key, *value);
  }

  // A record without a bedtime or wake time has nothing to move on: its
  // intervals read as zero, as they would for no date.
  const std::optional<Date> bedTime = dateIn(cached, "bedTime");
  const std::optional<Date> wakeTime = dateIn(cached, "wakeTime");
  const std::optional<Date> adjusted = bedTime ? std::optional(bedTime->dateByAddingTimeInterval(kDay)) : std::nullopt;
  const double untilBed = adjusted ? adjusted->timeIntervalSinceDate(env_.now) : 0.0;
  const double untilWake = wakeTime ? wakeTime->dateByAddingTimeInterval(kDay).timeIntervalSinceDate(env_.now) : 0.0;
  record.setValue("timeUntilBedLabel", tools.formattedTimeInterval(untilBed));
  record.setValue("timeUntilBed", Value::number(static_cast<float>(untilBed)));
  if (adjusted) record.setValue("adjustedBedTime", Value(*adjusted));
  record.setValue("timeUntilWakeLabel", tools.formattedTimeInterval(untilWake));

  const FormatArg wakeText = wakeTime ? FormatArg(tools.dayTime(*wakeTime)) : FormatArg(nullptr);
  record.setValue("pasteItem", sleepBankPasteItem(cached.textForKey("latestBedTime"), wakeText, untilBed / 3600.0,
                                                  cached.floatForKey("bankForecast") / 3600.0f));
  return record;
}

}  // namespace velmora
