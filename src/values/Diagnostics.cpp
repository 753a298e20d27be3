#include "values/Diagnostics.h"

#include <cstddef>
#include <string>

namespace velmora {

namespace {

// The labels, in the order of the kinds.
constexpr std::string_view kLabels[] = {"velmora: ", "velmora: warning: ", "velmora: note: ", "velmora: log: "};

std::string_view labelOf(Diagnostic kind) { return kLabels[static_cast<std::size_t>(kind)]; }

}  // namespace

void printDiagnostic(std::ostream& out, Diagnostic kind, std::string_view message) {
  const std::string_view label = labelOf(kind);
  std::string text;
  for (;;) {
    const auto end = message.find('\n');
    text.append(label).append(message.substr(0, end)) += '\n';
    if (end == std::string_view::npos) break;
    message.remove_prefix(end + 1);
  }
  out << text;  // at once: the lines of a message stay together
}

}  // namespace velmora
