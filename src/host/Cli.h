#pragma once

namespace velmora::host {

// The `velmora` program: parses the command line and runs one command.
// Returns the process exit status (0 ran, 1 could not do it, 2 usage error).
int run(int argc, char** argv);

}  // namespace velmora::host
