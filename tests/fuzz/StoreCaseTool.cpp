// velmora_store_case: turns the store target's cases between the fuzzer's
// bytes and the property-list files they are kept in.
//   velmora_store_case encode CASE.plist BYTES   a kept case as fuzzer input (a seed)
//   velmora_store_case decode BYTES CASE.plist   fuzzer input (a crash) as a case to keep
//   velmora_store_case make PREFS NOW ZONE LOCALE SCALE CASE.plist
//                                                 a preferences directory (velmora --prefs) as a case
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

#include "FuzzSupport.h"
#include "StoreCase.h"
#include "host/Files.h"
#include "text/IsoDate.h"
#include "values/Environment.h"

namespace {

std::vector<std::uint8_t> readBytes(const std::filesystem::path& file) {
  const velmora::Result<std::string> text = velmora::host::readFile(file);
  if (!text) throw std::invalid_argument(text.message());
  return {text->begin(), text->end()};
}

// One domain's file in a preferences directory: its contents and format (a missing file is an empty binary one).
velmora::MetricDictionary domainIn(const std::filesystem::path& file, velmora::PlistFormat& format) {
  std::error_code ec;
  if (!std::filesystem::exists(file, ec)) return {};
  const std::vector<std::uint8_t> bytes = readBytes(file);
  const velmora::Result<velmora::PlistValue> read = velmora::parsePropertyList(bytes);
  if (!read || !read->value.dictionary()) throw std::invalid_argument(file.string() + ": not a domain");
  format = read->format;
  return *read->value.dictionary();
}

velmora::fuzz::StoreCase caseOf(char** args) {
  velmora::fuzz::StoreCase c;
  velmora::Environment env;
  env.prefsDir = args[0];
  const std::optional<velmora::Date> now = velmora::parseIsoDate(args[1]);
  if (!now) throw std::invalid_argument(std::string("not an instant: ") + args[1]);
  c.now = *now;
  c.timeZone = args[2];
  c.locale = args[3];
  c.scale = std::atoi(args[4]);
  c.shared = domainIn(env.preferencesFile(velmora::Environment::kSharedSuite), c.sharedFormat);
  c.standard = domainIn(env.preferencesFile(velmora::Environment::kStandardDomain), c.standardFormat);
  encodeCase(c);  // says what has no bytes
  return c;
}

void writeBytes(const char* file, const std::vector<std::uint8_t>& bytes) {
  if (const velmora::Status written = velmora::host::writeFile(file, velmora::fuzz::asText(bytes)); !written)
    throw std::invalid_argument(written.message());
}

}  // namespace

int main(int argc, char** argv) {
  using namespace velmora::fuzz;
  std::string_view verb = argc >= 2 ? argv[1] : "";
  try {
    if (verb == "make" && argc == 8) {
      writeBytes(argv[7], caseToFile(caseOf(argv + 2)));
      return 0;
    }
    if (argc != 4) verb = "";
    if (verb == "encode") {
      writeBytes(argv[3], encodeCase(caseFromFile(readBytes(argv[2]))));
      return 0;
    }
    if (verb == "decode") {
      writeBytes(argv[3], caseToFile(decodeCase(readBytes(argv[2]))));
      return 0;
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "velmora_store_case: %s\n", error.what());
    return 1;
  }
  std::fprintf(stderr,
               "usage: velmora_store_case encode CASE.plist BYTES | decode BYTES CASE.plist\n"
               "       velmora_store_case make PREFS NOW ZONE LOCALE SCALE CASE.plist\n");
  return 2;
}
