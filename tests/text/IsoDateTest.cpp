#include <gtest/gtest.h>

#include <cmath>
#include <optional>

#include "text/IsoDate.h"

namespace velmora {
namespace {

constexpr double kJan6 = 1736202600.0;  // 2025-01-06T22:30:00Z

// The forms an instant is read in, and what is not one: each case its text and the instant in Unix seconds,
// or nothing.
TEST(IsoDate, ReadsTheExtendedFormWithAZoneAndNothingElse) {
  const struct {
    const char* text;
    std::optional<double> seconds;
  } cases[] = {
      {"2025-01-06T22:30:00Z", kJan6},
      {"2025-01-06T23:30:00+01:00", kJan6},
      {"2025-01-06T23:30:00+0100", kJan6},
      {"2025-01-06T23:30:00+01", kJan6},
      {"2025-01-06T17:00:00-05:30", kJan6},
      {"2025-01-06T22:30:00-00:00", kJan6},
      {"1890-01-01T00:53:28+00:53:28", -2524521600.0},  // Berlin's local mean time
      {"2025-01-06T22:30:00.25Z", kJan6 + 0.25},
      {"2025-01-06T22:30:00.250+00:00", kJan6 + 0.25},
      {"2025-01-06T22:30:00.5055555555555555555555555555555555555555+01", kJan6 - 3600 + 0.5055555555},
      {"2024-02-29T00:00:00Z", 1709164800.0},    // a leap day
      {"2000-02-29T00:00:00Z", 951782400.0},     // every 400 years
      {"1000-01-01T00:00:00Z", -30610224000.0},  // proleptic Gregorian before the reform
      {"0001-01-01T00:00:00Z", Date::kFirstCalendarSeconds},
      {"10000-01-01T00:00:00Z", Date::kEndCalendarSeconds},  // read; off the calendar for the caller to refuse
      {"0000-12-31T23:59:59Z", Date::kFirstCalendarSeconds - 1},
      // Not such an instant.
      {"20-01-06T22:30:00Z", std::nullopt},  // a two-digit year
      {"2025-1-6T22:30:00Z", std::nullopt},
      {"2025-01-06T22:30Z", std::nullopt},  // no seconds
      {"2025-01-06 22:30:00Z", std::nullopt},
      {"2025-01-06t22:30:00z", std::nullopt},
      {"2025-01-06T22:30:00", std::nullopt},  // no zone
      {"2025-01-06T22:30:00.Z", std::nullopt},
      {"2025-01-06T22:30:00,5Z", std::nullopt},
      {"2025-01-06T22:30:00Z ", std::nullopt},
      {"+2025-01-06T22:30:00Z", std::nullopt},
      {"2025-02-29T00:00:00Z", std::nullopt},  // no leap day
      {"1900-02-29T00:00:00Z", std::nullopt},
      {"2025-04-31T00:00:00Z", std::nullopt},
      {"2025-00-10T00:00:00Z", std::nullopt},
      {"2025-13-10T00:00:00Z", std::nullopt},
      {"2025-01-00T00:00:00Z", std::nullopt},
      {"2025-01-06T24:00:00Z", std::nullopt},
      {"2025-01-06T22:60:00Z", std::nullopt},
      {"2025-01-06T22:30:60Z", std::nullopt},  // no leap seconds
      {"2025-01-06T22:30:00+24:00", std::nullopt},
      {"2025-01-06T22:30:00+26", std::nullopt},
      {"2025-01-06T22:30:00+01:60", std::nullopt},
      {"2025-01-06T22:30:00+1", std::nullopt},
      {"2025-01-06T22:30:00+01:0", std::nullopt},
      {"\xef\xbc\x92\xef\xbc\x90\xef\xbc\x92\xef\xbc\x95-01-06T22:30:00Z", std::nullopt},  // full-width digits
      {"1234567890-01-01T00:00:00Z", std::nullopt},
      {"", std::nullopt},
  };
  for (const auto& c : cases) {
    const std::optional<Date> read = parseIsoDate(c.text);
    ASSERT_EQ(read.has_value(), c.seconds.has_value()) << c.text;
    if (read) {
      EXPECT_NEAR(read->unixSeconds(), *c.seconds, 1e-6) << c.text;
    }
  }
}

}  // namespace
}  // namespace velmora
