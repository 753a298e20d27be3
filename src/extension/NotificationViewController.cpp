#include "extension/NotificationViewController.h"

#include <algorithm>
#include <cassert>

#include "extension/InterfaceDescription.h"
#include "presentation/SleepMetricsUI.h"
#include "text/Bundle.h"
#include "text/StringFormat.h"

namespace velmora {

namespace {

constexpr std::string_view kBedtimeCategory = "BEDTIME";
constexpr std::string_view kTimeAsleepCategory = "TIMEASLEEP";

// A label's text from a presentation dictionary: an absent key (or a value
// that is not a text) empties the label.
std::optional<std::string> textFrom(const MetricDictionary& d, std::string_view key) {
  const std::string* text = d.textForKey(key);
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

// Every declared slot, in declaration order, as the description has it (a
// slot it leaves out, as created plain): each outlet is connected.
std::vector<DisplaySlot> connectedSlots(const InterfaceDescription& layout) {
  std::vector<DisplaySlot> slots;
  for (const auto& declared : declaredSlots()) {
    const auto laid = std::find_if(layout.slots.begin(), layout.slots.end(), [&](const DisplaySlot& s) {
      return s.name == declared.first && s.kind == declared.second;
    });
    if (laid != layout.slots.end()) {
      slots.push_back(*laid);
      continue;
    }
    DisplaySlot& plain = slots.emplace_back();
    plain.name = declared.first;
    plain.kind = declared.second;
  }
  return slots;
}

}  // namespace

NotificationViewController::NotificationViewController(RunCaches& caches, const InterfaceDescription& layout)
    : caches_(caches), env_(caches.environment()), slots_(connectedSlots(layout)) {}

NotificationViewController::~NotificationViewController() = default;

std::span<const std::string_view> NotificationViewController::handledCategories() {
  static constexpr std::string_view kCategories[] = {kBedtimeCategory, kTimeAsleepCategory};
  return kCategories;
}

void NotificationViewController::viewDidLoad() {}

const DisplaySlot* NotificationViewController::slot(std::string_view name) const {
  auto it = std::find_if(slots_.begin(), slots_.end(), [&](const DisplaySlot& s) { return s.name == name; });
  return it == slots_.end() ? nullptr : &*it;
}

DisplaySlot& NotificationViewController::outlet(std::string_view name) {
  const DisplaySlot* found = slot(name);
  assert(found && "an outlet of the controller's own");  // every declared slot is connected
  return const_cast<DisplaySlot&>(*found);
}

SleepMetricsUI& NotificationViewController::sleepMetricsUI() { return sleepMetricsUI_.get(caches_); }

void NotificationViewController::didReceiveNotification(const Notification& notification) {
  // Exact, case-sensitive identifiers: any other category leaves the slots as laid out.
  if (notification.categoryIdentifier == kBedtimeCategory) {
    hideAllViews();
    outlet("ringsContainer").hidden = false;
    populateLatestBedtime();
  } else if (notification.categoryIdentifier == kTimeAsleepCategory) {
    hideAllViews();
    outlet("ringsContainer").hidden = false;
    populateSleepBankRings();
  }
}

void NotificationViewController::hideAllViews() {
  outlet("ringsContainer").hidden = true;
  outlet("ringStatsContainer").hidden = true;
  outlet("ringTextContainer").hidden = true;
}

void NotificationViewController::showTextContainer() {
  DisplaySlot& textContainer = outlet("ringTextContainer");
  textContainer.hidden = false;
  textContainer.cornerRadius = 12.0;
}

void NotificationViewController::roundIndicators() {
  outlet("sleepIndicator").cornerRadius = 10.0;
  outlet("bankIndicator").cornerRadius = 10.0;
}

void NotificationViewController::populateLatestBedtime() {
  SleepMetricsUI& metrics = sleepMetricsUI();
  const Bundle& bundle = caches_.bundle();

  showTextContainer();
  outlet("sleepHeadingLabel").text = uppercaseString(bundle.localizedStringForKey("Bed time"));
  outlet("starsLabel").text = "";
  outlet("bankHeadingLabel").text =
      uppercaseString(stringWithFormat("%@", {bundle.localizedStringForKey("Wake time")}));
  roundIndicators();

  const std::optional<MetricDictionary> d = metrics.requestLatestBedtime();
  if (d) {
    if (const Value* image = d->objectForKey("ringsImage")) outlet("ringsImage").image = image->imageRef();
    outlet("sleepTimeLabel").text = textFrom(*d, "timeUntilBedLabel");
    outlet("sleepGoalLabel").text = textFrom(*d, "latestBedTime");
    outlet("sleepGlyph").text = "\U0001F6CC";  // 🛌
    outlet("bankTimeLabel").text = textFrom(*d, "timeUntilWakeLabel");
    outlet("bankBalanceLabel").text = textFrom(*d, "wakeTimeLabel");
    outlet("sleepIndicator").backgroundColour = Colour::clearColor();
    outlet("bankIndicator").backgroundColour = Colour::clearColor();
    outlet("bankGlyph").text = "\U0001F6CF";  // 🛏
    outlet("starsLabel").text = "";
  } else {
    // The no-data face: empty figures, an "h" and a heart in the chips, grey chips.
    outlet("sleepTimeLabel").text = "";
    outlet("sleepGoalLabel").text = "";
    outlet("sleepGlyph").text = "h";
    outlet("bankTimeLabel").text = "";
    outlet("bankBalanceLabel").text = "";
    outlet("bankGlyph").text = "\u2665";  // ♥
    outlet("sleepIndicator").backgroundColour = Colour::darkGrayColor();
    outlet("bankIndicator").backgroundColour = Colour::darkGrayColor();
  }
}

void NotificationViewController::populateSleepBankRings() {
  SleepMetricsUI& metrics = sleepMetricsUI();
  const Bundle& bundle = caches_.bundle();

  showTextContainer();
  outlet("starsLabel").text = "";
  outlet("sleepHeadingLabel").text = uppercaseString(bundle.localizedStringForKey("Today"));
  outlet("bankHeadingLabel").text = uppercaseString(bundle.localizedStringForKey("Sleep Bank"));
  roundIndicators();

  const std::optional<MetricDictionary> d = metrics.requestSleepBankRings();
  // Without the sleep colour there is nothing to show, and no no-data face either.
  if (!d || !d->contains("sleepIndicatorColour")) return;
  auto colourFrom = [&](std::string_view key) -> std::optional<Colour> {
    const Value* v = d->objectForKey(key);
    return v && v->colour() ? std::optional<Colour>(*v->colour()) : std::nullopt;
  };
  if (const Value* image = d->objectForKey("ringsImage")) outlet("ringsImage").image = image->imageRef();
  outlet("sleepTimeLabel").text = textFrom(*d, "sleepTimeLabel");
  outlet("sleepGoalLabel").text = textFrom(*d, "sleepGoalLabel");
  outlet("bankBalanceLabel").text = textFrom(*d, "bankBalanceLabel");
  outlet("bankTimeLabel").text = textFrom(*d, "bankTimeLabel");
  outlet("sleepIndicator").backgroundColour = colourFrom("sleepIndicatorColour");
  outlet("sleepGlyph").text = "\u263E";  // ☾
  outlet("bankIndicator").backgroundColour = colourFrom("bankIndicatorColour");
  outlet("bankGlyph").text = "7";
}

}  // namespace velmora
