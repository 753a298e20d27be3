#pragma once

#include <memory>
#include <string>
#include <vector>

#include "extension/DisplaySlot.h"
#include "platform/Environment.h"

namespace velmora {

class SleepMetricsUI;

// What the system hands the extension: only the category identifier matters here.
struct Notification {
  std::string categoryIdentifier;
};

// The notification content controller: chooses the layout by category and
// fills the display slots from the presentation dictionaries.
class NotificationViewController {
 public:
  // Creates the slots as the interface description in the bundle lays them out.
  explicit NotificationViewController(const Environment& env);
  ~NotificationViewController();

  void viewDidLoad();
  void didReceiveNotification(const Notification& notification);

  // All display slots, in declaration order.
  const std::vector<DisplaySlot>& slots() const { return slots_; }
  const DisplaySlot& slot(std::string_view name) const;

 private:
  const Environment& env_;
  std::vector<DisplaySlot> slots_;
  std::unique_ptr<SleepMetricsUI> sleepMetricsUI_;
};

}  // namespace velmora
