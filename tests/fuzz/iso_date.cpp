// The ISO 8601 reader (--now, dates in the JSON forms) on any text: it never
// fails other than by reading nothing, and an instant it reads on the
// calendar, written by the formatter in any zone, reads back as that instant
// to the millisecond.
#include <cmath>
#include <memory>

#include "FuzzSupport.h"
#include "text/IsoDate.h"

using namespace velmora;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = fuzz::asText({data, size});
  const std::optional<Date> date = parseIsoDate(text);
  if (!date) return 0;
  fuzz::check(std::isfinite(date->unixSeconds()), "an instant read as no number");
  if (!date->isOnCalendar()) return 0;
  static const std::unique_ptr<IsoDateFormatter> formatters[] = {
      std::make_unique<IsoDateFormatter>("UTC"), std::make_unique<IsoDateFormatter>("Europe/Berlin"),
      std::make_unique<IsoDateFormatter>("Pacific/Kiritimati"), std::make_unique<IsoDateFormatter>("America/St_Johns")};
  const double millisecond = Date::fromIcuMillis(std::round(date->icuMillis())).unixSeconds();
  for (const auto& formatter : formatters) {
    const std::string written = formatter->format(*date);
    const std::optional<Date> back = parseIsoDate(written);
    fuzz::check(back.has_value(), "the formatter writes what the reader does not take: " + written);
    fuzz::check(back->unixSeconds() == millisecond, "written and read again, an instant moves: " + written);
  }
  return 0;
}
