#include "values/Diagnostics.h"

#include <string>

namespace velmora {

namespace {

std::string_view labelOf(Diagnostic kind) {
  switch (kind) {
    case Diagnostic::kError:
      return "velmora: ";
    case Diagnostic::kWarning:
      return "velmora: warning: ";
    case Diagnostic::kNote:
      return "velmora: note: ";
    case Diagnostic::kLog:
      return "velmora: log: ";
  }
  return "velmora: ";
}

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
