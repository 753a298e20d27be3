#include "store/UserDefaults.h"

#include <iostream>
#include <span>
#include <unordered_map>

#include "store/AtomicFile.h"
#include "store/PropertyList.h"
#include "values/Diagnostics.h"

namespace velmora {

namespace {

constexpr mode_t kNewFileMode = 0600;

}  // namespace

struct UserDefaults::State {
  std::filesystem::path file;
  WarningSink warnSink;

  // The file as last looked at, and what it held.
  bool loaded = false;
  FileIdentity seen;
  mode_t mode = kNewFileMode;
  PlistDocument document;  // a new file is binary
  MetricDictionary contents;
  std::unordered_map<std::string_view, const Value*> index;  // into contents
  // Why the file can be neither read nor written, while it is in that state.
  std::optional<std::string> unusable;
  std::optional<FileIdentity> reported;  // the unusable state already warned about

  void warn(const std::string& message) const {
    if (warnSink)
      warnSink(message);
    else
      printDiagnostic(std::cerr, Diagnostic::kWarning, message);
  }

  void hold() {
    contents = document.contents();
    index.clear();
    index.reserve(contents.size());
    for (const auto& [key, value] : contents) index.emplace(key, &value);
  }

  void markUnusable(std::string why) {
    document = {};
    hold();
    unusable = std::move(why);
  }

  // Takes in the file as it is now, re-reading it only when it changed.
  void refresh() {
    if (loaded && FileIdentity::of(file) == seen) return;
    FileSnapshot snapshot = readWholeFile(file);
    loaded = true;
    seen = snapshot.identity;
    unusable.reset();
    if (!snapshot.status.ok()) return markUnusable(snapshot.status.message());
    if (!seen.exists) {  // an empty domain, which a write creates
      mode = kNewFileMode;
      document = {};
      return hold();
    }
    mode = snapshot.mode;
    Result<PlistDocument> read = PlistDocument::read(std::move(snapshot.bytes));
    if (!read) return markUnusable(read.message());
    document = std::move(*read);
    hold();
  }

  // The file as it is now, reporting once when it cannot be used.
  void look() {
    refresh();
    if (unusable && reported != seen) {
      warn(file.string() + ": " + *unusable + "; it reads as empty and is left untouched");
      reported = seen;
    }
  }

  const Value* find(std::string_view key) {
    look();
    const auto it = index.find(key);
    return it == index.end() ? nullptr : it->second;
  }

  bool cannotWrite(const std::string& why) const {
    warn(file.string() + ": cannot be written (" + why + ")");
    return false;
  }

  // One change written through: under the sidecar lock, the file as it is
  // now is re-read, `change` applied to it alone, and the result put in place.
  // `change` returns false when it cannot be made (it has warned), or sets
  // `unchanged` when the file already says what it would.
  template <typename Change>
  bool write(Change&& change) {
    if (const Status made = ensureDirectory(file.parent_path()); !made) return cannotWrite(made.message());
    const Result<SidecarLock> lock = SidecarLock::acquire(file);
    if (!lock) return cannotWrite(lock.message());
    look();
    if (unusable) return false;  // reported already; the file must keep its bytes

    PlistDocument updated = document;
    bool unchanged = false;
    if (!change(updated, unchanged)) return false;
    if (unchanged) return true;

    const std::vector<std::uint8_t>& bytes = updated.write();
    const Result<std::filesystem::path> target = writeTarget(file);
    if (!target) return cannotWrite(target.message());
    const Result<ReplacedFile> written = replaceFileAtomically(*target, bytes, mode);
    if (!written) return cannotWrite(written.message());
    if (!written->durability) warn(file.string() + ": written, but " + written->durability.message());
    seen = written->identity;
    document = std::move(updated);
    hold();
    return true;
  }

  bool set(std::span<const MetricDictionary::Entry> entries) {
    return write([&](PlistDocument& updated, bool& unchanged) {
      unchanged = true;
      for (const auto& [key, value] : entries) {
        auto stored = storable(key, value);
        if (!stored) return false;
        const auto current = index.find(key);
        unchanged = unchanged && current != index.end() && *current->second == *stored;
        updated.set(key, std::move(*stored));
      }
      return true;
    });
  }

  // The entry as the file will hold it, or a failure (warned already) when
  // the file cannot hold it.
  Result<Value> storable(const std::string& key, const Value& value) const {
    Result<Value> stored = storedEntry(key, value, document.format());
    if (!stored) warn(file.string() + ": cannot store \"" + validUtf8(key) + "\": " + stored.message());
    return stored;
  }
};

UserDefaults::UserDefaults(std::filesystem::path file, WarningSink warn) : state_(std::make_unique<State>()) {
  state_->file = std::move(file);
  state_->warnSink = std::move(warn);
}

UserDefaults::~UserDefaults() = default;

std::shared_ptr<UserDefaults> UserDefaults::suite(const Environment& env, std::string_view suiteName) {
  return std::make_shared<UserDefaults>(env.preferencesFile(suiteName), env.warningsOncePerRun());
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
  state_->look();
  return state_->contents;
}

Status UserDefaults::status() const {
  state_->refresh();
  if (!state_->unusable) return {};
  return Status::failure(state_->file.string() + ": " + *state_->unusable);
}

bool UserDefaults::setObject(Value value, std::string_view key) {
  const MetricDictionary::Entry entry{std::string(key), std::move(value)};
  return state_->set(std::span(&entry, 1));
}

bool UserDefaults::setObjects(const MetricDictionary& entries) {
  return state_->set(std::vector<MetricDictionary::Entry>(entries.begin(), entries.end()));
}

bool UserDefaults::setBool(bool value, std::string_view key) { return setObject(Value::boolean(value), key); }

bool UserDefaults::removeObjectForKey(std::string_view key) {
  return state_->write([&](PlistDocument& document, bool& unchanged) {
    unchanged = !state_->index.contains(key);
    document.remove(key);
    return true;
  });
}

bool UserDefaults::replaceAll(const MetricDictionary& replacement) {
  return state_->write([&](PlistDocument& document, bool& unchanged) {
    const Result<Value> stored = storedForm(Value(replacement), document.format());
    if (!stored) {
      state_->warn(state_->file.string() + ": cannot store the domain: " + stored.message());
      return false;
    }
    document.assign(*stored->dictionary());
    unchanged = false;
    return true;
  });
}

bool UserDefaults::replaceAll(const PlistDocument& source) {
  return state_->write([&](PlistDocument& document, bool& unchanged) {
    unchanged = false;
    if (source.format() == document.format()) {
      document = source;
      return true;
    }
    const Result<Value> stored = storedForm(Value(source.contents()), document.format());
    if (!stored) {
      state_->warn(state_->file.string() + ": cannot store the domain: " + stored.message());
      return false;
    }
    document.assign(*stored->dictionary());
    return true;
  });
}

bool UserDefaults::edit(const std::function<Edit(const MetricDictionary& current)>& work) {
  return state_->write([&](PlistDocument& document, bool& unchanged) {
    const Edit edit = work(state_->contents);
    if (edit.refusal) {
      state_->warn(*edit.refusal);
      return false;
    }
    unchanged = true;
    for (const std::string& key : edit.remove) {
      unchanged = unchanged && !state_->index.contains(key);
      document.remove(key);
    }
    for (const auto& [key, value] : edit.set) {
      auto stored = state_->storable(key, value);
      if (!stored) return false;
      const auto current = state_->index.find(key);
      unchanged = unchanged && current != state_->index.end() && *current->second == *stored;
      document.set(key, std::move(*stored));
    }
    return true;
  });
}

Result<std::vector<std::uint8_t>> UserDefaults::propertyList(PlistFormat format) const {
  if (Status readable = status(); !readable) return readable;
  PlistDocument copy = state_->document;
  if (copy.format() != format) {
    for (const auto& [key, value] : state_->contents) {
      const Result<Value> stored = storedEntry(key, value, format);
      if (!stored) return Status::failure("\"" + validUtf8(key) + "\" cannot be written: " + stored.message());
    }
    return serializePropertyList(Value(state_->contents), format);
  }
  return copy.write();
}

}  // namespace velmora
