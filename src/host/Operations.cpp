#include "host/Operations.h"

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <type_traits>

#include "host/ContactSheet.h"
#include "host/ImageFiles.h"
#include "host/JsonForms.h"
#include "host/JsonText.h"
#include "host/Suggestions.h"
#include "metrics/GroupMetrics.h"
#include "presentation/SleepMetricsUI.h"

namespace velmora::host {

namespace {

// A result as the host prints it: a record, an image, or none (no data).
std::optional<Value> asValue(std::optional<MetricDictionary> record) {
  if (!record) return std::nullopt;
  return Value(std::move(*record));
}

std::optional<Value> asValue(ImageRef picture) {
  if (!picture) return std::nullopt;
  return Value(std::move(picture));
}

// The object of the session a method belongs to: "GroupMetrics.*" operations
// (and one widget operation) are the GroupMetrics', every other the SleepMetricsUI's.
SleepMetricsUI& owner(RequestSession& s, const SleepMetricsUI*) { return s.sleepMetricsUI(); }
GroupMetrics& owner(RequestSession& s, const GroupMetrics*) { return s.groupMetrics(); }

template <class Method>
struct ClassOf;
template <class Class, class Result>
struct ClassOf<Result (Class::*)()> {
  using type = Class;
};

// Calls `method` on its object of the session. An operation that only
// publishes for the widgets (a `ForSwift` one) has no result.
template <auto method>
std::optional<Value> call(RequestSession& s) {
  using Class = typename ClassOf<decltype(method)>::type;
  Class& object = owner(s, static_cast<const Class*>(nullptr));
  if constexpr (std::is_void_v<decltype((object.*method)())>) {
    (object.*method)();
    return std::nullopt;
  } else {
    return asValue((object.*method)());
  }
}

// The presentation operations metric by metric, then the records.
const std::vector<Operation> kOperations = {
    {"requestLatestBedtime", call<&SleepMetricsUI::requestLatestBedtime>},
    {"requestLatestBedtimeForSwift", call<&SleepMetricsUI::requestLatestBedtimeForSwift>},
    {"swiftBedtimeImage", call<&SleepMetricsUI::swiftBedtimeImage>},
    {"requestSleepBankRings", call<&SleepMetricsUI::requestSleepBankRings>},
    {"requestSleepBankForSwift", call<&SleepMetricsUI::requestSleepBankForSwift>},
    {"swiftSleepBankImage", call<&SleepMetricsUI::swiftSleepBankImage>},
    {"swiftSleepBankAccessoryImage", call<&SleepMetricsUI::swiftSleepBankAccessoryImage>},
    {"requestQuality", call<&SleepMetricsUI::requestQuality>},
    // The widgets publish the rings' labels through the record's own operation.
    {"requestQualityForSwift", call<&GroupMetrics::requestQualityForSwift>},
    {"swiftSleepRingsImage", call<&SleepMetricsUI::swiftSleepRingsImage>},
    {"swiftSleepRingsAccessoryImage", call<&SleepMetricsUI::swiftSleepRingsAccessoryImage>},
    {"requestSpO2", call<&SleepMetricsUI::requestSpO2>},
    {"requestSpO2ForSwift", call<&SleepMetricsUI::requestSpO2ForSwift>},
    {"swiftSpO2Image", call<&SleepMetricsUI::swiftSpO2Image>},
    {"requestRespRate", call<&SleepMetricsUI::requestRespRate>},
    {"requestRespRateForSwift", call<&SleepMetricsUI::requestRespRateForSwift>},
    {"swiftRespRateImage", call<&SleepMetricsUI::swiftRespRateImage>},
    {"requestWristTemp", call<&SleepMetricsUI::requestWristTemp>},
    {"swiftWristTempImage", call<&SleepMetricsUI::swiftWristTempImage>},
    {"requestReadiness", call<&SleepMetricsUI::requestReadiness>},
    {"requestReadinessForSwift", call<&SleepMetricsUI::requestReadinessForSwift>},
    {"swiftReadinessImage", call<&SleepMetricsUI::swiftReadinessImage>},
    {"requestOctane", call<&SleepMetricsUI::requestOctane>},
    {"requestOctaneForSwift", call<&SleepMetricsUI::requestOctaneForSwift>},
    {"swiftOctaneImage", call<&SleepMetricsUI::swiftOctaneImage>},
    {"requestConsistency", call<&SleepMetricsUI::requestConsistency>},
    {"GroupMetrics.requestSleepBank", call<&GroupMetrics::requestSleepBank>},
    {"GroupMetrics.returnPreviousSleepBank", call<&GroupMetrics::returnPreviousSleepBank>},
    {"GroupMetrics.requestQuality", call<&GroupMetrics::requestQuality>},
    {"GroupMetrics.requestQualityForSwift", call<&GroupMetrics::requestQualityForSwift>},
    {"GroupMetrics.requestSpO2", call<&GroupMetrics::requestSpO2>},
    {"GroupMetrics.requestRespRate", call<&GroupMetrics::requestRespRate>},
    {"GroupMetrics.requestWristTemp", call<&GroupMetrics::requestWristTemp>},
    {"GroupMetrics.requestReadiness", call<&GroupMetrics::requestReadiness>},
    {"GroupMetrics.requestOctane", call<&GroupMetrics::requestOctane>},
    {"GroupMetrics.requestConsistencyDict", call<&GroupMetrics::requestConsistencyDict>},
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
