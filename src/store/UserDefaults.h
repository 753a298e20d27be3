#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/PropertyList.h"
#include "values/Environment.h"
#include "values/Status.h"
#include "values/Value.h"

namespace velmora {

// One preferences domain over its property-list file, with the platform's
// user-defaults semantics. Reads see the file as it is now (it is re-read when
// another process has replaced it); every change is written through at once
// under the sidecar lock "<file>.lock": the file is re-read, only this
// handle's own changes are applied, and the result replaces the file
// atomically in its own format, every value this handle did not set written
// back exactly as it was read. A file that cannot be read or is not a valid
// property list reads as empty, is reported once, and is never written. A
// store that is a symbolic link is written through to its target.
class UserDefaults {
 public:
  UserDefaults(std::filesystem::path file, WarningSink warn);

  // `initWithSuiteName:` and `standardUserDefaults` for the run's preferences
  // directory; their warnings go out once per run.
  static std::shared_ptr<UserDefaults> suite(const Environment& env, std::string_view suiteName);
  static std::shared_ptr<UserDefaults> standard(const Environment& env);

  std::optional<Value> objectForKey(std::string_view key) const;
  bool boolForKey(std::string_view key) const;
  std::int64_t integerForKey(std::string_view key) const;
  float floatForKey(std::string_view key) const;
  double doubleForKey(std::string_view key) const;
  MetricDictionary dictionaryRepresentation() const;
  // A failure saying why the domain cannot be read (naming the file), when
  // it cannot: for callers that must not take an unreadable domain for an
  // empty one. Asking reports nothing.
  Status status() const;

  // Each returns false (with a warning) when the change could not be stored.
  bool setObject(Value value, std::string_view key);
  // Several keys in one replacement of the file: readers see all of them or none.
  bool setObjects(const MetricDictionary& entries);
  bool setBool(bool value, std::string_view key);
  bool removeObjectForKey(std::string_view key);
  // Replaces the whole domain (the defaults tool's import).
  bool replaceAll(const MetricDictionary& contents);
  // The same from a property-list file's document. When the file keeps the
  // document's format (a new file is binary), every entry goes in exactly as
  // the document holds it (single-precision reals, UIDs, the text of XML
  // entries); otherwise each becomes its stored form in the file's format.
  bool replaceAll(const PlistDocument& source);

  // A change worked out from the domain as it is while the file is locked,
  // so that no other writer's change slips in between reading and writing
  // (appending to an array, renaming a key). `work` says which keys to set
  // and to remove, or why nothing may change (warned, and false returned).
  struct Edit {
    std::vector<MetricDictionary::Entry> set;
    std::vector<std::string> remove;
    std::optional<std::string> refusal;
  };
  bool edit(const std::function<Edit(const MetricDictionary& current)>& work);

  // The domain as the bytes of a property-list file in `format`. In the
  // file's own format every entry is exactly as the file holds it; in the
  // other, each is its stored form there (XML keeps whole seconds of dates).
  // A failure naming the key and the reason when an entry has no form in
  // `format` (a UID in XML), or saying why the domain cannot be read.
  Result<std::vector<std::uint8_t>> propertyList(PlistFormat format) const;

  const std::filesystem::path& file() const;

  ~UserDefaults();
  UserDefaults(const UserDefaults&) = delete;
  UserDefaults& operator=(const UserDefaults&) = delete;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace velmora
