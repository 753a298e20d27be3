#include "host/Operations.h"

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "host/ContactSheet.h"
#include "host/ImageFiles.h"
#include "host/JsonForms.h"
#include "host/JsonText.h"
#include "host/Suggestions.h"
#include "metrics/GroupMetrics.h"
#include "presentation/SleepMetricsUI.h"

namespace velmora::host {

namespace {

std::optional<Value> dictionary(std::optional<MetricDictionary> record) {
  if (!record) return std::nullopt;
  return Value(std::move(*record));
}

std::optional<Value> image(ImageRef picture) {
  if (!picture) return std::nullopt;
  return Value(std::move(picture));
}

// The presentation operations metric by metric, then the records.
const std::vector<Operation> kOperations = {
    {"requestLatestBedtime", [](RequestSession& s) { return dictionary(s.sleepMetricsUI().requestLatestBedtime()); }},
    {"requestLatestBedtimeForSwift",
     [](RequestSession& s) -> std::optional<Value> {
       s.sleepMetricsUI().requestLatestBedtimeForSwift();
       return std::nullopt;
     }},
    {"swiftBedtimeImage", [](RequestSession& s) { return image(s.sleepMetricsUI().swiftBedtimeImage()); }},
    {"requestSleepBankRings", [](RequestSession& s) { return dictionary(s.sleepMetricsUI().requestSleepBankRings()); }},
    {"requestSleepBankForSwift",
     [](RequestSession& s) -> std::optional<Value> {
       s.sleepMetricsUI().requestSleepBankForSwift();
       return std::nullopt;
     }},
    {"swiftSleepBankImage", [](RequestSession& s) { return image(s.sleepMetricsUI().swiftSleepBankImage()); }},
    {"swiftSleepBankAccessoryImage",
     [](RequestSession& s) { return image(s.sleepMetricsUI().swiftSleepBankAccessoryImage()); }},
    {"requestQuality", [](RequestSession& s) { return dictionary(s.sleepMetricsUI().requestQuality()); }},
    // The widgets publish the rings' labels through the record's own operation.
    {"requestQualityForSwift",
     [](RequestSession& s) -> std::optional<Value> {
       s.groupMetrics().requestQualityForSwift();
       return std::nullopt;
     }},
    {"swiftSleepRingsImage", [](RequestSession& s) { return image(s.sleepMetricsUI().swiftSleepRingsImage()); }},
    {"swiftSleepRingsAccessoryImage",
     [](RequestSession& s) { return image(s.sleepMetricsUI().swiftSleepRingsAccessoryImage()); }},
    {"requestSpO2", [](RequestSession& s) { return dictionary(s.sleepMetricsUI().requestSpO2()); }},
    {"requestSpO2ForSwift",
     [](RequestSession& s) -> std::optional<Value> {
       s.sleepMetricsUI().requestSpO2ForSwift();
       return std::nullopt;
     }},
    {"swiftSpO2Image", [](RequestSession& s) { return image(s.sleepMetricsUI().swiftSpO2Image()); }},
    {"requestRespRate", [](RequestSession& s) { return dictionary(s.sleepMetricsUI().requestRespRate()); }},
    {"requestRespRateForSwift",
     [](RequestSession& s) -> std::optional<Value> {
       s.sleepMetricsUI().requestRespRateForSwift();
       return std::nullopt;
     }},
    {"swiftRespRateImage", [](RequestSession& s) { return image(s.sleepMetricsUI().swiftRespRateImage()); }},
    {"requestWristTemp", [](RequestSession& s) { return dictionary(s.sleepMetricsUI().requestWristTemp()); }},
    {"swiftWristTempImage", [](RequestSession& s) { return image(s.sleepMetricsUI().swiftWristTempImage()); }},
    {"requestReadiness", [](RequestSession& s) { return dictionary(s.sleepMetricsUI().requestReadiness()); }},
    {"requestReadinessForSwift",
     [](RequestSession& s) -> std::optional<Value> {
       s.sleepMetricsUI().requestReadinessForSwift();
       return std::nullopt;
     }},
    {"swiftReadinessImage", [](RequestSession& s) { return image(s.sleepMetricsUI().swiftReadinessImage()); }},
    {"requestOctane", [](RequestSession& s) { return dictionary(s.sleepMetricsUI().requestOctane()); }},
    {"requestOctaneForSwift",
     [](RequestSession& s) -> std::optional<Value> {
       s.sleepMetricsUI().requestOctaneForSwift();
       return std::nullopt;
     }},
    {"swiftOctaneImage", [](RequestSession& s) { return image(s.sleepMetricsUI().swiftOctaneImage()); }},
    {"requestConsistency", [](RequestSession& s) { return dictionary(s.sleepMetricsUI().requestConsistency()); }},
    {"GroupMetrics.requestSleepBank",
     [](RequestSession& s) { return dictionary(s.groupMetrics().requestSleepBank()); }},
    {"GroupMetrics.returnPreviousSleepBank",
     [](RequestSession& s) { return dictionary(s.groupMetrics().returnPreviousSleepBank()); }},
    {"GroupMetrics.requestQuality", [](RequestSession& s) { return dictionary(s.groupMetrics().requestQuality()); }},
    {"GroupMetrics.requestQualityForSwift",
     [](RequestSession& s) -> std::optional<Value> {
       s.groupMetrics().requestQualityForSwift();
       return std::nullopt;
     }},
    {"GroupMetrics.requestSpO2", [](RequestSession& s) { return dictionary(s.groupMetrics().requestSpO2()); }},
    {"GroupMetrics.requestRespRate", [](RequestSession& s) { return dictionary(s.groupMetrics().requestRespRate()); }},
    {"GroupMetrics.requestWristTemp",
     [](RequestSession& s) { return dictionary(s.groupMetrics().requestWristTemp()); }},
    {"GroupMetrics.requestReadiness",
     [](RequestSession& s) { return dictionary(s.groupMetrics().requestReadiness()); }},
    {"GroupMetrics.requestOctane", [](RequestSession& s) { return dictionary(s.groupMetrics().requestOctane()); }},
    {"GroupMetrics.requestConsistencyDict",
     [](RequestSession& s) { return dictionary(s.groupMetrics().requestConsistencyDict()); }},
};

std::string validNames() {
  if (kOperations.empty()) return "none are available in this build";
  std::string names;
  for (const Operation& op : kOperations) {
    if (!names.empty()) names += ", ";
    names += op.name;
  }
  return names;
}

// The images of the results in order, named by their operation (and by
// their key, for a dictionary's image other than its "ringsImage").
std::vector<NamedImage> namedImages(const std::vector<const Operation*>& calls,
                                    const std::vector<std::optional<Value>>& results) {
  std::vector<NamedImage> images;
  for (std::size_t i = 0; i < calls.size(); ++i) {
    if (!results[i]) continue;
    const std::string name(calls[i]->name);
    if (const ImageRef image = results[i]->imageRef()) images.push_back({name, image});
    if (const MetricDictionary* d = results[i]->dictionary())
      for (const auto& [key, value] : *d)
        if (const ImageRef image = value.imageRef())
          images.push_back({key == "ringsImage" ? name : name + "." + key, image});
  }
  return images;
}

}  // namespace

RequestSession::RequestSession(RunCaches& caches) : caches_(caches) {}
RequestSession::~RequestSession() = default;

SleepMetricsUI& RequestSession::sleepMetricsUI() { return sleepMetricsUI_.get(caches_); }
GroupMetrics& RequestSession::groupMetrics() { return groupMetrics_.get(caches_); }

std::span<const Operation> operations() { return kOperations; }

const Operation* findOperation(std::string_view name) {
  const auto it =
      std::find_if(kOperations.begin(), kOperations.end(), [&](const Operation& op) { return op.name == name; });
  return it == kOperations.end() ? nullptr : &*it;
}

Outcome runRequest(const std::vector<std::string>& names, const std::optional<std::filesystem::path>& imagesDir,
                   const std::optional<std::filesystem::path>& sheetFile, const Environment& env, std::ostream& out) {
  std::vector<const Operation*> calls;
  for (const std::string& name : names) {
    const Operation* op = findOperation(name);
    if (!op) {
      std::vector<std::string> known;
      for (const Operation& operation : kOperations) known.emplace_back(operation.name);
      const auto meant = nearestName(name, known);
      return Outcome::usageError("unknown operation \"" + name + "\"" +
                                 (meant ? " (did you mean " + *meant + "?)" : "") +
                                 "; valid operations: " + validNames());
    }
    calls.push_back(op);
  }

  const Result<OutputForms> output = outputForms(env.timeZone, imagesDir);
  if (!output) return output.status();

  RunCaches caches(env);
  RequestSession session(caches);
  const auto describe = [&](std::size_t i, const std::optional<Value>& result) {
    const std::string place = std::to_string(i + 1) + "-" + std::string(calls[i]->name);
    return Json{{"operation", calls[i]->name}, {"result", result ? output->forms.toJson(*result, place) : Json()}};
  };
  // A run that only prints lets each image go once it is described, as a widget host lets each widget's go:
  // its memory is that of one image at a time, not of all of them. Files are made only once every image is drawn
  // and checked, so a run that writes them keeps them until then.
  const bool writesImages = imagesDir || sheetFile;
  Json printed = Json::array();
  std::vector<std::optional<Value>> results;
  for (std::size_t i = 0; i < calls.size(); ++i) {
    std::optional<Value> result = calls[i]->call(session);
    if (writesImages)
      results.push_back(std::move(result));
    else
      printed.push_back(describe(i, result));
  }
  if (const Status pictures = requirePictures(caches); !pictures) return pictures;
  if (sheetFile) {
    const ImageRef sheet = drawContactSheet(caches, namedImages(calls, results));
    if (!sheet) return Outcome::commandError("--sheet: none of the operations gave an image");
    if (const Status written = sheet->writePng(*sheetFile); !written) return written.within("--sheet");
  }
  for (std::size_t i = 0; i < results.size(); ++i) printed.push_back(describe(i, results[i]));
  if (const Status images = output->imagesWritten(); !images) return images;
  out << writeJson(printed);
  return Outcome();
}

}  // namespace velmora::host
