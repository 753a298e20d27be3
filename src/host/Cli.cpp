#include "host/Cli.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <iostream>
#include <system_error>

#include "host/DefaultsCommand.h"
#include "host/Errors.h"
#include "host/NotifyCommand.h"
#include "host/Operations.h"

namespace velmora::host {

namespace {

constexpr const char* kProgramHelp =
    "velmora plays the operating system for the sleep tracker's notification content extension and for the\n"
    "metric operations its widgets and shortcuts call: it expands notifications, serves requests and keeps\n"
    "the preferences domains, printing everything as JSON.";

constexpr const char* kProgramFooter = R"(Examples:
  velmora notify BEDTIME
  velmora --now 2025-01-06T15:00:00+01:00 --tz Europe/Berlin notify TIMEASLEEP
  velmora defaults import shared fixture.json
  velmora defaults read shared bankDict

Environment: VELMORA_PREFS, XDG_CONFIG_HOME and HOME (preferences directory), TZ (time zone),
LC_ALL, LC_TIME and LANG (locale), LANGUAGE (preferred languages, colon-separated).
Exit status: 0 the command ran, 1 it could not be done, 2 the command line is wrong.)";

constexpr const char* kCommandFooter =
    "Every command also takes --prefs, --resources, --now, --tz, --locale, --languages and --scale\n"
    "(see velmora --help).";

constexpr const char* kDefaultsExamples = R"(Examples:
  velmora defaults read shared bankDict
  velmora defaults write shared requiredHours 8.0       (8 would be an integer)
  velmora defaults write shared name '"Ada"'            (a text is quoted JSON)
  velmora defaults write shared start '{"date": "2025-01-06T22:30:00+01:00"}'
  velmora defaults export shared > fixture.json
  velmora defaults import shared fixture.json)";

CLI::App* addCommand(CLI::App& app, const char* name, const char* description) {
  CLI::App* command = app.add_subcommand(name, description);
  command->fallthrough();  // the global options may follow the command
  command->footer(kCommandFooter);
  return command;
}

// An option or positional that may be left out: nothing when it was not given.
struct OptionalText {
  std::string text;
  CLI::Option* option{};

  void add(CLI::App& app, const char* name, const std::string& help, const char* typeName = nullptr) {
    option = app.add_option(name, text, help);
    if (typeName) option->type_name(typeName);
  }
  std::optional<std::string> value() const { return option->count() > 0 ? std::optional(text) : std::nullopt; }
  std::optional<std::filesystem::path> path() const {
    return option->count() > 0 ? std::optional<std::filesystem::path>(text) : std::nullopt;
  }
};

// The options every command accepts.
struct GlobalArguments {
  OptionalText prefs, resources, now, timeZone, locale, languages, scale;

  void add(CLI::App& app, const std::filesystem::path& defaultResources) {
    prefs.add(app, "--prefs",
              "Preferences directory (default: $VELMORA_PREFS, else $XDG_CONFIG_HOME/velmora, else ~/.config/velmora)",
              "DIR");
    resources.add(app, "--resources",
                  "Bundle resources: string tables, pictures and the notification's interface (default: " +
                      (defaultResources.empty() ? std::string("none found") : defaultResources.string()) + ")",
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

struct NotifyArguments {
  CLI::App* command{};
  OptionalText category, payload, png, images;

  void add(CLI::App& app) {
    command = addCommand(app, "notify",
                         "Expand one notification: create the controller, call viewDidLoad and "
                         "didReceiveNotification, and print the 27 display slots as JSON");
    category.add(*command, "CATEGORY",
                 "Category identifier: BEDTIME or TIMEASLEEP (any other prints the slots as created)");
    payload.add(*command, "--payload", "Read an APNs-style JSON payload and take the category from aps.category",
                "FILE");
    png.add(*command, "--png", "Also render the expanded notification into a PNG file", "FILE");
    images.add(*command, "--images", "Write the slot's image as a PNG file into DIR", "DIR");
  }

  NotifyCommand toCommand() const { return {category.value(), payload.path(), png.path(), images.path()}; }
};

struct RequestArguments {
  CLI::App* command{};
  std::vector<std::string> names;
  OptionalText images, sheet;

  void add(CLI::App& app) {
    command = addCommand(app, "request",
                         "Call the named operations in order on one SleepMetricsUI (GroupMetrics.NAME: on one "
                         "GroupMetrics) and print a JSON array of {\"operation\": NAME, \"result\": VALUE}");
    command->add_option("OPERATION", names, "Operation names; an unknown name lists the valid ones")
        ->required()
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    images.add(*command, "--images", "Write each image of the results as a PNG file into DIR", "DIR");
    sheet.add(*command, "--sheet",
              "Also draw every image of the results side by side, each named by its operation, into one PNG file",
              "FILE");
    std::string footer = "Operations:";
    for (const Operation& operation : operations()) footer += "\n  " + std::string(operation.name);
    command->footer(footer + "\n\n" + kCommandFooter);
  }
};

struct DefaultsArguments {
  CLI::App *command{}, *read{}, *write{}, *remove{}, *import{}, *exportTo{};
  std::string domain, writeKey, writeValue, importFile;
  OptionalText readKey, removeKey, exportFile;

  void add(CLI::App& app) {
    command = addCommand(app, "defaults",
                         "Read and change the preferences domains, shared (group.quorvane.Velmora) and standard "
                         "(com.quorvane.Velmora.NotificationContent), with values in the JSON forms of the README");
    command->require_subcommand(1);
    command->footer(std::string(kDefaultsExamples) + "\n\n" + kCommandFooter);
    read = verb("read", "Print the domain, or one key's value, as JSON");
    readKey.add(*read, "KEY", "The key to print (default: the whole domain)");
    write = verb("write", "Set a key to a JSON value");
    write->add_option("KEY", writeKey, "The key to set")->required();
    write->add_option("JSON-VALUE", writeValue, "The value, in the JSON forms")->required();
    remove = verb("delete", "Remove one key, or every key of the domain");
    removeKey.add(*remove, "KEY", "The key to remove (default: all of them)");
    import = verb("import",
                  "Replace the whole domain with a JSON object (or a property list) read from FILE, or from standard "
                  "input with -");
    import->add_option("FILE", importFile, "JSON or property-list file, or -")->required();
    exportTo = verb("export", "Write the whole domain as a JSON object to FILE or standard output");
    exportFile.add(*exportTo, "FILE", "Where to write (default: standard output, also -)");
  }

  DefaultsCommand toCommand() const {
    using Verb = DefaultsCommand::Verb;
    if (read->parsed()) return {Verb::kRead, domain, readKey.value(), {}, {}};
    if (write->parsed()) return {Verb::kWrite, domain, writeKey, writeValue, {}};
    if (remove->parsed()) return {Verb::kDelete, domain, removeKey.value(), {}, {}};
    if (import->parsed()) return {Verb::kImport, domain, {}, {}, importFile};
    return {Verb::kExport, domain, {}, {}, exportFile.value()};
  }

 private:
  CLI::App* verb(const char* name, const char* description) {
    CLI::App* app = addCommand(*command, name, description);
    app->footer(command->get_footer());
    app->add_option("DOMAIN", domain, "shared or standard")->required();
    return app;
  }
};

// "A subcommand is required" as a person would put it: which command is
// unknown, or that one is missing, and which there are.
std::optional<std::string> missingCommand(CLI::App& app) {
  CLI::App* deepest = &app;
  for (auto parsed = app.get_subcommands(); !parsed.empty(); parsed = deepest->get_subcommands())
    deepest = parsed.front();
  if (deepest->get_require_subcommand_min() == 0) return std::nullopt;
  std::string names;
  for (const CLI::App* command : deepest->get_subcommands([](const CLI::App*) { return true; }))
    names += (names.empty() ? "" : ", ") + command->get_name();
  const std::string within = deepest == &app ? "" : " " + deepest->get_name();
  std::vector<std::string> rest = app.remaining();
  for (CLI::App* level = deepest; level != &app; level = level->get_parent()) {
    auto more = level->remaining();
    rest.insert(rest.begin(), more.begin(), more.end());
  }
  for (const std::string& arg : rest)
    if (!arg.starts_with("-"))
      return "unknown command \"" + arg + "\"; the velmora" + within + " commands are " + names;
  return "give a command: the velmora" + within + " commands are " + names;
}

// "velmora defaults read": the program and the commands the parser got to.
std::string commandPath(CLI::App& app) {
  std::string path = app.get_name();
  for (auto parsed = app.get_subcommands(); !parsed.empty(); parsed = parsed.front()->get_subcommands())
    path += " " + parsed.front()->get_name();
  return path;
}

}  // namespace

int run(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  const int status = run(std::move(args), ProcessContext::current(), std::cin, std::cout, std::cerr);
  errno = 0;
  std::cout.flush();
  if (status == 0 && !std::cout) {
    const int error = errno;
    std::cerr << "velmora: cannot write to standard output"
              << (error ? ": " + std::generic_category().message(error) : "") << '\n';
    return 1;
  }
  return status;
}

int run(std::vector<std::string> args, const ProcessContext& process, std::istream& in, std::ostream& out,
        std::ostream& err) {
  CLI::App app(kProgramHelp, "velmora");
  app.set_version_flag("--version", "velmora " VELMORA_VERSION);
  app.require_subcommand(1);
  app.footer(kProgramFooter);
  // An option given twice takes its last value, so a script can override an earlier one.
  app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  GlobalArguments global;
  NotifyArguments notify;
  RequestArguments request;
  DefaultsArguments defaults;
  global.add(app, defaultResourcesDirectory(process));
  notify.add(app);
  request.add(app);
  defaults.add(app);

  try {
    std::reverse(args.begin(), args.end());
    app.parse(args);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) return app.exit(error, out, err);
    const std::optional<std::string> command = missingCommand(app);
    err << "velmora: " << (command ? *command : error.what()) << "\nRun '" << commandPath(app)
        << " --help' for usage.\n";
    return 2;
  }

  ProcessContext context = process;
  if (!context.warn)
    context.warn = [&err](std::string_view message) { err << "velmora: warning: " << message << '\n'; };
  try {
    const Environment env = makeEnvironment(global.options(), context);
    if (notify.command->parsed())
      notify.toCommand().run(env, out);
    else if (request.command->parsed())
      runRequest(request.names, request.images.path(), request.sheet.path(), env, out);
    else
      defaults.toCommand().run(env, in, out);
    return 0;
  } catch (const UsageError& error) {
    err << "velmora: " << error.what() << '\n';
    return 2;
  } catch (const std::exception& error) {
    err << "velmora: " << error.what() << '\n';
    return 1;
  }
}

}  // namespace velmora::host
