#include "host/DefaultsCommand.h"

#include <memory>
#include <span>
#include <vector>

#include "host/Errors.h"
#include "host/Files.h"
#include "host/JsonForms.h"
#include "platform/PropertyList.h"
#include "platform/UserDefaults.h"

namespace velmora::host {

namespace {

// The domain's file, with the store's warnings collected rather than printed:
// what stops the command is its error, said once.
std::shared_ptr<UserDefaults> openDomain(const Environment& env, std::string_view domain,
                                         std::vector<std::string>& warnings) {
  auto collect = [&warnings](std::string_view message) { warnings.emplace_back(message); };
  if (domain == "shared" || domain == Environment::kSharedSuite)
    return std::make_shared<UserDefaults>(env.preferencesFile(Environment::kSharedSuite), collect);
  if (domain == "standard" || domain == Environment::kStandardDomain)
    return std::make_shared<UserDefaults>(env.preferencesFile(Environment::kStandardDomain), collect);
  throw UsageError("unknown domain \"" + std::string(domain) + "\": use shared (" +
                   std::string(Environment::kSharedSuite) + ") or standard (" +
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

// A file to import is a JSON object in the host's forms, or a property list
// (binary or XML) such as the platform's defaults tool exports.
MetricDictionary importedContents(const std::string& bytes, const std::string& source) {
  const auto first = bytes.find_first_not_of(" \t\r\n");
  const bool propertyList = bytes.starts_with("bplist") || (first != std::string::npos && bytes[first] == '<');
  if (propertyList) {
    const auto* begin = reinterpret_cast<const std::uint8_t*>(bytes.data());
    PlistReadResult read = parsePropertyList(std::span(begin, bytes.size()));
    if (!read.value) throw CommandError(source + ": not a property list we can read: " + read.error);
    const MetricDictionary* contents = read.value->dictionary();
    if (!contents) throw CommandError(source + ": the property list is not a dictionary");
    return *contents;
  }
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

Value valueArgument(const std::string& text) {
  Json json;
  try {
    json = parseJson(text);
  } catch (const Json::exception& error) {
    throw UsageError("the value is not JSON (" + plainMessage(error) + "); a text is written in quotes, e.g. '\"" +
                     text + "\"'");
  }
  try {
    return valueFromJson(json);
  } catch (const JsonFormError& error) {
    throw UsageError(std::string("the value cannot be stored: ") + error.what());
  }
}

void writeOutput(const std::string& text, const std::optional<std::string>& file, std::ostream& out) {
  if (!file || *file == "-")
    out << text;
  else
    writeFile(*file, text);
}

// A change the store refused: the reasons it gave, else `fallback`.
CommandError refused(std::vector<std::string>& warnings, const std::string& fallback) {
  std::string message;
  for (const std::string& warning : warnings) message += (message.empty() ? "" : "\n") + warning;
  warnings.clear();
  return CommandError(message.empty() ? fallback : message);
}

}  // namespace

void DefaultsCommand::run(const Environment& env, std::istream& in, std::ostream& out) const {
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
  if (key && !isValidUtf8(*key)) throw UsageError("the key is not valid UTF-8");
  // A domain that cannot be read is no empty domain: reading, exporting or changing it fails.
  if (auto problem = store->problem()) throw CommandError(*problem);
  const JsonForms forms(env.timeZone);
  const std::string fileName = store->file().string();

  switch (verb) {
    case Verb::kRead: {
      if (!key) {
        out << writeJson(forms.members(store->dictionaryRepresentation()));
        return;
      }
      const std::optional<Value> found = store->objectForKey(*key);
      if (!found) throw CommandError(missingPair(domain, *key));
      out << writeJson(forms.toJson(*found));
      return;
    }
    case Verb::kWrite: {
      Value stored = valueArgument(value.value_or(""));
      if (!store->setObject(std::move(stored), key.value_or("")))
        throw refused(warnings, "could not store \"" + key.value_or("") + "\" in " + fileName);
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
      if (!store->replaceAll({})) throw refused(warnings, "could not empty " + fileName);
      return;
    }
    case Verb::kImport: {
      const std::string source = file.value_or("-");
      const MetricDictionary contents =
          importedContents(readInput(source, in), source == "-" ? "standard input" : source);
      if (!store->replaceAll(contents)) throw refused(warnings, "could not write " + fileName);
      return;
    }
    case Verb::kExport:
      writeOutput(writeJson(forms.members(store->dictionaryRepresentation())), file, out);
      return;
  }
}

}  // namespace velmora::host
