#pragma once

#include <filesystem>
#include <istream>
#include <string>
#include <string_view>

#include "values/Status.h"

namespace velmora::host {

// The whole contents of a file the user named: a regular file, or what a
// pipe or device gives until its end ("--payload <(...)"), at most
// kMaxInputBytes. A FIFO no one writes to reads as empty at once. A failure
// names the file and what is wrong ("cannot read x.json: No such file or
// directory", "... is larger than 64 MiB").
Result<std::string> readFile(const std::filesystem::path& file);

// The whole of a stream (standard input), at most kMaxInputBytes; `name`
// names it in the failure when there is more or it fails.
Result<std::string> readStream(std::istream& in, const std::string& name);

// Replaces a file the user named with `text`; a failure says so likewise.
Status writeFile(const std::filesystem::path& file, std::string_view text);

}  // namespace velmora::host
