#include "host/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>

#include "extension/NotificationViewController.h"
#include "host/DefaultsCommand.h"
#include "host/DefaultsValues.h"
#include "host/NotifyCommand.h"
#include "host/Operations.h"
#include "host/UsageMessages.h"

namespace velmora::host {

namespace {

constexpr const char* kProgramHelp =
    "velmora plays the operating system for the sleep tracker's notification content extension and for the\n"
    "metric operations its widgets and shortcuts call: it expands notifications, serves requests and keeps\n"
    "the preferences domains, printing everything as JSON.";

constexpr const char* kProgramFooter = R"(Examples:
  velmora notify BEDTIME
  velmora --now 2025-01-06T15:00:00+01:00 --tz Europe/Berlin notify TIMEASLEEP --png card.png
  velmora request GroupMetrics.requestSleepBank
  velmora defaults import shared fixture.json
  velmora defaults read shared bankDict

Environment:
  VELMORA_PREFS, XDG_CONFIG_HOME, HOME   the preferences directory
  TZ                                     the time zone
  LC_ALL, LC_TIME, LANG                  the locale
  LANGUAGE                               the preferred languages, colon-separated

Exit status:
  0   the command ran
  1   it could not be done
  2   the command line is wrong)";

constexpr const char* kCommandFooter =
    "Every command also takes --prefs, --resources, --now, --tz, --locale, --languages and --scale\n"
    "(see velmora --help).";

constexpr const char* kDefaultsExamples = R"(Examples:
  velmora defaults read shared bankDict
  velmora defaults write shared requiredHours 8.0       (JSON: 8 would be an integer)
  velmora defaults write shared name '"Ada"'            (JSON: a text is quoted)
  velmora defaults write shared name -string Ada        (the platform tool's typed forms)
  velmora defaults write shared start -date 2025-01-06T22:30:00+01:00
  velmora defaults write shared velmoraConfig -dict-add requiredHours -float 7.5
  velmora defaults export shared fixture.json
  velmora defaults export standard defaults.plist --format xml1)";

// Help texts wrapped to the width of a terminal, in the column the formatter gives them.
class HelpFormatter : public CLI::Formatter {
 public:
  HelpFormatter() {
    column_width(kColumn);
    label("SUBCOMMAND", "COMMAND");
    label("Positionals", "Arguments");
    label("REQUIRED", "");
  }

  std::string make_option_desc(const CLI::Option* option) const override {
    return wrapped(CLI::Formatter::make_option_desc(option));
  }

  std::string make_subcommand(const CLI::App* command) const override {
    std::stringstream out;
    CLI::detail::format_help(out, command->get_name(), wrapped(command->get_description()), kColumn);
    return out.str();
  }

  std::string make_description(const CLI::App* command) const override {
    return wrapped(command->get_description(), kWidth) + "\n";
  }

 private:
  static constexpr std::size_t kColumn = 26, kWidth = 100;

  static std::string wrapped(const std::string& text, std::size_t width = kWidth - kColumn) {
    std::string out, line;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
      if (!line.empty() && line.size() + 1 + word.size() > width) {
        out += line + "\n";
        line.clear();
      }
      line += (line.empty() ? "" : " ") + word;
    }
    return out + line;
  }
};

CLI::App* addCommand(CLI::App& parent, const char* name, const std::string& description) {
  CLI::App* command = parent.add_subcommand(name, description);
  command->group("Commands");
  command->fallthrough();  // the global options may follow the command
  command->footer(kCommandFooter);
  return command;
}

// Standard output carries the JSON: an image is never written there.
CLI::Validator notStandardOutput(const char* where) {
  return CLI::Validator(
      [where](std::string& value) -> std::string {
        if (value != "-") return {};
        return std::string("\"-\" would be standard output, which carries the JSON; ") + where +
               " (./- for one called \"-\")";
      },
      "", "");
}

// An option or argument that may be left out: nothing when it was not given.
struct OptionalText {
  std::string text;
  CLI::Option* option{};

  CLI::Option* add(CLI::App& app, const char* name, const std::string& help, const char* typeName = "") {
    option = app.add_option(name, text, help)->type_name(typeName);
    return option;
  }
  std::optional<std::string> value() const { return option->count() > 0 ? std::optional(text) : std::nullopt; }
  std::optional<std::filesystem::path> path() const {
    return option->count() > 0 ? std::optional<std::filesystem::path>(text) : std::nullopt;
  }
};

// The options every command accepts.
struct GlobalArguments {
  OptionalText prefs, resources, now, timeZone, locale, languages, scale;

  void add(CLI::App& app, const std::string& resourcesDefault) {
    prefs.add(app, "--prefs",
              "Preferences directory (default: $VELMORA_PREFS, else $XDG_CONFIG_HOME/velmora, else ~/.config/velmora)",
              "DIR");
    resources.add(app, "--resources",
                  "Bundle resources: string tables, pictures and the notification's interface (default: " +
                      resourcesDefault + ")",
                  "DIR");
    now.add(app, "--now",
            "The current instant, ISO 8601 with a zone offset or Z, e.g. 2025-01-06T22:30:00+01:00 (default: the "
            "system clock)",
            "TIME");
    timeZone.add(app, "--tz", "The device's time zone, an IANA name (default: $TZ, else the system zone)", "ZONE");
    locale.add(app, "--locale",
               "Locale for dates, numbers and durations, an ICU id such as de_DE or en_US@hours=h23 (default: from "
               "$LC_ALL, $LC_TIME, $LANG; else en_US)",
               "ID");
    languages.add(app, "--languages",
                  "Preferred languages, first first, e.g. de,en (default: $LANGUAGE, else the locale's language)",
                  "L1,L2,...");
    scale.add(app, "--scale", "Screen scale of images, 1 to 4 (default: 3)", "N");
  }

  GlobalOptions options() const {
    return {prefs.value(),  resources.value(), now.value(),  timeZone.value(),
            locale.value(), languages.value(), scale.value()};
  }
};

std::vector<std::string> names(std::span<const std::string_view> list) { return {list.begin(), list.end()}; }

struct NotifyArguments {
  CLI::App* command{};
  OptionalText category, payload, png, images;

  void add(CLI::App& app, std::map<const CLI::Option*, std::vector<std::string>>& choices) {
    command = addCommand(app, "notify",
                         "Expand one notification: create the controller, call viewDidLoad and "
                         "didReceiveNotification, and print the 27 display slots as JSON");
    choices[category.add(*command, "CATEGORY",
                         "Category identifier: BEDTIME or TIMEASLEEP (any other prints the slots as created)")] =
        names(NotificationViewController::handledCategories());
    payload.add(*command, "--payload", "Read an APNs-style JSON payload and take the category from aps.category",
                "FILE");
    png.add(*command, "--png", "Also render the expanded notification into a PNG file", "FILE")
        ->check(notStandardOutput("name a PNG file"));
    images.add(*command, "--images", "Write the slot's image as a PNG file into DIR", "DIR")
        ->check(notStandardOutput("name a directory"));
  }

  NotifyCommand toCommand() const { return {category.value(), payload.path(), png.path(), images.path()}; }
};

struct RequestArguments {
  CLI::App* command{};
  std::vector<std::string> names;
  OptionalText images, sheet;

  void add(CLI::App& app, std::map<const CLI::Option*, std::vector<std::string>>& choices) {
    command = addCommand(app, "request",
                         "Call the named operations in order on one SleepMetricsUI (GroupMetrics.NAME: on one "
                         "GroupMetrics) and print a JSON array of {\"operation\": NAME, \"result\": VALUE}");
    CLI::Option* operation =
        command->add_option("OPERATION", names, "Operation names; an unknown name lists the valid ones")
            ->type_name("")
            ->required()
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    images.add(*command, "--images", "Write each image of the results as a PNG file into DIR", "DIR")
        ->check(notStandardOutput("name a directory"));
    sheet
        .add(*command, "--sheet",
             "Also draw every image of the results side by side, each named by its operation, into one PNG file",
             "FILE")
        ->check(notStandardOutput("name a PNG file"));
    std::string footer = "Operations:";
    for (const Operation& known : operations()) {
      footer += "\n  " + std::string(known.name);
      choices[operation].emplace_back(known.name);
    }
    command->footer(footer + "\n\n" + kCommandFooter);
  }
};

struct DefaultsArguments {
  using Verb = DefaultsCommand::Verb;
  CLI::App* command{};
  std::vector<std::pair<CLI::App*, Verb>> verbs;
  std::string domain, key, newKey, importFile, format = "json";
  OptionalText readKey, deleteKey, exportFile, jsonValue;
  std::vector<std::string> typedValue;  // the type flag and its words, as they stand

  void add(CLI::App& app, std::map<const CLI::Option*, std::vector<std::string>>& choices) {
    command = addCommand(app, "defaults",
                         "Read and change the preferences domains, shared (group.quorvane.Velmora) and standard "
                         "(com.quorvane.Velmora.NotificationContent), in the manner of the platform's defaults tool, "
                         "with values in the JSON forms of the README or the tool's typed forms");
    command->require_subcommand(1);
    command->footer(std::string(kDefaultsExamples) + "\n\n" + kCommandFooter);
    domainChoices = &choices;

    CLI::App* read = verb("read", Verb::kRead, "Print the domain, or one key's value, as JSON");
    readKey.add(*read, "KEY", "The key to print (default: the whole domain)");

    CLI::App* readType = verb("read-type", Verb::kReadType,
                              "Print the type of a key's value as the platform's tool does: \"Type is string\" "
                              "(integer, float, boolean, date, data, array, dictionary)");
    readType->add_option("KEY", key, "The key")->type_name("")->required();

    CLI::App* write = verb("write", Verb::kWrite,
                           "Set a key to one JSON value, or to a value of the type a flag names: -string TEXT, "
                           "-int|-integer N, -float X, -bool|-boolean YES|NO, -date TIME, -data HEX, -array ITEM..., "
                           "-array-add ITEM..., -dict KEY VALUE..., -dict-add KEY VALUE... (items and dictionary "
                           "values are texts unless a flag of one value stands before them: -array -int 1 -int 2)");
    write->add_option("KEY", key, "The key to set")->type_name("")->required();
    CLI::Option* valueOption =
        jsonValue.add(*write, "VALUE",
                      "A JSON value, or a type flag and the words of its value, which take the rest "
                      "of the line");
    choices[valueOption] = typeFlags();

    CLI::App* rename = verb("rename", Verb::kRename, "Give a key's value a new key");
    rename->add_option("OLD", key, "The key that goes")->type_name("")->required();
    rename->add_option("NEW", newKey, "The key that takes its value")->type_name("")->required();

    CLI::App* remove = verb("delete", Verb::kDelete, "Remove one key, or every key of the domain");
    deleteKey.add(*remove, "KEY", "The key to remove (default: all of them)");

    CLI::App* import = verb("import", Verb::kImport,
                            "Replace the whole domain with a JSON object or a property list (binary or XML) read "
                            "from FILE, or from standard input with -");
    import->add_option("FILE", importFile, "JSON or property-list file, or -")->type_name("FILE")->required();

    CLI::App* exportTo = verb("export", Verb::kExport,
                              "Write the whole domain to FILE or standard output: as a JSON object, or as a property "
                              "list that import reads back exactly");
    exportFile.add(*exportTo, "FILE", "Where to write (default: standard output, also -)", "FILE");
    CLI::Option* formatOption =
        exportTo
            ->add_option("--format", format,
                         "json (the JSON forms), xml1 or binary1 (a property list, as the platform's tool writes "
                         "one); default: json")
            ->type_name("FORMAT")
            ->check(CLI::Validator(
                [](std::string& name) -> std::string {
                  const auto& known = DefaultsCommand::formatNames();
                  if (std::find(known.begin(), known.end(), name) != known.end()) return {};
                  return "\"" + name + "\" is not a format: json, xml1 or binary1";
                },
                "", ""));
    choices[formatOption] = DefaultsCommand::formatNames();

    CLI::App* domains = addCommand(*command, "domains", "List the domains: short name, full name and file");
    domains->footer(command->get_footer());
    verbs.emplace_back(domains, Verb::kDomains);
  }

  DefaultsCommand toCommand() const {
    DefaultsCommand c;
    for (const auto& [app, which] : verbs)
      if (app->parsed()) c.verb = which;
    c.domain = domain;
    // The key is an optional argument of read and delete, a required one of read-type, write and rename.
    if (c.verb == Verb::kRead) c.key = readKey.value();
    if (c.verb == Verb::kDelete) c.key = deleteKey.value();
    if (c.verb == Verb::kReadType || c.verb == Verb::kWrite || c.verb == Verb::kRename) c.key = key;
    if (c.verb == Verb::kRename) c.newKey = newKey;
    if (c.verb == Verb::kWrite) c.value = jsonValue.value() ? std::vector{jsonValue.text} : typedValue;
    if (c.verb == Verb::kImport) c.file = importFile;
    if (c.verb == Verb::kExport) c.file = exportFile.value();
    const auto& formats = DefaultsCommand::formatNames();
    c.format =
        static_cast<DefaultsCommand::Format>(std::find(formats.begin(), formats.end(), format) - formats.begin());
    return c;
  }

 private:
  std::map<const CLI::Option*, std::vector<std::string>>* domainChoices{};

  CLI::App* verb(const char* name, Verb which, const char* description) {
    CLI::App* app = addCommand(*command, name, description);
    app->footer(command->get_footer());
    CLI::Option* domainOption =
        app->add_option("DOMAIN", domain, "shared or standard (or the full domain name)")->type_name("")->required();
    (*domainChoices)[domainOption] = DefaultsCommand::domainNames();
    verbs.emplace_back(app, which);
    return app;
  }
};

}  // namespace

struct CommandLine::Arguments {
  GlobalArguments global;
  NotifyArguments notify;
  RequestArguments request;
  DefaultsArguments defaults;
  std::map<const CLI::Option*, std::vector<std::string>> choices;
};

CommandLine::CommandLine(const std::string& resourcesDefault)
    : app_(std::make_unique<CLI::App>(kProgramHelp, "velmora")), arguments_(std::make_unique<Arguments>()) {
  app_->formatter(std::make_shared<HelpFormatter>());
  app_->set_version_flag("--version", "velmora " VELMORA_VERSION);
  app_->require_subcommand(1);
  app_->footer(kProgramFooter);
  // An option given twice takes its last value, so a script can override an earlier one.
  app_->option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  Arguments& a = *arguments_;
  a.global.add(*app_, resourcesDefault);
  a.notify.add(*app_, a.choices);
  a.request.add(*app_, a.choices);
  a.defaults.add(*app_, a.choices);
}

CommandLine::~CommandLine() = default;

const char* CommandLine::commandFooter() { return kCommandFooter; }

const CLI::App& CommandLine::app() const { return *app_; }

Outcome CommandLine::parse(std::vector<std::string> args, std::ostream& out, std::ostream& err) {
  const std::vector<std::string> typed = args;
  try {
    arguments_->defaults.typedValue = typedValueWords(args);
    std::reverse(args.begin(), args.end());  // the parser takes the last argument first
    app_->parse(args);
  } catch (const CLI::ParseError& error) {
    // The parser says "help" and "version" by the same means as a mistake, with its exit code for success.
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
      app_->exit(error, out, err);
      answered_ = true;
      return Outcome();
    }
    return Outcome::usageError(usageMessage(*app_, error, typed));
  }
  const DefaultsArguments& defaults = arguments_->defaults;
  if (defaults.jsonValue.value() && !defaults.typedValue.empty())
    return Outcome::usageError(usageMessage(
        *app_, CLI::ValidationError("VALUE", "give one JSON value or a type flag and its words, not both"), typed));
  return Outcome();
}

std::string CommandLine::commandPath() const { return host::commandPath(*app_); }

GlobalOptions CommandLine::globalOptions() const { return arguments_->global.options(); }

Outcome CommandLine::runCommand(const Environment& env, std::istream& in, std::ostream& out, std::ostream& err) const {
  const Arguments& a = *arguments_;
  if (a.notify.command->parsed()) return a.notify.toCommand().run(env, out, err);
  if (a.request.command->parsed())
    return runRequest(a.request.names, a.request.images.path(), a.request.sheet.path(), env, out);
  return a.defaults.toCommand().run(env, in, out);
}

std::vector<std::string> CommandLine::choices(const CLI::Option& option) const {
  const auto it = arguments_->choices.find(&option);
  return it == arguments_->choices.end() ? std::vector<std::string>{} : it->second;
}

std::string commandPathOf(const CLI::App& command) {
  std::string path;
  for (const CLI::App* level = &command; level; level = level->get_parent())
    path = level->get_name() + (path.empty() ? "" : " " + path);
  return path;
}

std::vector<std::string> optionNamesOf(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

std::string usageOf(const CLI::App& command) {
  const auto formatter = std::dynamic_pointer_cast<CLI::Formatter>(command.get_formatter());
  if (!formatter) return commandPathOf(command);
  std::string usage = formatter->make_usage(&command, commandPathOf(command));
  usage = usage.substr(usage.find(": ") + 2);  // without "Usage: "
  while (!usage.empty() && usage.back() == '\n') usage.pop_back();
  return usage;
}

std::vector<std::string> typedValueWords(std::vector<std::string>& args) {
  const auto defaults = std::find(args.begin(), args.end(), "defaults");
  const auto write = std::find(defaults, args.end(), "write");
  const auto flag = std::find_if(write, args.end(), [](const std::string& word) { return isTypeFlag(word); });
  std::vector<std::string> words(flag, args.end());
  args.erase(flag, args.end());
  return words;
}

}  // namespace velmora::host
