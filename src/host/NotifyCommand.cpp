#include "host/NotifyCommand.h"

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "drawing/Image.h"
#include "extension/InterfaceDescription.h"
#include "extension/NotificationViewController.h"
#include "host/Errors.h"
#include "host/Files.h"
#include "host/ImageFiles.h"
#include "host/JsonForms.h"
#include "host/JsonText.h"
#include "host/NotificationRenderer.h"
#include "host/Suggestions.h"

namespace velmora::host {

std::string categoryFromPayload(const std::filesystem::path& file) {
  std::string text;
  try {
    text = readFile(file);
  } catch (const CommandError& error) {
    throw CommandError(std::string("--payload: ") + error.what());
  }
  Json payload;
  try {
    payload = parseJson(text);
  } catch (const Json::exception&) {
    throw CommandError("--payload: " + file.string() + " is not valid JSON");
  }
  if (!payload.is_object() || !payload.contains("aps") || !payload["aps"].is_object())
    throw CommandError("--payload: " + file.string() + " has no \"aps\" object, so it is not a notification payload");
  const Json& aps = payload["aps"];
  if (!aps.contains("category")) return {};
  if (!aps["category"].is_string())
    throw CommandError("--payload: aps.category in " + file.string() + " is not a text");
  return aps["category"].get<std::string>();
}

void NotifyCommand::run(const Environment& env, std::ostream& out, std::ostream& notes) const {
  if (category && payload) throw UsageError("give either a CATEGORY or --payload FILE, not both");
  if (!category && !payload) throw UsageError("give the notification's CATEGORY (e.g. BEDTIME) or --payload FILE");
  const std::string identifier = category ? *category : categoryFromPayload(*payload);

  std::unique_ptr<ImageDirectory> images;
  const JsonForms forms = outputForms(env.timeZone, imagesDir, images);

  const InterfaceDescription layout = InterfaceDescription::load(env);
  RunCaches caches(env);
  auto controller = std::make_unique<NotificationViewController>(caches, layout);
  controller->viewDidLoad();
  controller->didReceiveNotification(Notification{identifier});
  // The platform shows such a notification as the interface created it, and so does this run; but a person
  // who typed the category wants to know why nothing was filled.
  const auto handled = NotificationViewController::handledCategories();
  if (std::find(handled.begin(), handled.end(), identifier) == handled.end()) {
    std::string names;
    for (std::string_view name : handled) names += (names.empty() ? "" : " and ") + std::string(name);
    const auto meant = nearestName(identifier, std::vector<std::string>(handled.begin(), handled.end()));
    notes << "velmora: note: the extension does not handle the category \"" << identifier << "\" (only " << names
          << (meant ? "; did you mean " + *meant + "?" : "") << "): the slots are as the interface created them\n";
  }

  // Everything is drawn and checked before anything is written, so that a failure leaves no half result.
  auto slotsText = [&] {
    Json slots = Json::object();
    for (const DisplaySlot& slot : controller->slots()) slots[slot.name] = forms.toJson(slot);
    return writeJson(Json{{"category", identifier}, {"slots", std::move(slots)}});
  };
  // Without --images the slots' text names no file: made first, it lets the
  // controller go with its images, each image once the card holds it, which
  // lowers the run's peak of memory by an image. With --images the files
  // are written after the card.
  std::string text;
  std::vector<DisplaySlot> slots = controller->slots();
  if (!images) {
    text = slotsText();
    controller.reset();
  }
  ImageRef picture;
  if (png) {
    // What the drawing keeps for later images is no use to a run that ends
    // here, and the card needs memory of its own.
    caches.releaseLayers();
    caches.releaseDrawingMemory();
    picture = renderNotification(caches, layout, std::move(slots));
  }
  slots.clear();
  requirePictures(caches);
  if (png) {
    std::string error = "the notification could not be drawn";
    if (!picture || !picture->writePng(*png, &error)) throw CommandError("--png: " + error);
  }
  if (images) text = slotsText();
  out << text;
}

}  // namespace velmora::host
