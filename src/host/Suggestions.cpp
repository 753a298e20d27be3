#include "host/Suggestions.h"

#include <algorithm>
#include <cctype>
#include <vector>

namespace velmora::host {

namespace {

char folded(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

// Edits between two words, an adjacent swap counting as one (the optimal
// string alignment distance), with letter case ignored.
std::size_t editDistance(std::string_view a, std::string_view b) {
  const std::size_t m = b.size();
  // Three rows of the table: two back, one back and the one being filled.
  std::vector<std::size_t> before(m + 1), previous(m + 1), row(m + 1);
  for (std::size_t j = 0; j <= m; ++j) previous[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= m; ++j) {
      const bool same = folded(a[i - 1]) == folded(b[j - 1]);
      row[j] = std::min({previous[j] + 1, row[j - 1] + 1, previous[j - 1] + (same ? 0 : 1)});
      if (i > 1 && j > 1 && folded(a[i - 1]) == folded(b[j - 2]) && folded(a[i - 2]) == folded(b[j - 1]))
        row[j] = std::min(row[j], before[j - 2] + 1);
    }
    std::swap(before, previous);
    std::swap(previous, row);
  }
  return previous[m];
}

// Dashes in front are no letters of the name: "-png" and "---png" are slips for "--png".
std::string_view bare(std::string_view name) { return name.substr(std::min(name.find_first_not_of('-'), name.size())); }

bool startsWithFolded(std::string_view text, std::string_view start) {
  return text.size() > start.size() &&
         std::equal(start.begin(), start.end(), text.begin(), [](char a, char b) { return folded(a) == folded(b); });
}

}  // namespace

std::optional<std::string> nearestName(std::string_view typed, std::span<const std::string> names) {
  const std::string_view word = bare(typed);
  if (word.empty()) return std::nullopt;
  const std::size_t allowed = std::max<std::size_t>(1, word.size() / 3);
  std::optional<std::string> best;
  std::size_t bestDistance = allowed + 1;
  for (const std::string& name : names) {
    if (name == typed) continue;
    const std::size_t distance = editDistance(word, bare(name));
    if (distance < bestDistance) {
      bestDistance = distance;
      best = name;
    }
  }
  if (best || word.size() < 2) return best;
  for (const std::string& name : names) {
    if (!startsWithFolded(bare(name), word)) continue;
    if (best) return std::nullopt;  // more than one: only the person can say which
    best = name;
  }
  return best;
}

std::string didYouMean(std::string_view typed, std::span<const std::string> names) {
  const auto name = nearestName(typed, names);
  return name ? "; did you mean " + *name + "?" : std::string();
}

}  // namespace velmora::host
