#pragma once

#include <string>
#include <vector>

#include "host/CommandLine.h"

namespace CLI {
class ParseError;
}  // namespace CLI

namespace velmora::host {

// What is wrong with a command line the parser refused, said as the program
// says it: the option or argument as it was typed, in the order it was
// typed, with the nearest valid name when one is close ("unknown option
// --pgn; did you mean --png?"). `typed` is the command line without the
// program's name.
std::string usageMessage(const CLI::App& app, const CLI::ParseError& error, const std::vector<std::string>& typed);

// "velmora defaults write": the program and the commands the parser got to.
std::string commandPath(const CLI::App& app);

// The usage line of the command the parser got to, without "Usage: ".
std::string usageLine(const CLI::App& app);

}  // namespace velmora::host
