#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace velmora::host {

// The name a person most likely meant when they typed `typed`: the nearest
// of `names` by edits of one character (a letter added, dropped, changed, or
// two neighbours swapped), letter case aside. Nothing when no name is close
// enough to be a slip of the fingers rather than another word: at most one
// edit in a short name, one in three of its letters in a longer one. Failing
// that, the one name that begins with what was typed ("--lang" for
// "--languages"). Leading dashes are not letters of a name.
std::optional<std::string> nearestName(std::string_view typed, std::span<const std::string> names);

// What a person typed, in double quotes, as messages show it. (Not `quoted`:
// for a std::string, the standard library's stream manipulator of that name
// would win the call wherever <iomanip> is in view.)
inline std::string inQuotes(std::string_view typed) { return "\"" + std::string(typed) + "\""; }

// "; did you mean NAME?" for the nearest name, else "".
std::string didYouMean(std::string_view typed, std::span<const std::string> names);

}  // namespace velmora::host
