#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Date.h"

namespace velmora {

// "2025-01-06T22:30:00+01:00" in the given zone, with milliseconds
// (".250") only when the instant is not a whole second.
std::string formatIsoDate(Date date, std::string_view timeZone);

// The same for many instants in one zone: the formatters are set up once,
// which is most of the cost of formatIsoDate.
class IsoDateFormatter {
 public:
  explicit IsoDateFormatter(std::string_view timeZone);
  ~IsoDateFormatter();
  IsoDateFormatter(const IsoDateFormatter&) = delete;
  IsoDateFormatter& operator=(const IsoDateFormatter&) = delete;

  std::string format(Date date) const;

 private:
  struct Formats;
  std::unique_ptr<Formats> formats_;
};

// Reads an ISO 8601 instant with a zone offset or "Z", whole seconds or
// fractions ("2025-01-06T22:30:00Z", "2025-01-06T22:30:00.5+01:00").
// Nothing when the text is not such an instant.
std::optional<Date> parseIsoDate(std::string_view text);

// The same for many texts: the parsers are set up once.
class IsoDateParser {
 public:
  IsoDateParser();
  ~IsoDateParser();
  IsoDateParser(const IsoDateParser&) = delete;
  IsoDateParser& operator=(const IsoDateParser&) = delete;

  std::optional<Date> parse(std::string_view text) const;

 private:
  struct Formats;
  std::unique_ptr<Formats> formats_;
};

}  // namespace velmora
