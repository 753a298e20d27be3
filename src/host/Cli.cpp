#include "host/Cli.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>

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

// The options every command accepts, as CLI11 fills them.
struct GlobalArguments {
  std::string prefs, resources, now, timeZone, locale, languages;
  int scale = 3;
  CLI::Option *prefsOption{}, *resourcesOption{}, *nowOption{}, *timeZoneOption{}, *localeOption{}, *languagesOption{},
      *scaleOption{};

  void add(CLI::App& app) {
    prefsOption = app.add_option("--prefs", prefs,
                                 "Preferences directory (default: $VELMORA_PREFS, else $XDG_CONFIG_HOME/velmora, "
                                 "else ~/.config/velmora)")
                      ->type_name("DIR");
    resourcesOption =
        app.add_option("--resources", resources, "Bundle resources: string tables and pictures (default: installed)")
            ->type_name("DIR");
    nowOption = app.add_option("--now", now,
                               "The current instant, ISO 8601 with a zone offset or Z, e.g. 2025-01-06T22:30:00+01:00 "
                               "(default: the system clock)")
                    ->type_name("TIME");
    timeZoneOption =
        app.add_option("--tz", timeZone, "The device's time zone, an IANA name (default: $TZ, else the system zone)")
            ->type_name("ZONE");
    localeOption = app.add_option("--locale", locale,
                                  "Locale for dates, numbers and durations, an ICU id such as de_DE or "
                                  "en_US@hours=h23 (default: from $LC_ALL, $LC_TIME, $LANG; else en_US)")
                       ->type_name("ID");
    languagesOption = app.add_option("--languages", languages,
                                     "Preferred languages, first first, e.g. de,en (default: $LANGUAGE, else the "
                                     "locale's language)")
                          ->type_name("L1,L2,...");
    scaleOption = app.add_option("--scale", scale, "Screen scale of images, 1 to 4 (default: 3)")->type_name("N");
  }

  GlobalOptions options() const {
    GlobalOptions o;
    auto given = [](const CLI::Option* option, const std::string& value) {
      return option->count() > 0 ? std::optional<std::string>(value) : std::nullopt;
    };
    o.prefs = given(prefsOption, prefs);
    o.resources = given(resourcesOption, resources);
    o.now = given(nowOption, now);
    o.timeZone = given(timeZoneOption, timeZone);
    o.locale = given(localeOption, locale);
    o.languages = given(languagesOption, languages);
    if (scaleOption->count() > 0) o.scale = scale;
    return o;
  }
};

// An optional positional or option of a command: nothing when not given.
struct OptionalText {
  std::string text;
  CLI::Option* option{};
  std::optional<std::string> value() const { return option->count() > 0 ? std::optional(text) : std::nullopt; }
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

CLI::App* addCommand(CLI::App& app, const char* name, const char* description) {
  CLI::App* command = app.add_subcommand(name, description);
  command->fallthrough();  // the global options may follow the command
  command->footer(kCommandFooter);
  return command;
}

}  // namespace

int run(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  const int status = run(std::move(args), ProcessContext::current(), std::cin, std::cout, std::cerr);
  std::cout.flush();
  if (status == 0 && !std::cout) {
    std::cerr << "velmora: cannot write to standard output\n";
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
  global.add(app);

  NotifyCommand notify;
  OptionalText category, payload, png, notifyImages;
  CLI::App* notifyApp =
      addCommand(app, "notify",
                 "Expand one notification: create the controller, call viewDidLoad and didReceiveNotification, and "
                 "print the 27 display slots as JSON. An unknown category is no error: the slots print as created.");
  category.option = notifyApp->add_option("CATEGORY", category.text, "Category identifier: BEDTIME or TIMEASLEEP");
  payload.option = notifyApp
                       ->add_option("--payload", payload.text,
                                    "Read an APNs-style JSON payload and take the category from aps.category")
                       ->type_name("FILE");
  png.option = notifyApp->add_option("--png", png.text, "Also render the expanded notification into a PNG file")
                   ->type_name("FILE");
  notifyImages.option =
      notifyApp->add_option("--images", notifyImages.text, "Write the slot's image as a PNG file into DIR")
          ->type_name("DIR");

  std::vector<std::string> operationNames;
  OptionalText requestImages;
  CLI::App* requestApp = addCommand(
      app, "request",
      "Call the named operations in order on one SleepMetricsUI (GroupMetrics.NAME: on one GroupMetrics) and print "
      "a JSON array of {\"operation\": NAME, \"result\": VALUE}.");
  requestApp->add_option("OPERATION", operationNames, "Operation names; an unknown name lists the valid ones")
      ->required()
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  requestImages.option =
      requestApp->add_option("--images", requestImages.text, "Write each image of the results as a PNG file into DIR")
          ->type_name("DIR");

  DefaultsCommand defaults;
  OptionalText key, file;
  CLI::App* defaultsApp =
      addCommand(app, "defaults",
                 "Read and change the preferences domains, shared (group.quorvane.Velmora) and standard "
                 "(com.quorvane.Velmora.NotificationContent), with values in the JSON forms of the README.");
  defaultsApp->require_subcommand(1);
  auto addVerb = [&](const char* name, DefaultsCommand::Verb verb, const char* description) {
    CLI::App* verbApp = addCommand(*defaultsApp, name, description);
    verbApp->add_option("DOMAIN", defaults.domain, "shared or standard")->required();
    verbApp->callback([&defaults, verb] { defaults.verb = verb; });
    return verbApp;
  };
  CLI::App* readApp = addVerb("read", DefaultsCommand::Verb::kRead, "Print the domain, or one key's value, as JSON");
  key.option = readApp->add_option("KEY", key.text, "The key to print (default: the whole domain)");
  CLI::App* writeApp = addVerb("write", DefaultsCommand::Verb::kWrite,
                               "Set a key to a JSON value, e.g. write shared requiredHours 8.0, write shared name "
                               "'\"Ada\"', write shared start '{\"date\": \"2025-01-06T22:30:00+01:00\"}'");
  std::string writeKey, writeValue;
  writeApp->add_option("KEY", writeKey, "The key to set")->required();
  writeApp->add_option("JSON-VALUE", writeValue, "The value, in the JSON forms")->required();
  CLI::App* deleteApp = addVerb("delete", DefaultsCommand::Verb::kDelete, "Remove one key, or every key of the domain");
  OptionalText deleteKey;
  deleteKey.option = deleteApp->add_option("KEY", deleteKey.text, "The key to remove (default: all of them)");
  CLI::App* importApp = addVerb("import", DefaultsCommand::Verb::kImport,
                                "Replace the whole domain with a JSON object (or a property list) read from FILE, "
                                "or from standard input with -");
  std::string importFile;
  importApp->add_option("FILE", importFile, "JSON or property-list file, or -")->required();
  CLI::App* exportApp = addVerb("export", DefaultsCommand::Verb::kExport,
                                "Write the whole domain as a JSON object to FILE or standard output");
  file.option = exportApp->add_option("FILE", file.text, "Where to write (default: standard output, also -)");

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
    if (notifyApp->parsed()) {
      notify.category = category.value();
      if (auto p = payload.value()) notify.payload = *p;
      if (auto p = png.value()) notify.png = *p;
      if (auto p = notifyImages.value()) notify.imagesDir = *p;
      notify.run(env, out);
    } else if (requestApp->parsed()) {
      std::optional<std::filesystem::path> imagesDir;
      if (auto p = requestImages.value()) imagesDir = *p;
      runRequest(operationNames, imagesDir, env, out);
    } else {
      if (readApp->parsed()) defaults.key = key.value();
      if (writeApp->parsed()) {
        defaults.key = writeKey;
        defaults.value = writeValue;
      }
      if (deleteApp->parsed()) defaults.key = deleteKey.value();
      if (importApp->parsed()) defaults.file = importFile;
      if (exportApp->parsed()) defaults.file = file.value();
      defaults.run(env, in, out);
    }
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
