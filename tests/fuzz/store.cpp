// The whole system on stores the fuzzer makes (see StoreCase.h): every
// request operation, in one session, and both notifications, drawn. No
// fault, JSON output, and a run within the time budget.
#include <stdexcept>

#include "FuzzSupport.h"
#include "StoreCase.h"

using namespace velmora::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  runCase(decodeCase({data, size}), VELMORA_FUZZ_BUDGET_SECONDS);
  return 0;
}

// Cases are kept as property-list files (seeds, faults found): as bytes of the grammar of today's key list.
std::vector<std::uint8_t> velmora::fuzz::fuzzInputFromFile(const std::filesystem::path& file,
                                                           std::vector<std::uint8_t> bytes) {
  if (file.extension() != ".plist") return bytes;
  try {
    const StoreCase kept = caseFromFile(bytes);
    std::vector<std::uint8_t> encoded = encodeCase(kept);
    check(sameCase(decodeCase(encoded), kept), file.string() + ": the case decodes as another than it was encoded");
    return encoded;
  } catch (const std::invalid_argument& error) {
    fail(file.string() + ": " + error.what());
  }
}
