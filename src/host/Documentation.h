#pragma once

#include <string>

#include "host/CommandLine.h"

namespace velmora::host {

// The bash completion of the program, made from its own command line, so that
// it completes exactly the commands, options and words the program takes:
// command names, options (those of the commands above included), the
// categories, operations, domains, formats and type flags, files and
// directories where an option takes one, and time-zone names for --tz.
std::string bashCompletion(const CommandLine& commandLine);

// The manual page's sections beyond those help2man makes from `velmora
// --help`: one per command with its arguments, options and examples, in the
// include format of help2man (roff under "[SECTION]" lines).
std::string manualSections(const CommandLine& commandLine);

}  // namespace velmora::host
