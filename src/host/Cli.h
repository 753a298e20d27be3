#pragma once

#include <istream>
#include <ostream>
#include <string>
#include <vector>

#include "host/RunEnvironment.h"

namespace velmora::host {

// The `velmora` program: parses the command line and runs one command.
// Returns the process exit status (0 ran, 1 could not do it, 2 usage error).
int run(int argc, char** argv);

// The same with the arguments (without the program name), the process's
// context and the streams given, so that tests and benchmarks can run
// commands in-process.
int run(std::vector<std::string> args, const ProcessContext& process, std::istream& in, std::ostream& out,
        std::ostream& err);

}  // namespace velmora::host
