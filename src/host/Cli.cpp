#include "host/Cli.h"

#include <cerrno>
#include <iostream>
#include <system_error>

#include "host/CommandLine.h"
#include "host/Errors.h"
#include "values/Diagnostics.h"

namespace velmora::host {

namespace {

// The one place where how a command ended becomes the program's exit status
// and, for a failure, its message on standard error: a usage error also says
// where the help is.
int exitStatus(const Outcome& outcome, const CommandLine& commandLine, std::ostream& err) {
  if (outcome) return 0;
  printDiagnostic(err, Diagnostic::kError, outcome.message());
  if (outcome.kind() == ErrorKind::kCommand) return 1;
  err << "Run '" << commandLine.commandPath() << " --help' for usage.\n";
  return 2;
}

}  // namespace

int run(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  const int status = run(std::move(args), ProcessContext::current(), std::cin, std::cout, std::cerr);
  errno = 0;
  std::cout.flush();
  if (status == 0 && !std::cout) {
    const int error = errno;
    printDiagnostic(std::cerr, Diagnostic::kError,
                    "cannot write to standard output" + (error ? ": " + std::generic_category().message(error) : ""));
    return 1;
  }
  return status;
}

int run(std::vector<std::string> args, const ProcessContext& process, std::istream& in, std::ostream& out,
        std::ostream& err) {
  const std::filesystem::path resources = defaultResourcesDirectory(process);
  CommandLine commandLine(resources.empty() ? "none found" : resources.string());
  ProcessContext context = process;
  if (!context.warn)
    context.warn = [&err](std::string_view message) { printDiagnostic(err, Diagnostic::kWarning, message); };
  if (!context.log) context.log = [&err](std::string_view message) { printDiagnostic(err, Diagnostic::kLog, message); };
  const Outcome outcome = [&]() -> Outcome {
    try {
      if (Outcome parsed = commandLine.parse(std::move(args), out, err); !parsed || commandLine.answered())
        return parsed;
      const Expected<Environment> env = makeEnvironment(commandLine.globalOptions(), context);
      if (!env) return env.outcome();
      return commandLine.runCommand(*env, in, out, err);
    } catch (const std::exception& error) {
      // Nothing fails by throwing; what is thrown all the same (memory exhausted) still ends as a command that
      // could not be done, said as one.
      return Outcome::commandError(error.what());
    }
  }();
  return exitStatus(outcome, commandLine, err);
}

}  // namespace velmora::host
