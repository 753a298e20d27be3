#pragma once

#include <istream>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "host/Errors.h"
#include "values/Environment.h"

namespace velmora {
class UserDefaults;
}  // namespace velmora

namespace velmora::host {

// `velmora defaults VERB DOMAIN ...`, in the manner of the platform's own
// defaults tool, with values in the host's JSON forms or the tool's typed
// forms ("-int 8", "-array a b"). DOMAIN is "shared" (the suite the main app
// writes) or "standard" (the extension's own defaults); the full domain names
// are accepted too.
struct DefaultsCommand {
  enum class Verb { kRead, kReadType, kWrite, kRename, kDelete, kImport, kExport, kDomains };
  // What `export` writes: the JSON forms, or a property list as the platform's tool writes one.
  enum class Format { kJson, kXml, kBinary };

  Verb verb = Verb::kRead;
  std::string domain;
  std::optional<std::string> key;     // read, read-type, write, rename (the old key), delete
  std::optional<std::string> newKey;  // rename
  // write: one JSON value, or a type flag and its words ("-array", "a", "b")
  std::vector<std::string> value;
  std::optional<std::string> file;  // import (required), export; "-" is standard input / output
  Format format = Format::kJson;

  // Fails with a usage error (a bad domain, a value that is not JSON) or a
  // command error (a missing key, a file that cannot be read or written, a
  // store that cannot be changed). What the store warns of on the way is
  // said as warnings.
  Outcome run(const Environment& env, std::istream& in, std::ostream& out) const;

  // The names `--format` takes, in the order of Format.
  static const std::vector<std::string>& formatNames();
  // The short names of the domains, "shared" and "standard".
  static const std::vector<std::string>& domainNames();

 private:
  // The verb on the domain's store, whose warnings go to `warnings`: those of
  // a change the store refused become the failure.
  Outcome runOn(const Environment& env, UserDefaults& store, std::vector<std::string>& warnings, std::istream& in,
                std::ostream& out) const;
};

}  // namespace velmora::host
