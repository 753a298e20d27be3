#pragma once

#include <ostream>
#include <string_view>

namespace velmora {

// What a line on standard error is, which its label says.
enum class Diagnostic {
  kError,    // what was asked could not be done: "velmora: ..."
  kWarning,  // something is wrong, and the run goes on: "velmora: warning: ..."
  kNote,     // done as asked, though the person may have meant something else: "velmora: note: ..."
  kLog,      // a line of the system log, which holds no warnings: "velmora: log: ..."
};

// The one place diagnostics are printed, by the host and by an Environment
// left without sinks alike: every line of `message` on a line of its own,
// labelled with the program's name and what it is, so that no line of a
// message of several (one per missing picture, say) goes unlabelled.
void printDiagnostic(std::ostream& out, Diagnostic kind, std::string_view message);

}  // namespace velmora
