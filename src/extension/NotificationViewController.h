#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "drawing/RunCaches.h"
#include "extension/DisplaySlot.h"
#include "values/Environment.h"
#include "values/Lazy.h"

namespace velmora {

class SleepMetricsUI;
struct InterfaceDescription;

// What the system hands the extension: only the category identifier matters here.
struct Notification {
  std::string categoryIdentifier;
};

// The notification content controller: chooses the layout by category and
// fills the display slots from the presentation dictionaries.
class NotificationViewController {
 public:
  // Creates the slots as the interface description (the bundle's, read with
  // `InterfaceDescription::load`) lays them out: every declared slot, each as
  // the description has it. Keeps a reference to the run's caches, which
  // must outlive the controller.
  NotificationViewController(RunCaches& caches, const InterfaceDescription& layout);
  ~NotificationViewController();

  // The category identifiers the controller fills the slots for; any other
  // leaves them as the interface created them.
  static std::span<const std::string_view> handledCategories();

  void viewDidLoad();
  void didReceiveNotification(const Notification& notification);

  void hideAllViews();
  void populateLatestBedtime();
  void populateSleepBankRings();

  // All display slots, in declaration order.
  const std::vector<DisplaySlot>& slots() const { return slots_; }
  // The slot of that name; nothing when the controller has none.
  const DisplaySlot* slot(std::string_view name) const;

 private:
  DisplaySlot& outlet(std::string_view name);
  // The statistics card both layouts show, with its two rounded chips.
  void showTextContainer();
  void roundIndicators();
  SleepMetricsUI& sleepMetricsUI();

  RunCaches& caches_;
  const Environment& env_;
  std::vector<DisplaySlot> slots_;
  Lazy<SleepMetricsUI> sleepMetricsUI_;
};

}  // namespace velmora
