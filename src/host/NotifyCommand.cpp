#include "host/NotifyCommand.h"

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "drawing/Image.h"
#include "extension/InterfaceDescription.h"
#include "extension/NotificationViewController.h"
#include "host/Files.h"
#include "host/ImageFiles.h"
#include "host/JsonForms.h"
#include "host/JsonText.h"
#include "host/NotificationRenderer.h"
#include "host/Suggestions.h"
#include "values/Diagnostics.h"

namespace velmora::host {

Result<std::string> categoryFromPayload(const std::filesystem::path& file) {
  const Result<std::string> text = readFile(file);
  if (!text) return text.status().within("--payload");
  const Result<Json> payload = parseJson(*text);
  if (!payload) return Status::failure("--payload: " + file.string() + " is not valid JSON");
  if (!payload->is_object() || !payload->contains("aps") || !(*payload)["aps"].is_object())
    return Status::failure("--payload: " + file.string() +
                           " has no \"aps\" object, so it is not a notification payload");
  const Json& aps = (*payload)["aps"];
  if (!aps.contains("category")) return std::string();
  if (!aps["category"].is_string())
    return Status::failure("--payload: aps.category in " + file.string() + " is not a text");
  return aps["category"].get<std::string>();
}

Outcome NotifyCommand::run(const Environment& env, std::ostream& out, std::ostream& err) const {
  if (category && payload) return Outcome::usageError("give either a CATEGORY or --payload FILE, not both");
  if (!category && !payload)
    return Outcome::usageError("give the notification's CATEGORY (e.g. BEDTIME) or --payload FILE");
  const Result<std::string> identifier = category ? *category : categoryFromPayload(*payload);
  if (!identifier) return identifier.status();

  Result<OutputForms> output = outputForms(env.timeZone, imagesDir);
  if (!output) return output.status();
  const Result<InterfaceDescription> layout = InterfaceDescription::load(env);
  if (!layout) return layout.status();

  RunCaches caches(env);
  auto controller = std::make_unique<NotificationViewController>(caches, *layout);
  controller->viewDidLoad();
  controller->didReceiveNotification(Notification{*identifier});
  // The platform shows such a notification as the interface created it, and so does this run; but a person
  // who typed the category wants to know why nothing was filled.
  const auto handled = NotificationViewController::handledCategories();
  if (std::find(handled.begin(), handled.end(), *identifier) == handled.end()) {
    std::string names;
    for (std::string_view name : handled) names += (names.empty() ? "" : " and ") + std::string(name);
    const auto meant = nearestName(*identifier, std::vector<std::string>(handled.begin(), handled.end()));
    printDiagnostic(err, Diagnostic::kNote,
                    "the extension does not handle the category \"" + *identifier + "\" (only " + names +
                        (meant ? "; did you mean " + *meant + "?" : "") +
                        "): the slots are as the interface created them");
  }

  // Everything is drawn and checked before anything is written, so that a failure leaves no half result.
  auto slotsText = [&] {
    Json slots = Json::object();
    for (const DisplaySlot& slot : controller->slots()) slots[slot.name] = output->forms.toJson(slot);
    return writeJson(Json{{"category", *identifier}, {"slots", std::move(slots)}});
  };
  // Without --images the slots' text names no file: made first, it lets the
  // controller go with its images, each image once the card holds it, which
  // lowers the run's peak of memory by an image. With --images the files
  // are written after the card.
  std::string text;
  std::vector<DisplaySlot> slots = controller->slots();
  if (!output->images) {
    text = slotsText();
    controller.reset();
  }
  ImageRef picture;
  if (png) {
    // What the drawing keeps for later images is no use to a run that ends
    // here, and the card needs memory of its own.
    caches.releaseLayers();
    caches.releaseDrawingMemory();
    picture = renderNotification(caches, *layout, std::move(slots));
  }
  slots.clear();
  if (const Status pictures = requirePictures(caches); !pictures) return pictures;
  if (png) {
    const Status written = picture ? picture->writePng(*png) : Status::failure("the notification could not be drawn");
    if (!written) return written.within("--png");
  }
  if (output->images) {
    text = slotsText();
    if (const Status images = output->imagesWritten(); !images) return images;
  }
  out << text;
  return Outcome();
}

}  // namespace velmora::host
