#include "platform/UserDefaults.h"

#include <iostream>
#include <unordered_map>

#include "platform/AtomicFile.h"
#include "platform/PlistConversion.h"
#include "platform/PropertyList.h"

namespace velmora {

namespace {

constexpr mode_t kNewFileMode = 0600;

const char* kindName(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::kArray:
      return "an array";
    case Value::Kind::kColour:
      return "a colour";
    case Value::Kind::kImage:
      return "an image";
    case Value::Kind::kDate:
      return "a date";
    case Value::Kind::kText:
      return "a text";
    case Value::Kind::kData:
      return "data";
    case Value::Kind::kDictionary:
      return "a dictionary";
    default:
      return "a number";
  }
}

}  // namespace

struct UserDefaults::State {
  std::filesystem::path file;
  WarningSink warnSink;

  // The file as last looked at, and what it held.
  bool loaded = false;
  FileIdentity seen;
  mode_t mode = kNewFileMode;
  PlistFormat format = PlistFormat::Binary;  // a new file is binary
  MetricDictionary contents;
  std::unordered_map<std::string_view, const Value*> index;  // into contents
  // Why the file can be neither read nor written, while it is in that state.
  std::optional<std::string> unusable;
  std::optional<FileIdentity> reported;  // the unusable state already warned about

  void warn(const std::string& message) const {
    if (warnSink)
      warnSink(message);
    else
      std::cerr << "velmora: warning: " << message << '\n';
  }

  void hold(MetricDictionary dictionary) {
    contents = std::move(dictionary);
    index.clear();
    index.reserve(contents.size());
    for (const auto& [key, value] : contents) index.emplace(key, &value);
  }

  void markUnusable(std::string why) {
    hold({});
    if (reported != seen) {
      warn(file.string() + ": " + why + "; it reads as empty and is left untouched");
      reported = seen;
    }
    unusable = std::move(why);
  }

  // Takes in the file as it is now, re-reading it only when it changed.
  void refresh() {
    if (loaded && FileIdentity::of(file) == seen) return;
    FileSnapshot snapshot = readWholeFile(file);
    loaded = true;
    seen = snapshot.identity;
    unusable.reset();
    if (!snapshot.error.empty()) return markUnusable(std::move(snapshot.error));
    if (!seen.exists) {  // an empty domain, which a write creates
      mode = kNewFileMode;
      format = PlistFormat::Binary;
      return hold({});
    }
    mode = snapshot.mode;
    PlistReadResult read = parsePropertyList(snapshot.bytes);
    if (!read.value) return markUnusable("not a valid property list (" + read.error + ")");
    const MetricDictionary* dictionary = read.value->dictionary();
    if (!dictionary)
      return markUnusable(std::string("not a preferences file (its top level is ") + kindName(*read.value) +
                          ", not a dictionary)");
    format = read.format;
    hold(*dictionary);
  }

  const Value* find(std::string_view key) {
    refresh();
    const auto it = index.find(key);
    return it == index.end() ? nullptr : it->second;
  }

  // One change written through: under the sidecar lock, the file as it is
  // now is re-read, `change` applied to it alone, and the result put in place.
  // `change` returns false when it cannot be made (it has warned), or sets
  // `unchanged` when the file already says what it would.
  template <typename Change>
  bool write(Change&& change) {
    std::string error;
    if (!ensureDirectory(file.parent_path(), error)) {
      warn(file.string() + ": cannot be written (" + error + ")");
      return false;
    }
    const auto lock = SidecarLock::acquire(file, error);
    if (!lock) {
      warn(file.string() + ": cannot be written (" + error + ")");
      return false;
    }
    refresh();
    if (unusable) return false;  // reported once already; the file must keep its bytes

    MetricDictionary updated = contents;
    bool unchanged = false;
    if (!change(updated, unchanged)) return false;
    if (unchanged) return true;

    const std::vector<std::uint8_t> bytes = serializePropertyList(Value(updated), format);
    if (bytes.empty()) {
      warn(file.string() + ": cannot be written (the contents have no property-list form)");
      return false;
    }
    const auto written = replaceFileAtomically(file, bytes, mode, error);
    if (!written) {
      warn(file.string() + ": cannot be written (" + error + ")");
      return false;
    }
    if (!error.empty()) warn(file.string() + ": written, but " + error);
    seen = *written;
    hold(std::move(updated));
    return true;
  }

  // The value as the file will hold it, or nothing (with a warning) when a
  // property list cannot hold it at all.
  std::optional<Value> storable(const Value& value, const std::string& where) const {
    auto stored = storedForm(value, format);
    if (!stored)
      warn(file.string() + ": cannot store " + kindName(value) + " " + where +
           " (a property list cannot hold it, or it nests deeper than " + std::to_string(kMaxPlistDepth) + " levels)");
    return stored;
  }
};

UserDefaults::UserDefaults(std::filesystem::path file, WarningSink warn) : state_(std::make_unique<State>()) {
  state_->file = std::move(file);
  state_->warnSink = std::move(warn);
}

UserDefaults::~UserDefaults() = default;

std::shared_ptr<UserDefaults> UserDefaults::suite(const Environment& env, std::string_view suiteName) {
  return std::make_shared<UserDefaults>(env.preferencesFile(suiteName), env.warn);
}

std::shared_ptr<UserDefaults> UserDefaults::standard(const Environment& env) {
  return suite(env, Environment::kStandardDomain);
}

const std::filesystem::path& UserDefaults::file() const { return state_->file; }

std::optional<Value> UserDefaults::objectForKey(std::string_view key) const {
  const Value* value = state_->find(key);
  return value ? std::optional<Value>(*value) : std::nullopt;
}

bool UserDefaults::boolForKey(std::string_view key) const {
  const Value* value = state_->find(key);
  return value && value->boolValue();
}

std::int64_t UserDefaults::integerForKey(std::string_view key) const {
  const Value* value = state_->find(key);
  return value ? value->integerValue() : 0;
}

float UserDefaults::floatForKey(std::string_view key) const {
  const Value* value = state_->find(key);
  return value ? value->floatValue() : 0.0f;
}

double UserDefaults::doubleForKey(std::string_view key) const {
  const Value* value = state_->find(key);
  return value ? value->doubleValue() : 0.0;
}

MetricDictionary UserDefaults::dictionaryRepresentation() const {
  state_->refresh();
  return state_->contents;
}

bool UserDefaults::setObject(Value value, std::string_view key) {
  return setObjects(MetricDictionary{{std::string(key), std::move(value)}});
}

bool UserDefaults::setObjects(const MetricDictionary& entries) {
  return state_->write([&](MetricDictionary& contents, bool& unchanged) {
    unchanged = true;
    for (const auto& [key, value] : entries) {
      auto stored = state_->storable(value, "under \"" + key + "\"");
      if (!stored) return false;
      const Value* current = contents.objectForKey(key);
      unchanged = unchanged && current && *current == *stored;
      contents.setObject(key, std::move(*stored));
    }
    return true;
  });
}

bool UserDefaults::setBool(bool value, std::string_view key) { return setObject(Value::boolean(value), key); }

bool UserDefaults::removeObjectForKey(std::string_view key) {
  return state_->write([&](MetricDictionary& contents, bool& unchanged) {
    unchanged = !contents.contains(key);
    contents.removeObjectForKey(key);
    return true;
  });
}

bool UserDefaults::replaceAll(const MetricDictionary& replacement) {
  return state_->write([&](MetricDictionary& contents, bool& unchanged) {
    auto stored = state_->storable(Value(replacement), "as the whole domain");
    if (!stored) return false;
    contents = *stored->dictionary();
    unchanged = false;
    return true;
  });
}

}  // namespace velmora
