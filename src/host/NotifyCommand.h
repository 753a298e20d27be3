#pragma once

#include <filesystem>
#include <optional>
#include <ostream>
#include <string>

#include "host/Errors.h"
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

  // Fails with a usage error when neither or both of category and payload
  // are given, with a command error for an unreadable payload, a bundle
  // without its interface description or a picture, or a file that cannot
  // be written. A note for the person (a category the extension does not
  // handle) goes to `err`.
  Outcome run(const Environment& env, std::ostream& out, std::ostream& err) const;
};

// The category identifier of an APNs-style payload: {"aps": {"category": ...}}.
// A payload without a category is a notification with an empty identifier.
// A failure says why the file cannot be read or is not such a payload.
Result<std::string> categoryFromPayload(const std::filesystem::path& file);

}  // namespace velmora::host
