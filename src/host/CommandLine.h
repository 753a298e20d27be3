#pragma once

#include <istream>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "host/Errors.h"
#include "host/RunEnvironment.h"

// The parser's types, declared only: the parser's header is large, and only
// the files that build or walk the command line include it.
namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace velmora::host {

// The program's command line: its commands, their arguments and options with
// their help, as the parser reads them. One definition serves parsing,
// `--help`, the manual page and shell completion.
class CommandLine {
 public:
  // `resourcesDefault` says in the help of --resources where the bundle is
  // when it is not given: the directory a run would use, or how it is found.
  explicit CommandLine(const std::string& resourcesDefault);
  ~CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  const CLI::App& app() const;
  // The last paragraph of each command's help, which says that the program's options go with every command.
  static const char* commandFooter();

  // Parses the arguments as typed, without the program's name. Fails with a
  // usage error saying what is wrong with a command line the parser refused.
  // The help or the version asked for is printed to `out`, and answers the
  // command line (`answered`): there is nothing to run.
  Outcome parse(std::vector<std::string> args, std::ostream& out, std::ostream& err);
  bool answered() const { return answered_; }
  // After parse: "velmora defaults write", the program and the commands the parser got to.
  std::string commandPath() const;

  // After parse: the options every command takes, and the command itself.
  GlobalOptions globalOptions() const;
  // Runs the parsed command; notes for the person go to `err`. Fails with a
  // usage or a command error (see each command).
  Outcome runCommand(const Environment& env, std::istream& in, std::ostream& out, std::ostream& err) const;

  // The few words an argument takes, where it takes only those (categories,
  // operations, domains, formats, type flags); empty for any other.
  std::vector<std::string> choices(const CLI::Option& option) const;

 private:
  struct Arguments;
  std::unique_ptr<CLI::App> app_;
  std::unique_ptr<Arguments> arguments_;
  bool answered_ = false;
};

// "velmora defaults write": a command's path from the program.
std::string commandPathOf(const CLI::App& command);
// An option's names as they are typed: "-h", "--help".
std::vector<std::string> optionNamesOf(const CLI::Option& option);
// A command's usage line: "velmora notify [OPTIONS] [CATEGORY]".
std::string usageOf(const CLI::App& command);

// Takes a typed value of `defaults write` ("-int 8", "-array a b") off the
// arguments: the type flag and every word after it, as they stand, which is
// how the platform's tool reads everything after the key.
std::vector<std::string> typedValueWords(std::vector<std::string>& args);

}  // namespace velmora::host
