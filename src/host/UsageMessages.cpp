#include "host/UsageMessages.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <deque>
#include <functional>
#include <map>

#include "host/Suggestions.h"

namespace velmora::host {

namespace {

// The program, then each command the parser entered.
std::vector<const CLI::App*> parsedPath(const CLI::App& app) {
  std::vector<const CLI::App*> path{&app};
  for (auto parsed = app.get_subcommands(); !parsed.empty(); parsed = parsed.front()->get_subcommands())
    path.push_back(parsed.front());
  return path;
}

// "-5" and "-.5" are negative numbers; "-" alone is standard input or output; "--" ends the options.
bool looksLikeOption(const std::string& arg) {
  if (arg.size() < 2 || arg[0] != '-' || arg == "--") return false;
  return !(std::isdigit(static_cast<unsigned char>(arg[1])) || arg[1] == '.');
}

// "--png=x" names the option "--png".
std::string optionName(const std::string& arg) { return arg.substr(0, arg.find('=')); }

// The options a command takes: its own and, as they fall through, those of the commands above it.
std::vector<std::string> optionsOf(const CLI::App* command) {
  std::vector<std::string> names;
  for (const CLI::App* level = command; level; level = level->get_parent())
    for (const CLI::Option* option : level->get_options([](const CLI::Option* o) { return !o->get_positional(); }))
      for (std::string& name : optionNamesOf(*option)) names.push_back(std::move(name));
  return names;
}

std::vector<const CLI::App*> commandsOf(const CLI::App* command) {
  return command->get_subcommands([](const CLI::App*) { return true; });
}

// A command elsewhere in the program that takes the option, if any.
const CLI::App* commandTaking(const CLI::App* command, const std::string& name) {
  for (const CLI::App* sub : commandsOf(command)) {
    for (const CLI::Option* option : sub->get_options([](const CLI::Option* o) { return !o->get_positional(); })) {
      const auto names = optionNamesOf(*option);
      if (std::find(names.begin(), names.end(), name) != names.end()) return sub;
    }
    if (const CLI::App* deeper = commandTaking(sub, name)) return deeper;
  }
  return nullptr;
}

const CLI::Option* findOption(const std::vector<const CLI::App*>& path, const std::string& name) {
  for (const CLI::App* level : path)
    for (const CLI::Option* option : level->get_options()) {
      const auto names = optionNamesOf(*option);
      if (option->get_name() == name || std::find(names.begin(), names.end(), name) != names.end()) return option;
    }
  return nullptr;
}

// The arguments no command took, in the order they were typed.
std::vector<std::string> unexpected(const std::vector<const CLI::App*>& path, const std::vector<std::string>& typed) {
  // Where each word was typed, first place first: a word typed twice is matched to its places in turn.
  std::map<std::string_view, std::deque<std::size_t>> places;
  for (std::size_t at = 0; at < typed.size(); ++at) places[typed[at]].push_back(at);
  std::vector<std::pair<std::size_t, std::string>> found;
  for (const CLI::App* level : path)
    for (std::string& arg : level->remaining()) {
      std::size_t at = typed.size();  // not typed as it stands: last
      if (const auto it = places.find(arg); it != places.end() && !it->second.empty()) {
        at = it->second.front();
        it->second.pop_front();
      }
      found.emplace_back(at, std::move(arg));
    }
  std::stable_sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<std::string> args;
  for (auto& [at, arg] : found) args.push_back(std::move(arg));
  return args;
}

std::string joined(const std::vector<std::string>& words, const std::string& separator,
                   const std::function<std::string(const std::string&)>& form) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : separator) + form(word);
  return text;
}

// What the parser's message begins with: the option's name, before ": ".
std::string subjectOf(const CLI::ParseError& error) {
  const std::string message = error.what();
  const auto colon = message.find(": ");
  return colon == std::string::npos ? std::string() : message.substr(0, colon);
}

std::string unknownOption(const CLI::App* command, const std::string& arg) {
  const std::string name = optionName(arg);
  const CLI::App* root = command;
  while (root->get_parent()) root = root->get_parent();
  if (const CLI::App* taker = commandTaking(root, name)) {
    if (taker == command)
      return name + " is an option of " + commandPathOf(*taker) + ": give it after " + taker->get_name();
    return name + " is an option of " + commandPathOf(*taker) + ", not of " + commandPathOf(*command);
  }
  return "unknown option " + name + didYouMean(name, optionsOf(command));
}

std::string missingCommand(const CLI::App* command, const std::vector<std::string>& extra) {
  std::vector<std::string> names;
  for (const CLI::App* sub : commandsOf(command)) names.push_back(sub->get_name());
  const std::string list =
      "the " + commandPathOf(*command) + " commands are " + joined(names, ", ", [](const std::string& n) { return n; });
  for (const std::string& arg : extra)
    if (!looksLikeOption(arg)) {
      const std::string suggestion = didYouMean(arg, names);
      return "unknown command " + inQuotes(arg) + (suggestion.empty() ? "; " + list : suggestion);
    }
  return "give a command: " + list;
}

}  // namespace

std::string commandPath(const CLI::App& app) { return commandPathOf(*parsedPath(app).back()); }

std::string usageLine(const CLI::App& app) { return usageOf(*parsedPath(app).back()); }

std::string usageMessage(const CLI::App& app, const CLI::ParseError& error, const std::vector<std::string>& typed) {
  const std::vector<const CLI::App*> path = parsedPath(app);
  const CLI::App* command = path.back();
  const std::vector<std::string> extra = unexpected(path, typed);

  for (const std::string& arg : extra)
    if (looksLikeOption(arg)) return unknownOption(command, arg);

  const std::string subject = subjectOf(error);
  const CLI::Option* option = findOption(path, subject);
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) && option) {
    const std::string type = option->get_type_name();
    return subject + " needs " + (type.empty() ? "a value" : "a " + type);
  }
  if (dynamic_cast<const CLI::ConversionError*>(&error)) {
    // "Could not convert: --scale = abc"
    const std::string message = error.what();
    const auto equals = message.find(" = "), colon = message.find(": ");
    if (equals != std::string::npos && colon != std::string::npos && colon < equals) {
      const std::string name = message.substr(colon + 2, equals - colon - 2);
      const CLI::Option* converted = findOption(path, name);
      return name + ": " + inQuotes(message.substr(equals + 3)) + " is not understood" +
             (converted ? ": " + converted->get_description() : std::string());
    }
  }
  if (dynamic_cast<const CLI::ValidationError*>(&error)) return error.what();
  if (command->get_require_subcommand_min() > 0 && command->get_subcommands().empty())
    return missingCommand(command, extra);
  if (!extra.empty())
    return std::string(extra.size() == 1 ? "unexpected argument " : "unexpected arguments ") +
           joined(extra, " ", inQuotes) + " (usage: " + usageLine(app) + ")";
  if (dynamic_cast<const CLI::RequiredError*>(&error)) {
    const std::string message = error.what();
    const auto end = message.find(" is required");
    if (end != std::string::npos) return "give the " + message.substr(0, end) + " (usage: " + usageLine(app) + ")";
  }
  return error.what();
}

}  // namespace velmora::host
