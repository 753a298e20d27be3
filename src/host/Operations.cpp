#include "host/Operations.h"

#include <algorithm>
#include <memory>

#include "host/Errors.h"
#include "host/ImageFiles.h"
#include "host/JsonForms.h"
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

// Rows are added as the metric and presentation operations are built.
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

}  // namespace

RequestSession::RequestSession(const Environment& env) : env_(env) {}
RequestSession::~RequestSession() = default;

SleepMetricsUI& RequestSession::sleepMetricsUI() {
  if (!sleepMetricsUI_) sleepMetricsUI_ = std::make_unique<SleepMetricsUI>(env_);
  return *sleepMetricsUI_;
}

GroupMetrics& RequestSession::groupMetrics() {
  if (!groupMetrics_) groupMetrics_ = std::make_unique<GroupMetrics>(env_);
  return *groupMetrics_;
}

std::span<const Operation> operations() { return kOperations; }

const Operation* findOperation(std::string_view name) {
  const auto it =
      std::find_if(kOperations.begin(), kOperations.end(), [&](const Operation& op) { return op.name == name; });
  return it == kOperations.end() ? nullptr : &*it;
}

void runRequest(const std::vector<std::string>& names, const std::optional<std::filesystem::path>& imagesDir,
                const Environment& env, std::ostream& out) {
  std::vector<const Operation*> calls;
  for (const std::string& name : names) {
    const Operation* op = findOperation(name);
    if (!op) {
      std::vector<std::string> known;
      for (const Operation& operation : kOperations) known.emplace_back(operation.name);
      const auto meant = nearestName(name, known);
      throw UsageError("unknown operation \"" + name + "\"" + (meant ? " (did you mean " + *meant + "?)" : "") +
                       "; valid operations: " + validNames());
    }
    calls.push_back(op);
  }

  std::unique_ptr<ImageDirectory> images;
  const JsonForms forms = outputForms(env.timeZone, imagesDir, images);

  RequestSession session(env);
  std::vector<std::optional<Value>> results;
  for (const Operation* call : calls) results.push_back(call->call(session));
  // Every image is drawn and checked before the first is written.
  requirePictures(env);
  Json printed = Json::array();
  for (std::size_t i = 0; i < calls.size(); ++i) {
    const std::string place = std::to_string(i + 1) + "-" + std::string(calls[i]->name);
    printed.push_back(
        Json{{"operation", calls[i]->name}, {"result", results[i] ? forms.toJson(*results[i], place) : Json()}});
  }
  out << writeJson(printed);
}

}  // namespace velmora::host
