// The vital-sign records: last night's blood oxygen, breathing rate and wrist
// temperature, which the main app summarises inside the sleep bank
// dictionary, turned into labels, a spoken sentence and a copyable text.

#include <initializer_list>

#include "format/FormatTools.h"
#include "metrics/GroupMetrics.h"
#include "text/Bundle.h"

namespace velmora {

// Blood oxygen and breathing rate share one record; they differ only in the
// words below. The keys are made from the name: "averageSpO2", "minSpO27",
// "averageSpO2RangeLabel", "MinSpO2" and so on.
struct VitalSignVocabulary {
  std::string_view summary;  // the summary dictionary inside "bankDict"
  std::string_view name;
  std::string_view title;
  std::string_view infoKey;  // the spoken sentence's key
  std::string_view averageLeadIn, rangeLeadIn;
  std::string_view unit;  // a word after the average, or none
  bool widgetLabel;       // whether the average is also given bare, for widgets
  // Formats of the average, range, minimum, maximum, seven-night average and
  // range, and of a rise and a fall against the seven-night average.
  std::string_view average, range, minimum, maximum, average7, range7, rise, fall;
};

namespace {

const VitalSignVocabulary kSpO2{
    .summary = "spO2Dict",
    .name = "SpO2",
    .title = "Sleep SpO2",
    .infoKey = "todaysSpO2Info",
    .averageLeadIn = "Today's average SpO2 is",
    .rangeLeadIn = "Today's SpO2 range is",
    .unit = {},
    .widgetLabel = false,
    .average = "%.1f%%",
    .range = "%.0f%% - %.0f%%",
    .minimum = "%.0f%%",
    .maximum = "%.0f%%",
    .average7 = "\u2466 %.1f%%",
    .range7 = "\u2466 %.0f%% - %.0f%%",
    .rise = "%.1f%%\u2197",
    .fall = "%.1f%%\u2198",
};

const VitalSignVocabulary kRespRate{
    .summary = "respRateDict",
    .name = "RespRate",
    .title = "Respiration Rate",
    .infoKey = "todaysRespRateInfo",
    .averageLeadIn = "Today's average respiration rate is",
    .rangeLeadIn = "Today's respiration range is",
    .unit = "BrPM",
    .widgetLabel = true,
    .average = "%.1f %@",
    .range = "%.1f - %.1f",
    .minimum = "%.1f",
    .maximum = "%.1f",
    .average7 = "\u2466 %.1f",
    .range7 = "\u2466 %.1f - %.1f",
    .rise = "%.1f\u2197",
    .fall = "%.1f\u2198",
};

// No change worth an arrow: under a tenth either way.
constexpr double kNotableChange = 0.1;
// A wrist temperature moves by hundredths of a degree.
constexpr double kNotableTemperatureChange = 0.01;

}  // namespace

std::optional<MetricDictionary> GroupMetrics::requestSpO2() { return vitalSignRecord(kSpO2); }
std::optional<MetricDictionary> GroupMetrics::requestRespRate() { return vitalSignRecord(kRespRate); }

std::optional<MetricDictionary> GroupMetrics::vitalSignRecord(const VitalSignVocabulary& v) {
  formatTools();
  openStore();
  const StoredDictionary bank = storedDictionary("bankDict");
  if (!bank) return std::nullopt;
  const MetricDictionary* summary = bank->dictionaryForKey(v.summary);
  if (!summary || !isOfCurrentNight(summary->textForKey("key"), *bank)) return std::nullopt;

  const auto named = [&](std::string_view pattern) { return stringWithFormat(pattern, {v.name}); };
  const std::string valueKeys[6] = {named("average%@"),  named("min%@"),  named("max%@"),
                                    named("average%@7"), named("min%@7"), named("max%@7")};
  float values[6];
  for (int i = 0; i < 6; ++i) values[i] = summary->floatForKey(valueKeys[i]);
  const auto [avg, min, max, avg7, min7, max7] = values;

  const Bundle& bundle = caches_.bundle();
  const auto format = [&](std::string_view f, std::initializer_list<FormatArg> args) {
    return localizedStringWithFormat(env_.locale, f, args);
  };
  // No positive average: no data, every label "--" and no range at all.
  std::string average = "--", widget = "--", minimum = "--", maximum = "--", average7 = "--", range7 = "--";
  std::optional<std::string> range;
  std::string difLabel;
  std::int64_t difColour = 0;
  if (avg > 0.0f) {
    average =
        v.unit.empty() ? format(v.average, {avg}) : format(v.average, {avg, bundle.localizedStringForKey(v.unit)});
    widget = format("%.1f ", {avg});
    range = format(v.range, {min, max});
    minimum = format(v.minimum, {min});
    maximum = format(v.maximum, {max});
    average7 = format(v.average7, {avg7});
    range7 = format(v.range7, {min7, max7});
    if (avg7 > 0.0f) {
      // The difference is taken in single precision and judged in double, so
      // 95.6 against 95.5 (0.0999985) is no rise.
      const float d = avg - avg7;
      if (static_cast<double>(d) >= kNotableChange) {
        difLabel = format(v.rise, {d});
        difColour = 1;
      } else if (static_cast<double>(d) <= -kNotableChange) {
        difLabel = format(v.fall, {-d});
        difColour = 2;
      }
    }
  }

  MetricDictionary record;
  record.setValue("title", bundle.localizedStringForKey(v.title));
  record.setValue(v.infoKey,
                  stringWithFormat("%@ %@. %@ %@ %@ %@.", {bundle.localizedStringForKey(v.averageLeadIn), average,
                                                           bundle.localizedStringForKey(v.rangeLeadIn), minimum,
                                                           bundle.localizedStringForKey("to"), maximum}));
  record.setValue(named("average%@Label"), average);
  if (v.widgetLabel) record.setValue(named("average%@WidgetLabel"), widget);
  record.setValue(named("average%@RangeLabel"), range);
  record.setValue(named("min%@Label"), minimum);
  record.setValue(named("max%@Label"), maximum);
  record.setValue(named("average%@Label7"), average7);
  record.setValue(named("average%@RangeLabel7"), range7);
  record.setValue("difLabel", difLabel);
  record.setValue("difColour", Value::integer(difColour));
  for (int i = 0; i < 6; ++i) record.setValue(valueKeys[i], Value::number(values[i]));

  const std::string averageName = bundle.localizedStringForKey(v.name);
  const std::string minimumName = bundle.localizedStringForKey(named("Min%@"));
  const std::string maximumName = bundle.localizedStringForKey(named("Max%@"));
  const auto sevenNights = [](const std::string& name) { return stringWithFormat("%@-7", {name}); };
  record.setValue("pasteItem",
                  format(R"({"%@":"%.1f", "%@":"%.0f", "%@": "%.0f", "%@":"%.1f", "%@":"%.0f" , "%@":"%.0f"})",
                         {averageName, avg, minimumName, min, maximumName, max, sevenNights(averageName), avg7,
                          sevenNights(minimumName), min7, sevenNights(maximumName), max7}));
  return record;
}

std::optional<MetricDictionary> GroupMetrics::requestWristTemp() {
  formatTools();
  openStore();
  const StoredDictionary bank = storedDictionary("bankDict");
  if (!bank || !isOfCurrentNight(bank->textForKey("wristTempKey"), *bank)) return std::nullopt;

  const float score = bank->floatForKey("wristTempScore");
  const float today = bank->floatForKey("wristTempTodayValue");
  const float baseline = bank->floatForKey("wristTempAverage28");
  if (!(today > 0.0f && baseline > 0.0f)) return std::nullopt;
  const auto d = static_cast<double>(today - baseline);

  const Bundle& bundle = caches_.bundle();
  const auto format = [&](std::string_view f, std::initializer_list<FormatArg> args) {
    return localizedStringWithFormat(env_.locale, f, args);
  };
  const std::string todayLabel = format("%.2f\u00B0", {today});
  std::string difLabel, info;
  if (d >= kNotableTemperatureChange || d <= -kNotableTemperatureChange) {
    const bool rise = d > 0;
    difLabel = format(rise ? "%.2f\u00B0\u2197" : "%.2f\u00B0\u2198", {rise ? d : -d});
    // A fall is spoken with its sign, before the word "below".
    info = stringWithFormat(bundle.localizedStringForKey("Today's temperature is %@. %@ %@ baseline."),
                            {todayLabel, format(rise ? "+%.2f\u00B0" : "%.2f\u00B0", {d}),
                             bundle.localizedStringForKey(rise ? "above" : "below")});
  } else {
    difLabel = format("%.2f\u00B0=", {0.0});
    info = stringWithFormat(bundle.localizedStringForKey("Today's temperature is %@. No change from baseline."),
                            {todayLabel});
  }

  MetricDictionary record;
  record.setValue("wristTempTodayLabel", todayLabel);
  record.setValue("wristTempAverage28Label", format("%.2f\u00B0", {baseline}));
  record.setValue("wristTempDifLabel", difLabel);
  record.setValue("wristTempTodayInfo", info);
  record.setValue("wristTempScore", Value::number(score));
  record.setValue("pasteItem",
                  format(R"({"%@":"%.2f", "%@":"%.2f", "%@": "%.2f"})",
                         {bundle.localizedStringForKey("Temperature"), today, bundle.localizedStringForKey("Baseline"),
                          baseline, bundle.localizedStringForKey("Variance"), d}));
  return record;
}

}  // namespace velmora
