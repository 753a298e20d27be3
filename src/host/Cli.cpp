#include "host/Cli.h"

#include <cerrno>
#include <iostream>
#include <system_error>

#include "host/CommandLine.h"
#include "host/Errors.h"

namespace velmora::host {

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
  const std::filesystem::path resources = defaultResourcesDirectory(process);
  CommandLine commandLine(resources.empty() ? "none found" : resources.string());
  ProcessContext context = process;
  if (!context.warn)
    context.warn = [&err](std::string_view message) { err << "velmora: warning: " << message << '\n'; };
  if (!context.log) context.log = [&err](std::string_view message) { err << "velmora: log: " << message << '\n'; };
  try {
    if (const std::optional<int> status = commandLine.parse(std::move(args), out, err)) return *status;
    const Environment env = makeEnvironment(commandLine.globalOptions(), context);
    commandLine.runCommand(env, in, out, err);
    return 0;
  } catch (const UsageError& error) {
    err << "velmora: " << error.what() << "\nRun '" << commandLine.commandPath() << " --help' for usage.\n";
    return 2;
  } catch (const std::exception& error) {
    err << "velmora: " << error.what() << '\n';
    return 1;
  }
}

}  // namespace velmora::host
