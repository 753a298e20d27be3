#include "extension/InterfaceDescription.h"

#include <nlohmann/json.hpp>

#include "store/AtomicFile.h"

namespace velmora {

namespace {

using Kind = DisplaySlot::Kind;
using nlohmann::json;

// The library's own checks (a member missing, a number that is a text) throw
// its exceptions, which `parse` turns into its failure; the description's
// rules fail through the results here.
Result<Colour> colourFrom(const json& j) {
  if (!j.is_array() || j.size() != 4) return Status::failure("a colour is [hue, saturation, brightness, alpha]");
  return Colour::hsba(j[0].get<double>(), j[1].get<double>(), j[2].get<double>(), j[3].get<double>());
}

std::optional<Kind> kindFrom(const std::string& name) {
  for (Kind k : {Kind::kContainer, Kind::kIndicator, Kind::kLabel, Kind::kImage})
    if (name == kindName(k)) return k;
  return std::nullopt;
}

Result<FontWeight> weightFrom(const std::string& name) {
  if (name == "regular") return FontWeight::kRegular;
  if (name == "bold") return FontWeight::kBold;
  if (name == "heavy") return FontWeight::kHeavy;
  return Status::failure("font weight \"" + name + "\" is not regular, bold or heavy");
}

Result<TextAlignment> alignmentFrom(const std::string& name) {
  if (name == "left") return TextAlignment::kLeft;
  if (name == "centre") return TextAlignment::kCentre;
  if (name == "right") return TextAlignment::kRight;
  return Status::failure("alignment \"" + name + "\" is not left, centre or right");
}

InterfaceDescription plainDescription() {
  InterfaceDescription d;
  for (const auto& [name, kind] : declaredSlots()) {
    DisplaySlot slot;
    slot.name = name;
    slot.kind = kind;
    d.slots.push_back(std::move(slot));
    d.layout.emplace_back();
  }
  return d;
}

// One entry of "slots": the state and layout of the slot it names.
Status readSlot(const json& entry, InterfaceDescription& d) {
  const std::string name = entry.at("name").get<std::string>();
  std::size_t i = 0;
  while (i < d.slots.size() && d.slots[i].name != name) ++i;
  if (i == d.slots.size()) return Status::failure("unknown slot \"" + name + "\"");
  DisplaySlot& slot = d.slots[i];
  SlotLayout& layout = d.layout[i];
  if (kindFrom(entry.at("kind").get<std::string>()) != slot.kind)
    return Status::failure("slot \"" + name + "\" is a " + kindName(slot.kind));
  slot.hidden = entry.value("hidden", false);
  slot.cornerRadius = entry.value("cornerRadius", 0.0);
  if (entry.contains("backgroundColour") && !entry["backgroundColour"].is_null()) {
    const Result<Colour> background = colourFrom(entry["backgroundColour"]);
    if (!background) return background.status();
    slot.backgroundColour = *background;
  }
  if (entry.contains("text") && !entry["text"].is_null()) slot.text = entry["text"].get<std::string>();
  layout.parent = entry.value("parent", "");
  if (entry.contains("frame"))
    for (std::size_t k = 0; k < 4; ++k) layout.frame[k] = entry["frame"].at(k).get<double>();
  if (entry.contains("font")) {
    const Result<FontWeight> weight = weightFrom(entry["font"].at(1).get<std::string>());
    if (!weight) return weight.status();
    layout.text.font = Font::systemFontOfSize(entry["font"].at(0).get<double>(), *weight);
  }
  const Result<TextAlignment> alignment = alignmentFrom(entry.value("align", "left"));
  if (!alignment) return alignment.status();
  layout.text.alignment = *alignment;
  layout.text.minimumScaleFactor = entry.value("minimumScaleFactor", 1.0);
  if (!(layout.text.minimumScaleFactor > 0 && layout.text.minimumScaleFactor <= 1))
    return Status::failure("slot \"" + name + "\": minimumScaleFactor is a fraction above 0, at most 1");
  if (entry.contains("colour")) {
    const Result<Colour> colour = colourFrom(entry["colour"]);
    if (!colour) return colour.status();
    layout.textColour = *colour;
  }
  return Status();
}

}  // namespace

const char* kindName(DisplaySlot::Kind kind) {
  switch (kind) {
    case Kind::kContainer:
      return "container";
    case Kind::kIndicator:
      return "indicator";
    case Kind::kLabel:
      return "label";
    case Kind::kImage:
      return "image";
  }
  return "label";
}

const std::vector<std::pair<std::string, DisplaySlot::Kind>>& declaredSlots() {
  static const std::vector<std::pair<std::string, Kind>> slots = {
      {"ringsContainer", Kind::kContainer},
      {"ringsImage", Kind::kImage},
      {"ringTextContainer", Kind::kContainer},
      {"sleepIndicator", Kind::kIndicator},
      {"sleepGlyph", Kind::kLabel},
      {"bankIndicator", Kind::kIndicator},
      {"bankGlyph", Kind::kLabel},
      {"sleepHeadingLabel", Kind::kLabel},
      {"sleepGoalLabel", Kind::kLabel},
      {"sleepTimeLabel", Kind::kLabel},
      {"bankHeadingLabel", Kind::kLabel},
      {"bankBalanceLabel", Kind::kLabel},
      {"bankTimeLabel", Kind::kLabel},
      {"starsLabel", Kind::kLabel},
      {"ringStatsContainer", Kind::kContainer},
      {"sleepRingIndicator", Kind::kIndicator},
      {"qualityRingIndicator", Kind::kIndicator},
      {"deepRingIndicator", Kind::kIndicator},
      {"bpmRingIndicator", Kind::kIndicator},
      {"sleepRingHeadingLabel", Kind::kLabel},
      {"qualityRingHeadingLabel", Kind::kLabel},
      {"deepRingHeadingLabel", Kind::kLabel},
      {"bpmRingHeadingLabel", Kind::kLabel},
      {"sleepRingResultLabel", Kind::kLabel},
      {"qualityRingResultLabel", Kind::kLabel},
      {"deepRingResultLabel", Kind::kLabel},
      {"bpmRingResultLabel", Kind::kLabel},
  };
  return slots;
}

Result<InterfaceDescription> InterfaceDescription::parse(std::string_view text) {
  InterfaceDescription d = plainDescription();
  try {
    const json root = json::parse(text);
    if (root.contains("size")) d.size = {root["size"].at(0).get<double>(), root["size"].at(1).get<double>()};
    if (root.contains("background")) {
      const Result<Colour> background = colourFrom(root["background"]);
      if (!background) return background.status();
      d.background = *background;
    }
    for (const json& entry : root.at("slots"))
      if (const Status read = readSlot(entry, d); !read) return read;
  } catch (const json::exception& e) {
    return Status::failure(e.what());
  }
  return d;
}

Result<InterfaceDescription> InterfaceDescription::load(const Environment& env) {
  const auto file = env.resourcesDir / kFileName;
  const FileSnapshot read = readWholeFile(file);
  if (!read.identity.exists)
    return Status::failure(file.string() + ": the notification's interface description does not exist");
  if (!read.status.ok())
    return Status::failure(file.string() + ": the notification's interface description cannot be read (" +
                           read.status.message() + ")");
  Result<InterfaceDescription> parsed = parse(std::string(read.bytes.begin(), read.bytes.end()));
  if (!parsed) return parsed.status().within(file.string() + ": not a valid interface description");
  return parsed;
}

}  // namespace velmora
