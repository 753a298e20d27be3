#pragma once

// One run of the whole system on stores the fuzzer made: what the two
// preferences domains hold and in which file format, and the instant, zone,
// locale and screen scale of the run.
//
// The fuzzer's bytes become a case through a small grammar (decodeCase) in
// which every byte string is some case: keys are drawn from the names the
// system's sources use (so a key a new metric reads is fuzzed without anyone
// listing it), from the day keys around the instant, or spelled out; values
// are of every kind a store holds, from numbers at the edges of their range
// to texts that only look like numbers. A case is kept, as a seed or as a
// fault found, in a property-list file of its own (caseToFile), readable
// and exact whatever the key list becomes; encodeCase turns it back into
// bytes for the fuzzer.
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "store/PropertyList.h"

namespace velmora::fuzz {

struct StoreCase {
  Date now;
  std::string timeZone = "UTC";
  std::string locale = "en_US";
  int scale = 3;
  PlistFormat sharedFormat = PlistFormat::Binary;
  PlistFormat standardFormat = PlistFormat::Binary;
  MetricDictionary shared, standard;
};

bool sameCase(const StoreCase& a, const StoreCase& b);

// The names the keys are drawn from, and the zones and locales of a run.
std::span<const std::string_view> storeKeys();
std::span<const std::string_view> caseZones();
std::span<const std::string_view> caseLocales();

// Any bytes as a case. The domains come out in the form their files hold
// (XML dates in whole seconds; a domain XML cannot hold is binary).
StoreCase decodeCase(std::span<const std::uint8_t> bytes);
// Bytes that decode to `c`; throws std::invalid_argument for a case no bytes
// say (a zone or locale not in the lists, a container of more than 255
// items, a text longer than 65,535 bytes).
std::vector<std::uint8_t> encodeCase(const StoreCase& c);

// A case as a property-list file (XML when that holds it exactly, else
// binary), and back; caseFromFile throws std::invalid_argument for a file
// that is no case.
std::vector<std::uint8_t> caseToFile(const StoreCase& c);
StoreCase caseFromFile(std::span<const std::uint8_t> bytes);

// Runs every request operation in one session, expands both notifications
// (drawing them as a person sees them) and exports both domains, on the
// case's stores; a fault, output that is not JSON, or a run longer than
// `budgetSeconds` is a finding (see fail()).
void runCase(const StoreCase& c, double budgetSeconds);

}  // namespace velmora::fuzz
