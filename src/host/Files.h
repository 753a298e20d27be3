#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace velmora::host {

// The whole contents of a file the user named. Throws CommandError naming
// the file and what is wrong ("cannot read x.json: No such file or directory").
std::string readFile(const std::filesystem::path& file);

// Replaces a file the user named with `text`; throws CommandError likewise.
void writeFile(const std::filesystem::path& file, std::string_view text);

}  // namespace velmora::host
