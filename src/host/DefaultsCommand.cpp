#include "host/DefaultsCommand.h"

#include <array>
#include <memory>
#include <nlohmann/json.hpp>
#include <span>
#include <vector>

#include "host/DefaultsValues.h"
#include "host/Files.h"
#include "host/JsonForms.h"
#include "host/JsonText.h"
#include "host/JsonToValue.h"
#include "host/Suggestions.h"
#include "store/PropertyList.h"
#include "store/UserDefaults.h"

namespace velmora::host {

namespace {

struct Domain {
  const char* name;
  std::string_view full;
};
constexpr std::array<Domain, 2> kDomains{
    {{"shared", Environment::kSharedSuite}, {"standard", Environment::kStandardDomain}}};

// The domain's file, with the store's warnings collected rather than printed:
// what stops the command is its error, said once.
Expected<std::shared_ptr<UserDefaults>> openDomain(const Environment& env, std::string_view domain,
                                                   std::vector<std::string>& warnings) {
  auto collect = [&warnings](std::string_view message) { warnings.emplace_back(message); };
  for (const Domain& known : kDomains)
    if (domain == known.name || domain == known.full)
      return std::make_shared<UserDefaults>(env.preferencesFile(known.full), collect);
  return Outcome::usageError("unknown domain \"" + std::string(domain) + "\"" +
                             didYouMean(domain, DefaultsCommand::domainNames()) + "; the domains are shared (" +
                             std::string(Environment::kSharedSuite) + ") and standard (" +
                             std::string(Environment::kStandardDomain) + ")");
}

std::string missingPair(std::string_view domain, std::string_view key) {
  return "The domain/default pair of (" + std::string(domain) + ", " + std::string(key) + ") does not exist";
}

Result<std::string> readInput(const std::string& file, std::istream& in) {
  return file == "-" ? readStream(in, "standard input") : readFile(file);
}

bool isPropertyList(const std::string& bytes) {
  const auto first = bytes.find_first_not_of(" \t\r\n");
  return bytes.starts_with("bplist") || (first != std::string::npos && bytes[first] == '<');
}

// A domain imported from a JSON object in the host's forms.
Result<MetricDictionary> importedJson(const std::string& bytes, const std::string& source) {
  if (auto wide = integerBeyond64Bits(bytes)) return Status::failure(source + ": " + beyond64BitsMessage(*wide));
  const Result<Json> json = parseJson(bytes);
  if (!json) return json.status().within(source + ": not valid JSON");
  if (!json->is_object()) return Status::failure(source + ": a domain is imported from a JSON object of its keys");
  Result<MetricDictionary> domain = dictionaryFromJson(*json);
  if (!domain) return domain.status().within(source);
  return domain;
}

// The value words of `write`: one JSON value, or a type flag and its words.
Expected<TypedValue> writtenValue(const std::vector<std::string>& words) {
  if (words.empty())
    return Outcome::usageError(
        "give the value: JSON (8, 8.0, '\"Ada\"'), or a type flag and its value (-int 8, -string Ada)");
  if (isTypeFlag(words.front())) return {typedValue(words), ErrorKind::kUsage};
  if (words.size() > 1)
    return Outcome::usageError(
        "a JSON value is one argument: quote it ('[1, 2]'), or give its type first (-array 1 2)");
  const std::string& text = words.front();
  if (auto wide = integerBeyond64Bits(text)) return Outcome::usageError(beyond64BitsMessage(*wide));
  const Result<Json> json = parseJson(text);
  if (!json)
    return Outcome::usageError("the value is not JSON (" + json.message() + "): write a text in quotes, '\"" + text +
                               "\"', or give its type, -string " + text);
  Result<Value> value = valueFromJson(*json);
  if (!value) return Outcome::usageError("the value cannot be stored: " + value.message());
  return TypedValue{TypedValue::Merge::kReplace, *std::move(value)};
}

std::string aTypeName(const Value& value);

// "-array-add" and "-dict-add": the key's container with the new items, made
// from the domain as it is while the file is locked.
UserDefaults::Edit merged(const MetricDictionary& current, const std::string& domain, const std::string& key,
                          const TypedValue& typed) {
  const Value* now = current.objectForKey(key);
  if (!now) return {{{key, typed.value}}, {}, {}};
  if (typed.merge == TypedValue::Merge::kAppendToArray) {
    if (!now->array())
      return {{},
              {},
              "the value of (" + domain + ", " + key + ") is " + aTypeName(*now) +
                  ", not an array: " + "-array-add appends to an array; -array replaces the value"};
    Array items = *now->array();
    items.insert(items.end(), typed.value.array()->begin(), typed.value.array()->end());
    return {{{key, Value(std::move(items))}}, {}, {}};
  }
  if (!now->dictionary())
    return {{},
            {},
            "the value of (" + domain + ", " + key + ") is " + aTypeName(*now) +
                ", not a dictionary: " + "-dict-add adds to a dictionary; -dict replaces the value"};
  MetricDictionary entries = *now->dictionary();
  for (const auto& [name, item] : *typed.value.dictionary()) entries.setObject(name, item);
  return {{{key, Value(std::move(entries))}}, {}, {}};
}

// The type names of the platform's `read-type`.
std::string typeName(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::kText:
      return "string";
    case Value::Kind::kInteger:
    case Value::Kind::kWideInteger:
      return "integer";
    case Value::Kind::kFloat:
    case Value::Kind::kDouble:
      return "float";
    case Value::Kind::kBoolean:
      return "boolean";
    case Value::Kind::kDate:
      return "date";
    case Value::Kind::kData:
      return "data";
    case Value::Kind::kArray:
      return "array";
    case Value::Kind::kDictionary:
      return "dictionary";
    case Value::Kind::kUid:
      return "uid";
    case Value::Kind::kColour:
      return "colour";
    case Value::Kind::kImage:
      return "image";
    case Value::Kind::kNull:
      break;
  }
  return "null";
}

std::string aTypeName(const Value& value) {
  const std::string name = typeName(value);
  return (name.find_first_of("aeiou") == 0 ? "an " : "a ") + name;
}

Status writeOutput(std::string_view bytes, const std::optional<std::string>& file, std::ostream& out) {
  if (file && *file != "-") return writeFile(*file, bytes);
  out << bytes;
  return Status();
}

// A change the store refused: the reasons it gave, else `fallback`.
Status refused(std::vector<std::string>& warnings, const std::string& fallback) {
  std::string message;
  for (const std::string& warning : warnings) message += (message.empty() ? "" : "\n") + warning;
  warnings.clear();
  return Status::failure(message.empty() ? fallback : message);
}

}  // namespace

const std::vector<std::string>& DefaultsCommand::formatNames() {
  static const std::vector<std::string> names{"json", "xml1", "binary1"};
  return names;
}

const std::vector<std::string>& DefaultsCommand::domainNames() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> list;
    for (const Domain& known : kDomains) list.emplace_back(known.name);
    return list;
  }();
  return names;
}

Outcome DefaultsCommand::run(const Environment& env, std::istream& in, std::ostream& out) const {
  if (verb == Verb::kDomains) {
    for (const Domain& known : kDomains)
      out << known.name << '\t' << known.full << '\t' << env.preferencesFile(known.full).string() << '\n';
    return Outcome();
  }
  std::vector<std::string> warnings;
  const Expected<std::shared_ptr<UserDefaults>> store = openDomain(env, domain, warnings);
  if (!store) return store.outcome();
  const Outcome outcome = runOn(env, **store, warnings, in, out);
  // What the store warned of and the command did not fail by (a file written whose directory could not be
  // flushed) is said as a warning.
  for (const std::string& warning : warnings) env.warning(warning);
  return outcome;
}

Outcome DefaultsCommand::runOn(const Environment& env, UserDefaults& store, std::vector<std::string>& warnings,
                               std::istream& in, std::ostream& out) const {
  for (const auto* name : {&key, &newKey})
    if (*name && !isValidUtf8(**name)) return Outcome::usageError("the key is not valid UTF-8");
  // A domain that cannot be read is no empty domain: reading, exporting or changing it fails.
  if (const Status readable = store.status(); !readable) return readable;
  const JsonForms forms(env.timeZone);
  const std::string fileName = store.file().string();
  const std::string keyName = key.value_or("");

  switch (verb) {
    case Verb::kRead:
    case Verb::kReadType: {
      if (!key) {
        out << writeJson(forms.members(store.dictionaryRepresentation()));
        return Outcome();
      }
      const std::optional<Value> found = store.objectForKey(*key);
      if (!found) return Outcome::commandError(missingPair(domain, *key));
      if (verb == Verb::kReadType)
        out << "Type is " << typeName(*found) << '\n';
      else
        out << writeJson(forms.toJson(*found));
      return Outcome();
    }
    case Verb::kWrite: {
      const Expected<TypedValue> typed = writtenValue(value);
      if (!typed) return typed.outcome();
      const bool stored =
          typed->merge == TypedValue::Merge::kReplace
              ? store.setObject(typed->value, keyName)
              : store.edit([&](const MetricDictionary& current) { return merged(current, domain, keyName, *typed); });
      return stored ? Outcome() : refused(warnings, "could not store \"" + keyName + "\" in " + fileName);
    }
    case Verb::kRename: {
      const std::string& renamed = newKey.value_or("");
      const bool done = store.edit([&](const MetricDictionary& current) -> UserDefaults::Edit {
        const Value* found = current.objectForKey(keyName);
        if (!found) return {{}, {}, missingPair(domain, keyName)};
        if (renamed == keyName) return {};
        return {{{renamed, *found}}, {keyName}, {}};
      });
      return done ? Outcome() : refused(warnings, "could not rename \"" + keyName + "\" in " + fileName);
    }
    case Verb::kDelete: {
      if (key) {
        if (!store.objectForKey(*key)) return Outcome::commandError(missingPair(domain, *key));
        if (!store.removeObjectForKey(*key))
          return refused(warnings, "could not remove \"" + *key + "\" from " + fileName);
        return Outcome();
      }
      if (store.dictionaryRepresentation().empty()) return Outcome();  // nothing to delete
      return store.replaceAll(MetricDictionary{}) ? Outcome() : refused(warnings, "could not empty " + fileName);
    }
    case Verb::kImport: {
      const std::string source = file.value_or("-");
      const std::string sourceName = source == "-" ? "standard input" : source;
      const Result<std::string> bytes = readInput(source, in);
      if (!bytes) return bytes.status();
      bool imported = false;
      if (isPropertyList(*bytes)) {
        const Result<PlistDocument> document =
            PlistDocument::read(std::vector<std::uint8_t>(bytes->begin(), bytes->end()));
        if (!document) return document.status().within(sourceName);
        imported = store.replaceAll(*document);
      } else {
        const Result<MetricDictionary> contents = importedJson(*bytes, sourceName);
        if (!contents) return contents.status();
        imported = store.replaceAll(*contents);
      }
      return imported ? Outcome() : refused(warnings, "could not write " + fileName);
    }
    case Verb::kExport: {
      if (format == Format::kJson)
        return writeOutput(writeJson(forms.members(store.dictionaryRepresentation())), file, out);
      const auto bytes = store.propertyList(format == Format::kXml ? PlistFormat::Xml : PlistFormat::Binary);
      if (!bytes) return bytes.status().within(formatNames()[static_cast<std::size_t>(format)]);
      return writeOutput(std::string_view(reinterpret_cast<const char*>(bytes->data()), bytes->size()), file, out);
    }
    case Verb::kDomains:
      break;
  }
  return Outcome();
}

}  // namespace velmora::host
