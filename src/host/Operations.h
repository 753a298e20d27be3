#pragma once

#include <filesystem>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "drawing/RunCaches.h"
#include "host/Errors.h"
#include "values/Environment.h"
#include "values/Lazy.h"
#include "values/Value.h"

namespace velmora {
class GroupMetrics;
class SleepMetricsUI;
}  // namespace velmora

namespace velmora::host {

// The objects one `velmora request` works on. Widget and shortcut callers
// talk to one SleepMetricsUI for the whole run (so the widget flags one call
// sets stay set for the next), and "GroupMetrics.*" operations to one
// GroupMetrics; each is created on first use, as the system creates them.
class RequestSession {
 public:
  // Keeps a reference to the run's caches, which must outlive it.
  explicit RequestSession(RunCaches& caches);
  ~RequestSession();
  RequestSession(const RequestSession&) = delete;
  RequestSession& operator=(const RequestSession&) = delete;

  const Environment& environment() const { return caches_.environment(); }
  SleepMetricsUI& sleepMetricsUI();
  GroupMetrics& groupMetrics();

 private:
  RunCaches& caches_;
  Lazy<SleepMetricsUI> sleepMetricsUI_;
  Lazy<GroupMetrics> groupMetrics_;
};

// One named request operation: a result (a MetricDictionary or an image), or
// nothing for no data and for operations that only publish.
struct Operation {
  std::string_view name;
  std::optional<Value> (*call)(RequestSession& session);
};

// Every operation `velmora request` knows, in the order --help lists them.
std::span<const Operation> operations();
const Operation* findOperation(std::string_view name);

// Calls the named operations in order on one session and prints the JSON
// array of {"operation": NAME, "result": VALUE}. Every name is checked before
// the first call: an unknown one is a usage error that lists the valid names.
// With `imagesDir`, each image of the results is also written there as PNG;
// with `sheetFile`, all of them side by side, each named by its operation, as
// one PNG (drawContactSheet), written before anything is printed. A picture
// the images need and a file that cannot be written are command errors.
Outcome runRequest(const std::vector<std::string>& names, const std::optional<std::filesystem::path>& imagesDir,
                   const std::optional<std::filesystem::path>& sheetFile, const Environment& env, std::ostream& out);

}  // namespace velmora::host
