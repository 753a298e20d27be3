// The bundle's string tables, as the bundle reads them from any bytes: every
// key and translation is valid UTF-8, and every translation, used as the
// format its English key is, formats without fault whatever specifiers it
// holds.
#include "FuzzSupport.h"
#include "store/PlistCodec.h"
#include "text/Bundle.h"
#include "text/StringFormat.h"

using namespace velmora;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Result<Bundle::StringTable> table = Bundle::readStringTable({data, size});
  if (!table) {
    fuzz::check(!table.message().empty(), "a string table refused without a reason");
    return 0;
  }
  for (const auto& [key, translation] : *table) {
    fuzz::check(isValidUtf8(key) && isValidUtf8(translation), "a string table entry that is not UTF-8");
    for (const char* locale : {"en_US", "de_DE", "ar_EG"}) {
      const std::string text = localizedStringWithFormat(locale, translation, {"Ada", 7, 7.25, nullptr});
      fuzz::check(isValidUtf8(text), "a formatted translation that is not UTF-8");
    }
  }
  return 0;
}
