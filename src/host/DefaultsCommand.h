#pragma once

#include <istream>
#include <optional>
#include <ostream>
#include <string>

#include "platform/Environment.h"

namespace velmora::host {

// `velmora defaults VERB DOMAIN ...`, in the manner of the platform's own
// defaults tool, with values in the host's JSON forms. DOMAIN is "shared"
// (the suite the main app writes) or "standard" (the extension's own
// defaults); the full domain names are accepted too.
struct DefaultsCommand {
  enum class Verb { kRead, kWrite, kDelete, kImport, kExport };

  Verb verb = Verb::kRead;
  std::string domain;
  std::optional<std::string> key;    // read, write, delete
  std::optional<std::string> value;  // write: one JSON value
  std::optional<std::string> file;   // import (required), export; "-" is standard input / output

  // Throws UsageError (bad domain, a value that is not JSON) or CommandError
  // (a missing key, a file that cannot be read or written, a store that cannot be changed).
  void run(const Environment& env, std::istream& in, std::ostream& out) const;
};

}  // namespace velmora::host
