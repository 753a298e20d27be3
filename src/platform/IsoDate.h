#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Date.h"

namespace velmora {

// "2025-01-06T22:30:00+01:00" in the given zone, with milliseconds
// (".250") only when the instant is not a whole second.
std::string formatIsoDate(Date date, std::string_view timeZone);

// Reads an ISO 8601 instant with a zone offset or "Z", whole seconds or
// fractions ("2025-01-06T22:30:00Z", "2025-01-06T22:30:00.5+01:00").
// Nothing when the text is not such an instant.
std::optional<Date> parseIsoDate(std::string_view text);

}  // namespace velmora
