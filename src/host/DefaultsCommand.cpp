#include "host/DefaultsCommand.h"

#include <array>
#include <memory>
#include <nlohmann/json.hpp>
#include <span>
#include <vector>

#include "host/DefaultsValues.h"
#include "host/Errors.h"
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
std::shared_ptr<UserDefaults> openDomain(const Environment& env, std::string_view domain,
                                         std::vector<std::string>& warnings) {
  auto collect = [&warnings](std::string_view message) { warnings.emplace_back(message); };
  for (const Domain& known : kDomains)
    if (domain == known.name || domain == known.full)
      return std::make_shared<UserDefaults>(env.preferencesFile(known.full), collect);
  throw UsageError("unknown domain \"" + std::string(domain) + "\"" +
                   didYouMean(domain, DefaultsCommand::domainNames()) + "; the domains are shared (" +
                   std::string(Environment::kSharedSuite) + ") and standard (" +
                   std::string(Environment::kStandardDomain) + ")");
}

std::string missingPair(std::string_view domain, std::string_view key) {
  return "The domain/default pair of (" + std::string(domain) + ", " + std::string(key) + ") does not exist";
}

// The JSON library's message without its "[json.exception.parse_error.101] " prefix.
std::string plainMessage(const Json::exception& error) {
  std::string_view text = error.what();
  if (text.starts_with("[json.exception.")) {
    if (const auto end = text.find("] "); end != std::string_view::npos) text.remove_prefix(end + 2);
  }
  return std::string(text);
}

std::string readInput(const std::string& file, std::istream& in) {
  return file == "-" ? readStream(in, "standard input") : readFile(file);
}

bool isPropertyList(const std::string& bytes) {
  const auto first = bytes.find_first_not_of(" \t\r\n");
  return bytes.starts_with("bplist") || (first != std::string::npos && bytes[first] == '<');
}

// A domain imported from a JSON object in the host's forms.
MetricDictionary importedJson(const std::string& bytes, const std::string& source) {
  if (auto wide = integerBeyond64Bits(bytes)) throw CommandError(source + ": " + beyond64BitsMessage(*wide));
  Json json;
  try {
    json = parseJson(bytes);
  } catch (const Json::exception& error) {
    throw CommandError(source + ": not valid JSON: " + plainMessage(error));
  }
  if (!json.is_object()) throw CommandError(source + ": a domain is imported from a JSON object of its keys");
  try {
    return dictionaryFromJson(json);
  } catch (const JsonFormError& error) {
    throw CommandError(source + ": " + error.what());
  }
}

Value jsonValue(const std::string& text) {
  if (auto wide = integerBeyond64Bits(text)) throw UsageError(beyond64BitsMessage(*wide));
  Json json;
  try {
    json = parseJson(text);
  } catch (const Json::exception& error) {
    throw UsageError("the value is not JSON (" + plainMessage(error) + "): write a text in quotes, '\"" + text +
                     "\"', or give its type, -string " + text);
  }
  try {
    return valueFromJson(json);
  } catch (const JsonFormError& error) {
    throw UsageError(std::string("the value cannot be stored: ") + error.what());
  }
}

// The value words of `write`: one JSON value, or a type flag and its words.
TypedValue writtenValue(const std::vector<std::string>& words) {
  if (words.empty())
    throw UsageError("give the value: JSON (8, 8.0, '\"Ada\"'), or a type flag and its value (-int 8, -string Ada)");
  if (isTypeFlag(words.front())) return typedValue(words);
  if (words.size() > 1)
    throw UsageError("a JSON value is one argument: quote it ('[1, 2]'), or give its type first (-array 1 2)");
  return {TypedValue::Merge::kReplace, jsonValue(words.front())};
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

void writeOutput(std::string_view bytes, const std::optional<std::string>& file, std::ostream& out) {
  if (!file || *file == "-")
    out << bytes;
  else
    writeFile(*file, bytes);
}

// A change the store refused: the reasons it gave, else `fallback`.
CommandError refused(std::vector<std::string>& warnings, const std::string& fallback) {
  std::string message;
  for (const std::string& warning : warnings) message += (message.empty() ? "" : "\n") + warning;
  warnings.clear();
  return CommandError(message.empty() ? fallback : message);
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

void DefaultsCommand::run(const Environment& env, std::istream& in, std::ostream& out) const {
  if (verb == Verb::kDomains) {
    for (const Domain& known : kDomains)
      out << known.name << '\t' << known.full << '\t' << env.preferencesFile(known.full).string() << '\n';
    return;
  }
  std::vector<std::string> warnings;
  const std::shared_ptr<UserDefaults> store = openDomain(env, domain, warnings);
  // Printed as warnings when the command succeeds (a file written whose directory could not be flushed).
  struct Flush {
    const Environment& env;
    std::vector<std::string>& warnings;
    ~Flush() {
      for (const std::string& warning : warnings) env.warning(warning);
    }
  } flush{env, warnings};
  for (const auto* name : {&key, &newKey})
    if (*name && !isValidUtf8(**name)) throw UsageError("the key is not valid UTF-8");
  // A domain that cannot be read is no empty domain: reading, exporting or changing it fails.
  if (const Status readable = store->status(); !readable) throw CommandError(readable.message());
  const JsonForms forms(env.timeZone);
  const std::string fileName = store->file().string();
  const std::string keyName = key.value_or("");

  switch (verb) {
    case Verb::kRead:
    case Verb::kReadType: {
      if (!key) {
        out << writeJson(forms.members(store->dictionaryRepresentation()));
        return;
      }
      const std::optional<Value> found = store->objectForKey(*key);
      if (!found) throw CommandError(missingPair(domain, *key));
      if (verb == Verb::kReadType)
        out << "Type is " << typeName(*found) << '\n';
      else
        out << writeJson(forms.toJson(*found));
      return;
    }
    case Verb::kWrite: {
      const TypedValue typed = writtenValue(value);
      const bool stored =
          typed.merge == TypedValue::Merge::kReplace
              ? store->setObject(typed.value, keyName)
              : store->edit([&](const MetricDictionary& current) { return merged(current, domain, keyName, typed); });
      if (!stored) throw refused(warnings, "could not store \"" + keyName + "\" in " + fileName);
      return;
    }
    case Verb::kRename: {
      const std::string& renamed = newKey.value_or("");
      const bool done = store->edit([&](const MetricDictionary& current) -> UserDefaults::Edit {
        const Value* found = current.objectForKey(keyName);
        if (!found) return {{}, {}, missingPair(domain, keyName)};
        if (renamed == keyName) return {};
        return {{{renamed, *found}}, {keyName}, {}};
      });
      if (!done) throw refused(warnings, "could not rename \"" + keyName + "\" in " + fileName);
      return;
    }
    case Verb::kDelete: {
      if (key) {
        if (!store->objectForKey(*key)) throw CommandError(missingPair(domain, *key));
        if (!store->removeObjectForKey(*key))
          throw refused(warnings, "could not remove \"" + *key + "\" from " + fileName);
        return;
      }
      if (store->dictionaryRepresentation().empty()) return;  // nothing to delete
      if (!store->replaceAll(MetricDictionary{})) throw refused(warnings, "could not empty " + fileName);
      return;
    }
    case Verb::kImport: {
      const std::string source = file.value_or("-");
      const std::string sourceName = source == "-" ? "standard input" : source;
      const std::string bytes = readInput(source, in);
      bool imported = false;
      if (isPropertyList(bytes)) {
        const Result<PlistDocument> document =
            PlistDocument::read(std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
        if (!document) throw CommandError(sourceName + ": " + document.message());
        imported = store->replaceAll(*document);
      } else {
        imported = store->replaceAll(importedJson(bytes, sourceName));
      }
      if (!imported) throw refused(warnings, "could not write " + fileName);
      return;
    }
    case Verb::kExport: {
      if (format == Format::kJson) {
        writeOutput(writeJson(forms.members(store->dictionaryRepresentation())), file, out);
        return;
      }
      const auto bytes = store->propertyList(format == Format::kXml ? PlistFormat::Xml : PlistFormat::Binary);
      if (!bytes) throw CommandError(formatNames()[static_cast<std::size_t>(format)] + ": " + bytes.message());
      writeOutput(std::string_view(reinterpret_cast<const char*>(bytes->data()), bytes->size()), file, out);
      return;
    }
    case Verb::kDomains:
      return;
  }
}

}  // namespace velmora::host
