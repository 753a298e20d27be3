#include <gtest/gtest.h>

#include <sstream>

#include "values/Diagnostics.h"

namespace velmora {
namespace {

// Every line on standard error says what it is, those of a message of several lines included.
TEST(Diagnostics, EveryLineIsLabelledByWhatItIs) {
  const struct {
    Diagnostic kind;
    const char* message;
    const char* printed;
  } cases[] = {
      {Diagnostic::kError, "cannot read x.json", "velmora: cannot read x.json\n"},
      {Diagnostic::kWarning, "x.plist: not a valid property list",
       "velmora: warning: x.plist: not a valid property list\n"},
      {Diagnostic::kNote, "the extension does not handle \"X\"",
       "velmora: note: the extension does not handle \"X\"\n"},
      {Diagnostic::kLog, "10:42PM", "velmora: log: 10:42PM\n"},
      {Diagnostic::kError, "a.png: picture \"A\" is missing\nb.png: picture \"B\" is missing",
       "velmora: a.png: picture \"A\" is missing\nvelmora: b.png: picture \"B\" is missing\n"},
  };
  for (const auto& c : cases) {
    std::ostringstream out;
    printDiagnostic(out, c.kind, c.message);
    EXPECT_EQ(out.str(), c.printed);
  }
}

}  // namespace
}  // namespace velmora
