#pragma once

#include <filesystem>
#include <optional>
#include <ostream>
#include <string>

#include "values/Environment.h"

namespace velmora::host {

// `velmora notify`: expands one notification as the system would (creates
// the controller, viewDidLoad, didReceiveNotification) and prints the
// display slots in declaration order.
struct NotifyCommand {
  std::optional<std::string> category;             // the category identifier, or
  std::optional<std::filesystem::path> payload;    // an APNs-style payload whose aps.category names it
  std::optional<std::filesystem::path> png;        // the expanded notification as a person sees it
  std::optional<std::filesystem::path> imagesDir;  // the slot's image as a PNG file

  // Throws UsageError (neither or both of category and payload) or
  // CommandError (an unreadable payload, a picture that cannot be written).
  // A note for the person (a category the extension does not handle) goes to `notes`.
  void run(const Environment& env, std::ostream& out, std::ostream& notes) const;
};

// The category identifier of an APNs-style payload: {"aps": {"category": ...}}.
// A payload without a category is a notification with an empty identifier.
// Throws CommandError when the file cannot be read or is not such a payload.
std::string categoryFromPayload(const std::filesystem::path& file);

}  // namespace velmora::host
